// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_change.h"
#include "frame/selection/selection_command.h"
#include "platform/document/spread_rects.h"
#include "platform/document/structure_command_helper.h"
#include "platform/kernel/stored_class.h"

// Where new nodes go. The numbers are stored.
enum class InsertionMode : std::uint32_t {
    // In front of the last selected node, beside it; on the current spread when none is selected.
    Above = 0,
    // Into the first selected node, behind its last child.
    Inside = 1,
    // Onto the current spread, in front of all.
    FrontOfSpread = 6
};

// Whether new nodes get a property as the document's defaults have it. The numbers are stored.
enum class ApplyDefault : std::uint32_t {
    // Those that have none.
    WhereUnset = 0,
    Always = 1,
    Never = 2
};

// Adds new nodes to the tree. They are given in the spread's space, and are put into that of their parent.
class REDRAFT_ENGINE AddChildNodesCommand
    : public Kernel::StoredClass<AddChildNodesCommand, OrderedSelectionCommand<AddChildNodesCommand>>,
      public StructureCommandHelper,
      public SelectionChange {
public:
    // With `selectNodes` the nodes are the new selection. `list` is the child list of their parent that they join.
    AddChildNodesCommand(bool selectNodes, NodeChildListType list, InsertionMode mode,
                         Kernel::Counted<Selection const> selection = {});
    // `toBack`: behind all siblings, for modes that go by the selection, too. `keepLinks`: a parent that is linked to a
    // symbol stays so in classes, too, that detach what they edit (GetDetachInterfaces). `inParentSpace`: the nodes are
    // given in the space of their parent. `pressure`: the pressure profile of the nodes' lines; may be null.
    // `spreadOffset`: where the mode goes by the current spread, the spread so many places behind it, or before it;
    // without one there it throws when it runs. `line` and `paint`: whether the nodes get the default line and its
    // paint.
    AddChildNodesCommand(bool selectNodes, NodeChildListType list, bool toBack, bool keepLinks, bool inParentSpace,
                         Kernel::Counted<Geometry::CurveDbl> pressure, Kernel::Counted<Selection const> selection,
                         InsertionMode mode, int spreadOffset, ApplyDefault line, ApplyDefault paint);
    // Children of one node, which are not selected.
    AddChildNodesCommand(NodeChildListType list, Kernel::Counted<Node> const& parent);

    // One more node, outside of any tree; before Do.
    void AddNode(Kernel::Counted<Node> const& node);

    Kernel::LocalisedString GetDescription() const override;
    // Throws Kernel::Exception when the nodes are to go into a node and none is selected.
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return !m_nodes.empty(); }
    bool ValidateUntrusted() override;
    bool WillAddChildNodes() const override { return true; }
    void GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const override;
    // Of the spread's space, on nodes that are still to be added.
    void ApplyTransform(Raster::AffineTransform::Params transform) override;
    // Adds copies.
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    // For loading.
    AddChildNodesCommand() = default;
    // Wherever they stand now.
    std::vector<Kernel::Counted<Node>> const& GetNodes() const { return m_nodes; }

private:
    using Params = Raster::AffineTransform::Params;

    struct Options {
        bool toBack = false;
        bool keepLinks = false;
        bool inParentSpace = false;
        int spreadOffset = 0;
        ApplyDefault line = ApplyDefault::Never;
        ApplyDefault paint = ApplyDefault::Never;
        Kernel::Counted<Geometry::CurveDbl> pressure;
        static constexpr Kernel::ClassUID GetClassUID() { return {"ACOp"}; }
        static constexpr auto Fields() {
            return Kernel::FieldList{
                Kernel::Field{"Back", &Options::toBack},        Kernel::Field{"KpLk", &Options::keepLinks},
                Kernel::Field{"InPS", &Options::inParentSpace}, Kernel::Field{"SprO", &Options::spreadOffset},
                Kernel::Field{"DLin", &Options::line},          Kernel::Field{"DPnt", &Options::paint},
                Kernel::Field{"Prss", &Options::pressure}};
        }
    };

    NodeChildListType GetList() const { return static_cast<NodeChildListType>(m_list); }
    bool SelectsNodes() const { return m_selectNodes && !m_nodes.empty(); }
    void FindPlace();
    Kernel::Counted<Node> FindSpread() const;
    // Gives the nodes what the options ask for; once, before they enter the tree.
    void ApplyDefaults();
    bool ShouldDetach() const { return !m_options.keepLinks && ShouldDetachLinksOnEdit(m_parent); }
    void Insert();
    void Remove();
    void IncludeParent();
    template <class Operation>
    void WithAreas(Operation const& operation);

    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = AddChildNodesCommand;
        return Kernel::FieldList{
            Kernel::Field{"Node", &This::m_nodes},        Kernel::Field{"Mtrx", &This::m_onSpread},
            Kernel::Field{"List", &This::m_list},         Kernel::Field{"Mode", &This::m_mode},
            Kernel::Field{"SelN", &This::m_selectNodes},  Kernel::Field{"Pare", &This::m_parent},
            Kernel::Field{"Befo", &This::m_before},       Kernel::Field{"NewS", &This::m_newSelection},
            Kernel::Field{"OldS", &This::m_oldSelection}, Kernel::Field{"Opti", &This::m_options}};
    }

    // In the order in which they stand.
    std::vector<Kernel::Counted<Node>> m_nodes;
    // The nodes' matrices as they were given, once they are in their parent's space.
    std::vector<Params> m_onSpread;
    // A NodeChildListType.
    std::uint32_t m_list = 0;
    InsertionMode m_mode = InsertionMode::Above;
    bool m_selectNodes = false;
    Options m_options;
    Kernel::Counted<Node> m_parent;
    // The sibling that they stand in front of; null at the end of the list.
    Kernel::Counted<Node> m_before;
    SpreadRects m_areas;
    // Captions that count on from others than before.
    std::vector<Kernel::Counted<Node>> m_renumbered;
};
