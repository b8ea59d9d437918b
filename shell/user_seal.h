// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_seal.h"

#include <memory>
#include <string>

namespace Shell {

// Seals documents with the user's key, so that a document which this user's program has saved, and nobody has changed
// since, is trusted. The key is made with the first seal. Without one, or where it cannot be read or others can, there
// are no seals and nothing fails.
std::shared_ptr<DocumentSeal> MakeUserSeal();

// Where the key lies: `redraft/key` in $XDG_DATA_HOME, which is ~/.local/share unless it is set. Empty where there is
// no such folder.
std::string GetKeyPath();

} // namespace Shell
