// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/command_rows.h"

#include <algorithm>

namespace Renderer::Detail {

CommandRows::CommandRows(DisplayList const& list) {
    m_rows.reserve(list.commands.size());
    std::vector<Rows> open{{list.picture.top, list.picture.bottom}};
    for (Command const& command : list.commands) {
        Rows const outer = open.back();
        Rows const own{std::max(outer.top, command.bounds.top), std::min(outer.bottom, command.bounds.bottom)};
        switch (command.kind) {
        case CommandKind::Draw:
            m_rows.push_back(own);
            break;
        case CommandKind::PushClip:
        case CommandKind::PushLayer:
        case CommandKind::BeginMask:
            m_rows.push_back(own);
            open.push_back(own);
            break;
        case CommandKind::EndMask:
            // From here on the mask is a clip.
            m_rows.push_back(outer);
            break;
        case CommandKind::PopClip:
        case CommandKind::PopLayer:
            m_rows.push_back(outer);
            open.pop_back();
            break;
        }
    }
}

std::vector<std::vector<std::uint32_t>> CommandRows::Distribute(RectInt const& strip, int bandRows) const {
    std::vector<std::vector<std::uint32_t>> bands(
        static_cast<std::size_t>((strip.GetHeight() + bandRows - 1) / bandRows));
    for (std::size_t i = 0; i != m_rows.size(); ++i) {
        int const top = std::max(m_rows[i].top, strip.top), bottom = std::min(m_rows[i].bottom, strip.bottom);
        for (int row = top; row < bottom;) {
            int const band = (row - strip.top) / bandRows;
            bands[static_cast<std::size_t>(band)].push_back(static_cast<std::uint32_t>(i));
            row = strip.top + (band + 1) * bandRows;
        }
    }
    return bands;
}

} // namespace Renderer::Detail
