// SPDX-License-Identifier: Apache-2.0
#include "platform/document/data_merge_filters.h"
#include "platform/document/data_merge_output.h"
#include "platform/document/edit_journal.h"
#include "platform/document/place_merge_fields_command.h"
#include "platform/document/set_data_merge_preview_command.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/files.h"
#include "platform/raster/bitmap_image.h"
#include "platform/story/field_glyphs.h"

#include "tests/engine/document/shown_text.h"

#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using Kernel::MakeCounted;
using Kernel::String;
using Source = Kernel::Counted<DataMergeSource>;
namespace Files = std::filesystem;

constexpr char c_people[] = "name,city,age\nAda,London,36\nEmmy,Erlangen,53\nSofja,Stockholm,41\n";

std::string GetWords(TextNode const& text) {
    return text.GetStory()->GetString(text.GetStory()->GetClientAll()).ToStdString();
}

class DataMerge : public testing::Test {
protected:
    DataMerge() {
        folder = Files::temp_directory_path() / ("redraft-merge-" + std::to_string(::getpid()));
        Files::remove_all(folder);
        Files::create_directories(folder / "below");
        Make(1);
    }
    ~DataMerge() override { Files::remove_all(folder); }

    void Make(int spreadCount) {
        document = DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, spreadCount);
        spreads = document->GetDocument()->GetSpreads();
    }
    Kernel::Counted<FrameTextNode> AddText(std::size_t spread, char const* words, double width = 500) {
        auto const frame = MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 10, 10 + width, 60});
        spreads[spread]->InsertChild(NodeChildListType::Plain, frame, nullptr);
        frame->SetText(Story::GlyphString(String(words)), {}, {});
        return frame;
    }
    Kernel::Counted<ShapeNode> AddBox(char const* name) {
        auto const rectangle = MakeCounted<RectangleShape>();
        rectangle->box = {0, 0, 40, 20};
        auto const box = MakeCounted<ShapeNode>(rectangle);
        box->SetUserDescription(String(name));
        spreads[0]->InsertChild(NodeChildListType::Plain, box, nullptr);
        return box;
    }
    Source Link(Kernel::Counted<DataMergeFetcher> fetcher) {
        auto& list = document->GetDocument()->GetDataMergeSettings();
        auto const source =
            MakeCounted<DataMergeSource>(String("s" + std::to_string(list.size())), "people", fetcher, nullptr);
        source->SetFolder(String(folder.string()));
        source->SetPreviewEnabled(true);
        list.push_back(source);
        return source;
    }
    Source LinkContent(char const* content = c_people) {
        return Link(DataMergeFetcher::MakeWithContent("people.csv", content));
    }
    void Place(Source const& source) { document->Run(MakeCounted<PlaceMergeFieldsCommand>(source)); }
    void Show(Source const& source, bool enabled, int row) {
        document->Run(MakeCounted<SetDataMergePreviewCommand>(source, enabled, row));
    }
    std::string WriteFile(char const* name, std::string const& content) {
        auto const path = (folder / name).string();
        Kernel::WriteWholeFile(String(path), std::as_bytes(std::span(content)));
        return path;
    }
    std::string WritePicture(char const* name) {
        Raster::ImageInfo info;
        info.width = 4;
        info.height = 1;
        std::vector<std::byte> bytes;
        Raster::EncodePng(
            info, [](std::uint32_t, std::span<std::byte> row) { std::ranges::fill(row, std::byte{255}); },
            [&](std::span<std::byte const> part) { bytes.insert(bytes.end(), part.begin(), part.end()); });
        auto const path = (folder / name).string();
        Kernel::WriteWholeFile(String(path), bytes);
        return path;
    }
    // Filters that keep the people of an age.
    static void KeepOlder(Source const& source, char const* age) {
        auto const filter = MakeCounted<DataMergeRecordValueFilter>();
        auto const rule = MakeCounted<DataMergeRule>();
        rule->GetClauses().push_back(
            MakeCounted<DataMergeRuleClause>("age", DataMergeRuleOperator::Greater, String(age)));
        filter->GetRules().push_back(rule);
        source->GetFilters().push_back(filter);
    }
    static void Update(Source const& source) { source->CommitUpdate(source->PrepareFilterUpdate(nullptr)); }

    Files::path folder;
    Kernel::Counted<DocumentController> document;
    std::vector<Kernel::Counted<SpreadNode>> spreads;
};

