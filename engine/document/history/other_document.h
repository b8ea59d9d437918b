// SPDX-License-Identifier: Apache-2.0
#pragma once

class DocumentCommand;
class DocumentNode;

// Throws Kernel::Exception for a command that was given a selection in another document. Its nodes are not this one's
// to edit: their lock is not held, and this history could not take the edits back. The first node of the selection that
// stands in a document answers for all.
void RefuseOtherDocument(DocumentCommand const& command, DocumentNode const& document);
