// SPDX-License-Identifier: Apache-2.0
#include "frame/selection/selection_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/page_numbers.h"
#include "platform/document/story_visitor.h"
#include "platform/document/text_field_data_source.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/kernel/exception.h"
#include "platform/story/field_glyphs.h"

#include "tests/engine/document/shown_text.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using Frame = Kernel::Counted<FrameTextNode>;
using Kernel::String;

class TextFields : public testing::Test {
protected:
    TextFields() : document(DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 6)) {
        auto const spreads = document->GetDocument()->GetSpreads();
        for (auto const& spread : spreads) {
            frames.push_back(Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 10, 300, 50}));
            spread->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
        }
        plain = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 400, 500, 500});
        spreads[1]->InsertChild(NodeChildListType::Plain, plain, nullptr);
        plain->SetText(Story::GlyphString(U"Value: . Page  of ."), {}, {});
        std::string text;
        for (int i = 0; i != 30; ++i)
            text += "Words that go from frame to frame. ";
        frames[0]->SetText(Story::GlyphString(String(text)), {}, {});
        FrameTextNode::LinkAll(frames);
    }
    static void Insert(TextNode& text, std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
        auto const story = text.GetMutableStory(true);
        story->ReplaceText({index, index}, Story::GlyphString(glyph));
        text.OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    }
    CustomFieldSource& Source() { return document->GetDocument()->GetCustomFieldSource(); }
    static Kernel::Counted<Story::Glyph const> Field(char const* guid) {
        return Kernel::MakeCounted<Story::CustomFieldGlyph>(String(guid));
    }
    void Run(Kernel::Counted<DocumentCommand> const& command) { document->Run(command); }
    static Kernel::Counted<Selection const> Whole(Kernel::Counted<Node> const& node) {
        return Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{node});
    }

    Kernel::Counted<DocumentController> document;
    std::vector<Frame> frames;
    Frame plain;
};

TEST_F(TextFields, AFieldShowsItsValueWhateverBecomesOfIt) {
    Insert(*plain, 7, Field("a"));
    EXPECT_EQ(Shown(*plain), "Value: . Page  of .");
    Source().AddField("a", "Name", "one");
    EXPECT_EQ(Shown(*plain), "Value: one. Page  of .");
    Source().SetFieldValue("a", "another");
    EXPECT_EQ(Shown(*plain), "Value: another. Page  of .");
    Source().SetFieldName("a", "Other name");
    EXPECT_EQ(Source().GetFieldName("a"), String("Other name"));
    Source().DeleteField("a");
    EXPECT_EQ(Shown(*plain), "Value: . Page  of .");
    EXPECT_EQ(Source().GetFieldValue("a"), String());
}

TEST_F(TextFields, AChangedValueLeavesTextsAloneThatDoNotShowIt) {
    Source().AddField("a", "Name", "one");
    auto const before = frames[0]->MakeComposedText();
    auto const composition = frames[0]->GetComposition();
    Source().SetFieldValue("a", "two");
    EXPECT_EQ(frames[0]->MakeComposedText(), before);
    EXPECT_EQ(frames[0]->GetComposition(), composition);
}

TEST_F(TextFields, PagesAreNumberedThroughAllSpreads) {
    Insert(*plain, 18, Kernel::MakeCounted<Story::PageCountGlyph>());
    Insert(*plain, 14, Kernel::MakeCounted<Story::PageNumberGlyph>());
    EXPECT_EQ(Shown(*plain), "Value: . Page 2 of 6.");
    document->GetDocument()->GetSpreads()[0]->RemoveFromParent();
    EXPECT_EQ(Shown(*plain), "Value: . Page 1 of 5.");
    // Two pages side by side: the place of the frame decides.
    auto const spread = document->GetDocument()->GetSpreads()[0];
    spread->AddPage(Kernel::MakeCounted<PageNode>(Kernel::RectT<double>{600, 0, 1200, 800}));
    EXPECT_EQ(Shown(*plain), "Value: . Page 1 of 6.");
    plain->SetTransform({1, 0, 600, 0, 1, 0}, false);
    EXPECT_EQ(Shown(*plain), "Value: . Page 2 of 6.");
    plain->SetTransform({1, 0, 0, 0, 1, 2000}, false);
    EXPECT_EQ(Shown(*plain), "Value: . Page  of 6.");
}

