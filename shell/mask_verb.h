// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/session.h"

namespace Shell {

// The members "pixels" and "channels" of an open object: which pixels and channels effects may change.
void WriteMask(JsonWriter& json, DocumentController& document);
// The same as lines; without `evenIfPlain` only where it is not everything.
void PrintMask(Session& session, DocumentController& document, bool evenIfPlain);

} // namespace Shell
