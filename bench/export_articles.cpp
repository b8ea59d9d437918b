// SPDX-License-Identifier: Apache-2.0
// How long does it take to move one of 100,000 articles to the other end of the reading order, and back? The floor, in
// the same run: the same articles in a map that is made anew once, with every number one higher.
#include "articles/move_export_articles_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/export_article.h"
#include "platform/document/nodes.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int c_articles = 100'000;

struct Order {
    Kernel::Counted<DocumentController> document = DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 1);

    // With one member each, or none.
    explicit Order(bool hasMembers) {
        DocumentNode::Articles articles;
        for (int i = 0; i != c_articles; ++i)
            articles.emplace_hint(articles.end(), i, Kernel::MakeCounted<ExportArticle>());
        document->GetDocument()->SetArticles(articles);
        for (int i = 0; hasMembers && i != c_articles; ++i) {
            auto const node = Kernel::MakeCounted<PolyCurveNode>();
            node->SetArticleIndex(i);
            node->SetSequenceIndex(0);
            document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
        }
        document->SetMergingEnabled(false);
    }
};

void MoveOne(benchmark::State& state) {
    Order const order(state.range(0) != 0);
    order.document->GetExportArticles();
    for (auto _ : state) {
        auto const last = order.document->GetExportArticles().back();
        order.document->Run(Kernel::MakeCounted<Commands::MoveExportArticlesCommand>(
            std::vector<Kernel::Counted<ExportArticleCollector>>{last}, -1));
    }
}

void TakeMoveBack(benchmark::State& state) {
    Order const order(state.range(0) != 0);
    auto const last = order.document->GetExportArticles().back();
    order.document->Run(Kernel::MakeCounted<Commands::MoveExportArticlesCommand>(
        std::vector<Kernel::Counted<ExportArticleCollector>>{last}, -1));
    for (auto _ : state) {
        order.document->Undo();
        state.PauseTiming();
        order.document->Redo();
        state.ResumeTiming();
    }
}

void RenumberMap(benchmark::State& state) {
    Order const order(false);
    auto articles = order.document->GetDocument()->GetArticles();
    for (auto _ : state) {
        DocumentNode::Articles made;
        for (auto const& [number, article] : articles)
            made.emplace_hint(made.end(), number + 1, article);
        articles = std::move(made);
    }
}

BENCHMARK(MoveOne)->ArgName("members")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(TakeMoveBack)->ArgName("members")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(RenumberMap)->Unit(benchmark::kMillisecond)->MinTime(1);

} // namespace

BENCHMARK_MAIN();