TEST_F(TextFields, ACaptionShowsTheMetadataOfItsObject) {
    auto const group = Kernel::MakeCounted<GroupNode>(), other = Kernel::MakeCounted<GroupNode>();
    for (auto const& node : {group, other})
        document->GetDocument()->GetSpreads()[0]->InsertChild(NodeChildListType::Plain, node, nullptr);
    auto const caption = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 400, 500, 500});
    caption->SetText(Story::GlyphString(U"Title: ."), {}, {});
    Insert(*caption, 7, Kernel::MakeCounted<Story::MetadataGlyph>("title"));
    group->InsertChild(NodeChildListType::Captions, caption, nullptr);
    EXPECT_EQ(Shown(*caption), "Title: .");
    group->AddMetadataValueForKey("author", "nobody");
    group->AddMetadataValueForKey("title", "one");
    EXPECT_EQ(Shown(*caption), "Title: one.");
    for (char const* const value : {"", "two"})
        group->AddMetadataValueForKey("title", value);
    EXPECT_EQ(Shown(*caption), "Title: one, two.");
    auto const flow = caption->GetTextFlow();
    TextFieldDataSource const fields{Kernel::NonCounted<TextFlow const>(flow)};
    EXPECT_EQ(fields.GetMetadata("title"), "one, two");
    EXPECT_EQ(fields.GetMetadata("author"), "");
    EXPECT_TRUE(fields.IsEqualTo(*caption->GetComposition()->GetFields()));
    group->RemoveMetadataValuesForKey("title");
    EXPECT_FALSE(fields.IsEqualTo(TextFieldDataSource(Kernel::NonCounted<TextFlow const>(flow))));
    EXPECT_EQ(Shown(*caption), "Title: .");
    // The object that it belongs to decides, not one further up, and not one that it merely stands in.
    other->AddMetadataValueForKey("title", "other");
    caption->RemoveFromParent();
    other->InsertChild(NodeChildListType::Captions, caption, nullptr);
    EXPECT_EQ(Shown(*caption), "Title: other.");
    caption->RemoveFromParent();
    other->InsertChild(NodeChildListType::Plain, caption, nullptr);
    EXPECT_EQ(Shown(*caption), "Title: .");
}

TEST_F(TextFields, ACaptionIsComposedAnewOnlyForMetadataThatItShows) {
    auto const group = Kernel::MakeCounted<GroupNode>();
    document->GetDocument()->GetSpreads()[0]->InsertChild(NodeChildListType::Plain, group, nullptr);
    plain->RemoveFromParent();
    group->InsertChild(NodeChildListType::Captions, plain, nullptr);
    Insert(*plain, 7, Kernel::MakeCounted<Story::MetadataGlyph>("title"));
    group->AddMetadataValueForKey("title", "one");
    EXPECT_EQ(Shown(*plain), "Value: one. Page  of .");
    auto const composition = plain->GetComposition();
    group->AddMetadataValueForKey("author", "nobody");
    EXPECT_EQ(plain->GetComposition(), composition);
    Source().AddField("a", "Name", "one");
    EXPECT_EQ(plain->GetComposition(), composition);
    group->AddMetadataValueForKey("title", "two");
    EXPECT_NE(plain->GetComposition(), composition);
}

