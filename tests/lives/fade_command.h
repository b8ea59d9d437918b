// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/selection_command_base.h"

namespace Lives {

// Sets the opacity of what is selected: a property command as a slider sends them, of which a newer one merges into an
// older one. The library's commands merge only as previews so far, and so lives have one of their own.
class FadeCommand final : public SelectionCommandBase {
public:
    FadeCommand(double opacity, Kernel::Counted<Selection const> selection)
        : SelectionCommandBase(std::move(selection)), m_opacity(opacity) {}

    Kernel::LocalisedString GetDescription() const override { return {"Fade", "Command description"}; }
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    bool MacroMerge(Kernel::Counted<Command const> newer) override { return Merge(newer); }
    Kernel::Counted<DocumentCommand> Clone() const override;

    // Called once before documents are read that hold such steps.
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    void SetAll(double opacity);

    double m_opacity = 1;
    // The objects that Do found, and how opaque each was.
    std::vector<Kernel::Counted<Node>> m_nodes;
    std::vector<double> m_old;
};

} // namespace Lives
