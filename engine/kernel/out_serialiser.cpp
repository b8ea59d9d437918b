// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/out_serialiser.h"

#include "engine/kernel/out_context.h"
#include "engine/kernel/record.h"
#include "platform/kernel/enum_serialiser.h"
#include "platform/kernel/serialisable.h"

namespace Kernel {

namespace {

[[noreturn]] void ThrowMisuse(char const* what) { throw Exception(std::string("saving an object: ") + what); }

// The size of a value whose form tells it; 0 for the others.
std::size_t GetFixedSize(PropType type) {
    std::uint8_t const size = Detail::c_formSizes[Detail::GetForm(type)];
    return size < Detail::c_badForm ? size : 0;
}

void CheckValueType(PropType type, std::size_t size) {
    std::size_t const fixed = GetFixedSize(type);
    if (fixed != 0 ? fixed != size : type < PropType::FirstExtension || type > PropType::LastExtension)
        ThrowMisuse("a value has a size that its type does not have");
}

} // namespace

OutStream::~OutStream() = default;

OutStream::WriteException::WriteException(String filePath, SourceLocation where)
    : Exception((filePath.empty() ? std::string() : filePath.ToStdString() + ": ") + "cannot write all bytes", where),
      m_filePath(std::move(filePath)) {}

OutStream::WriteException::~WriteException() = default;
OutSerialiser::SaveException::~SaveException() = default;

OutSerialiser::OutSerialiser(Detail::OutContext& context) : m_context(&context), m_scopeStart(context.buffer.size()) {}

OutSerialiser::OutSerialiser(OutSerialiser const& outer, ClassPropertiesBase const*)
    : m_context(outer.m_context),
      m_outer(&outer),
      m_depth(static_cast<std::uint8_t>(outer.m_depth + 1)),
      m_scopeStart(outer.m_context->buffer.size()),
      m_path(outer.m_nestedPath),
      m_nestedPath(m_path) {
    outer.CheckFree();
    if (m_depth > Detail::c_maxClassDepth)
        ThrowMisuse("value classes are nested too deeply");
    if (outer.m_openArray != OpenArray::None)
        ThrowMisuse("a nested serialiser is opened within an array");
    outer.m_busy = true;
}

OutSerialiser::~OutSerialiser() {
    if (m_outer != nullptr)
        m_outer->m_busy = false;
}

void OutSerialiser::Close() {
    CheckFree();
    if (m_openArray != OpenArray::None)
        EndOpenArray();
    if ((m_classLengthAt | m_classArrayLengthAt) != 0 && !m_handlingException)
        ThrowMisuse("a value class is not ended");
    // A nested serialiser outside any value class shares its fields with the outer one, which appends for both.
    bool const ownsScope = m_outer == nullptr || m_path != m_outer->m_path;
    if (m_context->preserved != nullptr && ownsScope && IsFullSave()) [[unlikely]]
        m_context->AppendPreserved(m_path, m_scopeStart);
    if (m_context->buffer.size() - m_context->recordStart > m_context->maxRecordSize)
        throw SaveException(GetFilePath());
    m_closed = true;
    if (m_outer != nullptr)
        m_outer->m_busy = false;
}

bool OutSerialiser::IsFullSave() const { return m_context->purpose != Detail::Purpose::PathsOnly; }
void OutSerialiser::MarkAsHandlingException() { m_handlingException = true; }
OutStream& OutSerialiser::GetOutStream() const { return *m_context; }
String const& OutSerialiser::GetFilePath() const { return m_context->filePath; }
BlobSink* OutSerialiser::GetBlobSink() const { return m_context->blobs; }
bool OutSerialiser::IsForHash() const { return m_context->purpose == Detail::Purpose::Hash; }

void OutSerialiser::AddFilePath(String const& path) {
    if (!IsFullSave() && !path.empty())
        m_context->paths.push_back(path);
}

void OutSerialiser::CheckFree() const {
    if (m_busy || m_closed) [[unlikely]]
        ThrowMisuse("a serialiser is used while a nested one is open, or after its end");
}

void OutSerialiser::Begin(IDTag tag, std::uint8_t form) {
    CheckFree();
    if (!IsFullSave()) [[unlikely]]
        ThrowMisuse("a field is written in a pass that only gathers file paths");
    if (m_openArray != OpenArray::None) [[unlikely]]
        EndOpenArray();
    if ((m_classLengthAt | m_classArrayLengthAt) != 0) [[unlikely]]
        ThrowMisuse("a field is saved between the begin and the end of a value class, outside its nested serialiser");
    std::byte* const place = m_context->buffer.Extend(Detail::c_fieldHeaderSize);
    Detail::StoreTag(place, tag.GetValue());
    place[4] = static_cast<std::byte>(form);
}

void OutSerialiser::PatchLength(std::size_t at, std::size_t bias) {
    if (m_context->buffer.size() - at > m_context->maxRecordSize) [[unlikely]]
        throw SaveException(GetFilePath());
    m_context->buffer.PatchLength(at, bias);
}

void OutSerialiser::EndOpenArray() {
    if (m_handlingException)
        return;
    if (m_openArray == OpenArray::Objects) {
        if (m_arrayDone != m_arrayCount)
            ThrowMisuse("an object array has fewer elements than announced");
    } else if (std::size_t const size = GetFixedSize(m_arrayType); size != 0) {
        if (m_context->buffer.size() - (m_arrayLengthAt + 1) != size * m_arrayCount)
            ThrowMisuse("an array's bytes are not as many as announced");
    }
    m_openArray = OpenArray::None;
    PatchLength(m_arrayLengthAt, 0);
}

void OutSerialiser::SaveType(IDTag tag, bool const& value) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetForm(PropType::Bool));
    m_context->buffer.AppendByte(value ? 1 : 0);
}

