// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_nodes.h"

#include <unordered_set>

// The stories that a walk has come to: a story that several frames show is met once for each of them.
class REDRAFT_ENGINE VisitedStories {
public:
    // Whether the story has been asked for before; from now on it has.
    bool HasVisitedStory(Kernel::NonCounted<StoryInterface const> story);
    void clear() { m_owners.clear(); }

private:
    std::unordered_set<AttributeOwner const*> m_owners;
};
