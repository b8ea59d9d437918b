// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"

namespace Story {

// A table that a frame shows. Texts have no tables yet: wherever one is asked for, it is null.
class REDRAFT_ENGINE Table : public virtual Kernel::Countable {};

} // namespace Story
