// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/shape_definition.h"
#include "platform/document/states.h"
#include "platform/story/frame.h"
#include "platform/story/wrap_style.h"

#include <utility>
#include <vector>

class Node;
namespace Story {
class ComposedFrame;
class ComposedStory;
class Table;
} // namespace Story

// The interfaces through which commands reach the behaviour of nodes, and of other objects that have some of it. Each
// stands on the attribute owner that holds its state, under the id c_interface. Setters change the state at once and
// mark the owner as changed; undo is the caller's.

class REDRAFT_ENGINE ShapeInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Shape;
    // Empty only before a shape has been given one.
    Kernel::Counted<ShapeDefinition const> GetShapeDefinition() const;
    void SetShapeDefinition(Kernel::Counted<ShapeDefinition const> definition);
};

class REDRAFT_ENGINE BlendModeInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::BlendMode;
    Renderer::BlendMode GetBlendMode() const { return GetState<BlendModeState>().blendMode; }
    void SetBlendMode(Renderer::BlendMode mode);
    // True when the content is blended as a group of its own first.
    bool IsIsolated() const { return GetState<BlendModeState>().isolated; }
    void SetIsolated(bool isolated);
};

class REDRAFT_ENGINE VisibilityInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Visibility;
    bool IsVisible() const { return GetState<VisibilityState>().visible; }
    void SetVisible(bool visible);
};

class REDRAFT_ENGINE FilterEffectsInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::FilterEffects;
    std::vector<Kernel::Counted<Kernel::Serialisable>> const& GetFilterEffects() const {
        return GetState<FilterEffectsState>().effects;
    }
    void SetFilterEffects(std::vector<Kernel::Counted<Kernel::Serialisable>> effects);
};

// Where an object stands in its parent's space.
class REDRAFT_ENGINE TransformInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Transform;
    // The object's matrix, from its own space to its parent's; with `toSpread`, on to the spread's space. With
    // `withFrameTextScale` the scale of framed text comes first.
    Raster::AffineTransform::Params GetTransform(bool toSpread, bool withFrameTextScale) const;
    // Puts a transform of the parent's space after the object's own. With `inSpread` it is one of the spread's space.
    void Transform(Raster::AffineTransform::Params transform, bool inSpread);
    // Replaces the matrix; with `inSpread` the value is the one to the spread's space.
    virtual void SetTransform(Raster::AffineTransform::Params transform, bool inSpread);

    Raster::AffineTransform::Params GetFrameTextScale() const { return GetState<TransformState>().frameTextScale; }
    void SetFrameTextScale(Raster::AffineTransform::Params scale);
    // Puts the linear part of a transform after the scale of framed text.
    void ScaleFrameText(Raster::AffineTransform::Params transform);

    // How the object follows when the box that it stands in changes, see TransformConstraint. No transform heeds them.
    unsigned GetTransformConstraints() const { return GetState<TransformState>().constraints; }
    void SetTransformConstraints(unsigned constraints);

    // Takes over constraints and scale of framed text, and, told so, the matrix and the rest of the frame.
    void CopyFrom(TransformInterface const& other, bool constraints, bool matrix, bool frameTextScale);

    // The whole transform as a value, and back.
    Kernel::Counted<TransformSnapshot const> TakeSnapshot() const;
    void PutSnapshot(TransformSnapshot const& snapshot);

    // The matrix alone, without a virtual call; for walks over many objects.
    Raster::AffineTransform::Params const& GetMatrix() const noexcept { return m_matrix; }

protected:
    // Of the parent's space to the spread's.
    virtual Raster::AffineTransform::Params GetParentToSpreadTransform() const = 0;
    void StoreMatrix(Raster::AffineTransform::Params const& matrix) {
        if (m_matrix == matrix)
            return;
        AboutToChange();
        m_matrix = matrix;
        OnStateChanged(InterfaceId::Transform);
    }

private:
    Raster::AffineTransform::Params m_matrix;
};

