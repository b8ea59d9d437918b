// SPDX-License-Identifier: Apache-2.0
#include "engine/story/separable_spaces.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <hb-ot.h>
#include <iterator>
#include <memory>

namespace Story {

namespace {

// Big-endian numbers of a font's table. Whatever lies outside makes the whole answer "no".
class TableReader {
public:
    TableReader(hb_face_t* face, hb_tag_t tag) : m_blob(hb_face_reference_table(face, tag), hb_blob_destroy) {
        unsigned length = 0;
        auto const* const bytes = hb_blob_get_data(m_blob.get(), &length);
        m_bytes = reinterpret_cast<unsigned char const*>(bytes);
        m_length = bytes == nullptr ? 0 : length;
    }
    bool IsEmpty() const { return m_length == 0; }
    bool HasFailed() const { return m_hasFailed; }
    std::size_t Read8(std::size_t at) {
        if (at >= m_length) {
            m_hasFailed = true;
            return 0;
        }
        return m_bytes[at];
    }
    std::size_t Read16(std::size_t at) { return Read8(at) << 8 | Read8(at + 1); }
    std::size_t Read32(std::size_t at) { return Read16(at) << 16 | Read16(at + 2); }

private:
    std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> m_blob;
    unsigned char const* m_bytes = nullptr;
    std::size_t m_length = 0;
    bool m_hasFailed = false;
};

// Rules of a malformed font may overlap without end.
constexpr std::size_t c_maximumSteps = 2'000'000;

// One of the tables GSUB and GPOS.
class LayoutTable {
public:
    LayoutTable(hb_face_t* face, hb_tag_t tag, hb_codepoint_t space)
        : m_table(face, tag),
          m_reached(hb_set_create(), hb_set_destroy),
          m_face(face),
          m_tag(tag),
          m_space(space),
          m_isPositioning(tag == HB_OT_TAG_GPOS) {}

    bool IsSeparable() {
        if (m_table.IsEmpty())
            return true;
        CollectLookups();
        auto const list = m_table.Read16(8);
        auto const count = m_table.Read16(list);
        // Rules that others call may have smaller numbers; those are found in another round.
        unsigned last = 0;
        do {
            last = hb_set_get_population(m_reached.get());
            for (hb_codepoint_t i = HB_SET_VALUE_INVALID; hb_set_next(m_reached.get(), &i) != 0 && !HasGivenUp();) {
                if (i < count && !IsLookupSeparable(list + m_table.Read16(list + 2 + 2 * i), i))
                    return false;
            }
        } while (hb_set_get_population(m_reached.get()) != last);
        return !HasGivenUp();
    }

private:
    using Set = std::unique_ptr<hb_set_t, void (*)(hb_set_t*)>;

    bool HasGivenUp() const { return m_table.HasFailed() || m_steps > c_maximumSteps; }

    // Of the scripts that IsSpacedScript names, and all where the font's axes may choose others.
    void CollectLookups() {
        static constexpr hb_tag_t c_scripts[] = {HB_TAG('l', 'a', 't', 'n'), HB_TAG('g', 'r', 'e', 'k'),
                                                 HB_TAG('c', 'y', 'r', 'l'), HB_TAG('D', 'F', 'L', 'T'),
                                                 HB_TAG('d', 'f', 'l', 't'), HB_TAG_NONE};
        bool const hasVariations = m_table.Read16(2) != 0 && m_table.Read32(10) != 0;
        if (hasVariations)
            hb_set_add_range(m_reached.get(), 0, 0xFFFF);
        else
            hb_ot_layout_collect_lookups(m_face, m_tag, c_scripts, nullptr, nullptr, m_reached.get());
    }

    bool IsLookupSeparable(std::size_t lookup, unsigned index) {
        constexpr std::size_t c_ignoreBaseGlyphs = 2;
        auto const type = m_table.Read16(lookup);
        bool const ignoresBases = (m_table.Read16(lookup + 2) & c_ignoreBaseGlyphs) != 0;
        auto const count = m_table.Read16(lookup + 4);
        bool isOfPairs = m_isPositioning;
        for (std::size_t i = 0; i != count && !HasGivenUp(); ++i) {
            ++m_steps;
            auto subtable = lookup + m_table.Read16(lookup + 6 + 2 * i);
            auto kind = type;
            if (type == (m_isPositioning ? 9u : 7u)) {
                kind = m_table.Read16(subtable + 2);
                subtable += m_table.Read32(subtable + 4);
            }
            // Skips the space as it does every base, and sees what is behind it. Marks look for their base whatever is
            // to be ignored.
            bool const attachesMarks = m_isPositioning && kind >= 4 && kind <= 6;
            if (ignoresBases && !attachesMarks)
                return false;
            if (kind == (m_isPositioning ? 7u : 5u) || kind == (m_isPositioning ? 8u : 6u)) {
                if (!IsContextSeparable(subtable, kind == (m_isPositioning ? 8u : 6u)))
                    return false;
            }
            // A rule that moves its second glyph, too, takes it out of the next pair.
            if (m_isPositioning && kind == 2 && m_table.Read16(subtable + 6) != 0)
                return false;
            isOfPairs &= kind == 1 || kind == 2;
        }
        return isOfPairs || !TouchesSpace(index);
    }

