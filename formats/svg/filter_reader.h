// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/drawing.h"
#include "platform/renderer/filter.h"

#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <vector>

namespace Formats::Svg {

// Reads the filters of elements: `filter` elements and the functions of style sheets. Filters with a primitive or an
// input that has no counterpart are left out, and counted by its name.
class FilterReader {
public:
    explicit FilterReader(Drawing& drawing) : m_drawing(drawing) {}

    // The effects of an element's `filter`, the first to be applied first.
    std::vector<Kernel::Counted<Kernel::Serialisable>> Read(Element const& user);

private:
    using FilterPointer = Kernel::Counted<Renderer::Filter>;
    class ElementReader;
    // Empty where there is none that can be drawn.
    FilterPointer ReadElement(Element const& user, std::string_view id);

    Drawing& m_drawing;
    // By id and by the viewport that percentages refer to.
    std::map<std::tuple<std::string_view, double, double>, FilterPointer> m_known;
};

} // namespace Formats::Svg
