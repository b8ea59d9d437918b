// SPDX-License-Identifier: Apache-2.0
#include "platform/document/custom_field_source.h"

#include "engine/document/tree/layout_epoch.h"
#include "platform/document/edit_journal.h"
#include "platform/document/nodes.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_list.h"

namespace {

// How a field stands in a file.
struct FieldElement {
    Kernel::String guid, name, value;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"guid", &FieldElement::guid}, Kernel::Field{"name", &FieldElement::name},
                                 Kernel::Field{"valu", &FieldElement::value}};
    }
    static constexpr Kernel::ClassUID GetClassUID() { return {"CuFi"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
};

} // namespace

Kernel::String const* CustomFieldValues::Find(Kernel::String const& guid) const {
    auto const found = m_values.find(guid);
    return found == m_values.end() ? nullptr : &found->second;
}

CustomFieldSource::CustomFieldSource(DocumentNode& document) : m_document(document) {}
CustomFieldSource::~CustomFieldSource() = default;

// By their ordinals, which have no gaps.
std::vector<Kernel::String> CustomFieldSource::ListKnown(State const& state) {
    std::vector<Kernel::String> known(state.ordinals.size());
    for (auto const& [guid, ordinal] : state.ordinals)
        known[ordinal] = guid;
    return known;
}

std::vector<Kernel::String> CustomFieldSource::GetGuids() const {
    auto guids = ListKnown(m_state);
    std::erase_if(guids, [&](Kernel::String const& guid) { return !Has(guid); });
    return guids;
}

Kernel::String CustomFieldSource::GetFieldName(Kernel::String const& guid) const {
    auto const found = m_state.fields.find(guid);
    return found == m_state.fields.end() ? Kernel::String() : found->second.name;
}

Kernel::String CustomFieldSource::GetFieldValue(Kernel::String const& guid) const {
    auto const found = m_state.fields.find(guid);
    return found == m_state.fields.end() ? Kernel::String() : found->second.value;
}

CustomFieldSource::Field& CustomFieldSource::Require(Kernel::String const& guid) {
    auto const found = m_state.fields.find(guid);
    if (found == m_state.fields.end())
        throw Kernel::Exception("the document has no such field");
    return found->second;
}

void CustomFieldSource::NoteBeforeChange() {
    if (EditJournal::IsOpen())
        EditJournal::NoteFor(m_document, [this, state = m_state, values = m_values](DocumentNode&) mutable {
            m_state = std::move(state);
            m_values = std::move(values);
        });
}

void CustomFieldSource::OnChanged() {
    MakeValues();
    m_document.MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void CustomFieldSource::MakeValues() {
    m_values.reset();
    if (m_state.fields.empty())
        return;
    auto const values = Kernel::MakeCounted<CustomFieldValues>();
    for (auto const& [guid, field] : m_state.fields)
        values->m_values.emplace(guid, field.value);
    m_values = values;
}

void CustomFieldSource::AddField(Kernel::String const& guid, Kernel::String const& name, Kernel::String const& value) {
    if (guid.empty())
        throw Kernel::Exception("a field needs an identity");
    if (Has(guid))
        throw Kernel::Exception("the document has such a field already");
    NoteBeforeChange();
    m_state.ordinals.try_emplace(guid, m_state.ordinals.size());
    m_state.fields.emplace(guid, Field{name, value});
    OnChanged();
}

void CustomFieldSource::DeleteField(Kernel::String const& guid) {
    Require(guid);
    NoteBeforeChange();
    m_state.fields.erase(guid);
    OnChanged();
}

void CustomFieldSource::SetFieldName(Kernel::String const& guid, Kernel::String const& name) {
    Require(guid);
    NoteBeforeChange();
    Require(guid).name = name;
    m_document.MarkChanged();
}

void CustomFieldSource::SetFieldValue(Kernel::String const& guid, Kernel::String const& value) {
    if (Require(guid).value == value)
        return;
    NoteBeforeChange();
    Require(guid).value = value;
    OnChanged();
}

Kernel::String CustomFieldSource::MakeGuid() const {
    for (std::size_t number = m_state.ordinals.size() + 1;; ++number) {
        auto guid = Kernel::String("field-" + std::to_string(number));
        if (!m_state.ordinals.contains(guid))
            return guid;
    }
}

// The fields that are there, in their order; beside the state, the order of all that ever were.
void CustomFieldSource::Save(Kernel::OutSerialiser& out) const {
    if (m_state.ordinals.empty())
        return;
    std::vector<FieldElement> elements;
    for (auto const& guid : GetGuids())
        elements.push_back({guid, GetFieldName(guid), GetFieldValue(guid)});
    if (!elements.empty())
        Kernel::SaveValue(out, "CFld", elements);
    if (!out.IsForHash())
        Kernel::SaveValue(out, "CFOr", ListKnown(m_state));
}

void CustomFieldSource::Load(Kernel::InSerialiser const& in) {
    std::vector<FieldElement> elements;
    std::vector<Kernel::String> known;
    State state;
    Kernel::LoadValue(in, "CFOr", known);
    Kernel::LoadValue(in, "CFld", elements);
    for (auto const& guid : known)
        state.ordinals.try_emplace(guid, state.ordinals.size());
    for (auto const& element : elements) {
        if (element.guid.empty())
            continue;
        state.ordinals.try_emplace(element.guid, state.ordinals.size());
        state.fields.try_emplace(element.guid, Field{element.name, element.value});
    }
    m_state = std::move(state);
    MakeValues();
}
