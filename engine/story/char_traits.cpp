// SPDX-License-Identifier: Apache-2.0
// Beside the other text tables: case is ICU's to know.
#include "platform/kernel/char_traits.h"

#include <algorithm>
#include <memory>
#include <unicode/ucasemap.h>

namespace Kernel {

namespace {

std::string FoldBytes(std::string_view text) {
    bool const isAscii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    std::string folded(text);
    if (isAscii) {
        for (auto& c : folded)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        return folded;
    }
    UErrorCode error = U_ZERO_ERROR;
    std::unique_ptr<UCaseMap, decltype(&ucasemap_close)> const map(ucasemap_open("", U_FOLD_CASE_DEFAULT, &error),
                                                                   &ucasemap_close);
    if (U_FAILURE(error))
        return folded;
    for (;;) {
        error = U_ZERO_ERROR;
        auto const size = ucasemap_utf8FoldCase(map.get(), folded.data(), static_cast<std::int32_t>(folded.size()),
                                                text.data(), static_cast<std::int32_t>(text.size()), &error);
        if (error != U_BUFFER_OVERFLOW_ERROR) {
            folded.resize(U_FAILURE(error) ? 0 : static_cast<std::size_t>(size));
            return U_FAILURE(error) ? std::string(text) : folded;
        }
        folded.resize(static_cast<std::size_t>(size));
    }
}

} // namespace

String CharTraits<TEncUtf8>::FoldCase(String const& text) { return String(FoldBytes(text.view())); }

int CharTraits<TEncUtf8>::CompareNoCase(String const& a, String const& b) {
    return FoldBytes(a.view()).compare(FoldBytes(b.view()));
}

} // namespace Kernel
