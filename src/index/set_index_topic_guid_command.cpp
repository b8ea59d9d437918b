// SPDX-License-Identifier: Apache-2.0
#include "index/set_index_topic_guid_command.h"

namespace Commands {} // namespace Commands