TEST_F(TextFields, ExpandedMetadataStaysAsText) {
    auto const group = Kernel::MakeCounted<GroupNode>();
    document->GetDocument()->GetSpreads()[0]->InsertChild(NodeChildListType::Plain, group, nullptr);
    plain->RemoveFromParent();
    group->InsertChild(NodeChildListType::Captions, plain, nullptr);
    Insert(*plain, 7, Kernel::MakeCounted<Story::MetadataGlyph>("title"));
    group->AddMetadataValueForKey("title", "one");
    Run(Kernel::MakeCounted<ExpandFieldGlyphCommand>(Whole(plain)));
    group->RemoveMetadataValuesForKey("title");
    EXPECT_EQ(Shown(*plain), "Value: one. Page  of .");
}

TEST_F(TextFields, AFrameInNoTreeIsComposedWithTheDocumentThatItIsGiven) {
    Source().AddField("a", "Name", "one");
    auto const frame = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, 0, 200, 50});
    frame->SetText(Story::GlyphString(Field("a")), {}, {});
    EXPECT_EQ(Shown(*frame), "");
    frame->SetDocumentForComposition(document->GetDocument().get());
    EXPECT_EQ(Shown(*frame), "one");
    auto atts = Kernel::MakeCounted<Story::GlyphAtts>();
    atts->Set(Story::GlyphAtt::Double::Size, 40);
    document->GetDocument()->SetTextStyleSheet(
        Kernel::MakeCounted<Story::StyleSheet const>()->With(Kernel::MakeCounted<Story::Style>(
            "Loud", Story::StyleType::Paragraph, "",
            Story::DeltaRef(Kernel::MakeCounted<Story::Delta>(Story::Delta::Values{atts, {}})))));
    double const width = frame->MakeComposedText()->GetColumn(0).begin()->GetWidth();
    frame->GetMutableStory(true)->FormatText(*Story::MakeDelta(Story::ParagraphAtt::String::StyleName, String("Loud")));
    frame->OnStoryChange(nullptr, true, Story::StoryChange(true), false);
    EXPECT_NEAR(frame->MakeComposedText()->GetColumn(0).begin()->GetWidth(), 2.5 * width, width * 0.02);
}

TEST_F(TextFields, TheCatalogueKeepsItsOrderAndCountsOnlyWithFields) {
    auto const empty = document->GetHash(false);
    for (auto const* guid : {"c", "a", "b"})
        Source().AddField(guid, String(std::string("name of ") + guid), "value");
    auto const full = document->GetHash(false);
    EXPECT_NE(full, empty);
    EXPECT_EQ(Source().GetGuids(), (std::vector<String>{"c", "a", "b"}));
    EXPECT_THROW(Source().AddField("a", "x", "y"), Kernel::Exception);
    EXPECT_THROW(Source().AddField("", "x", "y"), Kernel::Exception);
    EXPECT_THROW(Source().DeleteField("d"), Kernel::Exception);
    EXPECT_THROW(Source().SetFieldName("d", "x"), Kernel::Exception);
    EXPECT_THROW(Source().SetFieldValue("d", "x"), Kernel::Exception);
    Source().DeleteField("a");
    EXPECT_NE(document->GetHash(false), full);
    auto const path =
        (std::filesystem::temp_directory_path() / ("fields-" + std::to_string(getpid()) + ".redraft")).string();
    document->Save(path);
    auto const loaded = DocumentController::Open(path, false);
    std::filesystem::remove(path);
    auto& source = loaded->GetDocument()->GetCustomFieldSource();
    EXPECT_EQ(source.GetGuids(), (std::vector<String>{"c", "b"}));
    source.AddField("a", "name of a", "value");
    EXPECT_EQ(loaded->GetHash(false), full);
    EXPECT_FALSE(source.Has(source.MakeGuid()));
    for (auto const* guid : {"c", "a", "b"})
        source.DeleteField(guid);
    EXPECT_EQ(loaded->GetHash(false), empty);
}

