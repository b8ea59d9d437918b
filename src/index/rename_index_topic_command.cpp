// SPDX-License-Identifier: Apache-2.0
#include "index/rename_index_topic_command.h"

namespace Commands {

Kernel::LocalisedString RenameIndexTopicCommand::GetDescription() const {
    return Kernel::LocalisedString("Rename Index Topic", "Command description");
}

} // namespace Commands