void OutSerialiser::SaveType(IDTag tag, String const& value) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetForm(PropType::Text));
    auto const text = value.view();
    if (text.size() > m_context->maxRecordSize)
        throw SaveException(GetFilePath());
    m_context->buffer.AppendVarint(text.size());
    m_context->buffer.Append(text.data(), text.size());
}

void OutSerialiser::SaveTypes(IDTag tag, std::vector<bool> const& values) {
    if (!IsFullSave())
        return;
    if (values.size() > m_context->maxRecordSize)
        throw SaveException(GetFilePath());
    Begin(tag, Detail::GetArrayForm(PropType::Bool));
    m_context->buffer.AppendVarint(values.size());
    std::byte* place = m_context->buffer.Extend(values.size());
    for (bool const value : values)
        *place++ = static_cast<std::byte>(value);
}

void OutSerialiser::SaveTypes(IDTag tag, std::vector<String> const& values) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetArrayForm(PropType::Text));
    std::size_t const lengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
    for (auto const& value : values) {
        auto const text = value.view();
        if (text.size() > m_context->maxRecordSize)
            throw SaveException(GetFilePath());
        m_context->buffer.AppendVarint(text.size());
        m_context->buffer.Append(text.data(), text.size());
    }
    PatchLength(lengthAt, 0);
}

void OutSerialiser::SaveTypeI(IDTag tag, PropType type, void const* value, std::size_t size) {
    if (!IsFullSave())
        return;
    CheckValueType(type, size);
    Begin(tag, Detail::GetForm(type));
    if (type >= PropType::FirstExtension)
        m_context->buffer.AppendVarint(size);
    m_context->buffer.Append(value, size);
}

void OutSerialiser::SaveTypeArrayI(IDTag tag, PropType type, void const* values, std::size_t elementSize,
                                   std::size_t count) {
    if (!IsFullSave())
        return;
    CheckValueType(type, elementSize);
    if (elementSize == 0 || count > m_context->maxRecordSize / elementSize)
        throw SaveException(GetFilePath());
    Begin(tag, Detail::GetArrayForm(type));
    m_context->buffer.AppendVarint(elementSize * count);
    m_context->buffer.Append(values, elementSize * count);
}

void OutSerialiser::SaveEnumI(IDTag tag, EnumSerialiser const& serialiser, int value) {
    if (!IsFullSave())
        return;
    if (char const* const name = serialiser.FindName(value); name != nullptr) {
        std::string_view const text = name;
        Begin(tag, Detail::GetForm(PropType::EnumName));
        m_context->buffer.AppendVarint(text.size());
        m_context->buffer.Append(text.data(), text.size());
        return;
    }
    SaveTypeI(tag, PropType::Int32, &value, sizeof value);
}

void OutSerialiser::SaveEnumsI(IDTag tag, EnumSerialiser const& serialiser, int const* values, std::size_t count) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetArrayForm(PropType::EnumName));
    std::size_t const lengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
    for (std::size_t i = 0; i != count; ++i) {
        char const* const name = serialiser.FindName(values[i]);
        std::string_view const text = name == nullptr ? "" : name;
        m_context->buffer.AppendVarint(text.size());
        if (text.empty())
            m_context->buffer.Append(&values[i], sizeof values[i]);
        else
            m_context->buffer.Append(text.data(), text.size());
    }
    PatchLength(lengthAt, 0);
}

void OutSerialiser::WriteReference(IDTag tag, std::uint32_t index, Serialisable const* object) {
    if (object == nullptr && m_context->preserved != nullptr) [[unlikely]]
        object = m_context->preserved->FindHidden(m_path, tag.GetValue(), index);
    m_context->buffer.AppendVarint(object == nullptr ? 0 : m_context->GetId(*object));
}

void OutSerialiser::SaveObject(IDTag tag, NonCounted<Serialisable const> object, bool) {
    if (!IsFullSave()) {
        SaveObjectEnumeratePathsOnlyI(object);
        return;
    }
    Begin(tag, Detail::GetForm(PropType::Object));
    WriteReference(tag, 0, object.get());
}

