// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"
#include "platform/kernel/counted.h"

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

// The changes that this thread has made to a document since a step began, each with the way back, so that a step that
// fails half way leaves nothing behind. The controller keeps a journal around each Do, Undo and Redo. Every operation
// that changes a document, or a step of its history, notes how to take the change back right before making it.
//
// Journals nest. Entries of an inner journal that were not taken back pass to the outer one.
class REDRAFT_ENGINE EditJournal {
public:
    EditJournal() noexcept;
    ~EditJournal();
    EditJournal(EditJournal const&) = delete;
    EditJournal& operator=(EditJournal const&) = delete;

    // Takes back, newest first, what was noted since this journal was opened.
    void RollBack() noexcept;

    // Runs a step; when it throws, takes back what it did.
    template <class F>
    static void RunOrRollBack(F const& step) {
        EditJournal journal;
        try {
            step();
        } catch (...) {
            journal.RollBack();
            throw;
        }
    }

    static bool IsOpen() noexcept { return GetOpenCount() != 0; }

    // Notes a way back: `inverse()` is called when the step fails, and must not throw. It keeps alive what it needs.
    // Without a journal nothing is noted.
    template <class F>
    static void Note(F inverse) {
        if (IsOpen())
            NoteNow(std::move(inverse));
    }
    // The same for a change of one object, which is kept until the step has ended: `inverse(owner)`. Nothing for an
    // object that nobody holds, which is being made or is at its end.
    template <class Owner, class F>
    static void NoteFor(Owner& owner, F inverse) {
        if (IsOpen() && owner.GetControlBlock()->GetStrongCount() != 0)
            NoteNow([keep = Kept<Owner>(owner), undo = std::move(inverse)]() mutable { undo(keep.Get()); });
    }
    // A member is to get back the value that it has now.
    template <class Owner, class Value>
    static void NoteValue(Owner& owner, Value& member) {
        if (IsOpen())
            NoteFor(owner, [&member, value = member](Owner&) mutable { member = std::move(value); });
    }

    // Is told of each note before it is taken down, and may throw as the change itself might. For tests of what a
    // failure leaves behind; null for none. Of the calling thread.
    class Observer {
    public:
        virtual ~Observer();
        virtual void BeforeEdit() = 0;
    };
    static void SetObserver(Observer* observer) noexcept;

private:
    struct Entry {
        Entry* previous = nullptr;
        void (*finish)(Entry& entry, bool takeBack) noexcept = nullptr;
        // Of the bytes in front of this entry, where the next older one ends.
        std::size_t block = 0, used = 0;
    };
    // A strong reference that is let go without a look at the object: by then a large step has pushed it out of the
    // cache.
    template <class T>
    class Kept {
    public:
        explicit Kept(T& object) noexcept : m_object(&object), m_block(object.GetControlBlock()) {
            m_block->AcquireStrong();
        }
        Kept(Kept&& other) noexcept : m_object(other.m_object), m_block(std::exchange(other.m_block, nullptr)) {}
        ~Kept() {
            if (m_block != nullptr && m_block->ReleaseStrong() == 0)
                Kernel::Detail::DeleteCountable(m_object);
        }
        T& Get() const noexcept { return *m_object; }

    private:
        T* m_object;
        Kernel::CountedControlBlock* m_block;
    };
    template <class F>
    struct EntryOf : Entry {
        explicit EntryOf(F&& f) : inverse(std::move(f)) {}
        F inverse;
    };

    template <class F>
    static void NoteNow(F&& inverse) {
        using Made = EntryOf<std::remove_cvref_t<F>>;
        static_assert(alignof(Made) <= alignof(std::max_align_t));
        void* const memory = Allocate(sizeof(Made));
        auto* const entry = new (memory) Made(std::move(inverse));
        entry->finish = [](Entry& base, bool takeBack) noexcept {
            auto& made = static_cast<Made&>(base);
            if (takeBack)
                made.inverse();
            made.~Made();
        };
        Append(*entry);
    }
    static unsigned GetOpenCount() noexcept;
    static void* Allocate(std::size_t size);
    static void Append(Entry& entry) noexcept;
    static void FinishDownTo(Entry* last, bool takeBack) noexcept;

    Entry* m_last;
};
