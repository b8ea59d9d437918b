// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/in_serialiser.h"

#include "engine/kernel/byte_buffer.h"
#include "engine/kernel/in_context.h"
#include "engine/kernel/record.h"
#include "platform/kernel/enum_serialiser.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/serialisable.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Kernel {

namespace {

using Detail::GetArrayForm;
using Detail::GetForm;

std::string_view AsText(std::byte const* begin, std::byte const* end) {
    return {reinterpret_cast<char const*>(begin), static_cast<std::size_t>(end - begin)};
}

std::uint64_t GetTagBit(IDTag tag) { return Detail::InContext::GetTagBit(tag.GetValue()); }

struct ClassHeader {
    ClassUID uid;
    unsigned short version;
};

// Reads the class tag and version at the start of a value class and steps over them.
ClassHeader ReadClassHeader(std::byte const*& at, std::byte const* end) {
    if (end - at < 4)
        Detail::ThrowDamaged("a value class is broken off");
    auto const uid = ClassUID::FromValue(Detail::LoadTag(at));
    at += 4;
    std::uint32_t const version = Detail::ReadVarint32(at, end);
    if (version > 0xFFFF)
        Detail::ThrowDamaged("a value class has an impossible version");
    return {uid, static_cast<unsigned short>(version)};
}

} // namespace

InSerialiser::InSerialiser(Detail::InContext& context, std::byte const* begin, std::byte const* end, std::uint64_t path,
                           unsigned depth)
    : m_context(&context),
      m_begin(begin),
      m_end(end),
      m_cursor(begin),
      m_askedEnd(begin),
      m_path(path),
      m_depth(depth) {}

InSerialiser::InSerialiser(InSerialiser&&) noexcept = default;
InSerialiser::~InSerialiser() {
    if (m_extra != nullptr)
        m_context->GiveExtra(std::move(m_extra));
}

Detail::InExtra& InSerialiser::GetExtra() const {
    if (m_extra == nullptr)
        m_extra = m_context->TakeExtra();
    return *m_extra;
}

std::vector<Counted<Serialisable>>& InSerialiser::AddArray() const { return GetExtra().arrays.emplace_back(); }

void InSerialiser::NoteAsked(IDTag tag, std::byte const* field, std::byte const* next) const {
    m_askedTags |= GetTagBit(tag);
    m_cursor = next;
    if (field == m_askedEnd)
        m_askedEnd = next;
    else if (field > m_askedEnd)
        GetExtra().asked.push_back(field);
}

bool InSerialiser::Find(IDTag tag, std::uint8_t form, Field& field) const {
    std::byte const* const at = m_cursor;
    if (static_cast<std::size_t>(m_end - at) >= Detail::c_fieldHeaderSize && Detail::LoadTag(at) == tag.GetValue() &&
        static_cast<std::uint8_t>(at[4]) == form) [[likely]] {
        field.payload = at + Detail::c_fieldHeaderSize;
        field.end = Detail::FindValueEnd(form, field.payload, m_end);
        NoteAsked(tag, at, field.end);
        return true;
    }
    return FindElsewhere(tag, form, field);
}

// Looks from the cursor to the end and then at the fields before it; not at those that have all been asked for by
// other tags.
bool InSerialiser::FindElsewhere(IDTag tag, std::uint8_t form, Field& field) const {
    if ((m_context->GetTagBits(m_begin, m_end, m_depth) & GetTagBit(tag)) == 0)
        return false;
    std::byte const* const start = (m_askedTags & GetTagBit(tag)) != 0 ? m_begin : std::min(m_askedEnd, m_cursor);
    std::byte const* const stops[] = {m_end, m_cursor};
    std::byte const* at = m_cursor;
    for (std::byte const* const stop : stops) {
        while (at != stop) {
            auto const view = Detail::ReadField(at, m_end);
            if (view.tag == tag.GetValue()) {
                if (view.form != form)
                    return false;
                NoteAsked(tag, at, view.end);
                field = {view.value, view.end};
                return true;
            }
            at = view.end;
        }
        at = start;
    }
    return false;
}

bool InSerialiser::LoadType(IDTag tag, bool& value) const {
    Field field;
    if (!Find(tag, GetForm(PropType::Bool), field))
        return false;
    value = *field.payload != std::byte{0};
    return true;
}

