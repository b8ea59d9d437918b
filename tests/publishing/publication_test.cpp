// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/document/artboard.h"
#include "platform/document/document_controller.h"
#include "platform/document/slice_page.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "publishing/add_css_file_command.h"
#include "publishing/assistant_export_setup_command.h"
#include "publishing/remove_css_file_command.h"
#include "publishing/set_document_accessibility_metadata_command.h"
#include "publishing/set_epub_cover_info_command.h"
#include "tests/examples/scenes/artboard_documents.h"
#include "tests/examples/scenes/publication_documents.h"
#include "tests/support/records.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using ExampleDocuments::MakeCssFile;

class Publications : public testing::Test {
protected:
    std::vector<std::string> GetCssNames() const {
        std::vector<std::string> names;
        for (auto const& file : controller->GetDocument()->GetCssFiles())
            names.push_back(file->GetName().ToStdString());
        return names;
    }
    std::vector<Kernel::Counted<SlicePage>> GetSlices() const {
        std::vector<Kernel::Counted<SlicePage>> slices;
        for (auto const& spread : controller->GetDocument()->GetSpreads())
            slices.push_back(spread->GetSlicePage());
        return slices;
    }
    std::size_t CountSteps() const { return controller->GetHistory()->GetCount(); }

    Kernel::Counted<DocumentController> controller = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
};

using Names = std::vector<std::string>;

TEST_F(Publications, ARemovedStyleSheetComesBackToItsPlace) {
    for (auto const* name : {"a.css", "b.css", "c.css"})
        controller->GetDocument()->AddCssFile(MakeCssFile(name), -1);
    controller->Run(Kernel::MakeCounted<RemoveCssFileCommand>(1));
    EXPECT_EQ(GetCssNames(), (Names{"a.css", "c.css"}));
    controller->Undo();
    EXPECT_EQ(GetCssNames(), (Names{"a.css", "b.css", "c.css"}));
    controller->Redo();
    EXPECT_EQ(GetCssNames(), (Names{"a.css", "c.css"}));
}

// A file of the same content that stands elsewhere stays.
TEST_F(Publications, UndoOfAnAddedStyleSheetGoesByIdentity) {
    auto const added = MakeCssFile("same.css");
    controller->Run(Kernel::MakeCounted<AddCssFileCommand>(added));
    auto const other = MakeCssFile("same.css");
    controller->GetDocument()->AddCssFile(other, 0);
    controller->GetDocument()->AddCssFile(MakeCssFile("last.css"), -1);
    controller->Undo();
    auto const& files = controller->GetDocument()->GetCssFiles();
    EXPECT_EQ(GetCssNames(), (Names{"same.css", "last.css"}));
    EXPECT_EQ(files[0], other);
}

TEST_F(Publications, APlaceBeyondTheListIsRefused) {
    controller->GetDocument()->AddCssFile(MakeCssFile("a.css"), -1);
    for (int const index : {-1, 1, 1000})
        EXPECT_THROW(controller->Run(Kernel::MakeCounted<RemoveCssFileCommand>(index)), Kernel::Exception) << index;
    EXPECT_EQ(CountSteps(), 0u);
    EXPECT_EQ(GetCssNames(), (Names{"a.css"}));
}

TEST_F(Publications, CoverAndAccessibilityAreSetAndTakenBack) {
    auto const cover = ExampleDocuments::MakePictureCover();
    auto const metadata = ExampleDocuments::MakeAccessibility();
    controller->Run(Kernel::MakeCounted<SetEPubCoverInfoCommand>(cover));
    controller->Run(Kernel::MakeCounted<SetDocumentAccessibilityMetadataCommand>(metadata));
    EXPECT_EQ(controller->GetDocument()->GetEPubCoverInfo(), cover);
    EXPECT_EQ(controller->GetAccessibilityMetadata(), metadata);
    controller->Undo();
    controller->Undo();
    EXPECT_FALSE(controller->GetDocument()->GetEPubCoverInfo());
    EXPECT_FALSE(controller->GetAccessibilityMetadata());
}

