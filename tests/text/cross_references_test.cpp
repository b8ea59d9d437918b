// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/cast.h"
#include "tests/examples/scenes/field_documents.h"
#include "tests/support/records.h"
#include "tests/support/stored_graph.h"
#include "text/change_cross_reference_command.h"
#include "text/legacy_set_cross_reference_text_for_language_command.h"
#include "text/set_anchor_data_guid_command.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using ExampleDocuments::MakeReferenceStyle;
using Kernel::MakeCounted;
using Story::CrossReferenceTargetType;

class CrossReferences : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
        texts = ExampleDocuments::TextsWithReferences(*document);
    }
    auto References() const { return ExampleDocuments::ReferencesIn(*texts.head->GetStory()); }
    Kernel::Counted<ChangeCrossReferenceCommand> Run(CrossReferenceTargetType type,
                                                     Kernel::Counted<Story::CrossReferenceAtt const> const& att,
                                                     Kernel::Counted<Story::AnchorData> const& anchor,
                                                     Kernel::Counted<Selection const> const& selection) {
        auto const command = MakeCounted<ChangeCrossReferenceCommand>(type, att, anchor, true, selection);
        document->Run(command);
        return command;
    }
    static Kernel::Counted<Selection const> Whole(std::vector<Kernel::Counted<Node>> const& nodes) {
        return MakeCounted<Selection const>(nodes);
    }

    Kernel::Counted<DocumentController> document;
    ExampleDocuments::ReferenceTexts texts;
};

// Three frames of one story: were it taken three times, the third pass would keep what the first one had set.
TEST_F(CrossReferences, OfAStoryInThreeSelectedFramesAreTakenOnce) {
    auto const before = document->GetHash(false);
    Run(CrossReferenceTargetType::AnchorName, MakeReferenceStyle("New", "{}"), texts.otherAnchor,
        Whole({texts.head, texts.second, texts.third}));
    ASSERT_EQ(2u, References().size());
    for (auto const& reference : References()) {
        EXPECT_EQ("New", reference->GetAtt()->GetName());
        EXPECT_EQ("Another place", reference->GetText());
    }
    document->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ("(old)", References()[0]->GetText());
}

TEST_F(CrossReferences, KeepTheirStyleWhereNoneIsGiven) {
    auto const before = References();
    auto const command = Run(CrossReferenceTargetType::AnchorName, nullptr, texts.otherAnchor, Whole({texts.head}));
    auto const after = References();
    ASSERT_EQ(2u, after.size());
    for (std::size_t i = 0; i != 2; ++i) {
        EXPECT_EQ(before[i]->GetAtt(), after[i]->GetAtt());
        EXPECT_EQ(before[i]->GetUiScale(), after[i]->GetUiScale());
        EXPECT_EQ(texts.otherAnchor, after[i]->GetAnchorData());
        EXPECT_EQ(CrossReferenceTargetType::AnchorName, after[i]->GetTargetType());
        EXPECT_TRUE(after[i]->GetAnchorFlag());
    }
    EXPECT_TRUE(command->IsUnsupportedBeta()) << "a step without a style";
    document->Undo();
    auto const undone = References();
    EXPECT_EQ(CrossReferenceTargetType::Page, undone[0]->GetTargetType());
    EXPECT_EQ(CrossReferenceTargetType::Text, undone[1]->GetTargetType());
    for (auto const& reference : undone) {
        EXPECT_EQ(texts.anchor, reference->GetAnchorData());
        EXPECT_FALSE(reference->GetAnchorFlag());
    }
}

TEST_F(CrossReferences, KeepTheirTargetWhereNoneIsGiven) {
    Run(CrossReferenceTargetType::AnchorName, MakeReferenceStyle("New", "{}"), nullptr, Whole({texts.head}));
    EXPECT_EQ(CrossReferenceTargetType::Page, References()[0]->GetTargetType());
    EXPECT_EQ(CrossReferenceTargetType::Text, References()[1]->GetTargetType());
    EXPECT_EQ(texts.anchor, References()[0]->GetAnchorData());
}

TEST_F(CrossReferences, EachGetTheirOwnStyleBack) {
    auto const command =
        Run(CrossReferenceTargetType::Page, MakeReferenceStyle("New", "{page}"), nullptr, Whole({texts.head}));
    EXPECT_FALSE(command->IsUnsupportedBeta());
    document->Undo();
    EXPECT_EQ("Page", References()[0]->GetAtt()->GetName());
    EXPECT_EQ("Words", References()[1]->GetAtt()->GetName());
    document->Redo();
    EXPECT_EQ("New", References()[0]->GetAtt()->GetName());
    EXPECT_EQ("New", References()[1]->GetAtt()->GetName());
}

