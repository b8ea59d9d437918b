// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"

#include <string>

// The text of a node as it shows, objects replaced by what they show.
inline std::string Shown(TextNode const& text) {
    std::string shown;
    auto const frame = text.MakeComposedText();
    for (auto const& column : *frame) {
        for (auto const& line : *column) {
            for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
                auto const c = line.GetCharacter(i);
                if (c != Story::c_objectCharacter && !Story::IsHardBreakCharacter(c))
                    shown += static_cast<char>(c);
            }
        }
    }
    return shown;
}
