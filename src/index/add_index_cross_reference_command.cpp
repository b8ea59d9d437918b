// SPDX-License-Identifier: Apache-2.0
#include "index/add_index_cross_reference_command.h"

namespace Commands {

void AddIndexCrossReferenceCommand::Apply(Story::Index& index, bool forward) {
    if (forward)
        index.AddRelatedTo(m_topic, m_relatedTopic);
    else
        index.RemoveRelatedTo(m_topic, m_relatedTopic);
}

} // namespace Commands
