// SPDX-License-Identifier: Apache-2.0
// Decodes any bytes as an image into a bitmap.
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap_image.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    try {
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage(std::as_bytes(std::span(data, size)), receiver);
        receiver.Finish();
    } catch (Kernel::Exception const&) {
        // Refused with a word: as it should be.
    }
    return 0;
}
