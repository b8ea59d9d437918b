// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/value_command.h"

namespace Commands {

// Base of commands that give one setting of the document another value. T lists the fields m_value and m_oldValue and
// says how the setting is read and set: `static Value Get(DocumentController&)` and
// `static void Set(DocumentController&, Value const&)`. What is told is T's own.
template <class T, class Value>
class SettingCommand : public ValueCommand<T, Value> {
public:
    using ValueCommand<T, Value>::ValueCommand;

    Value Read() {
        Kernel::Counted<DocumentController> const controller = this->m_documentController;
        return T::Get(*controller);
    }
    void Write(Value const& value) {
        Kernel::Counted<DocumentController> const controller = this->m_documentController;
        T::Set(*controller, value);
    }

protected:
    // For loading.
    SettingCommand() = default;
};

} // namespace Commands
