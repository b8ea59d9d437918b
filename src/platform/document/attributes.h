// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_list.h"
#include "platform/kernel/serialisable.h"

#include <array>
#include <atomic>
#include <bit>
#include <concepts>
#include <cstdint>
#include <typeinfo>

// Every interface whose state undo can keep, in the order in which states are stored and restored. The order is part
// of the saved form; new ones are added at the end.
enum class InterfaceId : std::uint8_t {
    Shape,
    BlendMode,
    Visibility,
    FilterEffects,
    Transform,
    BrushFill,
    Transparency,
    LineStyle,
    MutableCurves,
    MutableRaster,
    Story,
    TextFrame,
    TextWrap,
    Structure,
    GUID,
    AdjustmentParams,
    FilterParams,
    ImageResource,
    PictureFrame,
    Tag,
    Editability,
    Description,
    DrawOrder,
    Hyperlink,
    BaselineGrid,
    Contour,
    DataMerge,
    GeometryModifier,
    Artboard,
    Margins,
    GridsAndGuides,
    ExportTagging,
    Metadata,
    Generative,
    Count
};

inline constexpr int c_interfaceCount = static_cast<int>(InterfaceId::Count);

// The values that one interface of one object holds, immutable and counted: taking a snapshot costs a pointer.
class REDRAFT_ENGINE InterfaceState : public Kernel::Serialisable {
public:
    virtual InterfaceId GetInterfaceId() const = 0;
    // Same class and same value.
    virtual bool IsEqualTo(InterfaceState const& other) const = 0;
    // The state of an object that never set it; it is not stored.
    virtual bool IsDefault() const = 0;
};

// The plumbing of a state class: T has an id c_interface, a Fields() list and GetTypeClassProperties, and its
// default-made value is what an object without the state shows.
template <class T>
class InterfaceStateT : public InterfaceState {
public:
    InterfaceId GetInterfaceId() const override { return T::c_interface; }
    bool IsEqualTo(InterfaceState const& other) const override {
        return typeid(other) == typeid(T) &&
               Kernel::FieldsEqual(static_cast<T const&>(*this), static_cast<T const&>(other));
    }
    bool IsDefault() const override { return Kernel::FieldsEqual(static_cast<T const&>(*this), GetDefault()); }
    void Save(Kernel::OutSerialiser& out) const override { Kernel::SaveFields(static_cast<T const&>(*this), out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(static_cast<T&>(*this), in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return T::GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<T>(); }

    static T const& GetDefault() {
        static Kernel::Counted<T> const s_default = Kernel::MakeCounted<T>();
        return *s_default;
    }
};

// A small table of states by interface, shared until someone writes to it: a snapshot of all states of an object
// costs one pointer. States that are not there have their default.
class REDRAFT_ENGINE AttributeTable {
public:
    AttributeTable() noexcept = default;
    AttributeTable(AttributeTable const& other) noexcept;
    AttributeTable(AttributeTable&& other) noexcept : m_data(other.m_data) { other.m_data = nullptr; }
    AttributeTable& operator=(AttributeTable other) noexcept {
        std::swap(m_data, other.m_data);
        return *this;
    }
    ~AttributeTable();

    // Null when the state has its default.
    InterfaceState const* Find(InterfaceId id) const noexcept {
        if (m_data == nullptr)
            return nullptr;
        auto const bit = std::uint64_t{1} << static_cast<int>(id);
        return (m_data->present & bit) == 0 ? nullptr : Entries(m_data)[std::popcount(m_data->present & (bit - 1))];
    }
    // Puts a state in place of what stands there; empty or a default value takes it away.
    void Set(InterfaceId id, Kernel::Counted<InterfaceState const> state);
    // Takes the place of all states: `states[id]` for each interface, empty for the default.
    using States = std::array<Kernel::Counted<InterfaceState const>, c_interfaceCount>;
    void Assign(States&& states);
    bool SharesDataWith(AttributeTable const& other) const noexcept { return m_data == other.m_data; }
    bool IsEmpty() const noexcept { return m_data == nullptr; }

private:
    struct Data {
        std::atomic<std::uint32_t> references;
        std::uint64_t present;
    };
    static InterfaceState const** Entries(Data* data) noexcept {
        return reinterpret_cast<InterfaceState const**>(data + 1);
    }
    static Data* Allocate(std::uint64_t present);
    static void Release(Data* data) noexcept;

    Data* m_data = nullptr;
};

// The one virtual base of all interfaces of an object: it holds their states. Interfaces add behaviour, not data.
class REDRAFT_ENGINE AttributeOwner : public virtual Kernel::Countable {
public:
    // The state of one interface, or null for its default.
    InterfaceState const* FindState(InterfaceId id) const noexcept { return m_attributes.Find(id); }
    template <class S>
    S const& GetState() const {
        auto const* state = m_attributes.Find(S::c_interface);
        return state == nullptr ? S::GetDefault() : static_cast<S const&>(*state);
    }
    void SetState(InterfaceId id, Kernel::Counted<InterfaceState const> state);
    // Sets a changed copy of a state: edit(S&) changes it.
    template <class S, std::invocable<S&> F>
    void EditState(F const& edit) {
        auto state = Kernel::MakeCounted<S>(GetState<S>());
        edit(*state);
        SetState(S::c_interface, Kernel::Counted<InterfaceState const>(std::move(state)));
    }
    // All states at once: what a bracket around an edit keeps. The transform's matrix is not among them.
    AttributeTable const& GetAttributes() const noexcept { return m_attributes; }

protected:
    // Called after each change; the owner marks itself for the next save.
    virtual void OnStateChanged(InterfaceId id) = 0;
    // To be called before each change: brackets that this thread has open around the owner keep what it holds.
    void AboutToChange();
    // Shares the table of the other, which costs a pointer.
    void CopyStatesFrom(AttributeOwner const& other) { m_attributes = other.m_attributes; }
    void SaveStates(Kernel::OutSerialiser& out) const;
    void LoadStates(Kernel::InSerialiser const& in, Kernel::FileStore& files);

private:
    AttributeTable m_attributes;
};
