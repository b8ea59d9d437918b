// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/display_list.h"

namespace Renderer::Detail {

// Which rows of the picture each command of a display list has an effect in. The commands that begin and end a clip,
// mask or layer have the rows in which its content can show; the commands in between have no others.
class CommandRows {
public:
    explicit CommandRows(DisplayList const& list);

    // For each band of a strip, from the top, the indexes of the commands that it needs, in their order.
    std::vector<std::vector<std::uint32_t>> Distribute(RectInt const& strip, int bandRows) const;

private:
    struct Rows {
        int top;
        int bottom;
    };
    std::vector<Rows> m_rows;
};

} // namespace Renderer::Detail
