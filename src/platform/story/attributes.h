// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/consolidated.h"
#include "platform/kernel/serialisable.h"
#include "platform/kernel/string.h"
#include "platform/raster/affine_transform.h"
#include "platform/story/writing_mode.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace Story {

// How text looks. Lengths are in units of the text's own space, which are document units (1/96 inch) where nothing
// scales it. Numbers are part of the stored form: new attributes are added at the end of their list.
struct REDRAFT_ENGINE GlyphAtt {
    enum class Double : std::uint8_t {
        Size,            // em, a length; default 16
        Tracking,        // added to each advance, in em
        BaselineShift,   // a length, upwards
        HorizontalScale, // factor, default 1
        VerticalScale,   // factor, default 1
        Weight,          // 1 to 1000 as CSS Fonts counts, default 400
        Width,           // percent of normal, default 100
        Skew,            // tangent of an added slant to the right
        LengthScale,     // all lengths, also those of styles, are multiplied by it; default 1
        Count
    };
    enum class Enum : std::uint8_t {
        Italic,        // 0 or 1
        Underline,     // 0 or 1
        Strikethrough, // 0 or 1
        Kerning,       // 0 or 1, default 1
        Ligatures,     // 0 or 1, default 1
        NoBreak,       // 1: no line ends inside
        SmallCaps,     // 0 or 1; where the font has none they are capitals of 7 tenths of the size
        Overline,      // 0 or 1
        Count
    };
    enum class String : std::uint8_t {
        StyleName,    // the character style
        FontFamily,   // a list of families, separated by commas
        Language,     // BCP 47; default "en"
        FontFeatures, // as CSS Fonts' font-feature-settings: "smcp" 1, "onum"
        Count
    };
    enum class Object : std::uint8_t {
        Fill,       // Renderer::FillDescriptor; none: opaque black
        SecondFill, // Renderer::FillDescriptor
        LineFill,   // Renderer::FillDescriptor
        LineStyle,  // Renderer::LineStyleDescriptor
        Hyperlink,  // Story::HyperlinkAtt
        Count
    };
    static double GetDefault(Double att);
    static int GetDefault(Enum att);
    static Kernel::String GetDefault(String att);
};

enum class Alignment : int { Start = 0, Centre = 1, End = 2, Justify = 3, Left = 4, Right = 5 };
enum class LeadingMode : int {
    Automatic = 0, // a multiple of the largest size on the line: Leading is the factor, 0 stands for 1.2
    Exact = 1,     // Leading is a length
    AtLeast = 2    // the larger of both
};
enum class LineBreaking : int { TotalFit = 0, Greedy = 1 };
enum class ParagraphDirection : int { Automatic = 0, LeftToRight = 1, RightToLeft = 2 };

struct REDRAFT_ENGINE ParagraphAtt {
    enum class Double : std::uint8_t {
        LeftIndent, // a length, at the start side
        RightIndent,
        FirstIndent, // added to the start indent on the first line; may be negative
        SpaceBefore,
        SpaceAfter,
        Leading,     // see LeadingMode
        TabInterval, // a length; default 48
        LengthScale, // all lengths, also those of styles, are multiplied by it; default 1
        Count
    };
    enum class Enum : std::uint8_t {
        Alignment,     // Alignment
        LastAlignment, // of a justified paragraph's last line; Alignment, default Start
        LeadingMode,   // LeadingMode
        Breaking,      // LineBreaking
        Direction,     // ParagraphDirection
        Hyphenate,     // 0 or 1
        Orphans,       // least lines at a column's end; default 2
        Widows,        // least lines at a column's start; default 2
        KeepWithNext,  // 0 or 1
        BaselineGrid,  // 0 or 1: baselines stand on the frame's grid where it has one; default 1
        Count
    };
    enum class String : std::uint8_t {
        StyleName, // the paragraph style
        Count
    };
    enum class Object : std::uint8_t {
        TabStops = 0,   // Story::TabStops
        LinkedFile = 7, // Story::LinkedFileAtt
        Toc = 8,        // Story::TocAtt
        Index = 9,      // Story::IndexAtt
        Numbering = 10, // Story::NumberingAtt
        DropCap = 11,   // Story::DropCapAtt
        Count = 12
    };
    static double GetDefault(Double att);
    static int GetDefault(Enum att);
    static Kernel::String GetDefault(String att);
};

// A set of attributes with values. What is not set comes from the style, and behind it from the default. Immutable
// once it is shared.
template <class Att>
class REDRAFT_ENGINE AttSet : public Kernel::Serialisable {
public:
    using Double = typename Att::Double;
    using Enum = typename Att::Enum;
    using String = typename Att::String;
    using Object = typename Att::Object;
    using ObjectRef = Kernel::Counted<Kernel::Serialisable const>;

    AttSet();
    AttSet(AttSet const& other);
    ~AttSet() override;

    bool IsSet(Double att) const { return (m_doubleMask >> static_cast<int>(att) & 1) != 0; }
    bool IsSet(Enum att) const { return (m_enumMask >> static_cast<int>(att) & 1) != 0; }
    bool IsSet(String att) const { return (m_stringMask >> static_cast<int>(att) & 1) != 0; }
    bool IsSet(Object att) const { return (m_objectMask >> static_cast<int>(att) & 1) != 0; }
    bool empty() const { return (m_doubleMask | m_enumMask | m_stringMask | m_objectMask) == 0; }

