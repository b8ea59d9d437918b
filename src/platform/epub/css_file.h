// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/stored_class.h"
#include "platform/kernel/string.h"

namespace EPub {

// A style sheet that a document's e-books carry. An immutable value once it is shared.
class REDRAFT_ENGINE CSSFile final : public Kernel::StoredClass<CSSFile, Kernel::Serialisable> {
public:
    // `name`: that of the file in the book. `text`: the sheet, in UTF-8.
    CSSFile(Kernel::String name, Kernel::String text) : m_name(std::move(name)), m_text(std::move(text)) {}
    Kernel::String const& GetName() const { return m_name; }
    Kernel::String const& GetText() const { return m_text; }

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    CSSFile() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"name", &CSSFile::m_name}, Kernel::Field{"text", &CSSFile::m_text}};
    }

    Kernel::String m_name, m_text;
};

} // namespace EPub
