// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/attributes.h"

#include <array>
#include <map>

namespace Story {

// How a number is written. Values are part of the stored form.
enum class NumberStyle : std::uint32_t {
    None = 0, // no number: takes away that of the paragraph style
    Decimal = 1,
    LowerLetter = 2, // a to z, then aa, bb and so on
    UpperLetter = 3,
    LowerRoman = 4, // up to 3999, decimal beyond
    UpperRoman = 5,
    Bullet = 6 // the format stands alone
};

// The numbering of a paragraph, as an attribute of it. Paragraphs of one list count on, wherever they stand in the
// story. Immutable once it is shared.
class REDRAFT_ENGINE NumberingAtt final : public Kernel::Serialisable {
public:
    static constexpr std::uint32_t c_levelCount = 9;
    static constexpr std::int32_t c_maximumStart = 999'999'999;

    struct Values {
        Kernel::String list;
        // From 0, the outermost. A number of one level lets those below it begin anew.
        std::uint32_t level = 0;
        NumberStyle style = NumberStyle::Decimal;
        // "{1}" stands for the number of the outermost level, "{2}" for that of the next one, and so on; others than
        // the paragraph's own are written in the style that they were last written in. Empty: "{N}." for the
        // paragraph's own level, for bullets U+2022.
        Kernel::String format;
        // The first number of the level.
        std::int32_t start = 1;
        friend bool operator==(Values const&, Values const&) = default;
    };
    NumberingAtt() = default;
    // Numbers beyond their ranges are brought into them.
    explicit NumberingAtt(Values values);
    // The numbering of a paragraph; null for none.
    static Kernel::Counted<NumberingAtt const> Of(ParagraphAtts const& atts);
    Values const& GetValues() const { return m_values; }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<NumberingAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Values m_values;
};

// Counts paragraphs in the order of their story.
class REDRAFT_ENGINE Numberer final : public virtual Kernel::Countable {
public:
    // Stands at the beginning of a story.
    Numberer() = default;
    Numberer(Numberer const&) = default;
    Kernel::Counted<Numberer> Clone() const { return Kernel::MakeCounted<Numberer>(*this); }
    // Goes on by one paragraph and gives the text of its number: UTF-8, without anything between it and the text of the
    // paragraph. Empty for a paragraph without one. `resolved`: with what styles give (StyleSheet::Resolve).
    Kernel::String Next(ParagraphAtts const& resolved);

private:
    struct Level {
        bool hasBegun = false;
        std::int64_t number = 0;
        NumberStyle style = NumberStyle::Decimal;
    };
    std::map<Kernel::String, std::array<Level, NumberingAtt::c_levelCount>> m_lists;
};

} // namespace Story