TEST_F(DataMerge, FieldsShowTheRecordOfThePreview) {
    auto const text = AddText(0, "Dear {{name}} of {{ city }}, before {{name@2}}: {{other}} {{name@0}}");
    auto const source = LinkContent();
    Place(source);
    EXPECT_EQ(Shown(*text), "Dear Ada of London, before Emmy: {{other}} {{name@0}}");
    Show(source, true, 1);
    EXPECT_EQ(Shown(*text), "Dear Emmy of Erlangen, before Sofja: {{other}} {{name@0}}");
    // Beyond the records the last one shows, and nothing comes behind it.
    Show(source, true, 70);
    EXPECT_EQ(Shown(*text), "Dear Sofja of Stockholm, before : {{other}} {{name@0}}");
    Show(source, false, -1);
    EXPECT_EQ(Shown(*text), "Dear {{name}} of {{city}}, before {{name@2}}: {{other}} {{name@0}}");
    Show(source, true, -1);
    EXPECT_EQ(Shown(*text), "Dear Sofja of Stockholm, before : {{other}} {{name@0}}");
    source->SetUserEnabled(false);
    EXPECT_EQ(Shown(*text), "Dear Sofja of Stockholm, before : {{other}} {{name@0}}")
        << "the preview is not updated yet";
    source->UpdatePreview();
    EXPECT_EQ(Shown(*text), "Dear {{name}} of {{city}}, before {{name@2}}: {{other}} {{name@0}}");
}

TEST_F(DataMerge, PlacingFieldsIsAStepThatKeepsTheLook) {
    auto const text = AddText(0, "{{name}} and {{a@2}}");
    auto const box = AddBox("{{ name @ 3 }}");
    auto const plain = AddBox("name");
    auto const source = LinkContent("name,a@2\nx,y\n");
    auto const before = document->GetHash(false);
    Place(source);
    EXPECT_EQ(Shown(*text), "x and y");
    EXPECT_EQ(box->GetMergeField(), "name");
    EXPECT_EQ(box->GetMergeOffset(), 2u);
    EXPECT_TRUE(plain->GetMergeSource().empty());
    auto const after = document->GetHash(false);
    auto const path = (folder / "d.redraft").string();
    document->Save(path);
    auto const reloaded = DocumentController::Open(path, true);
    EXPECT_EQ(reloaded->GetHash(false), after);
    reloaded->Undo();
    EXPECT_EQ(reloaded->GetHash(false), before);
    reloaded->Redo();
    EXPECT_EQ(reloaded->GetHash(false), after);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), before);
    EXPECT_EQ(Shown(*text), "{{name}} and {{a@2}}");
}

TEST_F(DataMerge, NamesThatAreBrokenOrStandForNothingStay) {
    auto const text = AddText(0, "{{na\nme}} {name} {{{{name}} {{name");
    auto const source = LinkContent();
    Place(source);
    EXPECT_EQ(Shown(*text), "{{name}} {name} {{Ada {{name");
    // Nothing to place is no step.
    auto const steps = document->GetHistory()->GetCount();
    Place(source);
    EXPECT_EQ(document->GetHistory()->GetCount(), steps);
}

