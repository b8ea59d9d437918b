// SPDX-License-Identifier: Apache-2.0
#include "shapes/convert_to_art_text_command.h"

#include "frame/contract/notifications.h"
#include "frame/example.h"
#include "platform/document/document_controller.h"
#include "platform/document/object_style.h"
#include "platform/story/reading_direction.h"
#include "shapes/text_examples.h"

#include <cmath>

namespace Commands {

namespace {

using Params = Raster::AffineTransform::Params;

// A glyph with one of these never reaches the new story: it shows nothing, was made for its line alone, ends the story,
// or is drawn by another object.
constexpr unsigned c_leftOut = 588;
static_assert(c_leftOut == (Story::CompositionFlag::c_hidden | Story::CompositionFlag::c_madeForLine |
                            Story::CompositionFlag::c_storyEnd | Story::CompositionFlag::c_drawnApart));

constexpr double c_identityTolerance = 1e-6;

bool IsNearlyIdentity(Params const& p) {
    auto const isNear = [](double a, double b) { return std::fabs(a - b) <= c_identityTolerance; };
    return isNear(p.a, 1) && isNear(p.b, 0) && isNear(p.tx, 0) && isNear(p.c, 0) && isNear(p.d, 1) && isNear(p.ty, 0);
}

bool IsKept(Story::LinePart const& line, std::uint32_t index, bool& inFillerText) {
    unsigned const flags = line.GetCompositionFlags(index);
    bool isKept = false;
    if (line.IsSource(index)) {
        inFillerText = line.GetGlyph(index)->GetClassUID() == Story::FillerTextGlyph::c_classUid;
        isKept = !inFillerText;
    } else {
        isKept =
            (flags & (inFillerText ? Story::CompositionFlag::c_fillerText : Story::CompositionFlag::c_madeText)) != 0;
    }
    return isKept && (flags & c_leftOut) == 0;
}

using LineIterator = Story::ComposedColumn::const_iterator;

bool EndsParagraph(Story::LinePart const& line) { return line.IsHardBreak(true) && !line.IsHardBreak(false); }

// The text that a paragraph shows in the column, from a line to the paragraph's end there.
std::u32string GetTextOfParagraph(LineIterator line, LineIterator end) {
    std::u32string text;
    for (bool isOver = false; line != end && !isOver; ++line) {
        for (std::uint32_t i = 0; i != line->GetSize(); ++i) {
            if ((line->GetCompositionFlags(i) & c_leftOut) == 0)
                text.push_back(line->GetCharacter(i));
        }
        isOver = EndsParagraph(*line);
    }
    return text;
}

// The line's own, with the direction where a paragraph that is continued from another column would find another one in
// the words that are left of it: it would leave its column on the other side.
Story::ParagraphAttsRef GetParagraphAtts(Story::LinePart const& line, std::u32string_view paragraph) {
    auto const own = line.GetParagraphAtts();
    if (Story::BeginsRightToLeft(paragraph) == line.IsRightToLeft())
        return own;
    auto atts = Kernel::MakeCounted<Story::ParagraphAtts>(*own);
    atts->Set(Story::ParagraphAtt::Enum::Direction,
              static_cast<int>(line.IsRightToLeft() ? Story::ParagraphDirection::RightToLeft
                                                    : Story::ParagraphDirection::LeftToRight));
    return atts;
}

void CopyLine(Story::LinePart const& line, Story::ParagraphAttsRef const& paragraphAtts, Story::GlyphSink& sink,
              bool& inFillerText) {
    sink.SetParagraphAtts(paragraphAtts);
    for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
        if (!IsKept(line, i, inFillerText))
            continue;
        sink.SetGlyphAtts(line.GetGlyphAtts(i));
        sink.Add(line.GetGlyph(i)->Clone(Story::GlyphCloneContext::NoCloneGlyphs));
    }
    if (line.IsWholeLineBack() && !line.IsHardBreak(true))
        sink.Add(Story::c_lineSeparator);
}

void CopyChildren(Node const& from, Node& to) {
    CloneContext context(CloneType::Copy);
    for (int list = 0; list != c_childListCount; ++list) {
        auto const type = static_cast<NodeChildListType>(list);
        for (Node const* child = from.GetFirstChild(type); child != nullptr; child = child->GetNextSibling())
            to.InsertChild(type, child->Clone(context), nullptr);
    }
}

} // namespace

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

