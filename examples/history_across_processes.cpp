// SPDX-License-Identifier: Apache-2.0
// A document is drawn, edited and saved; then it is opened as another process would, and its history walked back.
//
//   history_across_processes [FILE]      FILE is written over; its name ends in .redraft
#include "frame/view/flip_canvas_command.h"
#include "platform/document/document_controller.h"
#include "shapes/ungroup_all_nodes_command.h"

#include <cstdio>

namespace {

Kernel::Counted<ShapeNode> MakeEllipse(Kernel::RectT<double> box, Renderer::Colour colour) {
    auto const shape = Kernel::MakeCounted<EllipseShape>();
    shape->box = box;
    auto node = Kernel::MakeCounted<ShapeNode>(shape);
    node->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(colour));
    return node;
}

// Building a new document needs no commands: there is nothing yet to undo.
Kernel::Counted<DocumentController> MakeDocument() {
    auto controller = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
    auto const group = Kernel::MakeCounted<GroupNode>();
    group->InsertChild(NodeChildListType::Plain, MakeEllipse({20, 20, 180, 140}, Renderer::Colour::FromRGB(1, 0.5, 0)),
                       nullptr);
    group->InsertChild(NodeChildListType::Plain, MakeEllipse({90, 60, 260, 230}, Renderer::Colour::FromRGB(0, 0.4, 1)),
                       nullptr);
    controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, group, nullptr);
    controller->SetSelection(Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{group}), false);
    return controller;
}

void EditAndSave(std::string const& path) {
    auto const controller = MakeDocument();
    controller->Run(Kernel::MakeCounted<Commands::UngroupAllNodesCommand>());
    controller->Run(Kernel::MakeCounted<Commands::FlipCanvasCommand>(true));
    controller->Save(path);
}

} // namespace

int main(int argumentCount, char** arguments) {
    std::string const path = argumentCount > 1 ? arguments[1] : "history_across_processes.redraft";
    try {
        auto const before = MakeDocument()->GetHash(false);
        EditAndSave(path);

        auto const controller = DocumentController::Open(path, true);
        auto const history = controller->GetHistory();
        for (std::size_t step = 0; step < history->GetCount(); ++step)
            std::printf("%zu  %s\n", step + 1, history->GetDescription(step).ToString().c_str());
        controller->GoTo(0);
        bool const same = controller->GetHash(false) == before;
        std::printf("after undoing all: %s\n", same ? "the document as it was drawn" : "something else");
        return same ? 0 : 1;
    } catch (Kernel::Exception const& error) {
        std::fprintf(stderr, "history_across_processes: %s\n", error.what());
        return 3;
    }
}
