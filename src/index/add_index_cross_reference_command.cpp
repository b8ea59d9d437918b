// SPDX-License-Identifier: Apache-2.0
#include "index/add_index_cross_reference_command.h"

namespace Commands {

Kernel::LocalisedString AddIndexCrossReferenceCommand::GetDescription() const {
    return Kernel::LocalisedString("Add Index Cross-Reference", "Command description");
}

void AddIndexCrossReferenceCommand::Apply(Story::Index& index, bool forward) {
    if (forward)
        index.AddRelatedTo(m_topic, m_relatedTopic);
    else
        index.RemoveRelatedTo(m_topic, m_relatedTopic);
}

Kernel::Counted<DocumentCommand> AddIndexCrossReferenceCommand::Clone() const {
    return Kernel::MakeCounted<AddIndexCrossReferenceCommand>(m_topic, m_relatedTopic);
}

} // namespace Commands