TEST_F(Publications, TheAssistantSetsUpEverySpreadOnce) {
    ExampleDocuments::AddSpreads(*controller, 2);
    controller->Run(Kernel::MakeCounted<AssistantExportSetupCommand>());
    EXPECT_EQ(CountSteps(), 1u);
    int number = 0;
    for (auto const& slice : GetSlices()) {
        EXPECT_EQ(slice->GetExportFilename().ToStdString(), "page-" + std::to_string(++number));
        EXPECT_TRUE(slice->IsIncludedInExport());
        EXPECT_TRUE(slice->IsAssistantSetUp());
    }
    EXPECT_TRUE(controller->GetCurrentSelection()->Contains(controller->GetCurrentSpread()->GetSlicePage()));
    auto const hash = controller->GetHash(true);
    auto const second = Kernel::MakeCounted<AssistantExportSetupCommand>();
    controller->Run(second);
    EXPECT_EQ(CountSteps(), 1u);
    EXPECT_FALSE(second->ShouldStackForUndo());
    EXPECT_FALSE(second->MakesDOMDirty());
    EXPECT_EQ(controller->GetHash(true), hash);
    controller->Undo();
    for (auto const& slice : GetSlices())
        EXPECT_TRUE(slice->IsDefault());
}

TEST_F(Publications, WithArtboardsSlicesGetNamesAndAreNotIncluded) {
    ExampleDocuments::Artboards(*controller);
    ASSERT_TRUE(controller->HasArtboards());
    controller->Run(Kernel::MakeCounted<AssistantExportSetupCommand>());
    auto const slice = controller->GetCurrentSpread()->GetSlicePage();
    EXPECT_EQ(slice->GetExportFilename().ToStdString(), "page-1");
    EXPECT_FALSE(slice->IsIncludedInExport());
}

TEST_F(Publications, ASpreadWithoutANameCountsAsSetUp) {
    auto const bare = Kernel::MakeCounted<SpreadNode>(Kernel::RectT<double>{0, 0, 100, 100});
    controller->GetDocument()->InsertChild(NodeChildListType::Plain, bare, nullptr);
    controller->GetDocument()->AdoptIds(*bare);
    controller->Run(Kernel::MakeCounted<AssistantExportSetupCommand>());
    EXPECT_TRUE(bare->GetSlicePage()->GetExportFilename().empty());
    EXPECT_TRUE(bare->GetSlicePage()->IsAssistantSetUp());
    controller->Run(Kernel::MakeCounted<AssistantExportSetupCommand>());
    EXPECT_EQ(CountSteps(), 1u);
}

TEST_F(Publications, ASpreadWithoutASliceIsPassedOver) {
    ExampleDocuments::AddSpreads(*controller, 1);
    controller->GetCurrentSpread()->SetSlicePage({});
    controller->Run(Kernel::MakeCounted<AssistantExportSetupCommand>());
    EXPECT_EQ(CountSteps(), 1u);
    controller->Undo();
    EXPECT_FALSE(controller->GetCurrentSpread()->GetSlicePage());
}

// As an older program stored it: without the list of spreads. The loaded step has copies of its own of everything else.
TEST_F(Publications, AStepThatNamesNoSpreadsGoesByTheCurrentOne) {
    ExampleDocuments::AddSpreads(*controller, 1);
    auto const command = Kernel::MakeCounted<AssistantExportSetupCommand>();
    controller->Run(command);
    auto const slices = GetSlices();
    for (bool const isLegacy : {false, true}) {
        auto storage = Support::SaveToMemory({command});
        if (isLegacy)
            Support::HideField(storage, {"AESC", "Spds"});
        auto const loaded = Kernel::Cast<AssistantExportSetupCommand>(Support::LoadFromMemory(storage).at(0));
        ASSERT_TRUE(loaded);
        loaded->PostLoad(*controller);
        loaded->Undo();
        EXPECT_EQ(slices[0]->IsAssistantSetUp(), !isLegacy);
        EXPECT_TRUE(slices[1]->IsAssistantSetUp());
        loaded->Redo();
        EXPECT_TRUE(slices[0]->IsAssistantSetUp());
    }
}

TEST_F(Publications, TwoSpreadsCannotShareASlice) {
    ExampleDocuments::AddSpreads(*controller, 1);
    auto const slices = GetSlices();
    EXPECT_THROW(controller->GetCurrentSpread()->SetSlicePage(slices[1]), Kernel::Exception);
    EXPECT_EQ(controller->GetCurrentSpread()->GetSlicePage(), slices[0]);
}

} // namespace
