// SPDX-License-Identifier: Apache-2.0
#include "platform/story/attributes.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/line_style.h"
#include "platform/story/drop_cap.h"
#include "platform/story/hyperlink.h"
#include "platform/story/index_text.h"
#include "platform/story/linked_file.h"
#include "platform/story/numberer.h"
#include "platform/story/toc.h"

#include <algorithm>
#include <cmath>

namespace Story {

double GlyphAtt::GetDefault(Double att) {
    switch (att) {
    case Double::Size:
        return 16;
    case Double::HorizontalScale:
    case Double::VerticalScale:
    case Double::LengthScale:
        return 1;
    case Double::Weight:
        return 400;
    case Double::Width:
        return 100;
    default:
        return 0;
    }
}
int GlyphAtt::GetDefault(Enum att) { return att == Enum::Kerning || att == Enum::Ligatures ? 1 : 0; }
Kernel::String GlyphAtt::GetDefault(String att) {
    static Kernel::String const s_language = "en";
    return att == String::Language ? s_language : Kernel::String();
}

double ParagraphAtt::GetDefault(Double att) {
    if (att == Double::TabInterval)
        return 48;
    return att == Double::LengthScale ? 1 : 0;
}
int ParagraphAtt::GetDefault(Enum att) {
    switch (att) {
    case Enum::Orphans:
    case Enum::Widows:
        return 2;
    case Enum::BaselineGrid:
        return 1;
    default:
        return 0;
    }
}
Kernel::String ParagraphAtt::GetDefault(String) { return {}; }

namespace {

std::size_t Mix(std::size_t hash, std::size_t value) { return (hash ^ value) * 0x9E3779B97F4A7C15u + (hash >> 29); }

// A link's anchor is the anchor itself, however many others are called like it.
bool AreSame(Kernel::Counted<Kernel::Serialisable const> const& a,
             Kernel::Counted<Kernel::Serialisable const> const& b) {
    if (a == b || !a || !b)
        return a == b;
    auto const* const link = Kernel::CastPointer<HyperlinkAtt const>(a.get());
    auto const* const other = Kernel::CastPointer<HyperlinkAtt const>(b.get());
    if (link != nullptr && other != nullptr)
        return *link == *other;
    return a->CompareMembers(*b, Kernel::CompareContext());
}

template <class Kind>
std::uint16_t Bit(Kind att) {
    return static_cast<std::uint16_t>(1u << static_cast<int>(att));
}

// Keys and values of what is set, as two arrays under two tags.
template <class Array, class Value = typename Array::value_type>
void SaveSet(Kernel::OutSerialiser& out, Kernel::IDTag keys, Kernel::IDTag values, unsigned mask, Array const& all) {
    if (mask == 0)
        return;
    std::vector<std::uint8_t> setKeys;
    std::vector<Value> setValues;
    for (std::size_t i = 0; i != all.size(); ++i) {
        if ((mask >> i & 1) == 0)
            continue;
        setKeys.push_back(static_cast<std::uint8_t>(i));
        setValues.push_back(all[i]);
    }
    Kernel::SaveValue(out, keys, setKeys);
    Kernel::SaveValue(out, values, setValues);
}

// Whether an object is what the attribute holds. Others may lead back to the story that has the attributes, whose hash
// would never end.
template <class T>
bool Is(Kernel::Serialisable const* object) {
    return object == nullptr || Kernel::CastPointer<T const>(object) != nullptr;
}
bool IsOfKind(GlyphAtt::Object att, Kernel::Serialisable const* object) {
    switch (att) {
    case GlyphAtt::Object::LineStyle:
        return Is<Renderer::LineStyleDescriptor>(object);
    case GlyphAtt::Object::Hyperlink:
        return Is<HyperlinkAtt>(object);
    default:
        return Is<Renderer::FillDescriptor>(object);
    }
}
bool IsOfKind(ParagraphAtt::Object att, Kernel::Serialisable const* object) {
    return (att == ParagraphAtt::Object::TabStops && Is<TabStops>(object)) ||
           (att == ParagraphAtt::Object::LinkedFile && Is<LinkedFileAtt>(object)) ||
           (att == ParagraphAtt::Object::Index && Is<IndexAtt>(object)) ||
           (att == ParagraphAtt::Object::Toc && Is<TocAtt>(object)) ||
           (att == ParagraphAtt::Object::Numbering && Is<NumberingAtt>(object)) ||
           (att == ParagraphAtt::Object::DropCap && Is<DropCapAtt>(object));
}

// Keys that this version does not know are left out.
template <class Value, class Set>
void LoadSet(Kernel::InSerialiser const& in, Kernel::IDTag keys, Kernel::IDTag values, std::size_t count,
             Set const& set) {
    std::vector<std::uint8_t> setKeys;
    std::vector<Value> setValues;
    Kernel::LoadValue(in, keys, setKeys);
    Kernel::LoadValue(in, values, setValues);
    for (std::size_t i = 0; i != std::min(setKeys.size(), setValues.size()); ++i) {
        if (setKeys[i] < count)
            set(setKeys[i], std::move(setValues[i]));
    }
}

} // namespace

template <class Att>
AttSet<Att>::AttSet() = default;
template <class Att>
AttSet<Att>::AttSet(AttSet const& other) = default;
template <class Att>
AttSet<Att>::~AttSet() = default;

template <class Att>
void AttSet<Att>::Set(Double att, double value) {
    m_doubleMask |= Bit(att);
    // Zero has one sign, so that equal sets have one hash.
    m_doubles[static_cast<int>(att)] = std::isfinite(value) ? value + 0.0 : Att::GetDefault(att);
}
template <class Att>
void AttSet<Att>::Set(Enum att, int value) {
    m_enumMask |= Bit(att);
    m_enums[static_cast<int>(att)] = value;
}
template <class Att>
void AttSet<Att>::Set(String att, Kernel::String value) {
    m_stringMask |= Bit(att);
    m_strings[static_cast<int>(att)] = std::move(value);
}
template <class Att>
void AttSet<Att>::Set(Object att, ObjectRef value) {
    m_objectMask |= Bit(att);
    m_objects[static_cast<int>(att)] = std::move(value);
}
template <class Att>
void AttSet<Att>::Unset(Double att) {
    m_doubleMask &= static_cast<std::uint16_t>(~Bit(att));
    m_doubles[static_cast<int>(att)] = 0;
}
template <class Att>
void AttSet<Att>::Unset(Enum att) {
    m_enumMask &= static_cast<std::uint16_t>(~Bit(att));
    m_enums[static_cast<int>(att)] = 0;
}
template <class Att>
void AttSet<Att>::Unset(String att) {
    m_stringMask &= static_cast<std::uint16_t>(~Bit(att));
    m_strings[static_cast<int>(att)] = {};
}
template <class Att>
void AttSet<Att>::Unset(Object att) {
    m_objectMask &= static_cast<std::uint16_t>(~Bit(att));
    m_objects[static_cast<int>(att)] = {};
}

template <class Att>
void AttSet<Att>::Overlay(AttSet const& other) {
    for (std::size_t i = 0; i != c_count<Double>; ++i) {
        if (other.IsSet(static_cast<Double>(i)))
            Set(static_cast<Double>(i), other.m_doubles[i]);
    }
    for (std::size_t i = 0; i != c_count<Enum>; ++i) {
        if (other.IsSet(static_cast<Enum>(i)))
            Set(static_cast<Enum>(i), other.m_enums[i]);
    }
    for (std::size_t i = 0; i != c_count<String>; ++i) {
        if (other.IsSet(static_cast<String>(i)))
            Set(static_cast<String>(i), other.m_strings[i]);
    }
    for (std::size_t i = 0; i != c_count<Object>; ++i) {
        if (other.IsSet(static_cast<Object>(i)))
            Set(static_cast<Object>(i), other.m_objects[i]);
    }
}

template <class Att>
std::size_t AttSet<Att>::GetHash() const {
    std::size_t hash = static_cast<std::size_t>(m_doubleMask) << 48 ^ static_cast<std::size_t>(m_enumMask) << 32 ^
                       static_cast<std::size_t>(m_stringMask) << 16 ^ m_objectMask;
    for (double const value : m_doubles)
        hash = Mix(hash, std::bit_cast<std::uint64_t>(value));
    for (int const value : m_enums)
        hash = Mix(hash, static_cast<std::size_t>(value));
    for (auto const& value : m_strings)
        hash = Mix(hash, std::hash<Kernel::String>()(value));
    for (auto const& object : m_objects) {
        if (!object)
            continue;
        if (auto const* const link = Kernel::CastPointer<HyperlinkAtt const>(object.get())) {
            hash = Mix(hash, link->GetHash());
            continue;
        }
        Kernel::HashAccumulator content;
        content.AddObject(*object);
        hash = Mix(hash, content.GetHash().low);
    }
    return hash;
}

template <class Att>
bool AttSet<Att>::IsEqualTo(AttSet const& other) const {
    return this == &other ||
           (m_doubleMask == other.m_doubleMask && m_enumMask == other.m_enumMask &&
            m_stringMask == other.m_stringMask && m_objectMask == other.m_objectMask && m_doubles == other.m_doubles &&
            m_enums == other.m_enums && m_strings == other.m_strings &&
            std::equal(m_objects.begin(), m_objects.end(), other.m_objects.begin(), AreSame));
}

template <class Att>
void AttSet<Att>::Save(Kernel::OutSerialiser& out) const {
    SaveSet(out, "DblK", "DblV", m_doubleMask, m_doubles);
    SaveSet(out, "EnuK", "EnuV", m_enumMask, m_enums);
    SaveSet(out, "StrK", "StrV", m_stringMask, m_strings);
    SaveSet(out, "ObjK", "ObjV", m_objectMask, m_objects);
}

template <class Att>
bool AttSet<Att>::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    m_doubleMask = m_enumMask = m_stringMask = m_objectMask = 0;
    m_doubles = {};
    m_enums = {};
    m_strings = {};
    m_objects = {};
    LoadSet<double>(in, "DblK", "DblV", c_count<Double>,
                    [&](std::uint8_t key, double value) { Set(static_cast<Double>(key), value); });
    LoadSet<int>(in, "EnuK", "EnuV", c_count<Enum>,
                 [&](std::uint8_t key, int value) { Set(static_cast<Enum>(key), value); });
    LoadSet<Kernel::String>(in, "StrK", "StrV", c_count<String>, [&](std::uint8_t key, Kernel::String value) {
        Set(static_cast<String>(key), std::move(value));
    });
    LoadSet<ObjectRef>(in, "ObjK", "ObjV", c_count<Object>, [&](std::uint8_t key, ObjectRef value) {
        if (IsOfKind(static_cast<Object>(key), value.get()))
            Set(static_cast<Object>(key), std::move(value));
    });
    return true;
}

