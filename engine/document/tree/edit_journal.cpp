// SPDX-License-Identifier: Apache-2.0
#include "platform/document/edit_journal.h"

#include "engine/document/tree/layout_epoch.h"

#include <algorithm>
#include <memory>
#include <vector>

EditJournal::Observer::~Observer() = default;

namespace {

constexpr std::size_t c_blockSize = std::size_t{64} << 10;

struct Block {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t size;
};

// Asked for at every change of an object, and the next two at every step: no guard and no look at what large steps
// need.
[[gnu::tls_model("initial-exec")]] thread_local constinit unsigned s_open = 0;
[[gnu::tls_model("initial-exec")]] thread_local constinit void* s_lastEntry = nullptr;

// The entries of one thread lie behind each other in blocks, of which the first is kept from step to step.
struct JournalStack {
    std::vector<Block> blocks;
    std::size_t block = 0;
    std::size_t used = 0;
    // Where the entry that is being made begins: in front of it the next older one ends.
    std::size_t entryBlock = 0, entryUsed = 0;
    EditJournal::Observer* observer = nullptr;
};
[[gnu::tls_model("initial-exec")]] thread_local constinit JournalStack* s_journalStack = nullptr;

struct JournalStackOwner {
    JournalStack stack;
    JournalStackOwner() { s_journalStack = &stack; }
    ~JournalStackOwner() { s_journalStack = nullptr; }
};

JournalStack& GetJournalStack() {
    if (s_journalStack == nullptr) [[unlikely]] {
        static thread_local JournalStackOwner s_owner;
        static_cast<void>(s_owner);
    }
    return *s_journalStack;
}

} // namespace

EditJournal::EditJournal() noexcept : m_last(static_cast<Entry*>(s_lastEntry)) { ++s_open; }

EditJournal::~EditJournal() {
    if (--s_open == 0 && s_lastEntry != nullptr)
        FinishDownTo(nullptr, false);
}

void EditJournal::RollBack() noexcept {
    if (s_lastEntry == m_last)
        return;
    // The way back is not noted again.
    auto const open = std::exchange(s_open, 0);
    FinishDownTo(m_last, true);
    s_open = open;
    LayoutEpoch::Advance();
}

void EditJournal::SetObserver(Observer* observer) noexcept { GetJournalStack().observer = observer; }

unsigned EditJournal::GetOpenCount() noexcept { return s_open; }

void* EditJournal::Allocate(std::size_t size) {
    auto& stack = GetJournalStack();
    if (stack.observer != nullptr)
        stack.observer->BeforeEdit();
    size = (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    stack.entryBlock = stack.block;
    stack.entryUsed = stack.used;
    if (stack.blocks.empty() || stack.used + size > stack.blocks[stack.block].size) {
        auto const next = stack.blocks.empty() ? 0 : stack.block + 1;
        if (next == stack.blocks.size()) {
            auto const bytes = std::max(c_blockSize, size);
            stack.blocks.push_back({std::make_unique_for_overwrite<std::byte[]>(bytes), bytes});
        } else if (stack.blocks[next].size < size) {
            stack.blocks[next] = {std::make_unique_for_overwrite<std::byte[]>(size), size};
        }
        stack.block = next;
        stack.used = 0;
    }
    return stack.blocks[stack.block].bytes.get() + std::exchange(stack.used, stack.used + size);
}

void EditJournal::Append(Entry& entry) noexcept {
    auto& stack = GetJournalStack();
    entry.previous = static_cast<Entry*>(s_lastEntry);
    entry.block = stack.entryBlock;
    entry.used = stack.entryUsed;
    s_lastEntry = &entry;
}

// Finishing an entry may drop the last reference to a node, whose destructor changes other nodes. Those changes need no
// entry of their own.
void EditJournal::FinishDownTo(Entry* last, bool takeBack) noexcept {
    auto& stack = GetJournalStack();
    while (s_lastEntry != last) {
        auto& entry = *static_cast<Entry*>(s_lastEntry);
        s_lastEntry = entry.previous;
        auto const block = entry.block, used = entry.used;
        entry.finish(entry, takeBack);
        stack.block = block;
        stack.used = used;
    }
    if (s_lastEntry == nullptr && stack.blocks.size() > 1)
        stack.blocks.resize(1);
}
