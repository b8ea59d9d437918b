// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"

// The area of the current spread that the notifications of a command name as changed, by what it did last; empty when
// they name none or the command is bound to no document.
Kernel::RectT<double> FindDamageArea(DocumentCommand const& command);