    // The value that is set, or the attribute's default.
    double Get(Double att) const { return IsSet(att) ? m_doubles[static_cast<int>(att)] : Att::GetDefault(att); }
    int Get(Enum att) const { return IsSet(att) ? m_enums[static_cast<int>(att)] : Att::GetDefault(att); }
    Kernel::String Get(String att) const {
        return IsSet(att) ? m_strings[static_cast<int>(att)] : Att::GetDefault(att);
    }
    // Null where none is set.
    ObjectRef const& Get(Object att) const { return m_objects[static_cast<int>(att)]; }

    // Numbers that are not finite are taken for the default.
    void Set(Double att, double value);
    void Set(Enum att, int value);
    void Set(String att, Kernel::String value);
    void Set(Object att, ObjectRef value);
    void Unset(Double att);
    void Unset(Enum att);
    void Unset(String att);
    void Unset(Object att);
    // Takes over what the other has set.
    void Overlay(AttSet const& other);

    std::size_t GetHash() const;
    bool IsEqualTo(AttSet const& other) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    template <class Kind>
    static constexpr std::size_t c_count = static_cast<std::size_t>(Kind::Count);

    std::uint16_t m_doubleMask = 0;
    std::uint16_t m_enumMask = 0;
    std::uint16_t m_stringMask = 0;
    std::uint16_t m_objectMask = 0;
    std::array<double, c_count<Double>> m_doubles{};
    std::array<int, c_count<Enum>> m_enums{};
    std::array<Kernel::String, c_count<String>> m_strings;
    std::array<ObjectRef, c_count<Object>> m_objects;
};

class REDRAFT_ENGINE GlyphAtts final : public AttSet<GlyphAtt> {
public:
    Kernel::Counted<GlyphAtts> Clone() const { return Kernel::MakeCounted<GlyphAtts>(*this); }
    friend bool operator==(GlyphAtts const& a, GlyphAtts const& b) { return a.IsEqualTo(b); }
    // Nothing set.
    static Kernel::Counted<GlyphAtts const> const& GetDefault();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<GlyphAtts>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE ParagraphAtts final : public AttSet<ParagraphAtt> {
public:
    Kernel::Counted<ParagraphAtts> Clone() const { return Kernel::MakeCounted<ParagraphAtts>(*this); }
    friend bool operator==(ParagraphAtts const& a, ParagraphAtts const& b) { return a.IsEqualTo(b); }
    static Kernel::Counted<ParagraphAtts const> const& GetDefault();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<ParagraphAtts>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

using GlyphAttsRef = Kernel::Counted<GlyphAtts const>;
using ParagraphAttsRef = Kernel::Counted<ParagraphAtts const>;

// One place where tabs lead to, from the start side of the column.
struct TabStop {
    enum class Kind : std::uint32_t { Start = 0, Centre = 1, End = 2, Decimal = 3 };
    double position = 0;
    Kind kind = Kind::Start;
    // Fills the room before the stop, repeated; 0 for nothing.
    char32_t leader = 0;
    friend bool operator==(TabStop const&, TabStop const&) = default;
};

class REDRAFT_ENGINE TabStops final : public Kernel::Serialisable {
public:
    TabStops() = default;
    explicit TabStops(std::vector<TabStop> stops);
    // In ascending order.
    std::span<TabStop const> GetStops() const { return m_stops; }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<TabStops>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    std::vector<TabStop> m_stops;
};

// A change of attributes. Immutable once it is shared. A derived class may change them in a way of its own; equal
// attributes that it gives are one object, as Kernel::Consolidated makes them.
class REDRAFT_ENGINE Delta : public Kernel::Serialisable {
public:
    struct Values {
        // The value that is set; null for none.
        GlyphAttsRef glyphAtts;
        ParagraphAttsRef paragraphAtts;
        // Attributes that were set by hand go first, so that the style shows.
        bool resetLocal = false;
        // Factors that are put on those which are there.
        double lengthScale = 1;
        double horizontalScale = 1;
        // Of the whole story whose text is changed; none leaves it as it is.
        std::optional<WritingMode> writingMode = {};
    };
    Delta() = default;
    explicit Delta(Values values) : m_values(std::move(values)) {}
    ~Delta() override;
    Values const& GetValues() const { return m_values; }

    // The attributes with the change; the same object when it changes nothing.
    virtual GlyphAttsRef Apply(GlyphAttsRef const& atts) const;
    virtual ParagraphAttsRef Apply(ParagraphAttsRef const& atts) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Delta>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Values m_values;
};
using DeltaRef = Kernel::Counted<Delta const>;

// Deltas that set one attribute. `resetLocal` drops what else was set by hand first, as choosing a style may ask for.
REDRAFT_ENGINE DeltaRef MakeDelta(GlyphAtt::Double att, double value, bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(GlyphAtt::Enum att, int value, bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(GlyphAtt::String att, Kernel::String const& value, bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(GlyphAtt::Object att, Kernel::Counted<Kernel::Serialisable const> const& value,
                                  bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(ParagraphAtt::Double att, double value, bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(ParagraphAtt::Enum att, int value, bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(ParagraphAtt::String att, Kernel::String const& value, bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(ParagraphAtt::Object att, Kernel::Counted<Kernel::Serialisable const> const& value,
                                  bool resetLocal = false);
REDRAFT_ENGINE DeltaRef MakeDelta(WritingMode mode);
// The delta that makes text look as if the transform's scale had been applied to it: lengths by its vertical scale, and
// widths of letters by the ratio of both. Rotation, shear and translation are not represented. `scaleLengths` false
// leaves lengths alone.
REDRAFT_ENGINE DeltaRef TransformDelta(Raster::AffineTransform::Params const& transform, bool scaleLengths);

} // namespace Story
