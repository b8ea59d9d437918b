// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/line_commands.h"

namespace Commands {

// Sets whether the lines of the selection scale with their objects. A line keeps its look: its weight is converted.
class REDRAFT_API SetScaleLineStyleCommand final
    : public Persisted<SetScaleLineStyleCommand, BaseSetLineDescriptorCommand> {
public:
    SetScaleLineStyleCommand(bool scale, ContentType contentType, bool useTextStyle, bool canMerge,
                             LineCommandDefaultsMode defaultsMode, Kernel::Counted<Selection const> selection)
        : Persisted(contentType, useTextStyle, canMerge, defaultsMode, false, std::move(selection)), m_scale(scale) {}

    static constexpr auto c_description = Kernel::Localisable("Set line style scale", "Command description");

protected:
    void ApplyToDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor> descriptor, double scale) override;
    void TakeArguments(BaseSetLineDescriptorCommand const& newer) override;

private:
    friend struct Kernel::FieldAccess;
    SetScaleLineStyleCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Scal", &SetScaleLineStyleCommand::m_scale}.As(
            "scale", "true: lines scale with their objects")};
    }

    bool m_scale = false;
};

} // namespace Commands
