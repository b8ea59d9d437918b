// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

#include <string>
#include <string_view>

namespace Shell {

// Takes the document to a state of its history, step by step; Control-C ends it. `subject` names the document in
// failures. Throws Failure.
void WalkTo(DocumentController& document, std::size_t position, std::string const& subject);

// A state's number: 0 to the count of steps. Throws Failure; `name` is what the argument is called.
std::size_t ParsePosition(DocumentController const& document, std::string_view name, std::string_view text);

} // namespace Shell
