// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"

namespace Commands {

// A field of the document, as programs outside the library name it: by its identity or its name.
struct FieldReference {
    Kernel::String guid;
    operator Kernel::String() const { return guid; }
};

} // namespace Commands
