// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/display_list.h"

namespace Renderer::Detail {

// Which rows of the picture the commands of a display list have an effect in. What begins a clip, mask or layer and
// what ends it have the rows that it can show in; what lies inside has no others.
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
