// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"

namespace Kernel {

// Says of a class that its objects are values: what they hold counts, not which object it is. Hashes and comparisons by
// content take references to equal values for references to one object, however the values are shared. For the class's
// own lifetime, beside its entry in the registry.
class REDRAFT_ENGINE HashedByContent {
public:
    explicit HashedByContent(ClassProperties const* properties);
    HashedByContent(HashedByContent const&) = delete;
    HashedByContent& operator=(HashedByContent const&) = delete;
    ~HashedByContent();

    static bool Includes(ClassProperties const* properties) noexcept;

private:
    ClassProperties const* m_properties;
};

} // namespace Kernel
