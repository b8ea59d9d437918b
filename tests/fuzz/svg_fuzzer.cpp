// SPDX-License-Identifier: Apache-2.0
// Imports any bytes as a drawing into a document, and hashes it.
#include "formats/svg/import.h"
#include "platform/document/document_controller.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    try {
        auto const drawing = Formats::Svg::Import(std::string_view(reinterpret_cast<char const*>(data), size),
                                                  Formats::Svg::ReadOptions());
        auto const controller = DocumentController::CreateNew({100, 100}, Raster::FormatRGBA8, 1);
        Formats::Svg::Place(drawing, *controller->GetDocument(), *controller->GetCurrentSpread());
        controller->GetHash(false);
    } catch (Kernel::Exception const&) {
        // Refused with a word: as it should be.
    }
    return 0;
}
