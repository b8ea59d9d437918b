// SPDX-License-Identifier: Apache-2.0
#include "merge/delete_data_merge_source_command.h"
#include "merge/merge_options_arguments.h"
#include "merge/set_data_merge_enabled_command.h"
#include "merge/set_data_merge_output_pages_command.h"
#include "merge/set_data_merge_source_options_commands.h"

#include "frame/contract/notifications.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "tests/examples/scenes/merge_documents.h"
#include "tests/examples/scenes/publication_documents.h"
#include "tests/support/documents.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace ExampleDocuments;
using Support::As, Support::NewDocument, Support::NotificationsOf;

std::size_t CountSources(DocumentController const& document) {
    return std::as_const(*document.GetDocument()).GetDataMergeSettings().size();
}

TEST(DeleteDataMergeSource, OfAnUnknownSourceLeavesTheListAlone) {
    auto const document = NewDocument(), other = NewDocument();
    DataMerge(*document);
    auto const before = document->GetHash(false);
    auto const command = Kernel::MakeCounted<DeleteDataMergeSourceCommand>(MakePeople(*other));
    document->Run(command);
    EXPECT_EQ(2u, CountSources(*document));
    EXPECT_FALSE(command->GetPreviewCommand());
    EXPECT_TRUE(document->GetLastResult().stacked);
    document->Undo();
    EXPECT_EQ(2u, CountSources(*document)) << "Undo puts in what Do has not taken out";
    document->Redo();
    EXPECT_EQ(2u, CountSources(*document));
    EXPECT_EQ(before, document->GetHash(false));
}

TEST(DeleteDataMergeSource, TakesThePreviewAwayAndPutsTheSourceBackInItsPlace) {
    auto const document = NewDocument();
    DataMerge(*document);
    auto const source = MergeSourceAt(*document, 0), second = MergeSourceAt(*document, 1);
    document->Run(Kernel::MakeCounted<DeleteDataMergeSourceCommand>(source));
    ASSERT_EQ(1u, CountSources(*document));
    EXPECT_EQ(second, MergeSourceAt(*document, 0));
    EXPECT_FALSE(source->IsPreviewEnabled());
    document->Undo();
    EXPECT_EQ(source, MergeSourceAt(*document, 0));
    EXPECT_EQ(second, MergeSourceAt(*document, 1));
    EXPECT_TRUE(source->IsPreviewEnabled());
    EXPECT_EQ(1u, source->GetPreviewRow());
}

TEST(DeleteDataMergeSource, TellsOfTheSourceAndThenOfTheFields) {
    auto const document = NewDocument();
    DataMergeWithoutPreview(*document);
    auto const command = Kernel::MakeCounted<DeleteDataMergeSourceCommand>(MergeSourceAt(*document, 0));
    document->Run(command);
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(2u, told.size());
    EXPECT_TRUE(As<DataMergeOptionsChangedNotification>(told[0]));
    EXPECT_TRUE(As<AvailableFieldsChangedNotification>(told[1]));
}

TEST(SetDataMergeOutputPages, OfTheWholeDocumentOfOnePageAreFrom0To0) {
    auto const document = NewDocument();
    auto const source = MakePeople(*document);
    source->SetPageRange(3, 4);
    auto const command = Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(source, true, 7, 9);
    document->Run(command);
    EXPECT_EQ(0, command->GetStartPage());
    EXPECT_EQ(0, command->GetEndPage());
    EXPECT_TRUE(source->CoversWholeDocument());
}

TEST(SetDataMergeOutputPages, OfTheWholeDocumentReachToItsLastPage) {
    auto const document = NewDocument();
    AddSpreads(*document, 2);
    auto const command = Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(MakePeople(*document), true, 0, 0);
    document->Run(command);
    EXPECT_EQ(2, command->GetEndPage());
}

TEST(SetDataMergeOutputPages, ComeBackByUndoWhereARangeIsSet) {
    auto const document = NewDocument();
    auto const source = MakePeople(*document);
    document->Run(Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(source, false, 1, 2));
    EXPECT_FALSE(source->CoversWholeDocument());
    EXPECT_EQ(1, source->GetStartPage());
    EXPECT_EQ(2, source->GetEndPage());
    document->Undo();
    EXPECT_TRUE(source->CoversWholeDocument());
    document->Redo();
    EXPECT_EQ(2, source->GetEndPage());
}

TEST(SetDataMergeOutputPages, MergeWithThoseOfTheSameSourceOnly) {
    auto const document = NewDocument();
    auto const one = MakePeople(*document), two = MakePeople(*document);
    auto const steps = [&] { return document->GetHistory()->GetCount(); };
    document->Run(Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(one, false, 1, 2));
    document->Run(Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(one, false, 2, 3));
    EXPECT_EQ(1u, steps());
    document->Run(Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(two, false, 5, 6));
    EXPECT_EQ(2u, steps());
    document->Undo();
    EXPECT_TRUE(two->CoversWholeDocument());
    EXPECT_EQ(3, one->GetEndPage());
    document->Undo();
    EXPECT_TRUE(one->CoversWholeDocument());
}