class REDRAFT_ENGINE BrushFillInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::BrushFill;
    // The fill, or empty when there is none. `effective`: what is drawn; the object's own when false. No difference
    // for objects that hold their own fill.
    Kernel::Counted<Renderer::FillDescriptor const> GetBrushFillDescriptor(bool effective) const;
    void SetBrushFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> fill, bool effective = true);
    ContentType GetBrushFillContentType() const { return GetState<BrushFillState>().contentType; }
    void SetBrushFillContentType(ContentType type);
    bool IsBrushFillNone() const;
    // True when the fill paints with an opacity above the tolerance, 0 to 1.
    bool IsBrushFillVisible(double tolerance) const;
};

class REDRAFT_ENGINE TransparencyInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Transparency;
    double GetOpacity() const { return GetState<TransparencyState>().opacity; }
    // 0 to 1; clamped.
    void SetOpacity(double opacity);
};

class REDRAFT_ENGINE LineStyleInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::LineStyle;
    // Empty when there is no line.
    Kernel::Counted<Renderer::LineStyleDescriptor const> GetLineStyleDescriptor() const {
        return GetState<LineStyleState>().line;
    }
    // `effective` as for a brush.
    Kernel::Counted<Renderer::FillDescriptor const> GetPenFillDescriptor(bool effective = true) const {
        static_cast<void>(effective);
        return GetState<LineStyleState>().penFill;
    }
    void SetLineStyleDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor const> line);
    void SetPenFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> fill, bool effective = true);
    ContentType GetLineStyleContentType() const { return GetState<LineStyleState>().contentType; }
    void SetLineStyleContentType(ContentType type);
    bool IsLineStyleVisible() const;
    // Whether a visible line stands in front of the fill, and whether one stands behind it.
    std::pair<bool, bool> IsLineStyleVisibleFrontBehind() const;
};

// One outline with the transform that takes it to where its owner says that its curves are.
struct TransformedCurves {
    Kernel::Counted<Geometry::PolyCurveDbl const> curves;
    Raster::AffineTransform::Params transform;
};

// An object that has an outline. The outline in spread space is the curves-to-domain transform after each curve's own
// transform: shapes with computed curves put the whole way into each curve, those with curves of their own into the
// former.
class REDRAFT_ENGINE ConstCurvesInterface : public virtual AttributeOwner {
public:
    using TransformedCurveList = std::vector<TransformedCurves>;
    // Empty when the object has no outline at present.
    virtual TransformedCurveList GetConstPolyPolyCurves() const = 0;
    virtual Raster::AffineTransform::Params GetCurvesToDomainTransform() const = 0;
    virtual Geometry::WindingOrderMode GetWindingOrderMode() const = 0;
    // True when the object and all above it are visible.
    virtual bool IsVisibleInDomain() const = 0;
    // The outline in node space, for drawing and bounds; empty when there is none.
    virtual Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const = 0;
};

// An object that stores its own curves.
class REDRAFT_ENGINE MutableCurvesInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::MutableCurves;
    virtual void SetCurves(Kernel::Counted<Geometry::PolyCurveDbl const> curves);
    Kernel::Counted<Geometry::PolyCurveDbl const> GetCurves() const { return GetState<CurvesState>().curves; }
    void SetWindingOrderMode(Geometry::WindingOrderMode mode);
};

// Access to an object's own curves for a scope.
class REDRAFT_ENGINE MutableCurvesSession {
public:
    explicit MutableCurvesSession(Kernel::NonCounted<MutableCurvesInterface> object) : m_object(object) {}
    Kernel::Counted<Geometry::PolyCurveDbl const> GetCurves() const { return m_object->GetCurves(); }

private:
    Kernel::NonCounted<MutableCurvesInterface> m_object;
};

