// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/fade_command.h"

#include "frame/persistence/registered_class.h"

namespace Lives {

void FadeCommand::Register() {
    static RegisteredClass<FadeCommand> const s_registered("LvFd", 1, SelectionCommandBase::GetTypeClassProperties(),
                                                           Coverage::No);
}

} // namespace Lives
