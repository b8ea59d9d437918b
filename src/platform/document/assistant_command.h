// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"

// A command that an assistant of the front end runs for the user, who did not choose it: macros don't show it.
class REDRAFT_ENGINE AssistantCommand : public DocumentCommand {
public:
    bool ShouldPresentInMacro() const override { return false; }
};