bool InSerialiser::LoadType(IDTag tag, String& value) const {
    Field field;
    if (!Find(tag, GetForm(PropType::Text), field))
        return false;
    value = String(AsText(field.payload, field.end));
    return true;
}

bool InSerialiser::LoadTypes(IDTag tag, std::vector<bool>& values) const {
    Field field;
    if (!Find(tag, GetArrayForm(PropType::Bool), field))
        return false;
    std::vector<bool> loaded(static_cast<std::size_t>(field.end - field.payload));
    for (std::size_t i = 0; i != loaded.size(); ++i)
        loaded[i] = field.payload[i] != std::byte{0};
    values.swap(loaded);
    return true;
}

bool InSerialiser::LoadTypes(IDTag tag, std::vector<String>& values) const {
    Field field;
    if (!Find(tag, GetArrayForm(PropType::Text), field))
        return false;
    std::vector<String> loaded;
    while (field.payload != field.end) {
        std::size_t const size = Detail::ReadLength(field.payload, field.end);
        loaded.emplace_back(AsText(field.payload, field.payload + size));
        field.payload += size;
    }
    values.swap(loaded);
    return true;
}

bool InSerialiser::LoadTypeI(IDTag tag, PropType type, void* value, std::size_t size) const {
    Field field;
    if (!Find(tag, GetForm(type), field) || static_cast<std::size_t>(field.end - field.payload) != size)
        return false;
    std::memcpy(value, field.payload, size);
    return true;
}

void const* InSerialiser::LoadTypeArrayI(IDTag tag, PropType type, std::size_t elementSize, std::size_t& count) const {
    Field field;
    if (elementSize == 0 || !Find(tag, GetArrayForm(type), field))
        return nullptr;
    auto const size = static_cast<std::size_t>(field.end - field.payload);
    if (size % elementSize != 0)
        return nullptr;
    count = size / elementSize;
    return field.payload;
}

bool InSerialiser::LoadEnumI(IDTag tag, EnumSerialiser const& serialiser, int& value) const {
    Field field;
    if (Find(tag, GetForm(PropType::EnumName), field)) {
        auto const found = serialiser.FindValue(AsText(field.payload, field.end));
        value = found.value_or(value);
        return found.has_value();
    }
    int number = 0;
    if (!LoadTypeI(tag, PropType::Int32, &number, sizeof number) || !serialiser.IsRegistered(number))
        return false;
    value = number;
    return true;
}

bool InSerialiser::LoadEnumI(IDTag tag, EnumSerialiser const& serialiser, std::vector<int>& values) const {
    Field field;
    if (!Find(tag, GetArrayForm(PropType::EnumName), field))
        return false;
    std::vector<int> loaded;
    while (field.payload != field.end) {
        std::size_t const size = Detail::ReadLength(field.payload, field.end);
        int number = 0;
        if (size != 0) {
            auto const found = serialiser.FindValue(AsText(field.payload, field.payload + size));
            if (!found)
                return false;
            number = *found;
            field.payload += size;
        } else {
            if (static_cast<std::size_t>(field.end - field.payload) < sizeof number)
                Detail::ThrowDamaged("an enumeration's value is broken off");
            std::memcpy(&number, field.payload, sizeof number);
            field.payload += sizeof number;
            if (!serialiser.IsRegistered(number))
                return false;
        }
        loaded.push_back(number);
    }
    values.swap(loaded);
    return true;
}

bool InSerialiser::LoadObjectI(IDTag tag, Counted<Serialisable>& object, bool) const {
    if (m_context->mode == Detail::InContext::Mode::Clear) [[unlikely]] {
        object.reset();
        return true;
    }
    Field field;
    if (!Find(tag, GetForm(PropType::Object), field))
        return false;
    object = m_context->ResolveFor(m_path, tag, 0, Detail::ReadVarint32(field.payload, field.end));
    return true;
}

std::vector<Counted<Serialisable>> const* InSerialiser::LoadObjectsI(IDTag tag, bool) const {
    if (m_context->mode == Detail::InContext::Mode::Clear) [[unlikely]]
        return &AddArray();
    Field field;
    if (!Find(tag, GetArrayForm(PropType::Object), field))
        return nullptr;
    auto& objects = AddArray();
    // Each number ends with a byte whose top bit is clear.
    objects.reserve(static_cast<std::size_t>(std::count_if(
        field.payload, field.end, [](std::byte byte) { return (byte & std::byte{0x80}) == std::byte{0}; })));
    for (std::uint32_t index = 0; field.payload != field.end; ++index)
        objects.push_back(m_context->ResolveFor(m_path, tag, index, Detail::ReadVarint32(field.payload, field.end)));
    return &objects;
}

