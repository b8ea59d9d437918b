// SPDX-License-Identifier: Apache-2.0
// Opens any bytes as a document, walks its history to both ends, and hashes it there.
#include "platform/document/document_controller.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::string const s_path =
        (std::filesystem::temp_directory_path() / ("fuzz-" + std::to_string(getpid()) + ".redraft")).string();
    std::ofstream(s_path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<char const*>(data), static_cast<std::streamsize>(size));
    try {
        auto const controller = DocumentController::Open(s_path, false);
        controller->GoTo(0);
        controller->GetHash(true);
        controller->GoTo(controller->GetHistory()->GetCount());
        controller->GetHash(true);
    } catch (Kernel::Exception const&) {
        // Refused with a word: as it should be.
    }
    std::filesystem::remove(s_path);
    return 0;
}
