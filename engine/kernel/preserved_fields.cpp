// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/preserved_fields.h"

#include "engine/kernel/graph_access.h"
#include "engine/kernel/out_context.h"
#include "engine/kernel/record.h"

#include <mutex>
#include <unordered_map>

namespace Kernel::Detail {

namespace {

// Never destroyed: objects may outlive the destructors of this library.
struct Table {
    std::mutex mutex;
    std::unordered_map<Serialisable const*, std::shared_ptr<PreservedFields const>> entries;
};

Table& GetTable() {
    static Table* const s_table = new Table;
    return *s_table;
}

constexpr std::uint8_t c_object = GetForm(PropType::Object);
constexpr std::uint8_t c_objects = GetArrayForm(PropType::Object);
constexpr std::uint8_t c_class = GetForm(PropType::Class);
constexpr std::uint8_t c_classes = GetArrayForm(PropType::Class);

// Steps over the class tag and version at the start of a value class.
std::byte const* SkipClassHeader(std::byte const* at, std::byte const* end) {
    if (end - at < 4)
        ThrowDamaged("a value class is broken off");
    at += 4;
    ReadVarint32(at, end);
    return at;
}

// The end of an array's element, which may be absent: then it is `at`.
std::byte const* ReadElementEnd(std::byte const*& at, std::byte const* end) {
    std::size_t const length = ReadVarint32(at, end);
    if (length == 0)
        return at;
    if (length - 1 > static_cast<std::size_t>(end - at))
        ThrowDamaged("a length goes beyond the end");
    return at + (length - 1);
}

void VisitFields(std::byte const* at, std::byte const* end, ReferenceVisitor& visitor, unsigned depth) {
    if (depth > c_maxClassDepth)
        ThrowDamaged("value classes are nested too deeply");
    while (at != end) {
        auto const field = ReadField(at, end);
        std::byte const* value = field.value;
        if (field.form == c_object || field.form == c_objects) {
            while (value != field.end)
                visitor.Visit(ReadVarint32(value, field.end));
        } else if (field.form == c_class) {
            VisitFields(SkipClassHeader(value, field.end), field.end, visitor, depth + 1);
        } else if (field.form == c_classes) {
            for (value = SkipClassHeader(value, field.end); value != field.end;) {
                std::byte const* const elementEnd = ReadElementEnd(value, field.end);
                VisitFields(value, elementEnd, visitor, depth + 1);
                value = elementEnd;
            }
        }
        at = field.end;
    }
}

// Copies fields whose form VisitFields has found sound, with new ids for the references.
class FieldCopier {
public:
    FieldCopier(OutContext& context, std::vector<Counted<Serialisable>> const& references)
        : m_context(context), m_reference(references.begin()) {}

    void CopyFields(std::byte const* at, std::byte const* end) {
        while (at != end) {
            auto const field = ReadField(at, end);
            CopyField(at, field);
            at = field.end;
        }
    }

private:
    void CopyField(std::byte const* at, FieldView const& field) {
        auto& buffer = m_context.buffer;
        if (field.form != c_object && field.form != c_objects && field.form != c_class && field.form != c_classes) {
            buffer.Append(at, static_cast<std::size_t>(field.end - at));
            return;
        }
        buffer.Append(at, c_fieldHeaderSize);
        if (field.form == c_object) {
            CopyReferences(field.value, field.end);
            return;
        }
        std::size_t const lengthAt = buffer.size();
        buffer.AppendByte(0);
        if (field.form == c_objects) {
            CopyReferences(field.value, field.end);
        } else {
            std::byte const* const inner = SkipClassHeader(field.value, field.end);
            buffer.Append(field.value, static_cast<std::size_t>(inner - field.value));
            if (field.form == c_class)
                CopyFields(inner, field.end);
            else
                CopyElements(inner, field.end);
        }
        buffer.PatchLength(lengthAt, 0);
    }

    void CopyReferences(std::byte const* at, std::byte const* end) {
        while (at != end) {
            ReadVarint32(at, end);
            auto const* object = (m_reference++)->get();
            m_context.buffer.AppendVarint(object == nullptr ? 0 : m_context.GetId(*object));
        }
    }

    void CopyElements(std::byte const* at, std::byte const* end) {
        auto& buffer = m_context.buffer;
        while (at != end) {
            bool const absent = *at == std::byte{0};
            std::byte const* const elementEnd = ReadElementEnd(at, end);
            std::size_t const lengthAt = buffer.size();
            buffer.AppendByte(0);
            if (!absent) {
                CopyFields(at, elementEnd);
                buffer.PatchLength(lengthAt, 1);
            }
            at = elementEnd;
        }
    }

    OutContext& m_context;
    std::vector<Counted<Serialisable>>::const_iterator m_reference;
};

} // namespace

std::uint64_t MixPath(std::uint64_t path, std::uint32_t tag, std::uint32_t uid, std::uint64_t index) noexcept {
    std::uint64_t mixed = path ^ (static_cast<std::uint64_t>(tag) << 32 | uid);
    mixed = (mixed ^ mixed >> 29) * 0xBF58476D1CE4E5B9u;
    mixed += index + 1;
    mixed = (mixed ^ mixed >> 32) * 0x94D049BB133111EBu;
    return mixed ^ mixed >> 31;
}

Serialisable const* PreservedFields::FindHidden(std::uint64_t path, std::uint32_t tag,
                                                std::uint32_t index) const noexcept {
    for (auto const& reference : hidden) {
        if (reference.path == path && reference.tag == tag && reference.index == index)
            return reference.object.get();
    }
    return nullptr;
}

void WritePreservedField(OutContext& context, PreservedField const& field) {
    std::byte const* const begin = field.bytes.data();
    FieldCopier(context, field.references).CopyFields(begin, begin + field.bytes.size());
}

void VisitReferences(std::byte const* field, std::byte const* end, ReferenceVisitor& visitor) {
    VisitFields(field, end, visitor, 0);
}

void SetPreservedFields(Serialisable const& object, std::shared_ptr<PreservedFields const> fields) {
    auto& table = GetTable();
    {
        std::lock_guard const lock(table.mutex);
        table.entries[&object].swap(fields);
    }
    GraphAccess::Word(object).fetch_or(GraphAccess::c_preserved, std::memory_order_relaxed);
}

std::shared_ptr<PreservedFields const> FindPreservedFields(Serialisable const& object) {
    if ((GraphAccess::Load(object) & GraphAccess::c_preserved) == 0)
        return nullptr;
    auto& table = GetTable();
    std::lock_guard const lock(table.mutex);
    auto const found = table.entries.find(&object);
    return found == table.entries.end() ? nullptr : found->second;
}

void DropPreservedFields(Serialisable const& object) noexcept {
    std::shared_ptr<PreservedFields const> dropped;
    auto& table = GetTable();
    GraphAccess::Word(object).fetch_and(~GraphAccess::c_preserved, std::memory_order_relaxed);
    std::lock_guard const lock(table.mutex);
    auto const found = table.entries.find(&object);
    if (found == table.entries.end())
        return;
    // Its references go after the lock: their objects may have preserved fields too.
    dropped = std::move(found->second);
    table.entries.erase(found);
}

ClassProperties const* UnknownObject::GetObjectClassProperties() const {
    static ClassProperties const s_properties(ClassUID(), nullptr, 1, nullptr, nullptr, "object of an unknown class");
    return &s_properties;
}

} // namespace Kernel::Detail