// An object with pixels.
class REDRAFT_ENGINE ConstRasterInterface : public virtual AttributeOwner {
public:
    Kernel::Counted<Raster::DynamicBitmap const> GetBitmap() const { return GetState<RasterState>().bitmap; }
    // The pixel box; left and top are 0.
    Kernel::RectT<int> GetRasterBoundingBox() const;
    virtual Raster::AffineTransform::Params GetRasterToDomainTransform() const = 0;
    Raster::AffineTransform::Params GetDomainToRasterTransform() const {
        return GetRasterToDomainTransform().GetInverse();
    }
};

class REDRAFT_ENGINE MutableRasterInterface : public ConstRasterInterface {
public:
    static constexpr InterfaceId c_interface = InterfaceId::MutableRaster;
    // The bitmap to write to, from now on the object's own: a copy, sharing all tiles, of the one it had, which stays
    // as it is for those that hold it. Taken anew for each change. Empty when there is none.
    Kernel::Counted<Raster::DynamicBitmap> GetMutableBitmap();
    void SetBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap);
};

class REDRAFT_ENGINE StoryInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Story;
};

// An object in a chain of its kind: one is the master, and the others follow it.
template <class I>
class LinkedInterface {
public:
    virtual ~LinkedInterface() = default;
    // Empty for the master itself.
    virtual Kernel::Counted<I> GetMaster() const = 0;
    // The followers of a master in the chain's order; none for a follower.
    virtual std::vector<Kernel::Counted<I>> GetSlaves() const = 0;
};

// A frame that shows a part of a story. Frames of one chain show one story, which the master holds.
class REDRAFT_ENGINE TextFrameInterface : public virtual AttributeOwner, public LinkedInterface<TextFrameInterface> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::TextFrame;
    // The frame as composed now; never null.
    virtual Kernel::Counted<Story::ComposedFrame const> MakeComposedFrame() const = 0;
    // The composition of the whole story, in all of its frames. They are composed when they are asked for. Never null.
    virtual Kernel::Counted<Story::ComposedStory> MakeComposedStory() const = 0;
    // The table whose cell the frame is. Null: there are no tables in texts.
    Kernel::Counted<Story::Table const> GetTable() const;
    // True where the text is kept up to date from elsewhere and cannot be made the frame's own.
    virtual bool IsTextGenerated() const { return GetState<TextFrameState>().generated; }
    // The frame's number in its chain.
    virtual std::size_t GetTextFlowIndex() const = 0;
    // The frame as text sees it, to be changed; a Story::ColumnFrame where lines run in columns. Never null; it keeps
    // the node alive.
    virtual Kernel::Counted<Story::Frame> GetMutableStoryFrameI() = 0;
    // The frame's outline in node space; empty when it has none.
    virtual Kernel::Counted<Geometry::PolyCurveDbl const> GetTextFrameAsCurves() const = 0;
    virtual Geometry::WindingOrderMode GetTextFrameWindingOrderMode() const {
        return Geometry::WindingOrderMode::NonZero;
    }
    int GetColumnCount() const { return GetState<TextFrameState>().columnCount; }
    // 1 to 100; clamped.
    void SetColumns(int count, double gap);
    void SetInsets(Kernel::RectT<double> const& insets);
    // As Story::VerticalAlignment counts.
    void SetVerticalAlignment(unsigned alignment);
    TextFrameKind GetTextFrameKind() const { return GetState<TextFrameState>().kind; }
    void SetTextFrameKind(TextFrameKind kind);
    void SetTextGenerated(bool generated);
};

class REDRAFT_ENGINE TextWrapInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::TextWrap;
    Story::WrapStyle::Type GetTextWrapStyle() const {
        return static_cast<Story::WrapStyle::Type>(GetState<TextWrapState>().mode);
    }
    void SetTextWrapStyle(Story::WrapStyle::Type style);
    void SetTextWrap(Story::WrapStyle::Type style, Kernel::RectT<double> const& distances);
    // The shape that text keeps clear of while the object has none in list WrapShape, in the object's own space: its
    // outline or, for objects without one, such as groups and pictures, its bounds. Null when there is neither.
    Kernel::Counted<Geometry::PolyCurveDbl const> CreateDefaultTextWrapCurves() const;
};

