// SPDX-License-Identifier: Apache-2.0
#include "index/reparent_index_cross_reference_command.h"

namespace Commands {

// The same text as that of ReparentIndexTopicCommand, on purpose.
void ReparentIndexCrossReferenceCommand::Apply(Story::Index& index, bool forward) {
    if (m_topic == m_relatedTopic)
        return;
    index.RemoveRelatedTo(m_topic, forward ? m_oldRelatedTopic : m_relatedTopic);
    index.AddRelatedTo(m_topic, forward ? m_relatedTopic : m_oldRelatedTopic);
}

} // namespace Commands
