// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/kernel/string.h"

#include <map>
#include <vector>

class DocumentNode;

// The values of a document's fields at one time, by the fields' GUIDs. Immutable; read by composition on any thread.
class REDRAFT_ENGINE CustomFieldValues final : public virtual Kernel::Countable {
public:
    // Null for an unknown GUID.
    Kernel::String const* Find(Kernel::String const& guid) const;
    friend bool operator==(CustomFieldValues const& a, CustomFieldValues const& b) { return a.m_values == b.m_values; }

private:
    friend class CustomFieldSource;
    std::map<Kernel::String, Kernel::String> m_values;
};

// The catalogue of a document's custom fields: named values that texts show. A field is known by its GUID, and keeps
// its place in the list when it is taken away and added again.
class REDRAFT_ENGINE CustomFieldSource {
public:
    explicit CustomFieldSource(DocumentNode& document);
    ~CustomFieldSource();
    CustomFieldSource(CustomFieldSource const&) = delete;

    bool IsEmpty() const { return m_state.fields.empty(); }
    bool Has(Kernel::String const& guid) const { return m_state.fields.contains(guid); }
    // In the order in which they were added for the first time.
    std::vector<Kernel::String> GetGuids() const;
    // Empty for an unknown GUID.
    Kernel::String GetFieldName(Kernel::String const& guid) const;
    Kernel::String GetFieldValue(Kernel::String const& guid) const;
    // Throws Kernel::Exception when there is such a field already, or when the GUID is empty.
    void AddField(Kernel::String const& guid, Kernel::String const& name, Kernel::String const& value);
    // These throw Kernel::Exception when there is no such field.
    void DeleteField(Kernel::String const& guid);
    void SetFieldName(Kernel::String const& guid, Kernel::String const& name);
    void SetFieldValue(Kernel::String const& guid, Kernel::String const& value);
    // A GUID that no field of this document has or had, made from the number of those that were given.
    Kernel::String MakeGuid() const;
    // The values as they are now, or null while there are no fields. The same object until one of them changes.
    Kernel::Counted<CustomFieldValues const> GetValues() const { return m_values; }

    void Save(Kernel::OutSerialiser& out) const;
    void Load(Kernel::InSerialiser const& in);

private:
    struct Field {
        Kernel::String name, value;
    };
    struct State {
        std::map<Kernel::String, Field> fields;
        // The ordinals of all fields that were ever added; no part of the document's own state.
        std::map<Kernel::String, std::size_t> ordinals;
    };
    static std::vector<Kernel::String> ListKnown(State const& state);
    Field& Require(Kernel::String const& guid);
    void NoteBeforeChange();
    void OnChanged();
    void MakeValues();

    DocumentNode& m_document;
    State m_state;
    Kernel::Counted<CustomFieldValues const> m_values;
};
