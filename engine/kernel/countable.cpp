// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/countable.h"

#include "engine/kernel/sanitizers.h"
#include "platform/kernel/counted.h"

#include <cstddef>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace Kernel {

#ifdef REDRAFT_ADDRESS_SANITIZER
// Address sanitizer needs to see every block come and go.
void* CountedControlBlock::operator new(std::size_t size) { return ::operator new(size); }
void CountedControlBlock::operator delete(void* memory) noexcept { ::operator delete(memory); }
#else

namespace {

// Control blocks are small, and one is made and dropped with every object: they are cut from slabs, without the general
// allocator's overhead of three times their size. Each thread keeps a few batches of free ones; what it has beyond them
// goes to all threads, a batch at a time. Slabs are never given back to the system.
struct FreeBlock {
    FreeBlock* next;
};
static_assert(sizeof(FreeBlock) <= sizeof(CountedControlBlock));

constexpr unsigned c_batch = 512;

// Free blocks that no thread keeps: lists of c_batch each, and one of odd blocks.
struct SharedBlocks {
    std::mutex mutex;
    std::vector<FreeBlock*> batches;
    FreeBlock* odd = nullptr;
};

// Never destroyed: counted objects are dropped by destructors that run last.
SharedBlocks& GetSharedBlocks() {
    static SharedBlocks& s_blocks = *new SharedBlocks;
    return s_blocks;
}

// Two lists: blocks come from and go to the current one; the other is empty or a whole batch, so that a thread that
// makes and drops by turns at the border of a batch does not take the mutex each time.
struct FreeList {
    FreeBlock* first;
    unsigned length;
    FreeBlock* reserve;
    bool closed;
};
thread_local constinit FreeList s_freeList{nullptr, 0, nullptr, false};

FreeBlock* CutSlab() {
    auto* const slab = static_cast<std::byte*>(::operator new(c_batch * sizeof(CountedControlBlock)));
    FreeBlock* first = nullptr;
    for (unsigned i = c_batch; i != 0; --i)
        first = ::new (slab + (i - 1) * sizeof(CountedControlBlock)) FreeBlock{first};
    return first;
}

void PushOdd(SharedBlocks& shared, FreeBlock* block) noexcept {
    block->next = shared.odd;
    shared.odd = block;
}

// A list of up to c_batch blocks that other threads have left, or a new one.
FreeBlock* TakeShared(unsigned& count) {
    SharedBlocks& shared = GetSharedBlocks();
    std::lock_guard const lock(shared.mutex);
    count = c_batch;
    if (!shared.batches.empty()) {
        FreeBlock* const batch = shared.batches.back();
        shared.batches.pop_back();
        return batch;
    }
    if (shared.odd == nullptr)
        return CutSlab();
    FreeBlock* last = shared.odd;
    for (count = 1; count != c_batch && last->next != nullptr; ++count)
        last = last->next;
    FreeBlock* const first = std::exchange(shared.odd, last->next);
    last->next = nullptr;
    return first;
}

void GiveShared(FreeBlock* first) noexcept {
    SharedBlocks& shared = GetSharedBlocks();
    std::lock_guard const lock(shared.mutex);
    while (first != nullptr) {
        FreeBlock* const next = first->next;
        PushOdd(shared, first);
        first = next;
    }
}

void GiveSharedBatch(FreeBlock* batch) noexcept {
    try {
        SharedBlocks& shared = GetSharedBlocks();
        std::lock_guard const lock(shared.mutex);
        shared.batches.push_back(batch);
    } catch (std::bad_alloc const&) {
        GiveShared(batch);
    }
}

// Gives a thread's blocks to all others at its end.
struct FreeListCloser {
    ~FreeListCloser() {
        FreeList& list = s_freeList;
        list.closed = true;
        list.length = 0;
        GiveShared(std::exchange(list.first, nullptr));
        GiveShared(std::exchange(list.reserve, nullptr));
    }
    void Touch() {}
};
thread_local FreeListCloser s_closer;

// The thread has no free block.
[[gnu::noinline]] FreeBlock* TakeFirst(FreeList& list) {
    unsigned count = c_batch;
    FreeBlock* const first = list.reserve != nullptr ? std::exchange(list.reserve, nullptr) : TakeShared(count);
    if (list.closed) {
        GiveShared(first->next);
        return first;
    }
    s_closer.Touch();
    list.first = first->next;
    list.length = count - 1;
    return first;
}

// The thread has no free block or a whole batch of them.
[[gnu::noinline]] void KeepBlock(FreeList& list, FreeBlock* block) noexcept {
    if (list.closed) {
        GiveShared(block);
        return;
    }
    s_closer.Touch();
    if (list.length == c_batch) {
        if (FreeBlock* const batch = std::exchange(list.reserve, std::exchange(list.first, nullptr)))
            GiveSharedBatch(batch);
        list.length = 0;
    }
    block->next = list.first;
    list.first = block;
    ++list.length;
}

} // namespace

