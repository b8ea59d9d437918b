// SPDX-License-Identifier: Apache-2.0
#include "index/set_index_topic_guid_command.h"

namespace Commands {

Kernel::LocalisedString SetIndexTopicGUIDCommand::GetDescription() const {
    return Kernel::LocalisedString("Change index topic binding", "Command description");
}

} // namespace Commands