TEST_F(DataMerge, AnUpdateShowsOnceThePreviewIsUpdated) {
    auto const text = AddText(0, "{{name}}");
    auto const source = LinkContent();
    Place(source);
    ASSERT_EQ(Shown(*text), "Ada");
    KeepOlder(source, "40");
    Update(source);
    EXPECT_EQ(source->GetResult()->rows, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(Shown(*text), "Ada");
    auto const preview = SetDataMergePreviewCommand::MakeForceUpdatePreviewCommand(source);
    document->Run(preview);
    EXPECT_EQ(Shown(*text), "Emmy");
    EXPECT_EQ(source->GetUnfilteredRecordCount(), 3u);
}

TEST_F(DataMerge, AStoppedUpdateGivesTheRecordsOfTheOneBeforeAsStale) {
    auto const source = LinkContent();
    Update(source);
    KeepOlder(source, "40");
    bool abort = true;
    auto const payload = source->PrepareFilterUpdate(&abort);
    EXPECT_TRUE(payload->IsStale());
    EXPECT_EQ(payload->GetResult()->rows.size(), 3u);
    EXPECT_FALSE(payload->GetWarnings()->IsEmpty());
    abort = false;
    EXPECT_EQ(source->PrepareFilterUpdate(&abort)->GetResult()->rows.size(), 2u);
}

TEST_F(DataMerge, AFileIsReadAgainWhenItHasChanged) {
    auto const path = WriteFile("people.csv", c_people);
    auto const source = Link(MakeCounted<DataMergeFetcher>(String(path)));
    Update(source);
    EXPECT_EQ(source->GetUnfilteredRecordCount(), 3u);
    WriteFile("people.csv", "name,city\nKurt,Brno\n");
    Update(source);
    EXPECT_EQ(source->GetUnfilteredRecordCount(), 1u);
    Files::remove(path);
    Update(source);
    EXPECT_EQ(source->GetResult()->rows.size(), 1u);
    ASSERT_EQ(source->GetWarnings()->GetWarnings().size(), 1u);
    EXPECT_NE(source->GetWarnings()->GetWarnings()[0].text.view().find("is gone"), std::string_view::npos);
    // One that was never read is empty, and says why.
    auto const other = Link(MakeCounted<DataMergeFetcher>(String(path)));
    Update(other);
    EXPECT_TRUE(other->GetResult()->rows.empty());
    EXPECT_EQ(other->GetWarnings()->GetWarnings().size(), 1u);
}

TEST_F(DataMerge, OtherSettingsReadTheDataAnew) {
    auto const source = LinkContent("a;b\n1,5;2\n");
    Update(source);
    ASSERT_EQ(source->GetResult()->table->GetColumnCount(), 2u);
    Records::ReadOptions options;
    options.delimiter = ',';
    source->SetParser(MakeCounted<DataMergeParser>(options, String()));
    EXPECT_EQ(source->GetResult()->table->GetColumn(0).name, "a;b");
    source->SetFetcher(nullptr);
    EXPECT_FALSE(source->GetResult()->table);
    EXPECT_EQ(source->GetUnfilteredRecordCount(), 0u);
}

TEST_F(DataMerge, AStoppedUpdateOfOtherDataGivesTheRecordsOfTheOneBefore) {
    auto const source = LinkContent();
    Update(source);
    source->SetFetcher(DataMergeFetcher::MakeWithContent("other.csv", "name\nKurt\n"));
    bool abort = true;
    auto const payload = source->PrepareFilterUpdate(&abort);
    EXPECT_TRUE(payload->IsStale());
    EXPECT_EQ(payload->GetResult()->rows.size(), 3u);
    source->CommitUpdate(payload);
    EXPECT_EQ(source->GetResult()->rows.size(), 3u);
    Update(source);
    EXPECT_EQ(source->GetResult()->rows.size(), 1u);
}

TEST_F(DataMerge, DocumentsThatNobodyTrustsReadDataInTheirFolderOnly) {
    auto const inside = WriteFile("below/in.csv", c_people);
    auto const outside = Files::temp_directory_path() / ("redraft-outside-" + std::to_string(::getpid()) + ".csv");
    Kernel::WriteWholeFile(String(outside.string()), std::as_bytes(std::span(std::string_view(c_people))));
    Link(MakeCounted<DataMergeFetcher>(String(inside)));
    Link(MakeCounted<DataMergeFetcher>(String(outside.string())));
    Files::create_symlink(outside, folder / "link.csv");
    Link(MakeCounted<DataMergeFetcher>(String((folder / "link.csv").string())));
    auto const path = (folder / "d.redraft").string();
    document->Save(path);
    auto const count = [&](bool trusted) {
        auto const opened = DocumentController::Open(path, trusted);
        // A copy is trusted no more than the document.
        auto const copy = opened->MakeCopy();
        std::vector<unsigned> counts;
        for (auto const& controller : {opened, copy}) {
            for (auto const& source : std::as_const(*controller->GetDocument()).GetDataMergeSettings())
                counts.push_back(source->GetUnfilteredRecordCount());
        }
        return counts;
    };
    EXPECT_EQ(count(false), (std::vector<unsigned>{3, 0, 0, 3, 0, 0}));
    EXPECT_EQ(count(true), (std::vector<unsigned>{3, 3, 3, 3, 3, 3}));
    // Data that have moved along with the document are found.
    Files::create_directories(folder / "moved");
    Files::rename(inside, folder / "moved/in.csv");
    Files::copy(path, folder / "moved/d.redraft");
    auto const moved = DocumentController::Open((folder / "moved/d.redraft").string(), false);
    EXPECT_EQ(std::as_const(*moved->GetDocument()).GetDataMergeSettings()[0]->GetUnfilteredRecordCount(), 3u);
    Files::remove(outside);
}

TEST_F(DataMerge, PicturesAreFilesInTheFolderOfTheData) {
    auto const picture = WritePicture("below/p.png");
    auto const data = WriteFile("people.csv", c_people);
    auto const source = Link(MakeCounted<DataMergeFetcher>(String(data)));
    EXPECT_EQ(source->FindPicture("below/p.png"), picture);
    EXPECT_EQ(source->FindPicture(picture), picture);
    for (auto const* const path : {"/dev/zero", "../people.csv", "below", "below/q.png", "/etc/hostname"})
        EXPECT_THROW(static_cast<void>(source->FindPicture(path)), Kernel::Exception) << path;
    EXPECT_THROW(static_cast<void>(source->FindPicture(std::string_view("p\0q", 3))), Kernel::Exception);
    source->AllowPicturesAnywhere();
    EXPECT_EQ(source->FindPicture("/etc/passwd"), "/etc/passwd");
    EXPECT_THROW(static_cast<void>(source->FindPicture("/dev/zero")), Kernel::Exception);
}

TEST_F(DataMerge, AFailedStepPutsListsAndResultsBack) {
    auto const source = LinkContent();
    Update(source);
    auto const hash = document->GetHash(false);
    EXPECT_ANY_THROW(EditJournal::RunOrRollBack([&] {
        KeepOlder(source, "40");
        Update(source);
        source->SetPageRange(3, 4);
        source->SetPreviewRow(9);
        document->GetDocument()->GetDataMergeSettings().clear();
        throw Kernel::Exception("stop");
    }));
    EXPECT_EQ(document->GetHash(false), hash);
    EXPECT_EQ(source->GetResult()->rows.size(), 3u);
}

TEST_F(DataMerge, OutputRepeatsTheCoveredPages) {
    Make(4);
    auto const first = AddText(0, "Cover {{name}}");
    AddText(1, "{{name}} one");
    AddText(2, "{{city}} two");
    AddText(3, "End");
    auto const source = LinkContent();
    source->SetPageRange(1, 2);
    Place(source);
    DataMergeOutput output(document, nullptr);
    EXPECT_EQ(output.GetCopyCount(), 3u);
    auto const made = output.MakeDocument();
    std::vector<std::string> texts;
    for (auto const& spread : made->GetDocument()->GetSpreads())
        ForEachNode(*spread, [&](Node& node) {
            if (auto const* const text = dynamic_cast<TextNode const*>(&node))
                texts.push_back(GetWords(*text));
        });
    // A field on a page that its source does not cover stays a field.
    EXPECT_EQ(texts, (std::vector<std::string>{"Cover ", "Ada one", "London two", "Emmy one", "Erlangen two",
                                               "Sofja one", "Stockholm two", "End"}));
    EXPECT_EQ(made->GetHistory()->GetCount(), 0u);
    made->GetDocument()->CheckInvariants();
    EXPECT_EQ(Shown(*first), "Cover Ada");
}

TEST_F(DataMerge, CopiesTakeAsManyRecordsAsTheyShow) {
    AddText(0, "{{name}}, {{name@2}}");
    auto const source = LinkContent();
    KeepOlder(source, "0");
    source->GetFilters().push_back(MakeCounted<DataMergeSortFilter>("age", false));
    Place(source);
    DataMergeOutput output(document, nullptr);
    ASSERT_EQ(output.GetCopyCount(), 2u);
    auto const wordsOf = [&](std::size_t copy) {
        auto const shown = output.ShowCopy(copy);
        EXPECT_EQ(shown->GetDocument()->GetSpreads().size(), 1u);
        std::string words;
        ForEachNode(*shown->GetDocument(), [&](Node& node) {
            if (auto const* const text = dynamic_cast<TextNode const*>(&node))
                words += GetWords(*text);
        });
        return words;
    };
    EXPECT_EQ(wordsOf(0), "Emmy, Sofja");
    EXPECT_EQ(wordsOf(1), "Ada, ");
    EXPECT_EQ(wordsOf(0), "Emmy, Sofja");
    EXPECT_THROW(output.ShowCopy(2), Kernel::Exception);
}

TEST_F(DataMerge, SourcesOnTheSamePagesGoOnTogether) {
    Make(2);
    AddText(0, "{{name}} {{thing}}");
    AddText(1, "{{thing}}");
    auto const people = LinkContent();
    auto const things = LinkContent("thing\nlamp\n");
    people->SetPageRange(0, 0);
    Place(people);
    Place(things);
    DataMergeOutput output(document, nullptr);
    auto const made = output.MakeDocument();
    std::vector<std::string> texts;
    ForEachNode(*made->GetDocument(), [&](Node& node) {
        if (auto const* const text = dynamic_cast<TextNode const*>(&node))
            texts.push_back(GetWords(*text));
    });
    EXPECT_EQ(texts, (std::vector<std::string>{"Ada lamp", "lamp", "Emmy ", "", "Sofja ", ""}));
}

TEST_F(DataMerge, ChainsOfFramesGoThroughTheCopies) {
    Make(2);
    auto const head = AddText(0, "", 120);
    auto const tail = AddText(1, "", 120);
    std::string words;
    for (int i = 0; i != 12; ++i)
        words += "{{name}} and more words ";
    head->SetText(Story::GlyphString(String(words)), {}, {});
    tail->LinkBehind(*head);
    auto const source = LinkContent();
    Place(source);
    DataMergeOutput output(document, nullptr);
    auto const made = output.MakeDocument();
    auto const copies = made->GetDocument()->GetSpreads();
    ASSERT_EQ(copies.size(), 6u);
    for (std::size_t i = 0; i != copies.size(); i += 2) {
        auto* const copyHead = dynamic_cast<FrameTextNode*>(copies[i]->GetFirstChild(NodeChildListType::Plain));
        auto* const copyTail = dynamic_cast<FrameTextNode*>(copies[i + 1]->GetFirstChild(NodeChildListType::Plain));
        ASSERT_TRUE(copyHead != nullptr && copyTail != nullptr);
        EXPECT_EQ(&copyTail->GetStoryOwner(), copyHead);
        EXPECT_FALSE(Shown(*copyTail).empty());
    }
}

TEST_F(DataMerge, PicturesBecomeTheCopiesOwn) {
    WritePicture("p.png");
    auto const box = AddBox("{{photo}}");
    auto const data = WriteFile("people.csv", "photo,name\np.png,a\nmissing.png,b\n,c\n");
    auto const source = Link(MakeCounted<DataMergeFetcher>(String(data)));
    Place(source);
    ASSERT_EQ(box->GetMergeSource(), source->GetGuid());
    DataMergeOutput output(document, nullptr);
    auto const made = output.MakeDocument();
    std::vector<bool> filled;
    ForEachNode(*made->GetDocument(), [&](Node& node) {
        if (auto const* const shape = dynamic_cast<ShapeNode const*>(&node)) {
            EXPECT_TRUE(shape->GetMergeSource().empty());
            filled.push_back(shape->GetBrushFillDescriptor(true) && shape->IsBrushFillVisible(0));
        }
    });
    ASSERT_GE(filled.size(), 2u);
    EXPECT_TRUE(filled[0]);
    EXPECT_FALSE(filled[1]);
    ASSERT_EQ(output.GetWarnings().size(), 1u);
    EXPECT_EQ(output.GetWarnings()[0].row, 1);
    EXPECT_EQ(output.GetWarnings()[0].column, "photo");
    EXPECT_EQ(output.GetPicturePaths(), (std::vector<String>{String((folder / "p.png").string())}));
}

TEST_F(DataMerge, OutputTellsOnceOfEachColumnThatIsGone) {
    auto const text = AddText(0, "{{name}} {{city}} {{name@2}}");
    auto const box = AddBox("{{age}}");
    auto const source = LinkContent();
    Place(source);
    source->SetFetcher(DataMergeFetcher::MakeWithContent("other.csv", "city\nBrno\n"));
    DataMergeOutput const output(document, nullptr);
    std::vector<String> columns;
    for (auto const& warning : output.GetWarnings())
        columns.push_back(warning.column);
    EXPECT_EQ(columns, (std::vector<String>{"name", "age"}));
}

TEST_F(DataMerge, OutputRefusesWhatCannotBeFilled) {
    EXPECT_THROW(DataMergeOutput(document, nullptr), Kernel::Exception);
    auto const source = LinkContent();
    source->SetPageRange(0, 7);
    EXPECT_THROW(DataMergeOutput(document, nullptr), Kernel::Exception);
    source->SetPageRange(3, 1);
    EXPECT_THROW(DataMergeOutput(document, nullptr), Kernel::Exception);
    source->SetCoversWholeDocument();
    KeepOlder(source, "1000");
    {
        DataMergeOutput output(document, nullptr);
        EXPECT_EQ(output.GetCopyCount(), 0u);
        EXPECT_THROW(output.MakeDocument(), Kernel::Exception);
    }
    bool abort = true;
    EXPECT_THROW(DataMergeOutput(document, &abort), Kernel::AbortException);
    source->SetUserEnabled(false);
    EXPECT_THROW(DataMergeOutput(document, nullptr), Kernel::Exception);
}

} // namespace
