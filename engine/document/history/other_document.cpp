// SPDX-License-Identifier: Apache-2.0
#include "engine/document/history/other_document.h"

#include "platform/document/nodes.h"
#include "platform/document/selection_command_base.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

void RefuseOtherDocument(DocumentCommand const& command, DocumentNode const& document) {
    auto const* const selecting = Kernel::CastPointer<SelectionCommandBase const>(&command);
    auto const selection = selecting == nullptr ? nullptr : selecting->GetGivenSelection();
    if (!selection)
        return;
    for (auto const& item : *selection) {
        auto const* const node = Kernel::CastPointer<Node const>(item->GetSelectable().get());
        auto const* const own = node == nullptr ? nullptr : node->GetDocumentNode();
        if (own == &document)
            return;
        if (own != nullptr)
            throw Kernel::Exception("the selection is that of another document");
    }
}
