// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// Sets what scales with an object whatever the object says: either which things, or whether that is in force at all.
class REDRAFT_API SetScaleOverrideFlagsCommand final : public Persisted<SetScaleOverrideFlagsCommand, DocumentCommand> {
public:
    // Puts the override in force, or out of it.
    explicit SetScaleOverrideFlagsCommand(bool enabled) : m_newEnabled(enabled), m_isToggle(true) {}
    // Sets which things it names.
    explicit SetScaleOverrideFlagsCommand(int flags) : m_newFlags(flags) {}

    static constexpr auto c_description = Kernel::Localisable("Set scale override options", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    bool ShouldStackForUndo() const override { return true; }
    bool ClearsPreviewCommands() const override { return true; }
    Kernel::Counted<DocumentCommand> Clone() const override;
    bool MakesDOMDirty() const override { return true; }
    bool ShouldStackForMacro() const override { return true; }

private:
    friend struct Kernel::FieldAccess;
    SetScaleOverrideFlagsCommand() = default;
    static constexpr auto Fields() {
        using This = SetScaleOverrideFlagsCommand;
        return Kernel::FieldList{
            Kernel::Field{"Flag", &This::m_newFlags}.As("flags", "what the override names, as bits").Alone(),
            Kernel::Field{"OFlg", &This::m_oldFlags},
            Kernel::Field{"Enab", &This::m_newEnabled}
                .As("enabled", "puts the override in force, or out of it")
                .Alone(),
            Kernel::Field{"OlEn", &This::m_oldEnabled}, Kernel::Field{"IsTo", &This::m_isToggle}};
    }
    void Apply(int flags, bool enabled);

    int m_newFlags = 0;
    int m_oldFlags = 0;
    bool m_newEnabled = false;
    bool m_oldEnabled = false;
    bool m_isToggle = false;
};

} // namespace Commands
