// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/kernel/cast.h"
#include "platform/story/linked_file.h"
#include "tests/examples/scenes/field_documents.h"
#include "text/embed_linked_text_command.h"
#include "text/locate_text_resource_command.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using Kernel::MakeCounted;

class LinkedText : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
        frame = ExampleDocuments::LinkedText(*document);
    }
    // Of the three paragraphs.
    std::vector<std::string> Files() const {
        std::vector<std::string> files;
        auto const story = frame->GetStory();
        for (std::size_t i = 0; i != story->GetParagraphCount(); ++i)
            files.push_back(Story::LinkedFileAtt::Of(*story->GetParagraph(i)->GetAtts())->GetPath().ToStdString());
        return files;
    }
    static bool TellsToShow(DocumentCommand& command) {
        Kernel::NotificationList told;
        command.Notify(told);
        return std::ranges::any_of(told, [](auto const& each) {
            return static_cast<bool>(Kernel::Cast<EnsureSelectionVisibleNotification>(each));
        });
    }

    using Paths = std::vector<std::string>;
    Kernel::Counted<DocumentController> document;
    Kernel::Counted<FrameTextNode> frame;
};

TEST_F(LinkedText, ForgetsItsFileAndGetsItBack) {
    ASSERT_EQ((Paths{"one.txt", "", "two.txt"}), Files());
    auto const before = document->GetHash(false);
    auto const text = frame->GetStory()->GetString(frame->GetStory()->GetClientAll());
    document->Run(MakeCounted<EmbedLinkedTextCommand>(nullptr));
    EXPECT_EQ((Paths{"", "", ""}), Files());
    EXPECT_EQ(text, frame->GetStory()->GetString(frame->GetStory()->GetClientAll()));
    document->Undo();
    EXPECT_EQ((Paths{"one.txt", "", "two.txt"}), Files());
    EXPECT_EQ(before, document->GetHash(false));
}

TEST_F(LinkedText, OfSelectedParagraphsOnlyIsEmbedded) {
    document->Run(MakeCounted<EmbedLinkedTextCommand>(
        Kernel::MakeCounted<Selection const>(frame, MakeCounted<TextSelection>(0, 3))));
    EXPECT_EQ((Paths{"", "", "two.txt"}), Files());
}

TEST_F(LinkedText, ThatIsLocatedIsSelectedAndShown) {
    auto const wanted = Kernel::MakeCounted<Selection const>(frame, MakeCounted<TextSelection>(0, 12));
    auto const command = MakeCounted<LocateTextResourceCommand>(wanted);
    auto const before = document->GetCurrentSelection();
    document->Run(command);
    EXPECT_TRUE(TellsToShow(*command));
    auto const item = Kernel::Cast<SubSelectionItem const>(*document->GetCurrentSelection()->begin());
    ASSERT_TRUE(item);
    EXPECT_EQ((std::vector<Story::SelectionRange>{{0, 12}}),
              Kernel::Cast<TextSelection const>(item->GetSubSelection())->GetRanges());
    EXPECT_FALSE(command->Clone());
    document->Undo();
    EXPECT_TRUE(document->GetCurrentSelection()->IsEqualTo(*before));
}

TEST_F(LinkedText, ThatIsSelectedAlreadyIsNotShownAgain) {
    auto const part = [&](int end) { return MakeCounted<Selection const>(frame, MakeCounted<TextSelection>(0, end)); };
    document->SetSelection(part(12), false);
    auto const same = MakeCounted<LocateTextResourceCommand>(part(12));
    document->Run(same);
    EXPECT_FALSE(TellsToShow(*same));
    auto const other = MakeCounted<LocateTextResourceCommand>(part(4));
    document->Run(other);
    EXPECT_TRUE(TellsToShow(*other)) << "another part of the same text";
    auto const whole =
        MakeCounted<LocateTextResourceCommand>(MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{frame}));
    document->Run(whole);
    EXPECT_TRUE(TellsToShow(*whole)) << "all of it";
}

TEST_F(LinkedText, IsShownWhereNothingIsSelected) {
    document->SetSelection(nullptr, false);
    auto const some =
        MakeCounted<LocateTextResourceCommand>(MakeCounted<Selection const>(frame, MakeCounted<TextSelection>(0, 12)));
    document->Run(some);
    EXPECT_TRUE(TellsToShow(*some));
    document->SetSelection(nullptr, false);
    auto const none = MakeCounted<LocateTextResourceCommand>(nullptr);
    document->Run(none);
    EXPECT_FALSE(TellsToShow(*none));
}

} // namespace
