// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/command_form.h"

#include <string>

namespace Shell {

// The selected objects of a command that works on all of them together, as a divide does. For other commands nothing is
// refused or told.
class CombinedObjects {
public:
    // Throws Failure where the objects cannot be combined.
    CombinedObjects(CommandEntry const& entry, Selection const& selection);
    // Notes the matters of the command, which has run, that its description does not tell.
    void Tell(DocumentCommand const& command) const;

private:
    std::string m_className;
    std::size_t m_hidden = 0;
};

} // namespace Shell
