// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/epub/accessibility_metadata.h"

#include <array>

namespace Commands {

// How a publication may be read, as a record of values.
struct AccessibilityArgument : EPub::AccessibilityMetadata::Values {
    static constexpr auto Fields() {
        using This = EPub::AccessibilityMetadata::Values;
        using Kernel::Unstored;
        constexpr std::array<Kernel::String, 0> c_none{};
        return Kernel::FieldList{
            Unstored{&This::accessModes}.As("modes", "the senses that it is made for, as textual, visual", c_none),
            Unstored{&This::sufficientAccessModes}.As("sufficientModes", "sets of senses that can read all of it",
                                                      c_none),
            Unstored{&This::features}.As("features", "such as alternativeText, tableOfContents", c_none),
            Unstored{&This::hazards}.As("hazards", "such as flashing, or none", c_none),
            Unstored{&This::summary}.As("summary", "for people", std::string_view()),
            Unstored{&This::conformsTo}.As("conformsTo", "a standard", std::string_view()),
            Unstored{&This::certifiedBy}.As("certifiedBy", "who says that it conforms", std::string_view())};
    }
    operator Kernel::Counted<EPub::AccessibilityMetadata const>() const {
        return Kernel::MakeCounted<EPub::AccessibilityMetadata>(*this);
    }
};

} // namespace Commands
