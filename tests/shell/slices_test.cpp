// SPDX-License-Identifier: Apache-2.0
// Names of slices that the program itself refuses to set, and that a document can have all the same.
#include "shell/slices.h"

#include "shell/failure.h"
#include "shell/verbs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace {

using namespace Shell;

class SliceNames : public testing::Test {
protected:
    SliceNames() {
        for (auto const& spread : m_document->GetDocument()->GetSpreads())
            spread->GetSlicePage()->SetIncludedInExport(true);
        std::filesystem::remove_all(m_folder);
    }
    ~SliceNames() override { std::filesystem::remove_all(m_folder); }

    void SetName(std::size_t spread, std::string_view name) {
        m_document->GetDocument()->GetSpreads()[spread]->GetSlicePage()->SetExportFilename(Kernel::String(name));
    }
    // Of an export into a folder that was not there; empty where it succeeds.
    std::string Export() {
        Session session(false);
        session.SetDocument(m_document, "a.redraft");
        static Usage const s_script{.verb = "run", .summary = {}, .positionals = {}, .options = {}};
        Arguments const script(s_script, {}, false);
        session.SetScript(&script);
        std::string const words[] = {"export", "--slices", "-o", m_folder.string()};
        try {
            RunVerb(session, words);
        } catch (Failure const& failure) {
            return failure.what();
        }
        return {};
    }

    Kernel::Counted<DocumentController> m_document = DocumentController::CreateNew({8, 4}, Raster::FormatRGBA8, 2);
    std::filesystem::path const m_folder =
        std::filesystem::path(testing::TempDir()) / ("slices-" + std::to_string(::getpid()));
};

TEST_F(SliceNames, ThatLeadElsewhereOrControlATerminalAreRefusedBeforeAnythingIsWritten) {
    for (std::string_view const name :
         {"../up", "/tmp/up", "a/b", ".", "..", "a\nb", "a\x1B[31m", "a\x7F", "a\xC2\x9B", "\tb"}) {
        SetName(1, name);
        auto const line = Export();
        EXPECT_NE(line.find("spread 2: cannot be exported as "), line.npos) << line;
        EXPECT_EQ(line.find('\n'), line.npos) << line;
        EXPECT_FALSE(std::filesystem::exists(m_folder)) << name;
    }
}

TEST_F(SliceNames, InAnyScriptAreTaken) {
    for (std::string_view const name : {"Übersicht", "表紙", "a b", "a.b", ".hidden", "a\\b", "\xC2\xA0"})
        EXPECT_TRUE(IsPlainFilename(name)) << name;
}

TEST_F(SliceNames, OfOneFileAreRefusedAlsoWhereOneIsTheDefault) {
    SetName(0, "page-2");
    EXPECT_NE(Export().find("spread 2: would be exported to the same file as spread 1, 'page-2.png'"),
              std::string::npos);
    m_document->GetDocument()->GetSpreads()[0]->GetSlicePage()->SetIncludedInExport(false);
    EXPECT_EQ(Export(), "");
}

TEST_F(SliceNames, AreCountedInBytesWithTheEnding) {
    SetName(0, std::string(251, 'a'));
    EXPECT_EQ(FindExportedSlices(*m_document, ".png").size(), 2U);
    SetName(0, std::string(250, 'a').append("\xC3\xBC"));
    EXPECT_THROW(FindExportedSlices(*m_document, ".png"), Failure);
}

TEST_F(SliceNames, ASpreadWithoutPagesHasNone) {
    auto const bare = Kernel::MakeCounted<SpreadNode>(Kernel::RectT<double>{0, 0, 8, 4});
    m_document->GetDocument()->InsertChild(NodeChildListType::Plain, bare, nullptr);
    m_document->GetDocument()->AdoptIds(*bare);
    bare->GetSlicePage()->SetIncludedInExport(true);
    EXPECT_NE(Export().find("spread 3: has no name to export to"), std::string::npos);
    bare->SetSlicePage({});
    ASSERT_EQ(FindSlices(*m_document).size(), 2U);
    EXPECT_EQ(FindSlices(*m_document).back().number, 2U);
}

} // namespace
