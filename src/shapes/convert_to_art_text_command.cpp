// SPDX-License-Identifier: Apache-2.0
#include "shapes/convert_to_art_text_command.h"

#include "platform/document/document_controller.h"
#include "shapes/text/art_text.h"

namespace Commands {

ConvertToArtTextCommand::ConvertToArtTextCommand() {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<ConvertToArtTextCommand, FrameTextNode>>());
}

bool ConvertToArtTextCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection)
        return false;
    for (auto const& node : selection->GetNodesInDocument()) {
        if (auto const* frame = Kernel::CastPointer<FrameTextNode const>(node.get()))
            return CanApplyTo(Kernel::Counted<TextFrameInterface const>(frame));
    }
    return false;
}

bool ConvertToArtTextCommand::CanApplyTo(Kernel::Counted<TextFrameInterface const> frame) {
    while (auto const master = frame->GetMaster())
        frame = master;
    auto const* const node = Kernel::CastPointer<FrameTextNode const>(frame.get());
    if (node != nullptr && node->GetTextFrameKind() == TextFrameKind::Table)
        return false;
    if (frame->IsTextGenerated())
        return false;
    for (auto const& follower : frame->GetSlaves()) {
        if (follower->IsTextGenerated())
            return false;
    }
    return true;
}

void ConvertToArtTextCommand::ComposeSelectedFrames() {
    auto const selection = GetSelection();
    if (!selection)
        return;
    for (auto const& node : selection->GetNodesInDocument()) {
        if (auto const* frame = Kernel::CastPointer<FrameTextNode const>(node.get()))
            m_composed[frame] = frame->MakeComposedFrame();
    }
}

void ConvertToArtTextCommand::Do() {
    SetDirection(Direction::Do);
    m_workSelection = Kernel::MakeCounted<MutableSelection>();
    SelectionCommandBase::Do();
    BeginReplacing(*this);
    ComposeSelectedFrames();
    SelectionCommand::Do();
    m_composed.clear();
    SetNewSelection(*GetDocumentController(), m_workSelection->CloneImmutable());
    m_workSelection.reset();
}

void ConvertToArtTextCommand::Undo() {
    BeginExchanging();
    SelectionCommand::Undo();
    UndoSelection(*GetDocumentController());
}

void ConvertToArtTextCommand::Redo() {
    BeginExchanging();
    SelectionCommand::Redo();
    RedoSelection(*GetDocumentController());
}

void ConvertToArtTextCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    NotifySelection(*this, notifications);
    NotifyDoRedo(GetDocumentController(), m_preview, notifications);
}

void ConvertToArtTextCommand::Receive(Kernel::Counted<FrameTextNode> node) {
    if (m_direction == Direction::Do)
        DoReplaceObject(node);
    else if (m_direction == Direction::Undo)
        UndoReplaceObject(*node, *this, *this);
    else if (m_direction == Direction::Redo)
        RedoReplaceObject(*node, *this, *this);
}

// A frame that is refused, or shows no text, stays as it is.
void ConvertToArtTextCommand::DoReplaceObject(Kernel::Counted<FrameTextNode> const& node) {
    if (node->GetParent() == nullptr || !CanApplyTo(Kernel::Counted<TextFrameInterface const>(node)))
        return;
    auto const known = m_composed.find(node.get());
    auto const composed = known != m_composed.end() ? known->second : node->MakeComposedFrame();
    auto const replacement = MakeArtText(*node, *composed, m_documentController);
    if (!replacement)
        return;
    ObjectReplacementCommandHelper::DoReplaceObject(node, replacement, *this, *this);
    if (Kernel::CastPointer<TextNode>(replacement.get()) != nullptr)
        m_workSelection->AddItem(
            Kernel::MakeCounted<SubSelectionItem>(replacement, Kernel::MakeCounted<TextSelection>(0, 1)), false);
    else
        m_workSelection->AddSelectable(replacement, false);
}

bool ConvertToArtTextCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = Persisted::Load(in, files, version);
    LoadReplacements(in, *this);
    return loaded;
}

} // namespace Commands