Kernel::LocalisedString ConvertToArtTextCommand::GetDescription() const {
    return Kernel::LocalisedString("Convert to Art Text", "Command description");
}

Kernel::Counted<DocumentCommand> ConvertToArtTextCommand::Clone() const {
    return Kernel::MakeCounted<ConvertToArtTextCommand>();
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
    m_oldSelection = m_documentController->GetCurrentSelection();
    m_workSelection = Kernel::MakeCounted<MutableSelection>();
    SelectionCommandBase::Do();
    BeginReplacing(*this);
    ComposeSelectedFrames();
    SelectionCommand::Do();
    m_composed.clear();
    m_newSelection = m_workSelection->CloneImmutable();
    m_workSelection.reset();
    m_documentController->SetSelection(m_newSelection, false);
}

void ConvertToArtTextCommand::Undo() {
    BeginExchanging();
    SelectionCommand::Undo();
    m_documentController->SetSelection(m_oldSelection, false);
}

void ConvertToArtTextCommand::Redo() {
    BeginExchanging();
    SelectionCommand::Redo();
    m_documentController->SetSelection(m_newSelection, false);
}

void ConvertToArtTextCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    bool const undone = m_direction == Direction::Undo;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<NewSelectionNotification>(
        undone ? m_oldSelection : m_newSelection, undone ? m_newSelection : m_oldSelection, controller, m_preview));
    NotifyDoRedo(controller, m_preview, notifications);
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
    auto const group = Kernel::MakeCounted<GroupNode>();
    bool inFillerText = false;
    for (auto const& column : *composed) {
        if (auto text = MakeNewNode(node, column, inFillerText))
            group->InsertChild(NodeChildListType::Plain, std::move(text), nullptr);
    }
    if (!group->HasChildren(NodeChildListType::Plain))
        return;
    Kernel::Counted<Node> replacement = group;
    if (group->CountChildren(NodeChildListType::Plain) == 1)
        replacement = group->GetFirstChild(NodeChildListType::Plain)->RemoveFromParent();
    replacement->SetUserDescription(node->GetDescription(false));
    ObjectReplacementCommandHelper::DoReplaceObject(node, replacement, *this, *this);
    if (Kernel::CastPointer<TextNode>(replacement.get()) != nullptr)
        m_workSelection->AddItem(
            Kernel::MakeCounted<SubSelectionItem>(replacement, Kernel::MakeCounted<TextSelection>(0, 1)), false);
    else
        m_workSelection->AddSelectable(replacement, false);
}

Kernel::Counted<ArtTextNode>
ConvertToArtTextCommand::MakeNewNode(Kernel::Counted<FrameTextNode> const& node,
                                     Kernel::Counted<Story::ComposedColumn const> const& column,
                                     bool& inFillerText) const {
    if (column->empty())
        return {};
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    Story::ParagraphAttsRef paragraphAtts;
    for (auto line = column->begin(); line != column->end(); ++line) {
        if (line == column->begin() || EndsParagraph(*std::prev(line)))
            paragraphAtts = GetParagraphAtts(*line, GetTextOfParagraph(line, column->end()));
        CopyLine(*line, paragraphAtts, sink, inFillerText);
    }
    sink.Flush();
    auto const scale = node->GetTextRenderScale();
    if (!IsNearlyIdentity(scale))
        story->FormatText(*Story::TransformDelta(scale, true));
    auto const text = Kernel::MakeCounted<ArtTextNode>(story, scale.Apply(column->GetArtOrigin()));
    ObjectStyle style;
    auto const document = m_documentController->GetDocument();
    style.Set(node, document->GetFormat(), {}, document->GetTextStyleSheet(), ObjectStyleMask(), {}, false);
    style.Apply(text, m_documentController, false);
    text->SetTransform(node->GetTransform(false, false), false);
    text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    CopyChildren(*node, *text);
    return text;
}

bool ConvertToArtTextCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = Persisted::Load(in, files, version);
    LoadReplacements(in, *this);
    return loaded;
}

static ExampleRegistration const s_convertToArtTextExample({
    .className = "ConvertToArtTextCommand",
    .prepare = ExampleDocuments::TextFrames,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<ConvertToArtTextCommand>();
    },
    .keptByContract = {},
});

} // namespace Commands
