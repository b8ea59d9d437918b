// SPDX-License-Identifier: Apache-2.0
#include "engine/document/history/stored_size.h"

#include "engine/kernel/object_queue.h"
#include "engine/kernel/out_context.h"
#include "platform/document/node.h"
#include "platform/kernel/cast.h"

namespace {

// Follows references, but not into the tree.
class OwnObjects final : public Kernel::Detail::ReferenceSink {
public:
    std::uint32_t GetReferenceId(Kernel::Serialisable const& object) override {
        auto const* const node = Kernel::CastPointer<Node const>(&object);
        // Any number will do: all have about the same length.
        return node != nullptr && node->IsInDocument() ? c_inTree : m_queue.GetReferenceId(object);
    }
    Kernel::Detail::ObjectQueue& GetQueue() { return m_queue; }

private:
    static constexpr std::uint32_t c_inTree = 1;
    Kernel::Detail::ObjectQueue m_queue;
};

class CountingSink final : public Kernel::BlobSink {
public:
    explicit CountingSink(std::unordered_set<Kernel::BlobKey>& known) : m_known(known) {}
    Kernel::BlobKey Put(std::span<std::byte const> bytes) override {
        auto const key = Kernel::ComputeBlobKey(bytes);
        if (m_known.insert(key).second)
            m_size += bytes.size();
        return key;
    }
    std::size_t GetSize() const { return m_size; }

private:
    std::unordered_set<Kernel::BlobKey>& m_known;
    std::size_t m_size = 0;
};

} // namespace

std::size_t MeasureStoredSize(Kernel::Serialisable const& object, std::unordered_set<Kernel::BlobKey>& known) {
    OwnObjects own;
    CountingSink blobs(known);
    Kernel::Detail::OutContext context(own, Kernel::Detail::Purpose::Full);
    context.blobs = &blobs;
    auto& queue = own.GetQueue();
    queue.GetReferenceId(object);
    std::size_t size = 0;
    for (std::size_t i = 0; i != queue.GetSize(); ++i) {
        context.WriteRecord(static_cast<std::uint32_t>(i + 1), queue.Get(i));
        size += context.buffer.size();
        context.buffer.clear();
    }
    return size + blobs.GetSize();
}
