// SPDX-License-Identifier: Apache-2.0
#include "shell/combined_objects.h"

#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "shapes/divide_shapes_command.h"
#include "shell/failure.h"
#include "shell/session.h"
#include "shell/values.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

namespace Shell {

namespace {

// Objects of several spreads would cut each other as if they lay on one, and an artboard would go with what lies on it.
void RefuseScattered(std::string const& className, Selection const& selection) {
    auto const nodes = selection.GetNodesInDocument();
    auto const isElsewhere = [&](auto const& node) { return node->GetSpread() != nodes.front()->GetSpread(); };
    if (std::any_of(nodes.begin(), nodes.end(), isElsewhere))
        throw Failure(ExitStatus::Input, className,
                      "the selection is refused: its objects lie on several spreads, and the command works on one");
    if (std::any_of(nodes.begin(), nodes.end(), [](auto const& node) { return node->IsArtboard(); }))
        throw Failure(ExitStatus::Input, className, "the selection is refused: it contains an artboard");
}

// Objects with an outline that are hidden, by themselves or with a group that they are in.
std::size_t CountHidden(Selection const& selection) {
    std::unordered_set<Node const*> met;
    std::size_t hidden = 0;
    std::vector<Node*> pending;
    for (auto const& node : selection.GetNodesInDocument())
        pending.push_back(node.get());
    while (!pending.empty()) {
        auto* const node = pending.back();
        pending.pop_back();
        // A group may be selected together with its members.
        if (!met.insert(node).second)
            continue;
        if (Kernel::CastPointer<LogicalNode const>(node) != nullptr) {
            for (Node* child = node->GetFirstChild(NodeChildListType::Plain); child != nullptr;
                 child = child->GetNextSibling())
                pending.push_back(child);
            continue;
        }
        auto const* const scene = Kernel::CastPointer<SceneNode const>(node);
        bool const hasOutline = Kernel::CastPointer<ConstCurvesInterface const>(node) != nullptr ||
                                Kernel::CastPointer<TextFrameInterface const>(node) != nullptr;
        if (scene != nullptr && hasOutline && !scene->IsVisibleWithAncestors())
            ++hidden;
    }
    return hidden;
}

} // namespace

CombinedObjects::CombinedObjects(CommandEntry const& entry, Selection const& selection) : m_className(entry.className) {
    if (!entry.combinesObjects)
        return;
    RefuseScattered(m_className, selection);
    m_hidden = CountHidden(selection);
}

void CombinedObjects::Tell(DocumentCommand const& command) const {
    if (m_hidden != 0)
        Session::Note(m_className, Count(m_hidden, "hidden object takes part", "hidden objects take part"));
    auto const* const divide = Kernel::CastPointer<Commands::DivideShapesCommand const>(&command);
    if (divide == nullptr)
        return;
    if (std::size_t const pairs = divide->GetUnresolvedPairCount(); pairs != 0)
        Session::Note(m_className,
                      Count(pairs, "pair of curves comes", "pairs of curves come") +
                          " so near to each other that not all crossings could be found: pieces there may be wrong");
    if (!divide->LacksMap())
        return;
    Session::Note(m_className, divide->HasPieces()
                                   ? "the shapes of a clip are too complex or out of range, and it was left out"
                                   : "the shapes are too complex or out of range: they are gone without pieces; "
                                     "undo brings them back");
}

} // namespace Shell
