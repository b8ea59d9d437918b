// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/serialisable.h"

// Whatever a selection can name: nodes, and parts of a document that are no nodes, such as slices or ranges of text.
class REDRAFT_ENGINE Selectable : public Kernel::Serialisable {};
