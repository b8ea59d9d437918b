// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"
#include "platform/geometry/curve.h"

namespace Commands {

// Adds a pressure profile to the document's list. Not part of the history.
class REDRAFT_API AddPressureProfileCommand final : public DirectedCommand<AddPressureProfileCommand> {
public:
    explicit AddPressureProfileCommand(Kernel::Counted<Geometry::CurveDbl> profile) : m_profile(std::move(profile)) {}

    static constexpr auto c_description = Kernel::Localisable("Pressure Profile Added", "Command description");
    void Run(Direction direction);
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>&) override {}
    // Swaps the profile of a preview; outside a preview both stay.
    bool Merge(Kernel::Counted<Command const> newer) override;
    bool ShouldStackForUndo() const override { return false; }
    bool MakesDOMDirty() const override { return false; }
    bool ShouldStackForMacro() const override { return false; }
    // The command is not readable from a file: it writes nothing, and Load answers false.
    void Save(Kernel::OutSerialiser&) const override {}
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return false; }

private:
    friend struct Kernel::FieldAccess;
    AddPressureProfileCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Unstored{&AddPressureProfileCommand::m_profile}.As(
            "profile", "the line's width along its length: x from 0 to 1, y the factor, as SVG path data")};
    }

    Kernel::Counted<Geometry::CurveDbl> m_profile;
};

} // namespace Commands
