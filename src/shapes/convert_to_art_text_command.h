// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_change.h"
#include "frame/selection/selection_command.h"
#include "platform/document/object_replacement_command_helper.h"
#include "platform/document/text_nodes.h"

#include <unordered_map>

namespace Commands {

// Turns the selected text frames into art text: the text as it is laid out now stays where it stands, line by line, and
// flows no more. A frame of several columns becomes a group of one art text for each.
class REDRAFT_API ConvertToArtTextCommand final
    : public Persisted<ConvertToArtTextCommand, SelectionCommand<ConvertToArtTextCommand>>,
      public ObjectReplacementCommandHelper,
      public SelectionChange {
public:
    ConvertToArtTextCommand();

    // Judges the first frame of the selection, together with the chain that it stands in.
    static bool CanApplyTo(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Convert to Art Text", "Command description");
    bool CanOnlyOperateOnCurrentSpread() const override { return false; }
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    void Receive(Kernel::Counted<FrameTextNode> node);
    void Receive(Kernel::NonCounted<FrameTextNode> node) { Receive(node.ToCounted()); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = ConvertToArtTextCommand;
        return Kernel::FieldList{Kernel::Field{"OldS", &This::m_oldSelection},
                                 Kernel::Field{"NewS", &This::m_newSelection}};
    }
    static bool CanApplyTo(Kernel::Counted<TextFrameInterface const> frame);
    void DoReplaceObject(Kernel::Counted<FrameTextNode> const& node);
    void ComposeSelectedFrames();

    // Only during Do.
    Kernel::Counted<MutableSelection> m_workSelection;
    // The selected frames as they were composed before the first of them was replaced: with it, those of its chain get
    // other text.
    std::unordered_map<FrameTextNode const*, Story::ComposedFramePtr> m_composed;
};

} // namespace Commands
