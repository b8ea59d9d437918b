// SPDX-License-Identifier: Apache-2.0
#include "index/reparent_index_topic_command.h"

namespace Commands {

Kernel::LocalisedString ReparentIndexTopicCommand::GetDescription() const {
    return Kernel::LocalisedString("Reparent Index Topic", "Command description");
}

} // namespace Commands
