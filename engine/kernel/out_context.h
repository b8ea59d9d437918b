// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/byte_buffer.h"
#include "engine/kernel/graph_access.h"
#include "engine/kernel/preserved_fields.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/kernel/string.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Kernel::Detail {

// Numbers the objects that are referred to and sees to it that each is written.
class ReferenceSink {
public:
    virtual std::uint32_t GetReferenceId(Serialisable const& object) = 0;

protected:
    ~ReferenceSink() = default;
};

enum class Purpose : std::uint8_t { Full, PathsOnly, Hash };

// The state that the serialisers of one pass share: where their bytes go and who numbers their references.
class OutContext final : public OutStream {
public:
    OutContext(ReferenceSink& referenceSink, Purpose passPurpose) : purpose(passPurpose), references(referenceSink) {}

    std::uint32_t GetId(Serialisable const& object) {
        auto const word = GraphAccess::Load(object);
        if (epoch != 0 && GraphAccess::GetEpoch(word) == epoch)
            return GraphAccess::GetId(word);
        return references.GetReferenceId(object);
    }

    // Appends the object's record to the buffer.
    void WriteRecord(std::uint32_t id, Serialisable const& object);
    // Appends the object's class tag and fields, as they are hashed and compared.
    void WriteCanonical(Serialisable const& object);
    // Runs the object's Save for the paths it names.
    void GatherPaths(Serialisable const& object);

    // Appends the preserved fields of a scope whose tags have not been written from `scopeStart` on.
    void AppendPreserved(std::uint64_t path, std::size_t scopeStart);

    std::size_t Write(void const* bytes, std::size_t size) override;

    ByteBuffer buffer;
    Purpose purpose;
    // The numbering whose ids stand in the objects themselves; 0 for none.
    std::uint32_t epoch = 0;
    ReferenceSink& references;
    BlobSink* blobs = nullptr;
    String filePath;
    std::vector<String> paths;
    // Of the object that is being written; null for most.
    std::shared_ptr<PreservedFields const> preserved;
    std::size_t recordStart = 0;
    std::size_t maxRecordSize = OutSerialiser::c_maxRecordSize;

private:
    void WriteFields(Serialisable const& object);
    ClassUID BeginObject(Serialisable const& object, unsigned short& version);
};

} // namespace Kernel::Detail
