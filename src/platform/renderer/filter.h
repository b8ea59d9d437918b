// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/transform.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/serialisable.h"
#include "platform/kernel/string.h"
#include "platform/renderer/blend_mode.h"
#include "platform/renderer/colour.h"

#include <cstdint>
#include <vector>

namespace Renderer {

using Geometry::RectDbl;

// Values are part of the stored form, here and below.
enum class FilterPrimitiveKind : std::uint32_t {
    GaussianBlur = 0,
    Offset = 1,
    Flood = 2,
    Blend = 3,
    Merge = 4,
    ColourMatrix = 5,
    Composite = 6,
    DropShadow = 7,
    ComponentTransfer = 8
};
// Porter and Duff's, the sum, and four factors.
enum class CompositeOperator : std::uint32_t {
    Over = 0,
    In = 1,
    Out = 2,
    Atop = 3,
    Xor = 4,
    Lighter = 5,
    Arithmetic = 6
};
enum class TransferKind : std::uint32_t { Identity = 0, Table = 1, Discrete = 2, Linear = 3, Gamma = 4 };

// How one component is changed.
struct REDRAFT_ENGINE TransferFunction {
    TransferKind kind = TransferKind::Identity;
    // Of Table and Discrete: the values. Of Linear: slope and intercept. Of Gamma: amplitude, exponent and offset.
    std::vector<double> values;
    friend bool operator==(TransferFunction const&, TransferFunction const&) = default;

    static constexpr Kernel::ClassUID GetClassUID() { return "RFTr"; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Kind", &TransferFunction::kind},
                                 Kernel::Field{"Vals", &TransferFunction::values}.OnlyWhenSet()};
    }
};

// One step of a filter (W3C Filter Effects 1, section 9). Fields that its kind does not need keep their defaults.
struct REDRAFT_ENGINE FilterPrimitive {
    FilterPrimitiveKind kind = FilterPrimitiveKind::GaussianBlur;
    // Names of earlier results, "SourceGraphic" or "SourceAlpha". An empty one, and one that names nothing, is the
    // result before this, or for the first the source graphic. Blend and composite take two, the upper one first.
    std::vector<Kernel::String> inputs;
    // Empty when no other asks for it by name. Of several of one name the last counts.
    Kernel::String result;
    // Where it paints: left, top, width and height; those whose bit is not set in `givenSides`, 1 for the left to 8 for
    // the height, are the region's.
    double left = 0, top = 0, width = 0, height = 0;
    std::uint32_t givenSides = 0;
    // Colours are mixed as light, or as they are encoded.
    bool isLinear = true;
    // Standard deviations of a blur and a shadow: horizontal, vertical.
    double deviationX = 0, deviationY = 0;
    // Of an offset and a shadow.
    double offsetX = 0, offsetY = 0;
    // Of a flood and a shadow, with its alpha.
    Colour colour;
    BlendMode blendMode = BlendMode::Normal;
    CompositeOperator compositeOperator = CompositeOperator::Over;
    // Of a colour matrix, four rows of five: red, green, blue and alpha from red, green, blue, alpha and 1. Of the
    // arithmetic operator, k1 to k4.
    std::vector<double> numbers;
    // Of red, green, blue and alpha.
    std::vector<TransferFunction> transfers;
    friend bool operator==(FilterPrimitive const&, FilterPrimitive const&) = default;

    static constexpr Kernel::ClassUID GetClassUID() { return "RFPr"; }
    static constexpr auto Fields() {
        using Kernel::Field;
        return Kernel::FieldList{Field{"Kind", &FilterPrimitive::kind},
                                 Field{"Inpt", &FilterPrimitive::inputs}.OnlyWhenSet(),
                                 Field{"Rslt", &FilterPrimitive::result}.OnlyWhenSet(),
                                 Field{"Left", &FilterPrimitive::left}.OnlyWhenSet(),
                                 Field{"Top_", &FilterPrimitive::top}.OnlyWhenSet(),
                                 Field{"Widt", &FilterPrimitive::width}.OnlyWhenSet(),
                                 Field{"Heig", &FilterPrimitive::height}.OnlyWhenSet(),
                                 Field{"Give", &FilterPrimitive::givenSides}.OnlyWhenSet(),
                                 Field{"Lght", &FilterPrimitive::isLinear},
                                 Field{"DevX", &FilterPrimitive::deviationX}.OnlyWhenSet(),
                                 Field{"DevY", &FilterPrimitive::deviationY}.OnlyWhenSet(),
                                 Field{"OffX", &FilterPrimitive::offsetX}.OnlyWhenSet(),
                                 Field{"OffY", &FilterPrimitive::offsetY}.OnlyWhenSet(),
                                 Field{"Colr", &FilterPrimitive::colour}.OnlyWhenSet(),
                                 Field{"Blnd", &FilterPrimitive::blendMode}.OnlyWhenSet(),
                                 Field{"CoOp", &FilterPrimitive::compositeOperator}.OnlyWhenSet(),
                                 Field{"Numb", &FilterPrimitive::numbers}.OnlyWhenSet(),
                                 Field{"Tran", &FilterPrimitive::transfers}.OnlyWhenSet()};
    }
};

// The parts of a filter.
struct FilterSettings {
    // Nothing is painted outside.
    double left = -0.1, top = -0.1, width = 1.2, height = 1.2;
    // The region, and the lengths of primitives, are parts of the bounding box of what is filtered, without its lines.
    bool isRegionOfBox = true;
    bool arePrimitivesOfBox = false;
    std::vector<FilterPrimitive> primitives;
    RectDbl GetRegion() const { return {left, top, left + width, top + height}; }
    friend bool operator==(FilterSettings const&, FilterSettings const&) = default;
};

// An effect on all that an object draws: a list of primitives, of which the last one's result is shown. Lengths are in
// the space of the object that has it. Immutable once it is shared.
class REDRAFT_ENGINE Filter final : public Kernel::Serialisable {
public:
    // Primitives beyond this many, and inputs beyond as many in all, are left out.
    static constexpr std::size_t c_maximumPrimitives = 256;

    Filter() = default;
    // Values that are not finite become 0, deviations below 0 too, a region that is not finite becomes empty, and
    // values of enumerations that are not known their first.
    explicit Filter(FilterSettings settings);
    ~Filter() override;

    FilterSettings const& GetSettings() const { return m_settings; }
    // False when nothing of the filter depends on the bounding box.
    bool NeedsBox() const { return m_settings.isRegionOfBox || m_settings.arePrimitivesOfBox; }
    // The same filter with all lengths in the object's space. Null where a box without width or height leaves it
    // without meaning: such an object is drawn without the filter.
    Kernel::Counted<Filter const> ResolveBox(RectDbl const& box) const;
    // Where a filter that needs no box paints, when what it is laid over paints inside `content`.
    RectDbl GetBounds(RectDbl const& content) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    void Normalise();

    FilterSettings m_settings;
};

} // namespace Renderer
