// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/settings/symbol_reference.h"
#include "platform/document/command.h"
#include "platform/document/detach_symbol_command.h"
#include "platform/document/node.h"

namespace Commands {

// Takes a symbol out of the document's list and sets its instances free.
class REDRAFT_API DeleteSymbolCommand final : public Persisted<DeleteSymbolCommand, DocumentCommand> {
public:
    explicit DeleteSymbolCommand(Kernel::JailCounted<Node> symbol) : m_symbol(std::move(symbol)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete Symbol", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    // Takes the place of a preview's symbol; outside a preview both stay.
    bool Merge(Kernel::Counted<Command const> newer) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;

    // Empty when no instance was linked to the symbol.
    Kernel::Counted<DetachSymbolCommand> const& GetDetachCommand() const { return m_detachCommand; }
    int GetIndex() const { return m_index; }

private:
    friend struct Kernel::FieldAccess;
    DeleteSymbolCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"OlIn", &DeleteSymbolCommand::m_index},
                                 Kernel::Field{"SymN", &DeleteSymbolCommand::m_symbol}.As<SymbolReference>(
                                     "symbol", "the symbol, as #ID or name:TEXT"),
                                 Kernel::Field{"Innr", &DeleteSymbolCommand::m_detachCommand}};
    }

    Kernel::JailCounted<Node> m_symbol;
    // The symbol's place in the list; -1 until Do has found it.
    int m_index = -1;
    Kernel::Counted<DetachSymbolCommand> m_detachCommand;
};

} // namespace Commands