void* CountedControlBlock::operator new(std::size_t) {
    FreeList& list = s_freeList;
    FreeBlock* const block = list.first;
    if (block == nullptr) [[unlikely]]
        return TakeFirst(list);
    list.first = block->next;
    // Blocks that were dropped in any order lie anywhere: the next one is fetched while this one's object is made.
    __builtin_prefetch(list.first, 1);
    --list.length;
    return block;
}

void CountedControlBlock::operator delete(void* memory) noexcept {
    FreeList& list = s_freeList;
    auto* const block = ::new (memory) FreeBlock{list.first};
    if (list.length == 0 || list.length == c_batch) [[unlikely]] {
        block->next = nullptr;
        KeepBlock(list, block);
        return;
    }
    list.first = block;
    ++list.length;
}
#endif

bool CountedControlBlock::TryAcquireStrong() noexcept {
    auto count = m_strong.load(std::memory_order_relaxed);
    while (count != 0) {
        if (m_strong.compare_exchange_weak(count, count + 1, std::memory_order_acquire, std::memory_order_relaxed))
            return true;
    }
    return false;
}

void CountedControlBlock::ReleaseWeak() noexcept {
    // The only holder needs no read-modify-write: nobody else can reach the block any more.
    if (m_weak.load(std::memory_order_acquire) == 1 || m_weak.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

namespace {

// How many deletions of this thread stand one inside the other, and what waits until they are done.
struct Deletions {
    unsigned depth = 0;
    std::vector<Countable const*>* waiting = nullptr;
};
thread_local constinit Deletions s_deletions{};

// Deep enough for what is held by members, shallow enough for the stack of any thread.
constexpr unsigned c_maxDeletionDepth = 64;

// False when there is no memory to note the object.
bool DeleteLater(Countable const* object) noexcept {
    try {
        if (s_deletions.waiting == nullptr)
            s_deletions.waiting = new std::vector<Countable const*>;
        s_deletions.waiting->push_back(object);
        return true;
    } catch (std::bad_alloc const&) {
        return false;
    }
}

void DeleteWaiting() noexcept {
    while (!s_deletions.waiting->empty()) {
        Countable const* const object = s_deletions.waiting->back();
        s_deletions.waiting->pop_back();
        ++s_deletions.depth;
        delete object;
        --s_deletions.depth;
    }
    delete std::exchange(s_deletions.waiting, nullptr);
}

} // namespace

void Detail::DeleteCountable(Countable const* object) noexcept {
    if (s_deletions.depth == c_maxDeletionDepth && DeleteLater(object))
        return;
    ++s_deletions.depth;
    delete object;
    --s_deletions.depth;
    if (s_deletions.depth == 0 && s_deletions.waiting != nullptr) [[unlikely]]
        DeleteWaiting();
}

Countable::~Countable() { m_controlBlock->ReleaseWeak(); }

} // namespace Kernel
