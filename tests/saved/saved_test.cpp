// SPDX-License-Identifier: Apache-2.0
// Documents that earlier versions saved, kept for ever: each must open, undo everything, and come back. Beside a
// document stands what it hashed to when it was saved: at its beginning, where it stood, and at its end.
#include "platform/document/document_controller.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>

namespace {

std::vector<std::filesystem::path> FindDocuments() {
    std::vector<std::filesystem::path> documents;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(SAVED_DOCUMENTS)) {
        if (entry.path().extension() == ".redraft")
            documents.push_back(entry.path());
    }
    return documents;
}

std::string HashOf(DocumentController& controller) {
    std::ostringstream text;
    for (auto const byte : controller.GetHash(false))
        text << std::hex << std::setw(2) << std::setfill('0') << std::to_integer<int>(byte);
    return text.str();
}

TEST(SavedDocuments, AreThere) { EXPECT_FALSE(FindDocuments().empty()); }

TEST(SavedDocuments, OpenAndUndoAndRedoToTheStatesThatTheyHadWhenTheyWereSaved) {
    for (auto const& path : FindDocuments()) {
        SCOPED_TRACE(path.filename().string());
        std::ifstream file(std::filesystem::path(path).replace_extension(".hashes"));
        std::string atBeginning, asSaved, atEnd;
        ASSERT_TRUE(file >> atBeginning >> asSaved >> atEnd);

        auto const controller = DocumentController::Open(path.string(), false);
        auto const history = controller->GetHistory();
        auto const position = history->GetPosition();
        EXPECT_EQ(HashOf(*controller), asSaved);
        controller->GoTo(history->GetCount());
        EXPECT_EQ(HashOf(*controller), atEnd);
        controller->GoTo(0);
        EXPECT_EQ(HashOf(*controller), atBeginning);
        controller->GoTo(position);
        EXPECT_EQ(HashOf(*controller), asSaved);
    }
}

// Where a document has its states step by step, what each step does is compared: the hash, and what is selected, all
// the way back and forth.
TEST(SavedDocuments, GoThroughTheStatesThatTheyHadWhenTheyWereSaved) {
    for (auto const& path : FindDocuments()) {
        SCOPED_TRACE(path.filename().string());
        std::ifstream file(std::filesystem::path(path).replace_extension(".steps"));
        if (!file)
            continue;
        auto const controller = DocumentController::Open(path.string(), true);
        auto const count = controller->GetHistory()->GetCount();
        auto const expectNext = [&] {
            auto line = HashOf(*controller);
            for (auto const& node : controller->GetCurrentSelection()->GetNodes())
                line += " " + std::to_string(node->GetId());
            std::string expected;
            ASSERT_TRUE(std::getline(file, expected));
            EXPECT_EQ(expected, line) << "at position " << controller->GetHistory()->GetPosition();
        };
        controller->GoTo(count);
        for (std::size_t i = 0; i != count; ++i) {
            controller->Undo();
            expectNext();
        }
        for (std::size_t i = 0; i != count; ++i) {
            controller->Redo();
            expectNext();
        }
    }
}

} // namespace
