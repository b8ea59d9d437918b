// SPDX-License-Identifier: Apache-2.0
#include "tests/laws/text_command_examples.h"

#include "platform/document/alter_toc_command.h"
#include "platform/document/index_commands.h"
#include "platform/document/text_commands.h"
#include "platform/document/text_style_command.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/kernel/type_name.h"
#include "platform/story/drop_cap.h"
#include "platform/story/field_glyphs.h"
#include "tests/examples/scenes/contents_documents.h"
#include "tests/examples/scenes/index_documents.h"
#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"

namespace {

using Frame = Kernel::Counted<FrameTextNode>;
using Ranges = std::vector<Story::SelectionRange>;

constexpr char c_field[] = "field-of-the-examples";

// A chain of five frames, a frame of its own and an art text.
struct Texts {
    std::vector<Frame> chain;
    Frame plain;
    Kernel::Counted<ArtTextNode> art;
};

Texts PutTexts(DocumentController& controller) {
    Texts texts;
    auto& spread = *controller.GetCurrentSpread();
    std::string text;
    for (int i = 0; i != 9; ++i)
        text += "Some words of this text stand in each frame of the chain, so that it is long enough.\n";
    for (int i = 0; i != 5; ++i) {
        auto frame = i == 0 ? ExampleDocuments::MakeTextFrame({50, 50, 200, 150}, text.c_str())
                            : Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 200, 150});
        frame->SetTransform({1, 0, 220.0 * (i % 3), 0, 1, 130.0 * (i / 3)}, false);
        ExampleDocuments::Append(spread, frame);
        texts.chain.push_back(std::move(frame));
    }
    FrameTextNode::LinkAll(texts.chain);
    texts.plain =
        ExampleDocuments::MakeTextFrame({50, 400, 300, 600}, "First words of a text.\nAnd a second paragraph.");
    auto const story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText({0, 0}, Story::GlyphString(U"Art\u2028text"));
    texts.art = Kernel::MakeCounted<ArtTextNode>(story, Kernel::PointT<double>{400, 450});
    ExampleDocuments::Append(spread, texts.plain);
    ExampleDocuments::Append(spread, texts.art);
    return texts;
}

Kernel::Counted<SelectionItem const> Part(Kernel::Counted<TextNode> const& text, Ranges ranges) {
    return Kernel::MakeCounted<SubSelectionItem>(text, Kernel::MakeCounted<TextSelection>(std::move(ranges)));
}

void Select(DocumentController& controller, Selection::Items items) {
    controller.SetSelection(Kernel::MakeCounted<Selection const>(std::move(items), false), false);
}

// Only the last frame of the chain, as an object.
void FifthFrame(DocumentController& controller) {
    ExampleDocuments::Select(controller, {PutTexts(controller).chain[4]});
}

// A part of what the last frame of the chain shows.
void PartOfFifthFrame(DocumentController& controller) {
    auto const texts = PutTexts(controller);
    auto const begin = static_cast<int>(texts.chain[4]->MakeComposedFrame()->GetRange().begin);
    Select(controller, {Part(texts.chain[4], {{begin + 6, begin + 20}})});
}

// Parts of two texts, one of them from its end to its begin.
void PartsOfTexts(DocumentController& controller) {
    auto const texts = PutTexts(controller);
    Select(controller, {Part(texts.plain, {{0, 5}, {24, 12}}), Part(texts.art, {{1, 3}})});
}

void InsertAt(TextNode& text, std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
    auto const story = text.GetMutableStory(true);
    story->ReplaceText({index, index}, Story::GlyphString(glyph));
    text.OnStoryChange(nullptr, true, Story::StoryChange(false), false);
}

