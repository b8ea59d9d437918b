// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/add_child_nodes_command.h"
#include "text/caption_arguments.h"

class FrameTextNode;

namespace Commands {

// Puts a caption beside the first selected object: a text frame that belongs to it. The frame is as tall as its text
// needs, and at least as tall as the caption asks for.
class REDRAFT_API AddCaptionCommand final : public Persisted<AddCaptionCommand, AddChildNodesCommand> {
public:
    // With `selectNode` the caption is the new selection. Without a caption, or an object that is the first selected
    // node, Do throws Kernel::Exception; a loaded command has none, and is not run again but by Redo.
    AddCaptionCommand(Kernel::Counted<CaptionInfo const> captionInfo, Kernel::Counted<Selection const> selection,
                      bool selectNode = true);

    static constexpr auto c_description = Kernel::Localisable("Add Caption", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

private:
    friend struct Kernel::FieldAccess;
    AddCaptionCommand() = default;
    static constexpr auto Fields() {
        using This = AddCaptionCommand;
        return Kernel::FieldList{Kernel::Unstored{&This::m_captionInfo}.As<CaptionArgument>("caption", "the caption")};
    }
    void ApplyStyle(Kernel::Counted<FrameTextNode> const& node) const;
    Kernel::Counted<FrameTextNode> GetNewNode() const;

    Kernel::Counted<CaptionInfo const> m_captionInfo;
    SpreadRects m_invalidationRects;
    ChangeResult m_changeResult;
};

} // namespace Commands