InSerialiser const* InSerialiser::OpenNested(Field const& field, std::uint64_t path) const {
    if (m_depth == Detail::c_maxClassDepth)
        Detail::ThrowDamaged("value classes are nested too deeply");
    InSerialiser nested(*m_context, field.payload, field.end, path, m_depth + 1);
    return &GetExtra().nested.emplace_back(std::move(nested));
}

InSerialiser const* InSerialiser::LoadClassI(IDTag tag, ClassUID& uid, unsigned short& version) const {
    Field field;
    if (!Find(tag, GetForm(PropType::Class), field))
        return nullptr;
    auto const header = ReadClassHeader(field.payload, field.end);
    uid = header.uid;
    version = header.version;
    return OpenNested(field, Detail::MixPath(m_path, tag.GetValue(), uid.GetValue(), 0));
}

// An object may be remembered only when all of its bytes are in it: fields that are kept for later versions, and
// references to unknown objects, are kept with the owner of the value.
Counted<Serialisable> InSerialiser::LoadInlineObjectI(IDTag tag, FileStore& files) const {
    Field field;
    if (!Find(tag, GetForm(PropType::Class), field))
        return {};
    bool const mayShare = m_context->mode == Detail::InContext::Mode::Load;
    auto const whole = field;
    Detail::InContext::SharedValue* const shared =
        mayShare ? &m_context->FindSharedValue(whole.payload, whole.end) : nullptr;
    if (shared != nullptr && shared->object && std::equal(whole.payload, whole.end, shared->begin, shared->end))
        return shared->object;
    auto const header = ReadClassHeader(field.payload, field.end);
    auto const* const nested = OpenNested(field, Detail::MixPath(m_path, tag.GetValue(), header.uid.GetValue(), 0));
    auto const* const properties = m_context->FindClass(header.uid.GetValue());
    if (properties == nullptr)
        return {};
    if (header.version > properties->GetVersion())
        throw FutureVersionException(true);
    auto const hidden = m_context->hidden.size();
    auto object = properties->Create();
    if (!object || !object->Load(*nested, files, header.version))
        return {};
    if (shared != nullptr && m_context->hidden.size() == hidden && Detail::InContext::IsAllAsked(*nested))
        *shared = {whole.payload, whole.end, object};
    return object;
}

IDTag InSerialiser::GetNextTag() const {
    if (static_cast<std::size_t>(m_end - m_cursor) < Detail::c_fieldHeaderSize)
        return {};
    return IDTag::FromValue(Detail::LoadTag(m_cursor));
}

bool InSerialiser::MayHaveTag(std::uint32_t mask, std::uint32_t value) const {
    for (std::byte const* at = m_askedEnd; at != m_end;) {
        auto const field = Detail::ReadField(at, m_end);
        if ((field.tag & mask) == value)
            return true;
        at = field.end;
    }
    return false;
}

bool InSerialiser::LoadNullPropClassI(IDTag tag) const {
    Field field;
    return Find(tag, GetForm(PropType::NullClass), field);
}

std::vector<InSerialiser const*> InSerialiser::LoadClassesI(IDTag tag, ClassUID& uid, unsigned short& version) const {
    Field field;
    if (!Find(tag, GetArrayForm(PropType::Class), field))
        return {};
    auto const header = ReadClassHeader(field.payload, field.end);
    uid = header.uid;
    version = header.version;
    std::vector<InSerialiser const*> elements;
    if (m_context->mode == Detail::InContext::Mode::Clear) [[unlikely]]
        return elements;
    std::uint64_t const path = Detail::MixPath(m_path, tag.GetValue(), uid.GetValue(), 0);
    while (field.payload != field.end) {
        std::size_t const length = Detail::ReadVarint32(field.payload, field.end);
        if (length == 0) {
            elements.push_back(nullptr);
            continue;
        }
        if (length - 1 > static_cast<std::size_t>(field.end - field.payload))
            Detail::ThrowDamaged("a length goes beyond the end");
        Field const element{field.payload, field.payload + (length - 1)};
        elements.push_back(OpenNested(element, Detail::MixPath(path, 0, 0, elements.size())));
        field.payload = element.end;
    }
    return elements;
}

} // namespace Kernel
