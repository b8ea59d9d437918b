// SPDX-License-Identifier: Apache-2.0
#include "shell/dissolved_groups.h"

#include "platform/kernel/cast.h"
#include "shell/session.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace Shell {

namespace {

// Whether nodes are in a document's tree. Ancestors are asked once, however deep the tree is.
class TreeMembers {
public:
    bool Contains(Node const& node) {
        std::vector<Node const*> way{&node};
        while (!m_known.contains(way.back()) && way.back()->GetParent() != nullptr)
            way.push_back(way.back()->GetParent());
        auto const known = m_known.find(way.back());
        bool const isInTree = known != m_known.end() ? known->second : way.back()->IsInDocument();
        for (auto const* const at : way)
            m_known.emplace(at, isInTree);
        return isInTree;
    }

private:
    std::unordered_map<Node const*, bool> m_known;
};

Node& FindLowest(Node& node) {
    Node* at = &node;
    while (Node* const below = at->GetFirstChild(NodeChildListType::Plain))
        at = below;
    return *at;
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

DissolvedGroups::DissolvedGroups(Selection const& selection) {
    // A group shares its lowest member with its first one.
    struct Pending {
        Node* node;
        Node* lowest;
    };
    std::vector<Pending> pending;
    for (auto const& node : selection.GetNodesInDocument())
        pending.push_back({node.get(), &FindLowest(*node)});
    std::reverse(pending.begin(), pending.end());
    std::unordered_set<Node const*> met;
    while (!pending.empty()) {
        auto const [node, lowest] = pending.back();
        pending.pop_back();
        // A group may be selected together with its members.
        if (!met.insert(node).second)
            continue;
        auto* const scene = Kernel::CastPointer<SceneNode>(node);
        if (lowest != node && scene != nullptr && !ListEffects(*scene).empty())
            m_groups.push_back({Kernel::Counted<SceneNode>(scene), Kernel::Counted<Node>(lowest)});
        auto* const first = node->GetFirstChild(NodeChildListType::Plain);
        for (int list = c_childListCount - 1; list >= 0; --list) {
            for (Node* child = node->GetLastChild(static_cast<NodeChildListType>(list)); child != nullptr;
                 child = child->GetPreviousSibling())
                pending.push_back({child, child == first ? lowest : &FindLowest(*child)});
        }
    }
}

void DissolvedGroups::Tell(std::string_view className) const {
    // In the order in which they are met, each with its first group.
    struct Loss {
        std::string_view effect;
        std::string first;
        std::size_t count;
    };
    std::vector<Loss> losses;
    TreeMembers members;
    for (auto const& group : m_groups) {
        if (members.Contains(*group.node) || !members.Contains(*group.member))
            continue;
        for (auto const effect : ListEffects(*group.node)) {
            auto const known =
                std::find_if(losses.begin(), losses.end(), [&](Loss const& loss) { return loss.effect == effect; });
            if (known != losses.end())
                ++known->count;
            else
                losses.push_back({effect, Describe(*group.node), 1});
        }
    }
    for (auto const& [effect, first, count] : losses)
        Session::Note(className, "lost with the groups: " + std::string(effect) + ": " + std::to_string(count) +
                                     " (first " + OneLine(first, 60) + ")");
}

} // namespace Shell
