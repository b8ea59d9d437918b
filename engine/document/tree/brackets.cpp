// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/brackets.h"

#include "platform/document/edit_journal.h"
#include "platform/kernel/cast.h"

#include <utility>
#include <vector>

namespace {

struct Bracket {
    void const* command;
    AttributeOwner* owner;
    // One more than the place in `kept`; 0 while nothing has changed.
    std::size_t kept = 0;
    bool isForNext = false;
};

struct Stack {
    std::vector<Bracket> open;
    // The states that brackets keep, in the order of the first changes.
    std::vector<Brackets::Before> kept;
};

// A pointer, so that asking for it needs no guard; asked for at every change of an object.
[[gnu::tls_model("initial-exec")]] thread_local constinit Stack* s_stack = nullptr;

struct StackOwner {
    Stack stack;
    StackOwner() { s_stack = &stack; }
    ~StackOwner() { s_stack = nullptr; }
};

Stack& GetStack() {
    if (s_stack == nullptr) [[unlikely]] {
        static thread_local StackOwner s_owner;
        static_cast<void>(s_owner);
    }
    return *s_stack;
}

[[gnu::noinline]] void KeepBefore(Stack& stack, AttributeOwner& owner) {
    for (auto& bracket : stack.open) {
        if (bracket.owner != &owner || bracket.kept != 0)
            continue;
        auto const* const transform = Kernel::CastPointer<TransformInterface>(&owner);
        stack.kept.push_back(
            {owner.GetAttributes(), transform == nullptr ? Raster::AffineTransform::Params() : transform->GetMatrix()});
        bracket.kept = stack.kept.size();
    }
}

} // namespace

void Brackets::AboutToChange(AttributeOwner& owner) {
    if (Stack* const stack = s_stack; stack != nullptr && !stack->open.empty()) [[unlikely]]
        KeepBefore(*stack, owner);
}

// Of a state the owner itself notes the way back; here it is that of the matrix, which is no state.
void AttributeOwner::AboutToChange() {
    Brackets::AboutToChange(*this);
    if (!EditJournal::IsOpen())
        return;
    if (auto* const moved = Kernel::CastPointer<TransformInterface>(this))
        EditJournal::NoteFor(
            *moved, [matrix = moved->GetMatrix()](TransformInterface& owner) { owner.SetTransform(matrix, false); });
}

void Brackets::Open(void const* command, AttributeOwner& owner) { GetStack().open.push_back({command, &owner}); }

void Brackets::OpenForNext(void const* command, AttributeOwner& owner) {
    GetStack().open.push_back({command, &owner, 0, true});
}

bool Brackets::IsForClosed(void const* command) noexcept {
    return s_stack != nullptr && !s_stack->open.empty() && s_stack->open.back().isForNext &&
           s_stack->open.back().command == command;
}

bool Brackets::CloseUnchanged(void const* command, AttributeOwner const& owner) noexcept {
    if (s_stack == nullptr || s_stack->open.empty())
        return false;
    auto& open = s_stack->open;
    auto const& bracket = open.back();
    if (bracket.command != command || bracket.owner != &owner || bracket.kept != 0 || bracket.isForNext)
        return false;
    open.pop_back();
    if (open.empty() && !s_stack->kept.empty())
        s_stack->kept.clear();
    return true;
}

bool Brackets::IsOpen(void const* command, AttributeOwner const& owner) noexcept {
    if (s_stack == nullptr)
        return false;
    auto const& open = s_stack->open;
    for (auto bracket = open.rbegin(); bracket != open.rend(); ++bracket) {
        if (bracket->command == command && bracket->owner == &owner && !bracket->isForNext)
            return true;
    }
    return false;
}

Brackets::Innermost Brackets::TakeInnermost() {
    Stack& stack = GetStack();
    Bracket const bracket = stack.open.back();
    stack.open.pop_back();
    Innermost result{bracket.command, {bracket.owner, {}}, bracket.isForNext};
    if (bracket.kept != 0)
        result.closed.before = std::move(stack.kept[bracket.kept - 1]);
    if (stack.open.empty())
        stack.kept.clear();
    return result;
}

void Brackets::Forget(void const* command) noexcept {
    if (s_stack == nullptr || s_stack->open.empty())
        return;
    std::erase_if(s_stack->open, [&](Bracket const& bracket) { return bracket.command == command; });
    if (s_stack->open.empty())
        s_stack->kept.clear();
}
