// SPDX-License-Identifier: Apache-2.0
// Data merges of whole documents. How long after a filter has changed does a document show the record that comes out of
// a million of them? How long do 10,000 records take to fill pages: into one document, of which counters tell the
// memory for a record, and one copy after the other, as drawings? In the same run, as a floor: the words of a template
// replaced in a plain text, which is written to a file.
#include "formats/export.h"
#include "merge/set_data_merge_filter_property_commands.h"
#include "platform/document/data_merge_output.h"
#include "platform/document/place_merge_fields_command.h"
#include "platform/document/text_nodes.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <string>
#include <unistd.h>

namespace {

using Kernel::MakeCounted;
using Kernel::String;
namespace Files = std::filesystem;

class Folder {
public:
    Folder() : path(Files::temp_directory_path() / ("redraft-bench-" + std::to_string(::getpid()))) {
        Files::create_directories(path);
    }
    ~Folder() { Files::remove_all(path); }
    Files::path path;
};

std::string MakeRows(int count) {
    std::string rows = "name,city,amount\n";
    for (int i = 0; i != count; ++i)
        rows += "Person " + std::to_string(i) + ",City " + std::to_string(i % 97) + "," +
                std::to_string(i * 7919 % 10'000) + "\n";
    return rows;
}

// A page with a text that shows three fields of the records of a file.
struct Letter {
    explicit Letter(int records) : document(DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 1)) {
        auto const data = (folder.path / "data.csv").string();
        std::ofstream(data) << MakeRows(records);
        text = MakeCounted<FrameTextNode>(Kernel::RectT<double>{10, 10, 500, 300});
        document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, text, nullptr);
        text->SetText(Story::GlyphString(U"Dear {{name}} of {{city}}, you owe {{amount}}."), {}, {});
        source = MakeCounted<DataMergeSource>("s", "s", MakeCounted<DataMergeFetcher>(String(data)), nullptr);
        source->SetPreviewEnabled(true);
        document->GetDocument()->GetDataMergeSettings().push_back(source);
        document->Run(MakeCounted<PlaceMergeFieldsCommand>(source));
    }
    Folder folder;
    Kernel::Counted<DocumentController> document;
    Kernel::Counted<FrameTextNode> text;
    Kernel::Counted<DataMergeSource> source;
};

void FilterChangeOfAMillion(benchmark::State& state) {
    Letter letter(1'000'000);
    auto const clause = MakeCounted<DataMergeRuleClause>("city", DataMergeRuleOperator::Equal, "City 5");
    auto const rule = MakeCounted<DataMergeRule>();
    rule->GetClauses().push_back(clause);
    auto const filter = MakeCounted<DataMergeRecordValueFilter>();
    filter->GetRules().push_back(rule);
    letter.source->GetFilters().push_back(filter);
    letter.document->SetMergingEnabled(false);
    int number = 0;
    for (auto _ : state) {
        letter.document->Run(MakeCounted<Commands::SetDataMergeValueFilterMatchValueCommand>(
            letter.source, clause, String("City " + std::to_string(++number % 97))));
        letter.text->EnsureTextComposed();
    }
    state.counters["records"] = static_cast<double>(letter.source->GetResult()->rows.size());
}
BENCHMARK(FilterChangeOfAMillion)->Unit(benchmark::kMillisecond)->UseRealTime();

void OneDocument(benchmark::State& state) {
    Letter const letter(static_cast<int>(state.range(0)));
    std::size_t memory = 0;
    for (auto _ : state) {
        auto const before = ::mallinfo2().uordblks;
        DataMergeOutput output(letter.document, nullptr);
        auto const made = output.MakeDocument();
        memory = ::mallinfo2().uordblks - before;
        benchmark::DoNotOptimize(made);
    }
    state.counters["bytes_per_record"] = static_cast<double>(memory) / static_cast<double>(state.range(0));
}
BENCHMARK(OneDocument)->Arg(10'000)->Arg(40'000)->Unit(benchmark::kMillisecond)->UseRealTime();

class CountingOutput final : public Formats::Output {
public:
    void Begin() override {}
    void Write(std::span<std::byte const> bytes) override { count += bytes.size(); }
    std::size_t count = 0;
};

void CopiesAsDrawings(benchmark::State& state) {
    Letter const letter(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        DataMergeOutput output(letter.document, nullptr);
        CountingOutput drawing;
        for (std::size_t copy = 0; copy != output.GetCopyCount(); ++copy)
            Formats::Export(*output.ShowCopy(copy), Formats::ExportFormat::Svg, drawing);
        benchmark::DoNotOptimize(drawing.count);
    }
}
BENCHMARK(CopiesAsDrawings)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseRealTime();

void PlainTextsIntoFiles(benchmark::State& state) {
    Folder const folder;
    for (auto _ : state) {
        for (int i = 0; i != state.range(0); ++i) {
            std::string text = "Dear {{name}} of {{city}}, you owe {{amount}}.";
            for (auto const& [field, value] :
                 {std::pair("{{name}}", "Person " + std::to_string(i)),
                  std::pair("{{city}}", "City " + std::to_string(i)), std::pair("{{amount}}", std::to_string(i))})
                text.replace(text.find(field), std::string_view(field).size(), value);
            std::ofstream(folder.path / "letter.txt") << text;
        }
    }
}
BENCHMARK(PlainTextsIntoFiles)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
