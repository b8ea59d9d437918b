// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/exception.h"

#include "platform/kernel/abortable.h"

namespace Kernel {

Exception::~Exception() = default;
AbortException::~AbortException() = default;
FutureVersionException::~FutureVersionException() = default;
DamagedDataException::~DamagedDataException() = default;

Abortable::~Abortable() = default;

} // namespace Kernel
