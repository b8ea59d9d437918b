// SPDX-License-Identifier: Apache-2.0
// What do sixty steps of a slider for the weight of lines cost over ten thousand shapes, as commands that merge into
// one entry of the history? The floor sets the same lines on the objects and keeps nothing. Processor time, the best of
// some runs, by turns.
#include "lines/set_line_descriptor_command.h"
#include "platform/document/document_controller.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

namespace {

using Renderer::LineStyle, Renderer::LineStyleDescriptor;

constexpr int c_shapes = 10'000, c_steps = 60, c_runs = 5;

double GetMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

Kernel::Counted<LineStyleDescriptor> MakeLine(double weight) {
    return Kernel::MakeCounted<LineStyleDescriptor>(
        Kernel::Consolidated<LineStyle>(Kernel::MakeCounted<LineStyle const>(weight)));
}

// Squares with lines of four weights; all are selected.
Kernel::Counted<DocumentController> MakeDocument() {
    auto document = DocumentController::CreateNew({1000, 1000}, Raster::FormatRGBA8, 1);
    auto const black = Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 0));
    std::vector<Kernel::Counted<Node>> nodes;
    for (int i = 0; i != c_shapes; ++i) {
        auto const node = Kernel::MakeCounted<PolyCurveNode>();
        node->SetCurves(Kernel::MakeCounted<Geometry::PolyCurveDbl>(Kernel::RectT<double>{0, 0, 8, 8}));
        node->SetTransform({1, 0, i % 100 * 10.0, 0, 1, i / 100 * 10.0}, false);
        node->SetLineStyleDescriptor(MakeLine(1 + i % 4 * 0.5));
        node->SetPenFillDescriptor(black);
        document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
        nodes.emplace_back(node);
    }
    document->SetSelection(Kernel::MakeCounted<Selection const>(nodes), false);
    return document;
}

double MeasureSteps(DocumentController& document) {
    double const start = GetMilliseconds();
    for (int i = 0; i != c_steps; ++i) {
        document.Run(Kernel::MakeCounted<Commands::SetLineDescriptorCommand>(
            MakeLine(2 + i * 0.125), 1 << static_cast<int>(Commands::LineProperty::Weight), ContentType::Object, false,
            true, LineCommandDefaultsMode::SelectionOnly, Kernel::Counted<Selection const>()));
    }
    double const time = GetMilliseconds() - start;
    if (document.GetHistory()->GetCount() != 1) {
        std::fprintf(stderr, "%zu entries\n", document.GetHistory()->GetCount());
        std::exit(1);
    }
    return time;
}

double MeasureFloor(DocumentController& document) {
    double const start = GetMilliseconds();
    for (int i = 0; i != c_steps; ++i) {
        auto const wanted = MakeLine(2.0625 + i * 0.125);
        for (auto* node = document.GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain); node != nullptr;
             node = node->GetNextSibling()) {
            auto& object = static_cast<PolyCurveNode&>(*node);
            auto const changed = object.GetLineStyleDescriptor()->Clone();
            changed->SetLineStyle(Kernel::Consolidated<LineStyle>(wanted->GetLineStyle()));
            object.SetLineStyleDescriptor(changed);
        }
    }
    return GetMilliseconds() - start;
}

} // namespace

int main() {
    // As in any application there has been a second thread, and so counts are atomic.
    std::thread([] {}).join();
    double steps = 1e9, undo = 1e9, floor = 1e9;
    for (int i = 0; i != c_runs; ++i) {
        auto const document = MakeDocument();
        steps = std::min(steps, MeasureSteps(*document));
        double const start = GetMilliseconds();
        document->Undo();
        undo = std::min(undo, GetMilliseconds() - start);
        floor = std::min(floor, MeasureFloor(*MakeDocument()));
    }
    std::printf("%-44s %8s %8s %8s\n", "60 steps over 10,000 shapes, ms", "ours", "floor", "ratio");
    std::printf("%-44s %8.1f %8.1f %8.2f\n", "weights of lines, merged into one entry", steps, floor, steps / floor);
    std::printf("%-44s %8.1f\n", "Undo of that entry", undo);
    return 0;
}
