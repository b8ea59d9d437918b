// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/nodes.h"

namespace Commands {

// Selects the shape that text keeps clear of around the selected object, so that it can be edited; an object that has
// none yet gets one like its outline. From the shape it goes back to the object.
class REDRAFT_API EditWrapShapeCommand final : public Persisted<EditWrapShapeCommand, DocumentCommand>,
                                               public NewNodesCommandInterface {
public:
    EditWrapShapeCommand() = default;

    static bool CanExecute(Kernel::NonCounted<DocumentController const> controller);

    static constexpr auto c_description = Kernel::Localisable("Edit wrap shape", "Edit wrap shape command name");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    void GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const override;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = EditWrapShapeCommand;
        return Kernel::FieldList{Kernel::Field{"Innr", &This::m_selectCommand},
                                 Kernel::Field{"Inr2", &This::m_wrapCommand}, Kernel::Field{"Node", &This::m_wrapNode},
                                 Kernel::Field{"FEdt", &This::m_leaving}};
    }
    Kernel::Counted<DocumentCommand> MakeEnterCommand(Kernel::Counted<Node> const& node);

    // Sets the selection; it may add the shape as well.
    Kernel::Counted<DocumentCommand> m_selectCommand;
    // Lets text run around the object; empty where it does already.
    Kernel::Counted<DocumentCommand> m_wrapCommand;
    // The shape that this command made.
    Kernel::Counted<Node> m_wrapNode;
    // The shape was selected, and the object is now.
    bool m_leaving = false;
};

} // namespace Commands