// A field that three texts show, and the number of the page and of all pages.
void Fields(DocumentController& controller) {
    auto const texts = PutTexts(controller);
    // Examples may share a document.
    auto& source = controller.GetDocument()->GetCustomFieldSource();
    if (!source.Has(c_field))
        source.AddField(c_field, "Name", "a value of some words");
    auto const makeField = [] { return Kernel::MakeCounted<Story::CustomFieldGlyph>(Kernel::String(c_field)); };
    auto const begin = texts.chain[4]->MakeComposedFrame()->GetRange().begin;
    InsertAt(*texts.chain[0], begin + 5, makeField());
    InsertAt(*texts.plain, 5, makeField());
    InsertAt(*texts.plain, 20, makeField());
    InsertAt(*texts.plain, 30, Kernel::MakeCounted<Story::PageNumberGlyph>());
    InsertAt(*texts.plain, 31, Kernel::MakeCounted<Story::PageCountGlyph>());
    InsertAt(*texts.art, 2, makeField());
    ExampleDocuments::Select(controller, {texts.chain[4], texts.plain, texts.art});
}

// References to places in the last frame of the chain, one of them to an anchor that stands nowhere.
void References(DocumentController& controller) {
    using Type = Story::CrossReferenceTargetType;
    auto const texts = PutTexts(controller);
    auto const anchor = Kernel::MakeCounted<Story::AnchorData>("anchor-1", "The place");
    auto const begin = texts.chain[4]->MakeComposedFrame()->GetRange().begin;
    InsertAt(*texts.chain[0], begin + 3, Kernel::MakeCounted<Story::AnchorGlyph>(anchor));
    auto const style = Kernel::MakeCounted<Story::CrossReferenceAtt const>("Style", "see {text} on page {page}");
    InsertAt(*texts.plain, 5, Kernel::MakeCounted<Story::CrossReferenceGlyph>(style, Type::Page, anchor, false));
    InsertAt(*texts.art, 2,
             Kernel::MakeCounted<Story::CrossReferenceGlyph>(Story::CrossReferenceAtt::GetDefault(), Type::AnchorName,
                                                             anchor, false));
    InsertAt(*texts.plain, 2,
             Kernel::MakeCounted<Story::CrossReferenceGlyph>(
                 style, Type::Text, Kernel::MakeCounted<Story::AnchorData>("anchor-2", "Nowhere"), false));
    ExampleDocuments::Select(controller, {texts.plain});
}

void IndexMarks(DocumentController& controller) { ExampleDocuments::TextsWithIndexMarks(controller); }

// A part of the last frame of a chain, and then one of another text.
void PartsOfIndexedTexts(DocumentController& controller) {
    auto const texts = ExampleDocuments::TextsWithIndexMarks(controller);
    Select(controller, {Part(texts.second, {{300, 310}}), Part(texts.other, {{2, 4}})});
}

// Two tables of contents whose lines are not made yet.
void StaleTables(DocumentController& controller) {
    ExampleDocuments::TextsWithContents(controller, {ExampleDocuments::c_tocStyle, ExampleDocuments::c_tocStyle});
}

template <class C, class... Own>
CommandExample Example(void (*prepare)(DocumentController&), Own const&... own) {
    return {std::string(Kernel::TypeName<C>()), prepare, [=](DocumentController&) -> Kernel::Counted<DocumentCommand> {
                return Kernel::MakeCounted<C>(own..., Kernel::Counted<Selection const>());
            }};
}

} // namespace

