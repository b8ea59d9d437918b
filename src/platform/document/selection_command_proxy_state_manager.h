// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/interfaces.h"
#include "platform/document/node.h"
#include "platform/document/selection_command_base.h"

#include <array>
#include <vector>

class GenerativeInterface;

// One interface's states for undo: for each object whose state the command changed, the state before and after. A
// state is a counted value; an empty one stands for the default.
class REDRAFT_ENGINE ProxyStates {
public:
    void Keep(Kernel::Counted<AttributeOwner> owner, Kernel::Counted<InterfaceState const> before,
              Kernel::Counted<InterfaceState const> after);
    // Puts the state before (undo) or after (redo) back; nothing for an object that is not here.
    void PutBack(InterfaceId id, AttributeOwner& owner, bool before) const;
    // Takes the newer states after from a command that ran later, and both states of objects that are not here.
    void MergeNewer(ProxyStates const& newer);
    bool IsEmpty() const noexcept { return m_entries.empty(); }
    void Clear() noexcept {
        m_entries.clear();
        m_slots.clear();
        m_guess = 0;
    }
    // Walked and written in node-id order.
    void Save(Kernel::OutSerialiser& out, Kernel::IDTag tag) const;
    void Load(Kernel::InSerialiser const& in, Kernel::IDTag tag);

private:
    struct Entry {
        Kernel::Counted<AttributeOwner> owner;
        Kernel::Counted<InterfaceState const> before;
        Kernel::Counted<InterfaceState const> after;
    };
    // The number of entries when there is none.
    std::size_t Find(AttributeOwner const& owner) const noexcept;
    std::size_t SlotOf(AttributeOwner const& owner) const noexcept;
    void AddToSlots(std::size_t position);

    std::vector<Entry> m_entries;
    // For long lists: one more than the position of an entry, in the slot that its owner's address leads to or behind
    // it; 0 where there is none. A power of two, at least twice as many as entries.
    std::vector<std::uint32_t> m_slots;
    // The entry that is probably asked for next: visits go from object to object in one order.
    mutable std::size_t m_guess = 0;
};

template <class I>
class ProxyStateManager {
public:
    virtual ~ProxyStateManager() = default;
    bool HasStates() const noexcept { return !m_states.IsEmpty(); }
    ProxyStates& GetStates() noexcept { return m_states; }
    ProxyStates const& GetStates() const noexcept { return m_states; }

private:
    ProxyStates m_states;
};

// The state of the tree's structure is the place of a node. Commands that replace objects keep the places of the nodes
// that leave and of those that come.
template <>
class REDRAFT_ENGINE ProxyStateManager<StructureInterface> {
public:
    // `parent` is empty in the place of a node that stood nowhere. Both are empty of a node whose places are not known.
    struct Entry {
        Kernel::Counted<Node> node;
        TreePlace before;
        TreePlace after;
    };

    virtual ~ProxyStateManager();
    void Save(Kernel::OutSerialiser& out) const;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files);
    bool HasStates() const noexcept { return !m_entries.empty(); }
    // In the order in which they were kept.
    std::vector<Entry>& GetEntries() noexcept { return m_entries; }

private:
    std::vector<Entry> m_entries;
};

// Keeps, for each object that a selection command changes, the states of its interfaces before and after: the bracket
// StoreInterfaces ... RestoreInterfaces stands around each change. In Do the bracket takes the states; in Undo and Redo
// it puts them back behind whatever the receiver did; in Teardown it does nothing.
class REDRAFT_ENGINE SelectionCommandProxyStateManager : public SelectionCommandBase,
                                                         public ProxyStateManager<ShapeInterface>,
                                                         public ProxyStateManager<BlendModeInterface>,
                                                         public ProxyStateManager<VisibilityInterface>,
                                                         public ProxyStateManager<FilterEffectsInterface>,
                                                         public ProxyStateManager<TransformInterface>,
                                                         public ProxyStateManager<BrushFillInterface>,
                                                         public ProxyStateManager<TransparencyInterface>,
                                                         public ProxyStateManager<LineStyleInterface>,
                                                         public ProxyStateManager<MutableCurvesInterface>,
                                                         public ProxyStateManager<MutableRasterInterface>,
                                                         public ProxyStateManager<StoryInterface>,
                                                         public ProxyStateManager<TextFrameInterface>,
                                                         public ProxyStateManager<TextWrapInterface>,
                                                         public ProxyStateManager<StructureInterface>,
                                                         public ProxyStateManager<GUIDInterface>,
                                                         public ProxyStateManager<AdjustmentParamsInterface>,
                                                         public ProxyStateManager<FilterParamsInterface>,
                                                         public ProxyStateManager<ImageResourceInterface>,
                                                         public ProxyStateManager<PictureFrameInterface>,
                                                         public ProxyStateManager<TagInterface>,
                                                         public ProxyStateManager<EditabilityInterface>,
                                                         public ProxyStateManager<DescriptionInterface>,
                                                         public ProxyStateManager<DrawOrderInterface>,
                                                         public ProxyStateManager<HyperlinkInterface>,
                                                         public ProxyStateManager<BaselineGridInterface>,
                                                         public ProxyStateManager<ContourInterface>,
                                                         public ProxyStateManager<DataMergeInterface>,
                                                         public ProxyStateManager<GeometryModifierInterface>,
                                                         public ProxyStateManager<GenerativeInterface> {
public:
    explicit SelectionCommandProxyStateManager(Kernel::Counted<Selection const> selection);
    ~SelectionCommandProxyStateManager() override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    // True for objects with states to keep.
    virtual bool NeedToManage(Kernel::NonCounted<Kernel::Countable> object);

    void StoreInterfaces(Kernel::NonCounted<Kernel::Countable> object);
    void RestoreInterfaces(Kernel::NonCounted<Kernel::Countable> object);
    // For a command that is done afresh, with other arguments than before.
    void ForgetKeptStates();
    // Whether a visit changed the state of any object. Places in the tree are not looked at.
    bool HasKeptStates() const;
    // After the merge, Undo goes back to before this command, and Redo on to after the newer one. Places in the tree
    // are not merged.
    void MergeStates(SelectionCommandProxyStateManager const& newer);

private:
    // By interface id; null for the tree's structure, and for an interface with states that no bracket keeps.
    using AllStates = std::array<ProxyStates*, c_interfaceCount>;
    template <class... Interfaces>
    AllStates CollectStates();
    AllStates GetAllStates();
    AllStates GetAllStates() const { return const_cast<SelectionCommandProxyStateManager*>(this)->GetAllStates(); }
    void KeepChanges(AttributeOwner& owner, AttributeTable const& oldStates,
                     Raster::AffineTransform::Params const& oldMatrix);
    void PutStatesBack(AttributeOwner& owner, bool before);
};