template class AttSet<GlyphAtt>;
template class AttSet<ParagraphAtt>;

GlyphAttsRef const& GlyphAtts::GetDefault() {
    // Never destroyed: stories may outlive static objects.
    static auto const& s_default = *new GlyphAttsRef(Kernel::MakeConsolidated<GlyphAtts>().ToCounted());
    return s_default;
}
ParagraphAttsRef const& ParagraphAtts::GetDefault() {
    static auto const& s_default = *new ParagraphAttsRef(Kernel::MakeConsolidated<ParagraphAtts>().ToCounted());
    return s_default;
}

TabStops::TabStops(std::vector<TabStop> stops) : m_stops(std::move(stops)) {
    std::erase_if(m_stops, [](TabStop const& stop) { return !std::isfinite(stop.position); });
    std::stable_sort(m_stops.begin(), m_stops.end(),
                     [](TabStop const& a, TabStop const& b) { return a.position < b.position; });
}
void TabStops::Save(Kernel::OutSerialiser& out) const {
    std::vector<double> positions;
    std::vector<std::uint32_t> kinds, leaders;
    bool hasLeaders = false;
    for (auto const& stop : m_stops) {
        positions.push_back(stop.position);
        kinds.push_back(static_cast<std::uint32_t>(stop.kind));
        leaders.push_back(stop.leader);
        hasLeaders |= stop.leader != 0;
    }
    Kernel::SaveValue(out, "Posi", positions);
    Kernel::SaveValue(out, "Kind", kinds);
    if (hasLeaders)
        Kernel::SaveValue(out, "Lead", leaders);
}
bool TabStops::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    std::vector<double> positions;
    std::vector<std::uint32_t> kinds, leaders;
    Kernel::LoadValue(in, "Posi", positions);
    Kernel::LoadValue(in, "Kind", kinds);
    Kernel::LoadValue(in, "Lead", leaders);
    kinds.resize(positions.size());
    leaders.resize(positions.size());
    std::vector<TabStop> stops;
    for (std::size_t i = 0; i != positions.size(); ++i)
        stops.push_back({positions[i], static_cast<TabStop::Kind>(std::min<std::uint32_t>(kinds[i], 3)),
                         leaders[i] <= 0x10FFFF ? char32_t{leaders[i]} : U'\0'});
    *this = TabStops(std::move(stops));
    return true;
}

