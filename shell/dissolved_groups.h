// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/document/selection.h"

#include <string_view>
#include <vector>

namespace Shell {

// Finds what a command takes away together with groups that it dissolves: the members stay, and what the group did to
// them as a whole (clip, opacity and the like) is gone.
class DissolvedGroups {
public:
    // Looks at the selected nodes and all below them, before the command runs.
    explicit DissolvedGroups(Selection const& selection);
    // Notes the kinds of effects that are gone by now, a line each, such as `opacity of a group: 2 (first #7 "car")`.
    void Tell(std::string_view className) const;

private:
    struct Group {
        Kernel::Counted<SceneNode> node;
        // One of its members that is no group itself.
        Kernel::Counted<Node> member;
    };
    // Those that do something to their members.
    std::vector<Group> m_groups;
};

} // namespace Shell
