// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/nodes.h"

#include <string>
#include <vector>

namespace Shell {

// Finds what a command takes away together with groups that it dissolves: the members stay, and what the group did to
// them as a whole (clip, opacity and the like) is gone.
class DissolvedGroups {
public:
    // Looks at the document as it is before the command. The controller must outlive this object.
    explicit DissolvedGroups(DocumentController& document);
    // One line for each kind of what is gone by now, such as `opacity of a group: 2 (first #7 "car")`.
    std::vector<std::string> Describe() const;

private:
    struct Group {
        Kernel::Counted<SceneNode> node;
        // One of its members that is no group itself.
        Kernel::Counted<Node> member;
    };
    DocumentController& m_document;
    // Those that do something to their members.
    std::vector<Group> m_groups;
};

} // namespace Shell