    bool TouchesSpace(unsigned lookup) const {
        Set const before(hb_set_create(), hb_set_destroy), input(hb_set_create(), hb_set_destroy),
            after(hb_set_create(), hb_set_destroy);
        hb_ot_layout_lookup_collect_glyphs(m_face, m_tag, lookup, before.get(), input.get(), after.get(), nullptr);
        return hb_set_has(before.get(), m_space) != 0 || hb_set_has(input.get(), m_space) != 0 ||
               hb_set_has(after.get(), m_space) != 0;
    }

    // Looks for rules by classes that ask for "any glyph that is in no class", which TouchesSpace does not see, and
    // notes the lookups that rules call.
    bool IsContextSeparable(std::size_t subtable, bool isChain) {
        auto const format = m_table.Read16(subtable);
        if (format == 3) {
            ReadRule(subtable + 2, isChain, 0);
            return true;
        }
        std::size_t const setCountAt = subtable + (format == 1 ? 4 : isChain ? 10 : 6);
        auto const setCount = m_table.Read16(setCountAt);
        for (std::size_t i = 0; i != setCount && !HasGivenUp(); ++i) {
            auto const offset = m_table.Read16(setCountAt + 2 + 2 * i);
            if (offset == 0)
                continue;
            auto const set = subtable + offset;
            auto const ruleCount = m_table.Read16(set);
            for (std::size_t j = 0; j != ruleCount && !HasGivenUp(); ++j) {
                if (ReadRule(set + m_table.Read16(set + 2 + 2 * j), isChain, 1) && format == 2)
                    return false;
            }
        }
        return true;
    }

    // True when one of the rule's glyphs is number 0. The first `implied` glyphs of its input are not written.
    bool ReadRule(std::size_t at, bool isChain, std::size_t implied) {
        std::size_t recordCount = 0;
        bool hasZero = false;
        if (isChain) {
            for (std::size_t const unwritten : {std::size_t{0}, implied, std::size_t{0}}) {
                auto const count = m_table.Read16(at);
                at += 2;
                hasZero |= HasZero(at, count - std::min(count, unwritten));
            }
            recordCount = m_table.Read16(at);
            at += 2;
        } else {
            auto const count = m_table.Read16(at);
            recordCount = m_table.Read16(at + 2);
            at += 4;
            hasZero = HasZero(at, count - std::min(count, implied));
        }
        for (std::size_t i = 0; i != recordCount && !HasGivenUp(); ++i, at += 4) {
            ++m_steps;
            hb_set_add(m_reached.get(), static_cast<hb_codepoint_t>(m_table.Read16(at + 2)));
        }
        return hasZero;
    }

    // Goes behind the numbers.
    bool HasZero(std::size_t& at, std::size_t count) {
        bool hasZero = false;
        for (std::size_t i = 0; i != count && !HasGivenUp(); ++i, at += 2) {
            ++m_steps;
            hasZero |= m_table.Read16(at) == 0;
        }
        return hasZero;
    }

    TableReader m_table;
    Set m_reached;
    hb_face_t* m_face;
    hb_tag_t m_tag;
    hb_codepoint_t m_space;
    bool m_isPositioning;
    std::size_t m_steps = 0;
};

// Only horizontal pairs that add up.
bool IsKernSeparable(hb_face_t* face) {
    TableReader table(face, HB_TAG('k', 'e', 'r', 'n'));
    if (table.IsEmpty())
        return true;
    if (table.Read16(0) != 0)
        return false;
    auto const count = table.Read16(2);
    std::size_t at = 4;
    for (std::size_t i = 0; i != count && !table.HasFailed(); ++i) {
        constexpr std::size_t c_minimum = 2, c_crossStream = 4;
        auto const format = table.Read8(at + 4);
        if ((table.Read8(at + 5) & (c_minimum | c_crossStream)) != 0 || (format != 0 && format != 2))
            return false;
        at += std::max<std::size_t>(table.Read16(at + 2), 6);
    }
    return !table.HasFailed();
}

bool HasTable(hb_face_t* face, hb_tag_t tag) { return !TableReader(face, tag).IsEmpty(); }

// Letters are drawn by lot, one after the other.
bool HasRandomFeature(hb_face_t* face) {
    constexpr hb_tag_t c_random = HB_TAG('r', 'a', 'n', 'd');
    unsigned offset = 0;
    for (;;) {
        hb_tag_t tags[64];
        unsigned count = std::size(tags);
        hb_ot_layout_table_get_feature_tags(face, HB_OT_TAG_GSUB, offset, &count, tags);
        if (std::find(tags, tags + count, c_random) != tags + count)
            return true;
        if (count != std::size(tags))
            return false;
        offset += count;
    }
}

} // namespace

bool AreSpacesSeparable(hb_face_t* face, hb_codepoint_t space) {
    for (auto const tag : {HB_TAG('m', 'o', 'r', 't'), HB_TAG('m', 'o', 'r', 'x'), HB_TAG('k', 'e', 'r', 'x'),
                           HB_TAG('t', 'r', 'a', 'k'), HB_TAG('S', 'i', 'l', 'f')}) {
        if (HasTable(face, tag))
            return false;
    }
    auto const kind = hb_ot_layout_get_glyph_class(face, space);
    if (kind != HB_OT_LAYOUT_GLYPH_CLASS_UNCLASSIFIED && kind != HB_OT_LAYOUT_GLYPH_CLASS_BASE_GLYPH)
        return false;
    return IsKernSeparable(face) && !HasRandomFeature(face) && LayoutTable(face, HB_OT_TAG_GSUB, space).IsSeparable() &&
           LayoutTable(face, HB_OT_TAG_GPOS, space).IsSeparable();
}

} // namespace Story