class REDRAFT_ENGINE GUIDInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::GUID;
    Kernel::String GetGUID() const { return GetState<GUIDState>().guid; }
    void SetGUID(Kernel::String guid);
};

class REDRAFT_ENGINE AdjustmentParamsInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::AdjustmentParams;
};
class REDRAFT_ENGINE FilterParamsInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::FilterParams;
};

// An object that shows a picture.
class REDRAFT_ENGINE ImageResourceInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::ImageResource;
    Kernel::Counted<Raster::DynamicBitmap const> GetImage() const { return GetState<ImageResourceState>().bitmap; }
    void SetImage(Kernel::Counted<Raster::DynamicBitmap const> bitmap, Kernel::String path);
};

class REDRAFT_ENGINE PictureFrameInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::PictureFrame;
};

class REDRAFT_ENGINE TagInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Tag;
    std::vector<Kernel::String> const& GetTags() const { return GetState<TagState>().tags; }
    void SetTags(std::vector<Kernel::String> tags);

    // Whether the object says nothing to those who cannot see it. This and the metadata are kept by the commands that
    // set them, and not by the brackets around visits.
    bool GetMarkAsDecoration() const { return GetState<MetadataState>().isDecoration; }
    void SetMarkAsDecoration(bool isDecoration);
    // All keys, each as often as it has values, in the order of their bytes.
    std::vector<Kernel::String> const& GetMetadataKeys() const { return GetState<MetadataState>().keys; }
    // In the order in which they were added. Valid until the object's metadata changes.
    std::vector<Kernel::String const*> GetMetadataValuesForKey(Kernel::String const& key) const;
    void RemoveMetadataValuesForKey(Kernel::String const& key);
    // Behind the values that the key has.
    void AddMetadataValueForKey(Kernel::String const& key, Kernel::String const& value);
};

class REDRAFT_ENGINE EditabilityInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Editability;
    bool IsEditable() const { return GetState<EditabilityState>().editable; }
    void SetEditable(bool editable);
};

class REDRAFT_ENGINE DescriptionInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Description;
    // The user's name for the object; when there is none and `withDefault`, the name of its kind.
    Kernel::String GetDescription(bool withDefault) const;
    void SetUserDescription(Kernel::String description);

protected:
    virtual Kernel::String GetDefaultDescription() const = 0;
};

class REDRAFT_ENGINE DrawOrderInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::DrawOrder;
    bool IsLineBehindFill() const { return GetState<DrawOrderState>().lineBehindFill; }
    void SetLineBehindFill(bool behind);
};

class REDRAFT_ENGINE HyperlinkInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Hyperlink;
};
class REDRAFT_ENGINE BaselineGridInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::BaselineGrid;
};

class REDRAFT_ENGINE ContourInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Contour;
    double GetContourOffset() const { return GetState<ContourState>().offset; }
    void SetContourOffset(double offset);
};

class REDRAFT_ENGINE DataMergeInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::DataMerge;
    // The field whose picture the object shows in its own place, while its source shows a record: the id of the source,
    // the field's name, and how many records behind the first one of the page. An empty source: none.
    Kernel::String const& GetMergeSource() const { return GetState<DataMergeState>().source; }
    Kernel::String const& GetMergeField() const { return GetState<DataMergeState>().field; }
    std::uint32_t GetMergeOffset() const { return GetState<DataMergeState>().offset; }
    void SetMergeField(Kernel::String source, Kernel::String field, std::uint32_t offset);
};
class REDRAFT_ENGINE GeometryModifierInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::GeometryModifier;
};

// An object with a box of its own, such as a spread.
class REDRAFT_ENGINE BaseBoxInterface : public virtual AttributeOwner {
public:
    // In the object's own space. `includeBleed` makes no difference for objects without bleed.
    virtual Kernel::RectT<double> GetBaseBox(bool includeBleed) const = 0;
};
