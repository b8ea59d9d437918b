// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/attributes.h"
#include "platform/geometry/poly_curve.h"
#include "platform/geometry/winding_order_mode.h"
#include "platform/kernel/geometry_values.h"
#include "platform/kernel/string.h"
#include "platform/raster/affine_transform.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/blend_mode.h"
#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/line_style.h"

#include <vector>

// The states of the interfaces in interfaces.h: plain values with a field list each. Lengths are in document units,
// which are 1/96 inch.

using ClassProperties = Kernel::ClassProperties;

// The neutral word of transform constraints, which is also no constraint at all.
inline constexpr unsigned c_neutralTransformConstraints = 18;

class REDRAFT_ENGINE BlendModeState final : public InterfaceStateT<BlendModeState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::BlendMode;
    Renderer::BlendMode blendMode = Renderer::BlendMode::Normal;
    bool isolated = false;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Mode", &BlendModeState::blendMode},
                                 Kernel::Field{"Isol", &BlendModeState::isolated}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE VisibilityState final : public InterfaceStateT<VisibilityState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Visibility;
    bool visible = true;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Visi", &VisibilityState::visible}}; }
    static ClassProperties const* GetTypeClassProperties();
};

// Effects are objects of their own; what they do to pixels belongs to the raster library.
class REDRAFT_ENGINE FilterEffectsState final : public InterfaceStateT<FilterEffectsState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::FilterEffects;
    std::vector<Kernel::Counted<Kernel::Serialisable>> effects;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Effs", &FilterEffectsState::effects}}; }
    static ClassProperties const* GetTypeClassProperties();
};

// The matrix stands in the node itself; this is the rest of a transform.
class REDRAFT_ENGINE TransformState final : public InterfaceStateT<TransformState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Transform;
    Raster::AffineTransform::Params frameTextScale;
    unsigned constraints = c_neutralTransformConstraints;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"FTxS", &TransformState::frameTextScale},
                                 Kernel::Field{"Cons", &TransformState::constraints}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

// A whole transform, matrix included, as undo keeps it. Never in an object's table.
class REDRAFT_ENGINE TransformSnapshot final : public InterfaceStateT<TransformSnapshot> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Transform;
    Raster::AffineTransform::Params matrix;
    Raster::AffineTransform::Params frameTextScale;
    unsigned constraints = c_neutralTransformConstraints;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Xfrm", &TransformSnapshot::matrix},
                                 Kernel::Field{"FTxS", &TransformSnapshot::frameTextScale},
                                 Kernel::Field{"Cons", &TransformSnapshot::constraints}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

// The owner of a fill or a line: the object itself or, for text, its frame.
enum class ContentType : std::uint32_t { Object = 0, Frame = 1 };

class REDRAFT_ENGINE BrushFillState final : public InterfaceStateT<BrushFillState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::BrushFill;
    // Empty: no fill.
    Kernel::Counted<Renderer::FillDescriptor const> fill;
    ContentType contentType = ContentType::Object;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Fill", &BrushFillState::fill},
                                 Kernel::Field{"Cont", &BrushFillState::contentType}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE TransparencyState final : public InterfaceStateT<TransparencyState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Transparency;
    // 0 is clear, 1 opaque.
    double opacity = 1;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Opac", &TransparencyState::opacity}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE LineStyleState final : public InterfaceStateT<LineStyleState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::LineStyle;
    // Empty: no line.
    Kernel::Counted<Renderer::LineStyleDescriptor const> line;
    Kernel::Counted<Renderer::FillDescriptor const> penFill;
    ContentType contentType = ContentType::Object;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Line", &LineStyleState::line},
                                 Kernel::Field{"PenF", &LineStyleState::penFill},
                                 Kernel::Field{"Cont", &LineStyleState::contentType}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE CurvesState final : public InterfaceStateT<CurvesState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::MutableCurves;
    Kernel::Counted<Geometry::PolyCurveDbl const> curves;
    Geometry::WindingOrderMode windingOrderMode = Geometry::WindingOrderMode::NonZero;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Curv", &CurvesState::curves},
                                 Kernel::Field{"Wind", &CurvesState::windingOrderMode}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE RasterState final : public InterfaceStateT<RasterState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::MutableRaster;
    Kernel::Counted<Raster::DynamicBitmap const> bitmap;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Bitm", &RasterState::bitmap}}; }
    static ClassProperties const* GetTypeClassProperties();
};

// A version of a story. Stories bring their own class.
class REDRAFT_ENGINE StoryState final : public InterfaceStateT<StoryState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Story;
    Kernel::Counted<Kernel::Serialisable> story;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Stor", &StoryState::story}}; }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static ClassProperties const* GetTypeClassProperties();
};

// The kind of a text frame. Values are part of the stored form.
enum class TextFrameKind : std::uint32_t { Plain = 0, Table = 6 };

