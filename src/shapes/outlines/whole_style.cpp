// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/whole_style.h"

namespace Commands {

Kernel::Counted<ObjectStyle> TakeWholeStyle(Node const& node, DocumentNode const& document) {
    auto style = Kernel::MakeCounted<ObjectStyle>();
    style->Set(Kernel::Counted<Kernel::Countable const>(&node), document.GetFormat(), document.GetProfiles(),
               document.GetTextStyleSheet(), ObjectStyleMask(), {}, false);
    return style;
}

} // namespace Commands
