// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "platform/document/document_controller.h"

namespace Commands {

// Base of commands that give one setting of the document another value, and Undo its old one. T lists the fields
// m_value and m_oldValue and says how the setting is read and set: `static Value Get(DocumentController&)` and
// `static void Set(DocumentController&, Value const&)`. What is told is T's own.
template <class T, class Value>
class SettingCommand : public Persisted<T, DocumentCommand> {
public:
    explicit SettingCommand(Value value) : m_value(std::move(value)) {}

    void Do() override {
        this->SetDirection(DomainCommand::Direction::Do);
        Kernel::Counted<DocumentController> const controller = this->m_documentController;
        m_oldValue = T::Get(*controller);
        T::Set(*controller, m_value);
    }
    void Undo() override { Put(DomainCommand::Direction::Undo, m_oldValue); }
    void Redo() override { Put(DomainCommand::Direction::Redo, m_value); }
    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<T>(m_value); }

protected:
    // For loading.
    SettingCommand() = default;

    Value m_value{}, m_oldValue{};

private:
    void Put(DomainCommand::Direction direction, Value const& value) {
        this->SetDirection(direction);
        Kernel::Counted<DocumentController> const controller = this->m_documentController;
        T::Set(*controller, value);
    }
};

} // namespace Commands