// A command that edits the story of whatever node it is given.
class Shout final : public SelectionCommandWithSingleInterface<Shout, StoryInterface> {
public:
    using SelectionCommandWithSingleInterface::SelectionCommandWithSingleInterface;
    Kernel::LocalisedString GetDescription() const override { return {"Shout", "Command description"}; }
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return SelectionCommandBase::GetTypeClassProperties();
    }

protected:
    void ReceiveInterface(Kernel::NonCounted<StoryInterface> face) override {
        auto* const text = Kernel::CastPointer<TextNode>(static_cast<AttributeOwner*>(face.get()));
        if (m_direction != Direction::Do)
            return;
        text->GetMutableStory(true)->ReplaceText({0, 0}, Story::GlyphString(U"!"));
        text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    }
};

TEST_F(TextFields, AStoryThatWasEditedThroughAFollowerOfItsHeadComesBack) {
    auto const before = document->GetHash(false);
    auto const first = frames[0]->GetStory();
    for (auto const& selected : {std::vector<Kernel::Counted<Node>>{frames[4]},
                                 std::vector<Kernel::Counted<Node>>{frames[0], frames[4], frames[2]}}) {
        auto const command = Kernel::MakeCounted<Shout>(Kernel::MakeCounted<Selection const>(selected));
        Run(command);
        auto const after = document->GetHash(false);
        EXPECT_NE(after, before);
        EXPECT_EQ(Shown(*frames[0]).substr(0, selected.size()), std::string(selected.size(), '!'));
        document->Undo();
        EXPECT_EQ(document->GetHash(false), before);
        EXPECT_EQ(frames[0]->GetStory(), first);
        document->Redo();
        EXPECT_EQ(document->GetHash(false), after);
        document->Undo();
    }
}

TEST_F(TextFields, InsertedTextIsSelectedByItsEnd) {
    auto const part = Kernel::MakeCounted<TextSelection>(std::vector<Story::SelectionRange>{{0, 5}, {9, 13}});
    auto const selection = Kernel::MakeCounted<Selection const>(
        Selection::Items{Kernel::MakeCounted<SubSelectionItem>(plain, part)}, false);
    Run(Kernel::MakeCounted<InsertTextCommand>(String("Long words"), selection));
    EXPECT_EQ(Shown(*plain), "Long words: . Long words  of .");
    auto const carets = document->GetCurrentSelection()->MakeFirstStorySelection(false).GetRanges(true);
    EXPECT_EQ(carets, Story::StoryRanges({{10, 10}, {24, 24}}));
    document->Undo();
    EXPECT_EQ(Shown(*plain), "Value: . Page  of .");
}

TEST_F(TextFields, ExpandedFieldsReadAsBefore) {
    Source().AddField("a", "Name", "one\ntwo");
    Insert(*plain, 18, Kernel::MakeCounted<Story::PageCountGlyph>());
    Insert(*plain, 14, Kernel::MakeCounted<Story::PageNumberGlyph>());
    Insert(*plain, 7, Field("a"));
    Insert(*plain, 8, Field("a"));
    auto const shown = Shown(*plain);
    Run(Kernel::MakeCounted<ExpandFieldGlyphCommand>(Whole(plain)));
    EXPECT_EQ(Shown(*plain), shown);
    EXPECT_TRUE(plain->GetStory()->FindObjects(plain->GetStory()->GetAll()).empty());
    document->Undo();
    EXPECT_EQ(plain->GetStory()->FindObjects(plain->GetStory()->GetAll()).size(), 4u);
}

TEST_F(TextFields, ValuesMergeIntoOneStep) {
    Source().AddField("a", "Name", "one");
    auto const first = Kernel::MakeCounted<SetCustomFieldValueCommand>(String("a"), String("two"));
    EXPECT_TRUE(first->CanMerge(Kernel::MakeCounted<SetCustomFieldValueCommand>(String("a"), String("three"))));
    EXPECT_FALSE(first->CanMerge(Kernel::MakeCounted<SetCustomFieldValueCommand>(String("b"), String("four"))));
    EXPECT_THROW(Run(Kernel::MakeCounted<SetCustomFieldValueCommand>(String("unknown"), String("x"))),
                 Kernel::Exception);
}

