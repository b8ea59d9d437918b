// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace EPub {

// A text that is compressed while it is being made, by a thread of its own where loops may have several. The bytes are
// the same either way, however the text is cut into pieces: a raw stream of Deflate (RFC 1951), as ZIP archives hold
// it.
class DeflatedText {
public:
    struct Result {
        std::vector<std::byte> bytes;
        std::uint64_t length = 0;
        // Of the text, as in ZIP archives and PNG.
        std::uint32_t crc = 0;
    };

    DeflatedText();
    DeflatedText(DeflatedText const&) = delete;
    DeflatedText& operator=(DeflatedText const&) = delete;
    // Text that has not been compressed yet is dropped.
    ~DeflatedText();

    void Append(std::string piece);
    // Ends the text. Throws Kernel::Exception when it could not be compressed.
    Result Finish();

private:
    class Worker;
    std::unique_ptr<Worker> m_worker;
};

} // namespace EPub
