// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/example_documents.h"

namespace ExampleDocuments {

Kernel::Counted<ShapeNode> MakeRectangle(Kernel::RectT<double> box, double red, double green, double blue) {
    auto const shape = Kernel::MakeCounted<RectangleShape>();
    shape->box = box;
    auto node = Kernel::MakeCounted<ShapeNode>(shape);
    node->SetBrushFillDescriptor(
        Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(red, green, blue)));
    return node;
}

void Append(Node& parent, Kernel::Counted<Node> child) {
    parent.InsertChild(NodeChildListType::Plain, std::move(child), nullptr);
}

void Select(DocumentController& controller, std::vector<Kernel::Counted<Node>> const& nodes) {
    controller.SetSelection(Kernel::MakeCounted<Selection>(nodes), false);
}

void NestedGroups(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const outer = Kernel::MakeCounted<GroupNode>();
    auto const inner = Kernel::MakeCounted<GroupNode>();
    auto const second = Kernel::MakeCounted<GroupNode>();
    auto const scaled = MakeRectangle({10, 10, 60, 40}, 0.8, 0.2, 0.1);
    auto const constrained = MakeRectangle({70, 10, 120, 40}, 0.1, 0.5, 0.2);
    auto const plain = MakeRectangle({300, 300, 360, 380}, 0.3, 0.3, 0.3);
    Append(*spread, MakeRectangle({0, 0, 500, 20}, 0.9, 0.9, 0.8));
    Append(*spread, outer);
    Append(*outer, scaled);
    Append(*outer, inner);
    Append(*inner, constrained);
    Append(*inner, MakeRectangle({5, 50, 25, 90}, 0.2, 0.2, 0.9));
    Append(*outer, MakeRectangle({140, 10, 180, 60}, 0.5, 0.1, 0.5));
    Append(*spread, plain);
    Append(*spread, second);
    Append(*second, MakeRectangle({0, 0, 30, 30}, 0.1, 0.7, 0.7));
    outer->SetTransform({0.8, -0.6, 100, 0.6, 0.8, 50}, false);
    outer->SetFrameTextScale({2, 0, 0, 0, 2, 0});
    inner->SetTransform({1, 0.25, 12, 0, 1, 7}, false);
    second->SetTransform({1, 0, 240, 0, 1, 400}, false);
    scaled->SetFrameTextScale({1.5, 0, 0, 0, 3, 0});
    scaled->SetUserDescription("Scaled");
    constrained->SetTransformConstraints(5);
    Select(controller, {outer, plain, second});
}

void GroupsWithLooks(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    std::vector<Kernel::Counted<Node>> groups;
    for (int i = 0; i != 3; ++i) {
        auto const group = Kernel::MakeCounted<GroupNode>();
        group->SetTransform({1, 0, 200.0 * i, 0, 1, 60}, false);
        Append(*spread, group);
        Append(*group, MakeRectangle({20, 0, 120, 90}, 0.8, 0.3, 0.2));
        Append(*group, MakeRectangle({60, 30, 160, 140}, 0.2, 0.4, 0.8));
        if (i == 0)
            group->SetOpacity(0.5);
        if (i == 1)
            group->InsertChild(NodeChildListType::Clipping, MakeRectangle({40, 20, 100, 80}, 0, 0, 0), nullptr);
        if (i == 2)
            group->SetVisible(false);
        groups.emplace_back(group);
    }
    Select(controller, groups);
}

void ConstraintsGroup(DocumentController& controller) {
    auto const group = Kernel::MakeCounted<ConstraintsGroupNode>();
    auto const left = MakeRectangle({0, 0, 40, 40}, 0.9, 0.6, 0.1);
    auto const right = MakeRectangle({60, 0, 100, 40}, 0.1, 0.6, 0.9);
    Append(*controller.GetCurrentSpread(), group);
    Append(*group, left);
    Append(*group, right);
    group->SetTransform({2, 0, 30, 0, 2, 40}, false);
    left->SetTransformConstraints(3);
    right->SetTransformConstraints(9);
    Select(controller, {group});
}

void SymbolWithInstances(DocumentController& controller) {
    auto const symbol = Kernel::MakeCounted<SymbolNode>();
    symbol->SetUserDescription("Badge");
    symbol->SetGUID("7e1f5c9a-0001");
    Append(*symbol, MakeRectangle({0, 0, 50, 50}, 0.9, 0.8, 0.1));
    Append(*symbol, MakeRectangle({10, 10, 40, 40}, 0.1, 0.1, 0.1));
    controller.InsertSymbolAtIndex(symbol, 0);
    std::vector<Kernel::Counted<Node>> instances;
    for (int i = 0; i != 2; ++i) {
        auto const instance = MakeSymbolInstance(*symbol);
        instance->SetTransform({1, 0, 60.0 * i, 0, 1, 200}, false);
        Append(*controller.GetCurrentSpread(), instance);
        instances.emplace_back(instance);
    }
    Select(controller, instances);
}

void CloudSyncedBox(DocumentController& controller) {
    auto const box = Kernel::MakeCounted<CloudSyncedNode>();
    Append(*controller.GetCurrentSpread(), box);
    box->SetBoxContents(MakeRectangle({0, 0, 80, 30}, 0.4, 0.4, 0.9));
    box->SetTransform({1, 0, 100, 0, 1, 100}, false);
    Select(controller, {box});
}

} // namespace ExampleDocuments
