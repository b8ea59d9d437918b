// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"
#include "platform/kernel/counted.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/prop_type.h"
#include "platform/kernel/string.h"
#include "platform/kernel/tag.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kernel {

class BlobSink;
class EnumSerialiser;
class Serialisable;

namespace Detail {
class OutContext;
}

// Where bytes go.
class REDRAFT_ENGINE OutStream {
public:
    // The stream takes no more.
    class REDRAFT_ENGINE WriteException : public Exception {
    public:
        explicit WriteException(String filePath, SourceLocation where = SourceLocation::current());
        ~WriteException() override;
        // The file that is written; empty for memory.
        String const& GetFilePath() const noexcept { return m_filePath; }

    private:
        String m_filePath;
    };

    virtual ~OutStream();
    // Returns the count of bytes that were taken; less than asked means that the stream is full.
    virtual std::size_t Write(void const* bytes, std::size_t size) = 0;
};

// Writes the fields of one object, or of a value class within it.
//
// Objects that are referred to are not written here: they get an id and are written in their turn, so that neither
// depth nor cycles of references matter. A pass that only gathers file paths writes nothing; every operation may be
// called in it. Operations throw SaveException when an object becomes longer than c_maxRecordSize, and Exception when
// they are called out of order.
class REDRAFT_ENGINE OutSerialiser {
public:
    class REDRAFT_ENGINE SaveException : public OutStream::WriteException {
    public:
        using WriteException::WriteException;
        ~SaveException() override;
    };

    // The longest object, in bytes.
    static constexpr std::size_t c_maxRecordSize = std::size_t{480} << 20;

    // Opens a nested scope for a value class; the outer serialiser takes nothing until this one is closed.
    OutSerialiser(OutSerialiser const& outer, ClassPropertiesBase const* properties);
    OutSerialiser& operator=(OutSerialiser const&) = delete;
    ~OutSerialiser();
    // Ends the scope. Nothing may be saved after it.
    void Close();

    void SaveType(IDTag tag, bool const& value);
    void SaveType(IDTag tag, String const& value);
    void SaveTypes(IDTag tag, std::vector<bool> const& values);
    void SaveTypes(IDTag tag, std::vector<String> const& values);
    // `size` is the type's size in bytes.
    void SaveTypeI(IDTag tag, PropType type, void const* value, std::size_t size);
    void SaveTypeArrayI(IDTag tag, PropType type, void const* values, std::size_t elementSize, std::size_t count);
    void SaveEnumI(IDTag tag, EnumSerialiser const& serialiser, int value);
    void SaveEnumsI(IDTag tag, EnumSerialiser const& serialiser, int const* values, std::size_t count);

    // A reference to an object, which may be empty. The flag has no effect here.
    void SaveObject(IDTag tag, NonCounted<Serialisable const> object, bool polymorphic);

    // An array of references: begin, then SaveObjectI for each element. It ends with its last element.
    void StartObjectArrayTestI(IDTag tag, std::size_t count);
    void StartObjectArrayBeginI(IDTag tag, std::size_t count);
    void SaveObjectI(IDTag tag, NonCounted<Serialisable const> object, bool polymorphic);
    // Takes the object along in a pass that only gathers file paths; nothing otherwise.
    void SaveObjectEnumeratePathsOnlyI(NonCounted<Serialisable const> object);

    // A value class: begin, a nested serialiser, end.
    void StartClassTestI(IDTag tag);
    void StartClassBeginI(IDTag tag, ClassUID const& uid, unsigned short version);
    // Ends a value class, or one element of an array of them.
    void EndPropClassI();
    // An array of value classes: begin, for each element StartClassArrayClassI, a nested serialiser, EndPropClassI,
    // and at last EndPropClassArrayI.
    void StartClassArrayTestI(IDTag tag);
    void StartClassArrayBeginI(IDTag tag, ClassUID const& uid, unsigned short version, std::size_t count);
    void StartClassArrayClassI();
    void EndPropClassArrayI();
    // An absent value class; within an array of them an absent element.
    void SaveNullPropClassI(IDTag tag);

    // An array of raw values, whose bytes the caller writes to GetOutStream. It ends when something else is saved.
    void StartNewPropTypeArrayTestI(IDTag tag, std::size_t count);
    void StartNewPropTypeArrayBeginI(IDTag tag, PropType type, std::size_t count);
    OutStream& GetOutStream() const;

    // The file that is written; empty for memory.
    String const& GetFilePath() const;
    // Takes large values; null when only a hash or a comparison is made.
    BlobSink* GetBlobSink() const;
    // True when the bytes serve a hash or a comparison of documents: state that is no part of a document's equality
    // is then left out.
    bool IsForHash() const;
    // Says that the object refers to a file outside the document. Heard in the pass that gathers file paths.
    void AddFilePath(String const& path);

protected:
    // False in a pass that only gathers file paths.
    bool IsFullSave() const;
    // Keeps Close and the destructor from complaining of an unfinished scope while an exception leaves it.
    void MarkAsHandlingException();

private:
    friend struct SerialiserAccess;
    friend class Detail::OutContext;
    enum class OpenArray : std::uint8_t { None, Raw, Objects };

    explicit OutSerialiser(Detail::OutContext& context);
    void Begin(IDTag tag, std::uint8_t type);
    void CheckFree() const;
    void EndOpenArray();
    void WriteReference(IDTag tag, std::uint32_t index, Serialisable const* object);
    void PatchLength(std::size_t at, std::size_t bias);

    Detail::OutContext* m_context;
    OutSerialiser const* m_outer = nullptr;
    mutable bool m_busy = false;
    bool m_closed = false;
    bool m_handlingException = false;
    OpenArray m_openArray = OpenArray::None;
    PropType m_arrayType{};
    std::uint8_t m_depth = 0;
    IDTag m_arrayTag;
    // Where the length of an open array, value class or array of them stands; 0 for none.
    std::size_t m_arrayLengthAt = 0;
    std::size_t m_arrayCount = 0;
    std::size_t m_arrayDone = 0;
    std::size_t m_classLengthAt = 0;
    std::size_t m_classArrayLengthAt = 0;
    std::size_t m_classArrayCount = 0;
    std::size_t m_classArrayDone = 0;
    std::uint64_t m_classArrayPath = 0;
    std::size_t m_scopeStart = 0;
    // Tells this scope from the others of its object.
    std::uint64_t m_path = 0;
    std::uint64_t m_nestedPath = 0;
};

// Opens what OutSerialiser keeps for those who write forms by hand.
struct SerialiserAccess {
    static bool IsFullSave(OutSerialiser const& out) { return out.IsFullSave(); }
    static void MarkAsHandlingException(OutSerialiser& out) { out.MarkAsHandlingException(); }
};

} // namespace Kernel