Delta::~Delta() = default;

GlyphAttsRef Delta::Apply(GlyphAttsRef const& atts) const {
    if (m_values.glyphAtts == nullptr && m_values.lengthScale == 1 && m_values.horizontalScale == 1)
        return atts;
    auto changed = m_values.resetLocal && m_values.glyphAtts ? Kernel::MakeCounted<GlyphAtts>() : atts->Clone();
    if (m_values.glyphAtts)
        changed->Overlay(*m_values.glyphAtts);
    using Double = GlyphAtt::Double;
    for (auto const& [att, factor] : {std::pair(Double::LengthScale, m_values.lengthScale),
                                      std::pair(Double::HorizontalScale, m_values.horizontalScale)}) {
        if (factor != 1)
            changed->Set(att, changed->Get(att) * factor);
    }
    return Kernel::Consolidated<GlyphAtts>(GlyphAttsRef(std::move(changed))).ToCounted();
}

ParagraphAttsRef Delta::Apply(ParagraphAttsRef const& atts) const {
    if (m_values.paragraphAtts == nullptr && m_values.lengthScale == 1)
        return atts;
    auto changed = m_values.resetLocal && m_values.paragraphAtts ? Kernel::MakeCounted<ParagraphAtts>() : atts->Clone();
    if (m_values.paragraphAtts)
        changed->Overlay(*m_values.paragraphAtts);
    using Double = ParagraphAtt::Double;
    if (m_values.lengthScale != 1)
        changed->Set(Double::LengthScale, changed->Get(Double::LengthScale) * m_values.lengthScale);
    return Kernel::Consolidated<ParagraphAtts>(ParagraphAttsRef(std::move(changed))).ToCounted();
}