TEST(SetDataMergeEnabled, TakesTheSourceOutOfUse) {
    auto const document = NewDocument();
    auto const source = MakePeople(*document);
    auto const command = Kernel::MakeCounted<SetDataMergeEnabledCommand>(source, false);
    document->Run(command);
    EXPECT_FALSE(source->IsUserEnabled());
    document->Undo();
    EXPECT_TRUE(source->IsUserEnabled());
    EXPECT_FALSE(command->Clone());
    EXPECT_FALSE(command->CanMerge(Kernel::MakeCounted<SetDataMergeEnabledCommand>(source, true)) &&
                 command->Merge(Kernel::MakeCounted<SetDataMergeEnabledCommand>(source, true)));
}

TEST(SetDataMergeOptions, ChangeFetcherAndParser) {
    auto const document = NewDocument();
    auto const source = MakePeople(*document);
    auto const oldFetcher = source->GetFetcher();
    auto const oldParser = source->GetParser();
    auto const fetcher = DataMergeFetcher::MakeWithContent("other.csv", "a\n1\n2\n");
    auto const parser = Kernel::MakeCounted<DataMergeParser>(Records::ReadOptions{}, "sv_SE");
    document->Run(Kernel::MakeCounted<SetDataMergeFetcherOptionsCommand>(source, fetcher));
    document->Run(Kernel::MakeCounted<SetDataMergeParserOptionsCommand>(source, parser));
    EXPECT_EQ(fetcher, source->GetFetcher());
    EXPECT_EQ(parser, source->GetParser());
    EXPECT_EQ(2u, source->GetUnfilteredRecordCount());
    document->Undo();
    document->Undo();
    EXPECT_EQ(oldFetcher, source->GetFetcher());
    EXPECT_EQ(oldParser, source->GetParser());
    EXPECT_EQ(10u, source->GetUnfilteredRecordCount());
    document->Redo();
    EXPECT_EQ(fetcher, source->GetFetcher());
}

TEST(SetDataMergeOptions, TellWhereFieldsShowTheOtherData) {
    auto const document = NewDocument();
    DataMerge(*document);
    auto const source = MergeSourceAt(*document, 0);
    auto const command = Kernel::MakeCounted<SetDataMergeFetcherOptionsCommand>(
        source, DataMergeFetcher::MakeWithContent("other.csv", "name,city,age\nMaximiliane,Oslo,77\n"));
    // Texts that nobody has looked at need not be painted again.
    ForEachNode(*document->GetDocument(), [](Node& node) {
        if (auto const* const text = Kernel::CastPointer<TextNode const>(&node))
            text->MakeComposedText();
    });
    document->Run(command);
    EXPECT_EQ("Maximiliane", source->GetShownValue("name", 0).value_or("none"));
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(3u, told.size());
    EXPECT_TRUE(As<DataMergeOptionsChangedNotification>(told[0]));
    auto const painted = As<InvalidateDocumentNotification>(told[1]);
    ASSERT_TRUE(painted);
    EXPECT_FALSE(painted->GetSpreadRects().IsEmpty());
}

TEST(DataMergeSourceCommands, WithoutASourceFailWithAWord) {
    auto const document = NewDocument();
    EXPECT_THROW(document->Run(Kernel::MakeCounted<SetDataMergeEnabledCommand>(nullptr, true)), Kernel::Exception);
    EXPECT_THROW(document->Run(Kernel::MakeCounted<SetDataMergeOutputPagesCommand>(nullptr, true, 0, 0)),
                 Kernel::Exception);
    EXPECT_THROW(document->Run(Kernel::MakeCounted<SetDataMergeFetcherOptionsCommand>(nullptr, nullptr)),
                 Kernel::Exception);
    EXPECT_EQ(0u, document->GetHistory()->GetCount());
}

TEST(DataMergeParserArgument, HandsItsCharactersOn) {
    DataMergeParserArgument argument;
    argument.givenDelimiter = {';'};
    argument.givenQuote = {'\''};
    argument.givenDecimalMark = {','};
    argument.locale = "de_DE";
    auto const parser = static_cast<Kernel::Counted<DataMergeParser>>(argument);
    EXPECT_EQ(parser->GetOptions().delimiter, ';');
    EXPECT_EQ(parser->GetOptions().quote, '\'');
    EXPECT_EQ(parser->GetOptions().decimalMark, ',');
    EXPECT_EQ(parser->GetLocale(), "de_DE");
}

} // namespace
