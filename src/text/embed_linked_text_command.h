// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/text_commands.h"

namespace Commands {

// Makes text that was taken from a file the document's own: the paragraphs forget the file, the text stays.
class REDRAFT_API EmbedLinkedTextCommand final : public Persisted<EmbedLinkedTextCommand, FormatTextCommand> {
public:
    explicit EmbedLinkedTextCommand(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Embed Text File", "Command description");
    Kernel::Counted<DocumentCommand> Clone() const override {
        return Kernel::MakeCounted<EmbedLinkedTextCommand>(GetGivenSelection());
    }

private:
    friend struct Kernel::FieldAccess;
    EmbedLinkedTextCommand() : EmbedLinkedTextCommand(nullptr) {}
    // No arguments but the selection.
    static constexpr auto Fields() { return Kernel::FieldList<>{}; }
};

} // namespace Commands
