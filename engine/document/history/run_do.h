// SPDX-License-Identifier: Apache-2.0
#pragma once

class DocumentCommand;

// Runs a command's Do. Takes back what it did when it throws, and when a request to a remote model that it made has
// failed: requests for several objects succeed or fail as one.
void RunDo(DocumentCommand& command);