// The scale of the text is taken from the frame when a reference changes its style, and only then.
TEST_F(CrossReferences, TakeTheScaleOfTheirFrameWithAnotherStyle) {
    texts.head->SetFrameTextScale({0.5, 0, 0, 0, 0.5, 0});
    Run(CrossReferenceTargetType::Page, MakeReferenceStyle("Page", "see {page}"), nullptr, Whole({texts.head}));
    EXPECT_EQ(Raster::AffineTransform::Params(), References()[0]->GetUiScale()) << "it had the style";
    EXPECT_EQ(texts.head->GetTextUiScale(), References()[1]->GetUiScale());
    EXPECT_EQ("see {page}", References()[0]->GetAtt()->GetPattern());
}

// The version of the story that an older step keeps has its references as they were.
TEST_F(CrossReferences, AreNotChangedInOlderVersionsOfTheText) {
    auto const older = texts.head->GetStory();
    Run(CrossReferenceTargetType::Page, MakeReferenceStyle("New", "{page}"), texts.otherAnchor, Whole({texts.head}));
    auto const kept = ExampleDocuments::ReferencesIn(*older);
    EXPECT_EQ("Page", kept[0]->GetAtt()->GetName());
    EXPECT_EQ(texts.anchor, kept[0]->GetAnchorData());
    EXPECT_EQ("(old)", kept[0]->GetText());
}

TEST_F(CrossReferences, AreAskedForBeforeTheyAreChanged) {
    auto const part = [&](int begin, int end) {
        return Kernel::MakeCounted<Selection const>(texts.head, MakeCounted<TextSelection>(begin, end));
    };
    EXPECT_TRUE(ChangeCrossReferenceCommand::CanApplyTo(Whole({texts.second})));
    EXPECT_TRUE(ChangeCrossReferenceCommand::CanApplyTo(part(4, 5)));
    EXPECT_FALSE(ChangeCrossReferenceCommand::CanApplyTo(part(0, 4)));
    EXPECT_FALSE(ChangeCrossReferenceCommand::CanApplyTo(Whole({texts.other})));
}

// They kept nothing of references, so that history stops at them.
TEST_F(CrossReferences, StepsOfTheFirstVersionLoadWithoutReferences) {
    auto const command = Run(CrossReferenceTargetType::Page, MakeReferenceStyle("New", "{page}"), texts.otherAnchor,
                             Whole({texts.head}));
    ASSERT_FALSE(command->IsUnsupportedBeta());
    auto storage = Support::SaveToMemory({command});
    auto graph = Support::ReadGraph(storage);
    int count = 0;
    for (auto& object : graph.objects) {
        if (object.classTag == "CCRA") {
            EXPECT_EQ(2u, object.version);
            object.version = 1;
            ++count;
        }
    }
    ASSERT_EQ(1, count);
    Support::WriteGraph(graph, storage);
    auto const loaded = Kernel::Cast<ChangeCrossReferenceCommand>(Support::LoadFromMemory(storage).at(0));
    ASSERT_TRUE(loaded);
    EXPECT_TRUE(loaded->IsUnsupportedBeta());
    // None of the lists was read: it writes empty ones.
    for (auto const& object : Support::ReadGraph(Support::SaveToMemory({loaded})).objects) {
        if (object.classTag != "CCRA")
            continue;
        for (auto const& field : object.fields) {
            if (field.tag == "OTrg" || field.tag == "OAtt" || field.tag == "OUiS" || field.tag == "OAnc") {
                EXPECT_TRUE(field.objects.empty()) << field.tag;
                EXPECT_LE(field.value.size(), 8u) << field.tag;
            }
            EXPECT_NE("Att_", field.tag);
            EXPECT_NE("UCmd", field.tag);
        }
    }
}

TEST_F(CrossReferences, ToAnAnchorFollowItsIdentity) {
    auto const command = MakeCounted<SetAnchorDataGUIDCommand>(texts.anchor, "anchor-moved");
    auto const before = document->GetHash(false);
    auto const expectNothingTold = [&] {
        Kernel::NotificationList told;
        command->Notify(told);
        EXPECT_TRUE(told.empty());
    };
    document->Run(command);
    EXPECT_EQ("anchor-moved", References()[0]->GetAnchorData()->GetUid());
    EXPECT_NE(before, document->GetHash(false));
    expectNothingTold();
    document->Undo();
    EXPECT_EQ("anchor-end", texts.anchor->GetUid());
    EXPECT_EQ(before, document->GetHash(false));
    expectNothingTold();
    document->Redo();
    EXPECT_EQ("anchor-moved", texts.anchor->GetUid());
    expectNothingTold();
}

TEST_F(CrossReferences, OldStepsOfNoEffectHaveNoWords) {
    auto const command = Kernel::Cast<DocumentCommand>(
        LegacySetCrossReferenceTextForLanguageCommand::GetTypeClassProperties()->Create());
    EXPECT_TRUE(command->GetDescription().GetText().empty());
    EXPECT_TRUE(command->IsUnsupportedBeta());
    EXPECT_FALSE(command->Clone());
}

} // namespace