void OutSerialiser::StartObjectArrayTestI(IDTag, std::size_t count) {
    CheckFree();
    if (count > m_context->maxRecordSize)
        throw SaveException(GetFilePath());
}

void OutSerialiser::StartObjectArrayBeginI(IDTag tag, std::size_t count) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetArrayForm(PropType::Object));
    m_arrayLengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
    if (count == 0)
        return;
    m_openArray = OpenArray::Objects;
    m_arrayTag = tag;
    m_arrayCount = count;
    m_arrayDone = 0;
}

void OutSerialiser::SaveObjectI(IDTag tag, NonCounted<Serialisable const> object, bool) {
    if (!IsFullSave()) {
        SaveObjectEnumeratePathsOnlyI(object);
        return;
    }
    CheckFree();
    if (m_openArray != OpenArray::Objects || tag != m_arrayTag)
        ThrowMisuse("an array's element is saved outside its array");
    WriteReference(tag, static_cast<std::uint32_t>(m_arrayDone), object.get());
    if (++m_arrayDone == m_arrayCount)
        EndOpenArray();
}

void OutSerialiser::SaveObjectEnumeratePathsOnlyI(NonCounted<Serialisable const> object) {
    if (object && !IsFullSave())
        m_context->references.GetReferenceId(*object);
}

void OutSerialiser::StartClassTestI(IDTag) { CheckFree(); }

void OutSerialiser::StartClassBeginI(IDTag tag, ClassUID const& uid, unsigned short version) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetForm(PropType::Class));
    m_classLengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
    m_context->buffer.AppendTag(uid.GetValue());
    m_context->buffer.AppendVarint(version);
    m_nestedPath = Detail::MixPath(m_path, tag.GetValue(), uid.GetValue(), 0);
}

void OutSerialiser::EndPropClassI() {
    if (!IsFullSave())
        return;
    CheckFree();
    if (m_classLengthAt == 0)
        ThrowMisuse("a value class is ended that was not begun");
    PatchLength(m_classLengthAt, m_classArrayLengthAt == 0 ? 0 : 1);
    m_classLengthAt = 0;
    m_nestedPath = m_path;
}

void OutSerialiser::StartClassArrayTestI(IDTag) { CheckFree(); }

void OutSerialiser::StartClassArrayBeginI(IDTag tag, ClassUID const& uid, unsigned short version, std::size_t count) {
    if (!IsFullSave())
        return;
    Begin(tag, Detail::GetArrayForm(PropType::Class));
    m_classArrayLengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
    m_context->buffer.AppendTag(uid.GetValue());
    m_context->buffer.AppendVarint(version);
    m_classArrayCount = count;
    m_classArrayDone = 0;
    m_classArrayPath = Detail::MixPath(m_path, tag.GetValue(), uid.GetValue(), 0);
}

void OutSerialiser::StartClassArrayClassI() {
    if (!IsFullSave())
        return;
    CheckFree();
    if (m_classArrayLengthAt == 0 || m_classLengthAt != 0)
        ThrowMisuse("an element is begun outside its array of value classes");
    m_nestedPath = Detail::MixPath(m_classArrayPath, 0, 0, m_classArrayDone++);
    m_classLengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
}

void OutSerialiser::EndPropClassArrayI() {
    if (!IsFullSave())
        return;
    CheckFree();
    if (m_classArrayLengthAt == 0 || m_classLengthAt != 0 || m_classArrayDone != m_classArrayCount)
        ThrowMisuse("an array of value classes has another count of elements than announced");
    PatchLength(m_classArrayLengthAt, 0);
    m_classArrayLengthAt = 0;
}

void OutSerialiser::SaveNullPropClassI(IDTag tag) {
    if (!IsFullSave())
        return;
    if (m_classArrayLengthAt == 0) {
        Begin(tag, Detail::GetForm(PropType::NullClass));
        return;
    }
    CheckFree();
    if (m_classLengthAt != 0)
        ThrowMisuse("an absent element is saved within another one");
    ++m_classArrayDone;
    m_context->buffer.AppendByte(0);
}

void OutSerialiser::StartNewPropTypeArrayTestI(IDTag, std::size_t count) {
    CheckFree();
    if (count > m_context->maxRecordSize)
        throw SaveException(GetFilePath());
}

void OutSerialiser::StartNewPropTypeArrayBeginI(IDTag tag, PropType type, std::size_t count) {
    if (!IsFullSave())
        return;
    CheckValueType(type, GetFixedSize(type));
    Begin(tag, Detail::GetArrayForm(type));
    m_openArray = OpenArray::Raw;
    m_arrayType = type;
    m_arrayCount = count;
    m_arrayLengthAt = m_context->buffer.size();
    m_context->buffer.AppendByte(0);
}

} // namespace Kernel