class REDRAFT_ENGINE TextFrameState final : public InterfaceStateT<TextFrameState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::TextFrame;
    int columnCount = 1;
    double columnGap = 0;
    Kernel::RectT<double> insets;
    unsigned verticalAlignment = 0;
    // The frame itself, in node space.
    Kernel::RectT<double> rect;
    TextFrameKind kind = TextFrameKind::Plain;
    bool generated = false;
    // The head of the chain that the frame follows, and its place there; empty for a head.
    Kernel::Counted<Kernel::Serialisable> master;
    int flowIndex = 0;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"ColC", &TextFrameState::columnCount},
                                 Kernel::Field{"ColG", &TextFrameState::columnGap},
                                 Kernel::Field{"Inse", &TextFrameState::insets},
                                 Kernel::Field{"VAli", &TextFrameState::verticalAlignment},
                                 Kernel::Field{"Rect", &TextFrameState::rect},
                                 Kernel::Field{"Kind", &TextFrameState::kind},
                                 Kernel::Field{"Gene", &TextFrameState::generated},
                                 Kernel::Field{"Mast", &TextFrameState::master},
                                 Kernel::Field{"Flow", &TextFrameState::flowIndex}};
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE TextWrapState final : public InterfaceStateT<TextWrapState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::TextWrap;
    unsigned mode = 0;
    Kernel::RectT<double> distances;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Mode", &TextWrapState::mode},
                                 Kernel::Field{"Dist", &TextWrapState::distances}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE GUIDState final : public InterfaceStateT<GUIDState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::GUID;
    Kernel::String guid;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"GUID", &GUIDState::guid}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE AdjustmentParamsState final : public InterfaceStateT<AdjustmentParamsState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::AdjustmentParams;
    Kernel::Counted<Kernel::Serialisable> parameters;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Parm", &AdjustmentParamsState::parameters}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE FilterParamsState final : public InterfaceStateT<FilterParamsState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::FilterParams;
    Kernel::Counted<Kernel::Serialisable> parameters;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Parm", &FilterParamsState::parameters}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE ImageResourceState final : public InterfaceStateT<ImageResourceState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::ImageResource;
    Kernel::Counted<Raster::DynamicBitmap const> bitmap;
    // Where the image came from; empty when it is only in the document.
    Kernel::String path;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Bitm", &ImageResourceState::bitmap},
                                 Kernel::Field{"Path", &ImageResourceState::path}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE PictureFrameState final : public InterfaceStateT<PictureFrameState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::PictureFrame;
    unsigned scaleMode = 0;
    Kernel::PointT<double> anchor;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Scal", &PictureFrameState::scaleMode},
                                 Kernel::Field{"Anch", &PictureFrameState::anchor}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE TagState final : public InterfaceStateT<TagState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Tag;
    std::vector<Kernel::String> tags;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Tags", &TagState::tags}}; }
    static ClassProperties const* GetTypeClassProperties();
};

// Facts about an object for other programs, as keys with values. A key may have several values, which keep their order;
// keys are in the order of their bytes.
class REDRAFT_ENGINE MetadataState final : public InterfaceStateT<MetadataState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Metadata;
    // An object that says nothing to those who cannot see it.
    bool isDecoration = false;
    // One value for each key.
    std::vector<Kernel::String> keys, values;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Deco", &MetadataState::isDecoration},
                                 Kernel::Field{"Keys", &MetadataState::keys},
                                 Kernel::Field{"Vals", &MetadataState::values}};
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE EditabilityState final : public InterfaceStateT<EditabilityState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Editability;
    bool editable = true;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Edit", &EditabilityState::editable}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE DescriptionState final : public InterfaceStateT<DescriptionState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Description;
    // The name that the user sees; empty for a node named by its type.
    Kernel::String userDescription;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"User", &DescriptionState::userDescription}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE DrawOrderState final : public InterfaceStateT<DrawOrderState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::DrawOrder;
    bool lineBehindFill = false;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Behi", &DrawOrderState::lineBehindFill}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE HyperlinkState final : public InterfaceStateT<HyperlinkState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Hyperlink;
    Kernel::String target;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Targ", &HyperlinkState::target}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE BaselineGridState final : public InterfaceStateT<BaselineGridState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::BaselineGrid;
    bool enabled = false;
    double start = 0;
    double spacing = 0;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Enab", &BaselineGridState::enabled},
                                 Kernel::Field{"Star", &BaselineGridState::start},
                                 Kernel::Field{"Spac", &BaselineGridState::spacing}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE ContourState final : public InterfaceStateT<ContourState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Contour;
    double offset = 0;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Offs", &ContourState::offset}}; }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE DataMergeState final : public InterfaceStateT<DataMergeState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::DataMerge;
    // The id of the source; empty where the object shows no field.
    Kernel::String source;
    Kernel::String field;
    // How many records behind the first one of the page.
    std::uint32_t offset = 0;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"SrcI", &DataMergeState::source},
                                 Kernel::Field{"Fiel", &DataMergeState::field},
                                 Kernel::Field{"Offs", &DataMergeState::offset}};
    }
    static ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE GeometryModifierState final : public InterfaceStateT<GeometryModifierState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::GeometryModifier;
    std::vector<Kernel::Counted<Kernel::Serialisable>> modifiers;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Mods", &GeometryModifierState::modifiers}};
    }
    static ClassProperties const* GetTypeClassProperties();
};
