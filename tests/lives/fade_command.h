// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/property_command.h"

namespace Lives {

// Sets the opacity of what is selected, as a slider sends it: a newer one merges into an older one. The library's
// commands merge only as previews so far, and so lives have one of their own.
class FadeCommand final : public PropertyCommand<FadeCommand, TransparencyInterface, double> {
public:
    static constexpr bool c_merges = true;
    using PropertyCommand::PropertyCommand;
    Kernel::LocalisedString GetDescription() const override { return {"Fade", "Command description"}; }
    static void Set(TransparencyInterface& object, double opacity) { object.SetOpacity(opacity); }
    static constexpr auto Fields() { return Kernel::FieldList{Value("Opac").As("opacity", "from 0 to 1")}; }
    bool MacroMerge(Kernel::Counted<Command const> newer) override { return Merge(newer); }

    // Called once before documents are read that hold such steps.
    static void Register();
};

} // namespace Lives
