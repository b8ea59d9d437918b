// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/enum_serialiser.h"

namespace Commands {

// Persists which separator between the parts of index entries a fragment of text stands for: 0 to 6, by number.
class REDRAFT_API IndexFragmentSeparatorEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static IndexFragmentSeparatorEnumSerialiser const& GetInstance();

private:
    IndexFragmentSeparatorEnumSerialiser();
};

} // namespace Commands
