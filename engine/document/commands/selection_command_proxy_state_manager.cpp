// SPDX-License-Identifier: Apache-2.0
#include "platform/document/selection_command_proxy_state_manager.h"

#include "engine/document/tree/brackets.h"
#include "platform/document/generative_interface.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace {

NodeId IdOf(AttributeOwner const* owner) {
    auto const* const node = Kernel::CastPointer<Node const>(owner);
    return node == nullptr ? 0 : node->GetId();
}

// How a list of states stands in a file.
struct StateElement {
    Kernel::Counted<AttributeOwner> owner;
    Kernel::Counted<InterfaceState const> before;
    Kernel::Counted<InterfaceState const> after;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Ownr", &StateElement::owner},
                                 Kernel::Field{"Befo", &StateElement::before},
                                 Kernel::Field{"Aftr", &StateElement::after}};
    }
    static constexpr Kernel::ClassUID GetClassUID() { return {"PrSt"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
};

struct PlaceElement {
    Kernel::Counted<Node> node, beforeParent, beforePrevious, afterParent, afterPrevious;
    std::uint32_t beforeList = 0, afterList = 0;
    static constexpr auto Fields() {
        return Kernel::FieldList{
            Kernel::Field{"Node", &PlaceElement::node},           Kernel::Field{"BPar", &PlaceElement::beforeParent},
            Kernel::Field{"BPre", &PlaceElement::beforePrevious}, Kernel::Field{"APar", &PlaceElement::afterParent},
            Kernel::Field{"APre", &PlaceElement::afterPrevious},  Kernel::Field{"BLis", &PlaceElement::beforeList},
            Kernel::Field{"ALis", &PlaceElement::afterList}};
    }
    static constexpr Kernel::ClassUID GetClassUID() { return {"PrPl"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
};

// A frame behind the head of its chain shows a story that the head owns: a change of that story through the frame is
// the frame's to take back. Null for every object that owns its states itself.
AttributeOwner* FindStoryOwner(AttributeOwner& owner) {
    auto* const text = Kernel::CastPointer<TextNode>(&owner);
    if (text == nullptr)
        return nullptr;
    AttributeOwner* const storyOwner = &text->GetStoryOwner();
    return storyOwner == &owner ? nullptr : storyOwner;
}

constexpr Kernel::IDTag StatesTag(int number) {
    return Kernel::IDTag::FromValue(std::uint32_t{'P'} << 24 | std::uint32_t{'s'} << 16 |
                                    static_cast<std::uint32_t>('0' + number / 10) << 8 |
                                    static_cast<std::uint32_t>('0' + number % 10));
}

} // namespace

namespace {

// Shorter lists are looked through.
constexpr std::size_t c_shortList = 8;

} // namespace

std::size_t ProxyStates::SlotOf(AttributeOwner const& owner) const noexcept {
    // Fibonacci hashing (Knuth, The Art of Computer Programming, volume 3, section 6.4).
    auto const hash = reinterpret_cast<std::uintptr_t>(&owner) * 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>(hash >> 32) & (m_slots.size() - 1);
}

std::size_t ProxyStates::Find(AttributeOwner const& owner) const noexcept {
    auto const isAt = [&](std::size_t position) { return m_entries[position].owner.get() == &owner; };
    std::size_t const count = m_entries.size();
    if (m_guess < count && isAt(m_guess))
        return m_guess++;
    std::size_t found = count;
    if (m_slots.empty()) {
        for (std::size_t i = 0; i != count && found == count; ++i) {
            if (isAt(i))
                found = i;
        }
    } else {
        for (auto slot = SlotOf(owner); m_slots[slot] != 0; slot = (slot + 1) & (m_slots.size() - 1)) {
            if (isAt(m_slots[slot] - 1)) {
                found = m_slots[slot] - 1;
                break;
            }
        }
    }
    m_guess = found == count ? 0 : found + 1;
    return found;
}

void ProxyStates::AddToSlots(std::size_t position) {
    auto const put = [this](std::size_t entry) {
        auto slot = SlotOf(*m_entries[entry].owner);
        while (m_slots[slot] != 0)
            slot = (slot + 1) & (m_slots.size() - 1);
        m_slots[slot] = static_cast<std::uint32_t>(entry) + 1;
    };
    if (m_entries.size() <= c_shortList)
        return;
    if (m_entries.size() * 2 <= m_slots.size())
        return put(position);
    m_slots.assign(std::bit_ceil(m_entries.size() * 4), 0);
    for (std::size_t i = 0; i != m_entries.size(); ++i)
        put(i);
}

// A second change of one object goes on from the first.
void ProxyStates::Keep(Kernel::Counted<AttributeOwner> owner, Kernel::Counted<InterfaceState const> before,
                       Kernel::Counted<InterfaceState const> after) {
    auto const index = Find(*owner);
    if (index != m_entries.size()) {
        m_entries[index].after = std::move(after);
        return;
    }
    m_entries.push_back({std::move(owner), std::move(before), std::move(after)});
    AddToSlots(index);
}

void ProxyStates::PutBack(InterfaceId id, AttributeOwner& owner, bool before) const {
    auto const index = Find(owner);
    if (index == m_entries.size())
        return;
    auto const& state = before ? m_entries[index].before : m_entries[index].after;
    if (id != InterfaceId::Transform) {
        owner.SetState(id, state);
        return;
    }
    auto* const transform = Kernel::CastPointer<TransformInterface>(&owner);
    auto const* const snapshot = Kernel::CastPointer<TransformSnapshot const>(state.get());
    if (transform != nullptr && snapshot != nullptr)
        transform->PutSnapshot(*snapshot);
}

void ProxyStates::MergeNewer(ProxyStates const& newer) {
    for (auto const& entry : newer.m_entries)
        Keep(entry.owner, entry.before, entry.after);
}

void ProxyStates::Save(Kernel::OutSerialiser& out, Kernel::IDTag tag) const {
    if (m_entries.empty())
        return;
    std::vector<StateElement> elements;
    elements.reserve(m_entries.size());
    for (auto const& entry : m_entries)
        elements.push_back({entry.owner, entry.before, entry.after});
    std::stable_sort(elements.begin(), elements.end(),
                     [](auto const& a, auto const& b) { return IdOf(a.owner.get()) < IdOf(b.owner.get()); });
    Kernel::SaveValue(out, tag, elements);
}

void ProxyStates::Load(Kernel::InSerialiser const& in, Kernel::IDTag tag) {
    std::vector<StateElement> elements;
    Kernel::LoadValue(in, tag, elements);
    Clear();
    for (auto& element : elements) {
        if (element.owner)
            Keep(element.owner, element.before, element.after);
    }
}

ProxyStateManager<StructureInterface>::~ProxyStateManager() = default;

void ProxyStateManager<StructureInterface>::Save(Kernel::OutSerialiser& out) const {
    if (m_entries.empty())
        return;
    std::vector<PlaceElement> elements;
    for (auto const& entry : m_entries)
        elements.push_back({entry.node, entry.before.parent, entry.before.previousSibling, entry.after.parent,
                            entry.after.previousSibling, static_cast<std::uint32_t>(entry.before.list),
                            static_cast<std::uint32_t>(entry.after.list)});
    Kernel::SaveValue(out, StatesTag(static_cast<int>(InterfaceId::Structure)), elements);
}

bool ProxyStateManager<StructureInterface>::Load(Kernel::InSerialiser const& in, Kernel::FileStore&) {
    std::vector<PlaceElement> elements;
    Kernel::LoadValue(in, StatesTag(static_cast<int>(InterfaceId::Structure)), elements);
    m_entries.clear();
    for (auto const& element : elements) {
        // Entries are read in pairs by their position: one damaged entry makes the whole list unusable.
        if (!element.node || element.beforeList >= c_childListCount || element.afterList >= c_childListCount) {
            m_entries.clear();
            return true;
        }
        m_entries.push_back(
            {element.node,
             {element.beforeParent, element.beforePrevious, static_cast<NodeChildListType>(element.beforeList)},
             {element.afterParent, element.afterPrevious, static_cast<NodeChildListType>(element.afterList)}});
    }
    return true;
}

SelectionCommandProxyStateManager::SelectionCommandProxyStateManager(Kernel::Counted<Selection const> selection)
    : SelectionCommandBase(std::move(selection)) {}

SelectionCommandProxyStateManager::~SelectionCommandProxyStateManager() { Brackets::Forget(this); }

bool SelectionCommandProxyStateManager::NeedToManage(Kernel::NonCounted<Kernel::Countable> object) {
    return m_direction != Direction::Teardown && Kernel::CastPointer<AttributeOwner>(object.get()) != nullptr;
}

void SelectionCommandProxyStateManager::StoreInterfaces(Kernel::NonCounted<Kernel::Countable> object) {
    if (m_direction != Direction::Do)
        return;
    auto* const owner = Kernel::CastPointer<AttributeOwner>(object.get());
    if (owner == nullptr)
        return;
    if (auto* const storyOwner = FindStoryOwner(*owner))
        Brackets::OpenForNext(this, *storyOwner);
    Brackets::Open(this, *owner);
}

void SelectionCommandProxyStateManager::RestoreInterfaces(Kernel::NonCounted<Kernel::Countable> object) {
    auto* const owner = Kernel::CastPointer<AttributeOwner>(object.get());
    if (owner == nullptr || m_direction == Direction::Teardown)
        return;
    if (m_direction == Direction::Do) {
        Brackets::Close(this, *owner, [this](Brackets::Closed const& bracket) {
            if (bracket.before)
                KeepChanges(*bracket.owner, bracket.before->attributes, bracket.before->matrix);
        });
        return;
    }
    bool const before = m_direction == Direction::Undo;
    auto const& stories = ProxyStateManager<StoryInterface>::GetStates();
    if (stories.IsEmpty()) {
        PutStatesBack(*owner, before);
        return;
    }
    // The states themselves may make the object follow another one, or none.
    Kernel::Counted<AttributeOwner> const oldOwner(FindStoryOwner(*owner));
    PutStatesBack(*owner, before);
    auto* const newOwner = FindStoryOwner(*owner);
    if (oldOwner)
        stories.PutBack(InterfaceId::Story, *oldOwner, before);
    if (newOwner != nullptr && newOwner != oldOwner.get())
        stories.PutBack(InterfaceId::Story, *newOwner, before);
}

void SelectionCommandProxyStateManager::PutStatesBack(AttributeOwner& owner, bool before) {
    auto const states = GetAllStates();
    for (int i = 0; i != c_interfaceCount; ++i) {
        auto const* const kept = states[static_cast<std::size_t>(i)];
        if (kept != nullptr && !kept->IsEmpty())
            kept->PutBack(static_cast<InterfaceId>(i), owner, before);
    }
}

void SelectionCommandProxyStateManager::KeepChanges(AttributeOwner& owner, AttributeTable const& oldStates,
                                                    Raster::AffineTransform::Params const& oldMatrix) {
    auto const states = GetAllStates();
    auto const* const transform = Kernel::CastPointer<TransformInterface>(&owner);
    auto const keep = [&](InterfaceId id, Kernel::Counted<InterfaceState const> before,
                          Kernel::Counted<InterfaceState const> after) {
        states[static_cast<std::size_t>(id)]->Keep(Kernel::Counted<AttributeOwner>(&owner), std::move(before),
                                                   std::move(after));
    };
    for (int i = 0; i != c_interfaceCount; ++i) {
        auto const id = static_cast<InterfaceId>(i);
        if (states[static_cast<std::size_t>(id)] == nullptr)
            continue;
        auto const* const before = oldStates.Find(id);
        auto const* const after = owner.FindState(id);
        bool const moved = id == InterfaceId::Transform && transform != nullptr && transform->GetMatrix() != oldMatrix;
        if (before == after && !moved)
            continue;
        if (id != InterfaceId::Transform) {
            keep(id, Kernel::Counted<InterfaceState const>(before), Kernel::Counted<InterfaceState const>(after));
            continue;
        }
        auto const snapshot = Kernel::MakeCounted<TransformSnapshot>();
        auto const& old =
            before == nullptr ? TransformState::GetDefault() : static_cast<TransformState const&>(*before);
        snapshot->matrix = oldMatrix;
        snapshot->frameTextScale = old.frameTextScale;
        snapshot->constraints = old.constraints;
        keep(id, snapshot, transform->TakeSnapshot());
    }
}

template <class... Interfaces>
SelectionCommandProxyStateManager::AllStates SelectionCommandProxyStateManager::CollectStates() {
    static_assert(((std::uint64_t{1} << static_cast<int>(Interfaces::c_interface)) + ...) ==
                      ((std::uint64_t{1} << static_cast<int>(Interfaces::c_interface)) | ...),
                  "two interfaces of the list have one id");
    AllStates states{};
    ((states[static_cast<std::size_t>(Interfaces::c_interface)] =
          &static_cast<ProxyStateManager<Interfaces>&>(*this).GetStates()),
     ...);
    return states;
}

SelectionCommandProxyStateManager::AllStates SelectionCommandProxyStateManager::GetAllStates() {
    return CollectStates<ShapeInterface, BlendModeInterface, VisibilityInterface, FilterEffectsInterface,
                         TransformInterface, BrushFillInterface, TransparencyInterface, LineStyleInterface,
                         MutableCurvesInterface, MutableRasterInterface, StoryInterface, TextFrameInterface,
                         TextWrapInterface, GUIDInterface, AdjustmentParamsInterface, FilterParamsInterface,
                         ImageResourceInterface, PictureFrameInterface, TagInterface, EditabilityInterface,
                         DescriptionInterface, DrawOrderInterface, HyperlinkInterface, BaselineGridInterface,
                         ContourInterface, DataMergeInterface, GeometryModifierInterface, GenerativeInterface>();
}

void SelectionCommandProxyStateManager::ForgetKeptStates() {
    for (auto* const kept : GetAllStates()) {
        if (kept != nullptr)
            kept->Clear();
    }
}

bool SelectionCommandProxyStateManager::HasKeptStates() const {
    auto const states = GetAllStates();
    return std::any_of(states.begin(), states.end(), [](auto* kept) { return kept != nullptr && !kept->IsEmpty(); });
}

void SelectionCommandProxyStateManager::MergeStates(SelectionCommandProxyStateManager const& newer) {
    auto const states = GetAllStates(), newerStates = newer.GetAllStates();
    for (std::size_t i = 0; i != states.size(); ++i) {
        if (states[i] != nullptr)
            states[i]->MergeNewer(*newerStates[i]);
    }
    MarkChanged();
}

void SelectionCommandProxyStateManager::Save(Kernel::OutSerialiser& out) const {
    auto const states = GetAllStates();
    for (int i = 0; i != c_interfaceCount; ++i) {
        if (states[static_cast<std::size_t>(i)] != nullptr)
            states[static_cast<std::size_t>(i)]->Save(out, StatesTag(i));
        else if (i == static_cast<int>(InterfaceId::Structure))
            ProxyStateManager<StructureInterface>::Save(out);
    }
    SelectionCommandBase::Save(out);
}

bool SelectionCommandProxyStateManager::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                             unsigned short version) {
    auto const states = GetAllStates();
    for (int i = 0; i != c_interfaceCount; ++i) {
        if (states[static_cast<std::size_t>(i)] != nullptr)
            states[static_cast<std::size_t>(i)]->Load(in, StatesTag(i));
        else if (i == static_cast<int>(InterfaceId::Structure))
            ProxyStateManager<StructureInterface>::Load(in, files);
    }
    return SelectionCommandBase::Load(in, files, version);
}
