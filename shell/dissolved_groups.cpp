// SPDX-License-Identifier: Apache-2.0
#include "shell/dissolved_groups.h"

#include "platform/kernel/cast.h"
#include "shell/svg/report.h"

namespace Shell {

namespace {

bool IsInTree(Node const& node, Node const& root) {
    for (Node const* at = &node; at != nullptr; at = at->GetParent())
        if (at == &root)
            return true;
    return false;
}

// The effects that a group has on its members as a whole, by name.
std::vector<std::string_view> ListEffects(SceneNode const& group) {
    std::vector<std::string_view> effects;
    auto const add = [&](bool isThere, std::string_view name) {
        if (isThere)
            effects.push_back(name);
    };
    add(group.HasChildren(NodeChildListType::Clipping), "clip of a group");
    add(group.GetOpacity() != 1, "opacity of a group");
    add(group.GetBlendMode() != Renderer::BlendMode::Normal, "blend mode of a group");
    // Opacity and blend modes isolate a group by themselves.
    add(group.IsIsolated() && group.GetOpacity() == 1 && group.GetBlendMode() == Renderer::BlendMode::Normal,
        "isolation of a group");
    add(!group.IsVisible(), "hiding of a group");
    add(group.HasChildren(NodeChildListType::Adjustments) || !group.GetFilterEffects().empty(), "effect of a group");
    add(group.HasChildren(NodeChildListType::Masks), "mask of a group");
    return effects;
}

std::string Describe(SceneNode const& group) {
    std::string text = "#" + std::to_string(group.GetId());
    if (auto const name = group.GetDescription(false); !name.empty())
        text += " \"" + name.ToStdString() + '"';
    return text;
}

} // namespace

DissolvedGroups::DissolvedGroups(DocumentController& document) : m_document(document) {
    ForEachNode(*document.GetDocument(), [&](Node& node) {
        auto* member = node.GetFirstChild(NodeChildListType::Plain);
        auto* const scene = Kernel::CastPointer<SceneNode>(&node);
        if (member == nullptr || scene == nullptr || ListEffects(*scene).empty())
            return;
        while (Node* const below = member->GetFirstChild(NodeChildListType::Plain))
            member = below;
        m_groups.push_back({Kernel::Counted<SceneNode>(scene), Kernel::Counted<Node>(member)});
    });
}

std::vector<std::string> DissolvedGroups::Describe() const {
    Svg::Report report;
    Node const& root = *m_document.GetDocument();
    for (auto const& group : m_groups) {
        if (IsInTree(*group.node, root) || !IsInTree(*group.member, root))
            continue;
        for (auto const effect : ListEffects(*group.node))
            report.Add(effect, Shell::Describe(*group.node));
    }
    return report.GetLines();
}

} // namespace Shell
