// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/artboard_states.h"
#include "platform/document/nodes.h"

// Margins that a screen shows and nothing prints.
class REDRAFT_ENGINE MarginsInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Margins;
    bool GetUseMargins() const { return GetState<MarginsState>().useMargins; }
    void SetUseMargins(bool use);
    Kernel::EdgeOffsetsT<double> GetMargins() const { return GetState<MarginsState>().margins; }
    void SetMargins(Kernel::EdgeOffsetsT<double> margins);
    Kernel::Counted<Renderer::FillDescriptor const> GetMarginFill() const { return GetState<MarginsState>().fill; }
    void SetMarginFill(Kernel::Counted<Renderer::FillDescriptor const> fill);
    std::vector<double> const& GetColumnGuides() const { return GetState<MarginsState>().columnGuides; }
    void SetColumnGuides(std::vector<double> guides);
    // Called by those that have set margins, for objects that compute something from them. Artboards compute nothing.
    virtual void UpdateMargins() {}
};

// Guides, and the scale of the drawing. Nothing of them is printed. Positions that are no finite numbers are kept, and
// shown nowhere.
class REDRAFT_ENGINE GridsAndGuidesInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::GridsAndGuides;
    // Positions in 1/96 inch: axis 0 is that of x, any other that of y.
    std::vector<double> const& GetGuidesPixels96(int axis) const;
    // Nothing for an index beyond the axis's guides.
    void SetGuide(int axis, int index, double position);
    void SetGuides(int axis, std::vector<double> positions);
    bool GetUseDrawingScale() const { return GetState<GridsAndGuidesState>().useDrawingScale; }
    Kernel::Counted<DrawingScale const> GetDrawingScale() const { return GetState<GridsAndGuidesState>().drawingScale; }
    void SetDrawingScale(bool use, Kernel::Counted<DrawingScale const> scale);
};

class ArtboardInterface;

// All that an artboard has beside its box, its place and its content.
class REDRAFT_ENGINE ArtboardProperties final : public Kernel::Serialisable,
                                                public MarginsInterface,
                                                public GridsAndGuidesInterface {
public:
    // Nobody's, to be filled.
    ArtboardProperties() = default;
    // A copy for `owner`, which may be null.
    ArtboardProperties(ArtboardProperties const& other, CloneContext& context,
                       Kernel::NonCounted<ArtboardInterface> owner);
    // The node of the artboard that they were made for; empty when there is none.
    Kernel::Counted<Node> GetNode() const { return m_node.Lock(); }

    void Save(Kernel::OutSerialiser& out) const override { SaveStates(out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<ArtboardProperties>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    void OnStateChanged(InterfaceId) override { MarkChanged(); }

private:
    friend class ArtboardNode;
    Kernel::Weak<Node> m_node;
};

// An area of a spread that is a picture of its own.
class REDRAFT_ENGINE ArtboardInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Artboard;
    virtual Kernel::NonCounted<Node> GetNode() = 0;
    // Never null.
    virtual Kernel::Counted<ArtboardProperties> GetArtboardProperties() const = 0;
    // True for one that is switched on and stands right on a spread. Others are no more than groups.
    virtual bool IsArtboardEnabled() const = 0;
    void SetArtboardEnabled(bool enabled);
    Kernel::RectT<double> GetArtboardBox() const { return GetState<ArtboardState>().box; }
    // In the artboard's own space. A box without area, or with values that are no numbers, shows nothing.
    void SetArtboardBox(Kernel::RectT<double> box);
};

// An artboard paints its fill over its box and clips what stands on it to the box. The box is in the node's own space.
class REDRAFT_ENGINE ArtboardNode final : public LogicalNode,
                                          public ArtboardInterface,
                                          public BrushFillInterface,
                                          public BaseBoxInterface {
public:
    ArtboardNode();
    explicit ArtboardNode(Kernel::RectT<double> box);
    Kernel::NonCounted<Node> GetNode() override;
    Kernel::Counted<ArtboardProperties> GetArtboardProperties() const override;
    bool IsArtboardEnabled() const override;
    bool IsArtboard() const override { return true; }
    Kernel::RectT<double> GetBaseBox(bool includeBleed) const override;
    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    Kernel::Counted<ArtboardProperties> m_properties;
};

// The enabled artboards right on a spread, in their order.
REDRAFT_ENGINE std::vector<Kernel::Counted<ArtboardInterface>> GetArtboards(SpreadNode const& spread);
