// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/countable.h"

#include "engine/kernel/sanitizers.h"
#include "platform/kernel/counted.h"

#include <new>
#include <utility>
#include <vector>

namespace Kernel {

namespace {

// Control blocks are made and dropped with every small object, so each thread keeps some. Address sanitizer needs to
// see every block come and go.
#ifdef REDRAFT_ADDRESS_SANITIZER
constexpr unsigned c_maxFreeBlocks = 0;
#else
constexpr unsigned c_maxFreeBlocks = 4096;
#endif

struct FreeBlock {
    FreeBlock* next;
};
static_assert(sizeof(FreeBlock) <= sizeof(CountedControlBlock));

// Without a destructor, because counted objects may be dropped by destructors that run after this thread's others.
struct FreeList {
    FreeBlock* first;
    unsigned length;
    bool closed;
};
thread_local constinit FreeList s_freeList{nullptr, 0, false};

struct FreeListCloser {
    ~FreeListCloser() {
        s_freeList.closed = true;
        while (s_freeList.first != nullptr) {
            FreeBlock* const block = s_freeList.first;
            s_freeList.first = block->next;
            ::operator delete(block);
        }
        s_freeList.length = 0;
    }
    void Touch() {}
};
thread_local FreeListCloser s_closer;

} // namespace

void* CountedControlBlock::operator new(std::size_t size) {
    FreeList& list = s_freeList;
    if (FreeBlock* const block = list.first; block != nullptr) {
        list.first = block->next;
        --list.length;
        return block;
    }
    return ::operator new(size);
}

void CountedControlBlock::operator delete(void* memory) noexcept {
    FreeList& list = s_freeList;
    if (list.length >= c_maxFreeBlocks || list.closed) {
        ::operator delete(memory);
        return;
    }
    // The first block that this thread keeps registers the closer.
    if (list.first == nullptr) [[unlikely]]
        s_closer.Touch();
    auto* const block = ::new (memory) FreeBlock{list.first};
    list.first = block;
    ++list.length;
}

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
