// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/file_system.h"
#include "engine/store/proofs.h"
#include "platform/kernel/counted.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/object_graph.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Store {

// The format that this code writes. A file with a higher major number is refused; one with a higher minor number is
// read, and what this code does not know of it is kept.
inline constexpr int c_formatMajor = 1;
inline constexpr int c_formatMinor = 0;

enum class OpenMode {
    // Never writes, unless the last save was interrupted: then the file is first taken back to what it was before.
    Read,
    // Keeps all others from changing the file until this object is gone.
    Edit
};

// The findings of Verify.
struct Verification {
    std::uint64_t pages = 0;
    std::uint64_t chunks = 0;
    std::uint64_t blobs = 0;
    // The first pages without their checksum, counted from 1; those that hold nothing are among them.
    std::vector<std::uint64_t> damagedPages;
    // One line each; empty for a sound file. Damaged pages are named here too.
    std::vector<std::string> problems;
};

// Bytes that whoever saves a document leaves in it, made from a digest of all else that the file holds. Empty ones
// leave none.
using SealMaker = std::function<std::vector<std::byte>(ContentDigest const&)>;

struct StoredSeal {
    // Of the file's own list of what it holds. RequireProofs makes sure that it does.
    ContentDigest digest;
    std::vector<std::byte> seal;
};

// A document file: numbered chunks of object records, and blobs addressed by content. docs/file-format.md describes the
// bytes.
//
// Changes are made between BeginSave and Commit and take effect all at once: after a crash at any instant the file is
// the old document or the new one. Reading (ReadChunk, ListChunks, Get, Has) is allowed on any thread at any time;
// changes come from one thread at a time. Errors are Kernel::Exception with a line that lacks the file's name, for the
// caller to put in front; damage is Kernel::DamagedDataException, a newer major format Kernel::FutureVersionException.
class Container final : public Kernel::BlobSource, public Kernel::BlobSink, public Kernel::ChunkStorage {
public:
    // A new document. The file appears at its path, whole and durable, with the first Commit; until then nothing is to
    // be seen there, and when that Commit fails or never comes nothing is left. After it the container is open for
    // editing. The file system must outlive the container.
    static Kernel::Counted<Container> Create(std::filesystem::path const& path, IfExists ifExists,
                                             FileSystem& files = FileSystem::GetNative());
    static Kernel::Counted<Container> Open(std::filesystem::path const& path, OpenMode mode,
                                           FileSystem& files = FileSystem::GetNative());
    // As Create, but begins with all that this container's file holds, whether it can be read or not.
    Kernel::Counted<Container> CopyTo(std::filesystem::path const& path, IfExists ifExists) const;
    // As Create, but begins with the blobs that can be read of this container's file, one whose pages are damaged.
    // Until the first Commit the copy says of the others that it has them, so that what refers to them can be saved.
    // The path may be this container's own: the file is replaced then, and what this container has read of it lasts.
    // Refuses the file of a newer minor format, whose tables it does not know.
    Kernel::Counted<Container> CopyReadableTo(std::filesystem::path const& path, IfExists ifExists) const;
    // In a copy by CopyReadableTo: true when it was asked for a blob that could not be taken over.
    bool HasLosses() const;
    ~Container() override;

    std::filesystem::path const& GetPath() const;
    // Counts the saves that this document has seen, copies included.
    std::uint64_t GetGeneration() const;
    // Length of the file in bytes, and how much of it is free for later saves.
    std::uint64_t GetFileSize() const;
    std::uint64_t GetUnusedSize() const;

    std::vector<std::uint32_t> ListChunks() const override;
    std::vector<std::byte> ReadChunk(std::uint32_t id) const override;
    // Chunks and blobs may have up to c_maxValueSize bytes. A chunk that is the same already is not written again.
    void WriteChunk(std::uint32_t id, std::span<std::byte const> bytes) override;
    void RemoveChunk(std::uint32_t id) override;

    Kernel::BlobKey Put(std::span<std::byte const> bytes) override;
    std::vector<std::byte> Get(Kernel::BlobKey key) const override;
    bool Has(Kernel::BlobKey key) const override;

    void BeginSave();
    // When it fails the save is rolled back and the failure thrown. With `seal` the document is sealed, for which
    // KeepProofs was called before BeginSave; without, an older seal goes. A document that was not sealed before is
    // read once for it.
    void Commit(SealMaker const& seal = {});
    // Takes everything since BeginSave back; without effect when no save is under way.
    void Rollback() noexcept;

    // Removes all blobs but the given ones, in a save of its own, and returns how many went. One that cannot be read
    // stays, because it cannot be removed safely either. Empty: another program has
    // the document open and may still ask for them, so nothing was done.
    std::optional<std::uint64_t> SweepBlobs(std::span<Kernel::BlobKey const> live);

    // Of the last save; empty where that has not sealed the document.
    std::optional<StoredSeal> ReadSeal() const;
    // From now on whatever is not as the seal's digest has it counts as damaged. To be called when the seal is found to
    // be right, before anything is read.
    void RequireProofs();
    // Says that saves are going to be sealed.
    void KeepProofs();

    // Reads the whole file. At most 100 problems are told.
    Verification Verify() const;
    // True when a page, whatever it holds, does not have its checksum or there are bytes behind the last page. Reads
    // the whole file too.
    bool HasDamagedPages() const;

private:
    friend class ReadSnapshot;
    struct State;
    explicit Container(std::unique_ptr<State> state);

    std::unique_ptr<State> m_state;
};

// While it lives no save of another program takes effect on the container's file, so that all chunks read are of one
// document. Saves wait for it a few seconds: keep it for the length of a load. (Without it a load that a save overtakes
// fails, with an error that says so.)
class ReadSnapshot {
public:
    explicit ReadSnapshot(Container const& container);
    ~ReadSnapshot();
    ReadSnapshot(ReadSnapshot const&) = delete;
    ReadSnapshot& operator=(ReadSnapshot const&) = delete;

private:
    Kernel::Counted<Container const> m_container;
};

// A save that is rolled back unless it is committed.
class SaveTransaction {
public:
    explicit SaveTransaction(Container& container) : m_container(&container) { container.BeginSave(); }
    ~SaveTransaction() { m_container->Rollback(); }
    SaveTransaction(SaveTransaction const&) = delete;
    SaveTransaction& operator=(SaveTransaction const&) = delete;
    void Commit(SealMaker const& seal = {}) { m_container->Commit(seal); }

private:
    Kernel::Counted<Container> m_container;
};

} // namespace Store