void Delta::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "GAtt", m_values.glyphAtts);
    Kernel::SaveValue(out, "PAtt", m_values.paragraphAtts);
    Kernel::SaveValue(out, "Rset", m_values.resetLocal);
    Kernel::SaveValue(out, "LScl", m_values.lengthScale);
    Kernel::SaveValue(out, "HScl", m_values.horizontalScale);
    if (m_values.writingMode)
        Kernel::SaveValue(out, "WMod", static_cast<std::uint32_t>(*m_values.writingMode));
}
bool Delta::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "GAtt", m_values.glyphAtts);
    Kernel::LoadValue(in, "PAtt", m_values.paragraphAtts);
    Kernel::LoadValue(in, "Rset", m_values.resetLocal);
    Kernel::LoadValue(in, "LScl", m_values.lengthScale);
    Kernel::LoadValue(in, "HScl", m_values.horizontalScale);
    constexpr std::uint32_t c_none = 0xFFFFFFFF;
    auto mode = c_none;
    Kernel::LoadValue(in, "WMod", mode);
    m_values.writingMode.reset();
    if (mode <= static_cast<std::uint32_t>(WritingMode::Vertical))
        m_values.writingMode = static_cast<WritingMode>(mode);
    return std::isfinite(m_values.lengthScale) && std::isfinite(m_values.horizontalScale);
}

namespace {

template <class Kind, class Value>
DeltaRef MakeGlyphDelta(Kind att, Value value, bool resetLocal) {
    auto atts = Kernel::MakeCounted<GlyphAtts>();
    atts->Set(att, std::move(value));
    return Kernel::MakeCounted<Delta>(Delta::Values{atts, {}, resetLocal});
}
template <class Kind, class Value>
DeltaRef MakeParagraphDelta(Kind att, Value value, bool resetLocal) {
    auto atts = Kernel::MakeCounted<ParagraphAtts>();
    atts->Set(att, std::move(value));
    return Kernel::MakeCounted<Delta>(Delta::Values{{}, atts, resetLocal});
}

} // namespace

DeltaRef MakeDelta(GlyphAtt::Double att, double value, bool resetLocal) {
    return MakeGlyphDelta(att, value, resetLocal);
}
DeltaRef MakeDelta(GlyphAtt::Enum att, int value, bool resetLocal) { return MakeGlyphDelta(att, value, resetLocal); }
DeltaRef MakeDelta(GlyphAtt::String att, Kernel::String const& value, bool resetLocal) {
    return MakeGlyphDelta(att, value, resetLocal);
}
DeltaRef MakeDelta(GlyphAtt::Object att, Kernel::Counted<Kernel::Serialisable const> const& value, bool resetLocal) {
    return MakeGlyphDelta(att, value, resetLocal);
}
DeltaRef MakeDelta(ParagraphAtt::Double att, double value, bool resetLocal) {
    return MakeParagraphDelta(att, value, resetLocal);
}
DeltaRef MakeDelta(ParagraphAtt::Enum att, int value, bool resetLocal) {
    return MakeParagraphDelta(att, value, resetLocal);
}
DeltaRef MakeDelta(ParagraphAtt::String att, Kernel::String const& value, bool resetLocal) {
    return MakeParagraphDelta(att, value, resetLocal);
}
DeltaRef MakeDelta(ParagraphAtt::Object att, Kernel::Counted<Kernel::Serialisable const> const& value,
                   bool resetLocal) {
    return MakeParagraphDelta(att, value, resetLocal);
}

DeltaRef MakeDelta(WritingMode mode) {
    Delta::Values values;
    values.writingMode = mode;
    return Kernel::MakeCounted<Delta>(values);
}

DeltaRef TransformDelta(Raster::AffineTransform::Params const& transform, bool scaleLengths) {
    // The lengths of the images of the unit vectors; what is not usable counts as no scale.
    double const x = std::hypot(transform.a, transform.c);
    double const y = std::hypot(transform.b, transform.d);
    Delta::Values values;
    if (std::isfinite(x) && std::isfinite(y) && x > 0 && y > 0) {
        if (scaleLengths)
            values.lengthScale = y;
        values.horizontalScale = x / y;
    }
    return Kernel::MakeCounted<Delta>(values);
}

} // namespace Story
