// SPDX-License-Identifier: Apache-2.0
#include "platform/document/attributes.h"

#include "engine/document/tree/brackets.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/class_properties.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/inline_object.h"

#include <new>

AttributeTable::AttributeTable(AttributeTable const& other) noexcept : m_data(other.m_data) {
    if (m_data != nullptr)
        m_data->references.fetch_add(1, std::memory_order_relaxed);
}

AttributeTable::~AttributeTable() { Release(m_data); }

AttributeTable::Data* AttributeTable::Allocate(std::uint64_t present) {
    auto const count = static_cast<std::size_t>(std::popcount(present));
    void* const memory = ::operator new(sizeof(Data) + count * sizeof(InterfaceState const*));
    return new (memory) Data{1, present};
}

void AttributeTable::Release(Data* data) noexcept {
    if (data == nullptr || data->references.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    auto const count = std::popcount(data->present);
    for (int i = 0; i != count; ++i)
        Kernel::Detail::Release(Entries(data)[i]);
    data->~Data();
    ::operator delete(data);
}

void AttributeTable::Set(InterfaceId id, Kernel::Counted<InterfaceState const> state) {
    if (state && state->IsDefault())
        state.reset();
    auto const bit = std::uint64_t{1} << static_cast<int>(id);
    auto const old = m_data == nullptr ? 0 : m_data->present;
    auto const present = state ? old | bit : old & ~bit;
    if (present == 0) {
        Release(std::exchange(m_data, nullptr));
        return;
    }
    if (present == old && m_data->references.load(std::memory_order_acquire) == 1) {
        if (state) {
            auto& slot = Entries(m_data)[std::popcount(present & (bit - 1))];
            Kernel::Detail::Release(std::exchange(slot, state.Detach()));
        }
        return;
    }
    Data* const data = Allocate(present);
    InterfaceState const** target = Entries(data);
    InterfaceState const* const* source = m_data == nullptr ? nullptr : Entries(m_data);
    for (auto rest = present | old; rest != 0; rest &= rest - 1) {
        auto const current = rest & -rest;
        InterfaceState const* const kept = (old & current) != 0 ? *source++ : nullptr;
        if ((present & current) == 0)
            continue;
        *target = current == bit ? state.get() : kept;
        Kernel::Detail::Acquire(*target);
        ++target;
    }
    Release(std::exchange(m_data, data));
}

void AttributeTable::Assign(States&& states) {
    std::uint64_t present = 0;
    for (std::size_t i = 0; i != states.size(); ++i) {
        if (states[i] && !states[i]->IsDefault())
            present |= std::uint64_t{1} << i;
    }
    Data* const data = present == 0 ? nullptr : Allocate(present);
    if (data != nullptr) {
        InterfaceState const** target = Entries(data);
        for (auto rest = present; rest != 0; rest &= rest - 1)
            *target++ = states[static_cast<std::size_t>(std::countr_zero(rest))].Detach();
    }
    Release(std::exchange(m_data, data));
}

void AttributeOwner::SetState(InterfaceId id, Kernel::Counted<InterfaceState const> state) {
    auto const* const old = m_attributes.Find(id);
    if (old == state.get() || (old != nullptr && state && old->IsEqualTo(*state)))
        return;
    if (old == nullptr && state->IsDefault())
        return;
    Brackets::AboutToChange(*this);
    EditJournal::NoteFor(*this, [id, kept = Kernel::Counted<InterfaceState const>(old)](AttributeOwner& owner) mutable {
        owner.m_attributes.Set(id, std::move(kept));
        owner.OnStateChanged(id);
    });
    m_attributes.Set(id, std::move(state));
    OnStateChanged(id);
}

namespace {

// The field that holds the state of an interface: "St00" and so on, by the interface's number.
constexpr Kernel::IDTag StateTag(int number) {
    return Kernel::IDTag::FromValue(std::uint32_t{'S'} << 24 | std::uint32_t{'t'} << 16 |
                                    static_cast<std::uint32_t>('0' + number / 10) << 8 |
                                    static_cast<std::uint32_t>('0' + number % 10));
}

constexpr std::uint32_t c_stateTagMask = 0xFFFF0000;

// -1 for any other tag.
int GetStateNumber(Kernel::IDTag tag) {
    std::uint32_t const value = tag.GetValue();
    if ((value & c_stateTagMask) != (StateTag(0).GetValue() & c_stateTagMask))
        return -1;
    int const number = static_cast<int>(value >> 8 & 0xFF) * 10 + static_cast<int>(value & 0xFF) - '0' * 11;
    return number >= 0 && number < c_interfaceCount && StateTag(number) == tag ? number : -1;
}

} // namespace

void AttributeOwner::SaveStates(Kernel::OutSerialiser& out) const {
    for (int i = 0; i != c_interfaceCount; ++i) {
        if (auto const* state = m_attributes.Find(static_cast<InterfaceId>(i)))
            Kernel::SaveInlineObject(out, StateTag(i), *state);
    }
}

// States stand in the order of their interfaces, so that the next field tells which one to load. A file of another
// order is read by asking for each.
void AttributeOwner::LoadStates(Kernel::InSerialiser const& in, Kernel::FileStore& files) {
    AttributeTable::States states;
    bool any = false;
    auto const load = [&](int i) {
        auto const loaded = Kernel::LoadInlineObject(in, StateTag(i), files);
        auto const* const state = Kernel::CastPointer<InterfaceState>(loaded.get());
        if (state == nullptr || state->GetInterfaceId() != static_cast<InterfaceId>(i))
            return;
        states[static_cast<std::size_t>(i)] = Kernel::Counted<InterfaceState const>(state);
        any = true;
    };
    int last = -1;
    for (int i = GetStateNumber(in.GetNextTag()); i > last; i = GetStateNumber(in.GetNextTag())) {
        load(i);
        last = i;
    }
    if (in.MayHaveTag(c_stateTagMask, StateTag(0).GetValue() & c_stateTagMask)) [[unlikely]] {
        for (int i = 0; i != c_interfaceCount; ++i)
            load(i);
    }
    if (any)
        m_attributes.Assign(std::move(states));
}