class Counting final : public StoryVisitor {
public:
    using StoryVisitor::StoryVisitor;
    std::vector<TextNode const*> met;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const>) override { met.push_back(GetTextNode().get()); }
};

TEST_F(TextFields, AVisitorMeetsEachStoryOnce) {
    Counting all(false);
    all.Visit(Kernel::JailCounted<Node>(document->GetDocument().get()), {});
    EXPECT_EQ(all.met, (std::vector<TextNode const*>{frames[0].get(), plain.get()}));
    frames[0]->SetVisible(false);
    Counting visible(true);
    visible.Visit(Kernel::JailCounted<Node>(document->GetDocument().get()), {});
    EXPECT_EQ(visible.met, (std::vector<TextNode const*>{frames[1].get(), plain.get()}));
    Counting selected(false);
    selected.Visit(Kernel::JailCounted<Node>(document->GetDocument().get()), Whole(frames[4]));
    EXPECT_EQ(selected.met, (std::vector<TextNode const*>{frames[4].get()}));
}

TEST_F(TextFields, ReferencesReadAsTheirTargetsOnceTheyAreUpdated) {
    using Type = Story::CrossReferenceTargetType;
    auto const anchor = Kernel::MakeCounted<Story::AnchorData>("anchor", "Place");
    auto const story = frames[0]->GetStory();
    auto const begin = frames[3]->MakeComposedText()->GetRange().begin;
    Insert(*frames[0], begin + 3, Kernel::MakeCounted<Story::AnchorGlyph>(anchor));
    auto const style = Kernel::MakeCounted<Story::CrossReferenceAtt const>("Style", "p. {page}");
    auto const put = [&](Type type, Kernel::Counted<Story::AnchorData> const& target) {
        Insert(*plain, 7,
               Kernel::MakeCounted<Story::CrossReferenceGlyph>(
                   type == Type::Page ? style : Story::CrossReferenceAtt::GetDefault(), type, target, false));
    };
    put(Type::AnchorName, anchor);
    put(Type::Page, anchor);
    put(Type::Page, Kernel::MakeCounted<Story::AnchorData>("other", "Nowhere"));
    EXPECT_EQ(Shown(*plain), "Value: . Page  of .");
    Run(Kernel::MakeCounted<UpdateCrossReferencesCommand>(Whole(plain), true, false));
    EXPECT_EQ(Shown(*plain), "Value: p. 4Place. Page  of .");
    // More words in front of the anchor.
    auto const index = begin + 3;
    auto const words = story->GetText(frames[0]->MakeComposedText()->GetRange());
    auto const edited = frames[0]->GetMutableStory(true);
    edited->ReplaceText({0, 0}, Story::GlyphString(words));
    frames[0]->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    auto const at = index + static_cast<std::uint32_t>(words.size());
    auto const target = frames[0]->GetTextFlow()->GetNode({frames[0]->GetStory(), at});
    auto const page = PageNumbers(*document->GetDocument()).GetPageLabel(*target).ToStdString();
    EXPECT_EQ(page, "5");
    EXPECT_EQ(Shown(*plain), "Value: p. 4Place. Page  of .");
    Run(Kernel::MakeCounted<UpdateCrossReferencesCommand>(Kernel::Counted<Selection const>(), false, false));
    EXPECT_EQ(Shown(*plain), "Value: p. " + page + "Place. Page  of .");
    document->Undo();
    EXPECT_EQ(Shown(*plain), "Value: p. 4Place. Page  of .");
    document->Undo();
    EXPECT_EQ(Shown(*plain), "Value: . Page  of .");
}

} // namespace
