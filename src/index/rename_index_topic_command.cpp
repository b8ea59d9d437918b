// SPDX-License-Identifier: Apache-2.0
#include "index/rename_index_topic_command.h"

namespace Commands {} // namespace Commands
