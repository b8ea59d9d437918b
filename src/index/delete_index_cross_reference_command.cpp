// SPDX-License-Identifier: Apache-2.0
#include "index/delete_index_cross_reference_command.h"

namespace Commands {

void DeleteIndexCrossReferenceCommand::Apply(Story::Index& index, bool forward) {
    if (forward)
        index.RemoveRelatedTo(m_topic, m_relatedTopic);
    else
        index.AddRelatedTo(m_topic, m_relatedTopic);
}

} // namespace Commands