std::vector<CommandExample> TextCommandExamples() {
    auto const large = Story::MakeDelta(Story::GlyphAtt::Double::Size, 24);
    auto const styled = Story::MakeDelta(Story::ParagraphAtt::String::StyleName, Kernel::String("Heading"));
    auto const centred = Story::MakeDelta(Story::ParagraphAtt::Enum::Alignment, 1);
    auto const capped = Story::MakeDelta(
        Story::ParagraphAtt::Object::DropCap,
        Kernel::MakeCounted<Story::DropCapAtt>(Story::DropCapAtt::Values{.lines = 2, .characters = 1, .gap = 3}));
    auto const vertical = Story::MakeDelta(Story::WritingMode::Vertical);
    Kernel::Counted<Story::Glyph const> const field =
        Kernel::MakeCounted<Story::CustomFieldGlyph>(Kernel::String(c_field));
    Kernel::Counted<Story::Glyph const> const filler = Kernel::MakeCounted<Story::FillerTextGlyph>(8u);
    return {
        Example<FormatTextCommand>(FifthFrame, large),
        Example<FormatTextCommand>(PartOfFifthFrame, large),
        Example<FormatTextCommand>(PartsOfTexts, centred),
        Example<FormatTextCommand>(PartsOfTexts, styled),
        Example<FormatTextCommand>(PartsOfTexts, capped),
        Example<FormatTextCommand>(FifthFrame, vertical),
        Example<FormatTextCommand>(PartsOfTexts, vertical),
        Example<InsertTextCommand>(PartOfFifthFrame, Kernel::String("other words\nand a paragraph")),
        Example<InsertTextCommand>(PartsOfTexts, Kernel::String("x")),
        Example<DeleteTextCommand>(PartsOfTexts),
        Example<DeleteTextCommand>(FifthFrame),
        Example<InsertGlyphsCommand>(PartsOfTexts, filler),
        Example<InsertGlyphsCommand>(Fields, field),
        Example<ExpandFieldGlyphCommand>(Fields),
        {"UpdateCrossReferencesCommand", References,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<UpdateCrossReferencesCommand>(Kernel::Counted<Selection const>(), true, false);
         }},
        {"UpdateCrossReferencesCommand", References,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<UpdateCrossReferencesCommand>(Kernel::Counted<Selection const>(), false, true);
         }},
        {"AlterTocCommand", StaleTables,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> { return AlterTocCommand::MakeUpdateTocs(); }},
        {"AlterTocCommand", StaleTables,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             return AlterTocCommand::MakeInsertToc(Kernel::MakeCounted<Story::TocAtt>(ExampleDocuments::c_tocStyle, 3u),
                                                   ExampleDocuments::MakeCaretInTable(controller, 0));
         }},
        {"TextStyleCommand", StaleTables,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             auto const style = controller.GetDocument()->GetTextStyleSheet()->GetStyle("Heading 1")->Clone();
             style->SetDelta(Story::MakeDelta(Story::GlyphAtt::Double::Size, 30));
             return TextStyleCommand::MakeSetStyle(
                 "Heading 1", Kernel::Consolidated<Story::Style>(Kernel::Counted<Story::Style const>(style)));
         }},
        {"SetCustomFieldValueCommand", Fields,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<SetCustomFieldValueCommand>(c_field, "another value, which is longer");
         }},
        {"InsertIndexMarkCommand", PartsOfIndexedTexts,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<InsertIndexMarkCommand>(ExampleDocuments::FindTopic(controller, "Ships"),
                                                                "Bold");
         }},
        {"AddIndexTopicCommand", IndexMarks,
         [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<AddIndexTopicCommand>(std::vector<Kernel::String>{"Fish", "", "Herring"},
                                                              ExampleDocuments::FindTopic(controller, "Animals"),
                                                              false);
         }},
        {"AddIndexTopicCommand", IndexMarks,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<AddIndexTopicCommand>(
                 std::vector<Kernel::String>{"Animals", "Whales", "Blue whale"}, nullptr, true);
         }},
        {"SetLocalisableStringCommand", IndexMarks,
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             Story::GlyphString text(U", ");
             text.Add(Kernel::MakeCounted<Story::FillerTextGlyph>(1u));
             return Kernel::MakeCounted<SetLocalisableStringCommand>(Story::Language::Make("sv"), "BetweenListItems",
                                                                     text, Story::GlyphString());
         }},
        {"SetLocalisableStringCommand",
         [](DocumentController& controller) {
             IndexMarks(controller);
             controller.GetDocument()->GetIndex().SetString("AfterTopic", Story::GlyphString(U": "));
         },
         [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
             return Kernel::MakeCounted<SetLocalisableStringCommand>(
                 Kernel::Counted<Story::Language const>(), "AfterTopic", Story::GlyphString(), Story::GlyphString());
         }},
    };
}
