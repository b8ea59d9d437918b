// SPDX-License-Identifier: Apache-2.0
#include "platform/story/paragraph.h"

#include "platform/kernel/field_list.h"
#include "platform/kernel/hash_accumulator.h"

#include <algorithm>
#include <mutex>

namespace Story {

namespace {

template <class T>
Kernel::Counted<T const> Interned(Kernel::Counted<T const> const& atts) {
    return atts ? Kernel::Consolidated<T>(atts).ToCounted() : T::GetDefault();
}

} // namespace

Paragraph::Paragraph()
    : m_text(1, c_paragraphSeparator), m_runs{{1, GlyphAtts::GetDefault()}}, m_atts(ParagraphAtts::GetDefault()) {}

Paragraph::Paragraph(std::u32string text, std::vector<GlyphRun> runs, std::vector<ObjectAt> objects,
                     ParagraphAttsRef atts)
    : m_text(std::move(text)), m_runs(std::move(runs)), m_objects(std::move(objects)), m_atts(std::move(atts)) {}

Paragraph::~Paragraph() = default;

GlyphAttsRef const& Paragraph::GetGlyphAtts(std::uint32_t index) const {
    auto const run =
        std::upper_bound(m_runs.begin(), m_runs.end(), index,
                         [](std::uint32_t position, GlyphRun const& candidate) { return position < candidate.end; });
    return run == m_runs.end() ? m_runs.back().atts : run->atts;
}

Kernel::Counted<Glyph const> Paragraph::FindObject(std::uint32_t index) const {
    auto const found =
        std::lower_bound(m_objects.begin(), m_objects.end(), index,
                         [](ObjectAt const& candidate, std::uint32_t position) { return candidate.index < position; });
    return found == m_objects.end() || found->index != index ? nullptr : found->glyph;
}

Kernel::Counted<Glyph const> Paragraph::GetGlyph(std::uint32_t index) const {
    if (auto object = FindObject(index))
        return object;
    return Kernel::MakeCounted<CharacterGlyph>(m_text[index]);
}

ParagraphRef Paragraph::CloneWithAtts(ParagraphAttsRef atts) const {
    return Kernel::MakeCounted<Paragraph>(m_text, m_runs, m_objects, std::move(atts));
}

void Paragraph::Settle() {
    if (m_isSettled.load(std::memory_order_acquire))
        return;
    static std::mutex s_mutex;
    std::lock_guard const lock(s_mutex);
    if (m_isSettled.load(std::memory_order_acquire))
        return;
    for (auto& run : m_runs)
        run.atts = Interned(run.atts);
    m_atts = Interned(m_atts);
    m_isSettled.store(true, std::memory_order_release);
}

bool operator==(Paragraph const& a, Paragraph const& b) {
    auto const sameRun = [](GlyphRun const& x, GlyphRun const& y) {
        return x.end == y.end && (x.atts == y.atts || *x.atts == *y.atts);
    };
    auto const sameObject = [](ObjectAt const& x, ObjectAt const& y) {
        return x.index == y.index &&
               (x.glyph == y.glyph || x.glyph->CompareMembers(*y.glyph, Kernel::CompareContext()));
    };
    return &a == &b ||
           (a.m_text == b.m_text && (a.m_atts == b.m_atts || *a.m_atts == *b.m_atts) &&
            std::equal(a.m_runs.begin(), a.m_runs.end(), b.m_runs.begin(), b.m_runs.end(), sameRun) &&
            std::equal(a.m_objects.begin(), a.m_objects.end(), b.m_objects.begin(), b.m_objects.end(), sameObject));
}

// The separator at the end is not written.
void Paragraph::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Text", Kernel::String(EncodeUtf8({m_text.data(), m_text.size() - 1})));
    std::vector<std::uint32_t> ends, places;
    std::vector<GlyphAttsRef> atts;
    std::vector<Kernel::Counted<Glyph const>> glyphs;
    for (auto const& run : m_runs) {
        ends.push_back(run.end);
        atts.push_back(run.atts);
    }
    for (auto const& object : m_objects) {
        places.push_back(object.index);
        glyphs.push_back(object.glyph);
    }
    Kernel::SaveValue(out, "RunE", ends);
    Kernel::SaveValue(out, "RunA", atts);
    Kernel::SaveValue(out, "PAtt", m_atts);
    if (!m_objects.empty()) {
        Kernel::SaveValue(out, "ObjI", places);
        Kernel::SaveValue(out, "ObjG", glyphs);
    }
}

// Parts that do not fit together in a forged file are brought into order: runs end where they may, objects that have no
// place are left out.
bool Paragraph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::String text;
    std::vector<std::uint32_t> ends, places;
    std::vector<GlyphAttsRef> atts;
    std::vector<Kernel::Counted<Glyph const>> glyphs;
    ParagraphAttsRef paragraphAtts;
    Kernel::LoadValue(in, "Text", text);
    Kernel::LoadValue(in, "RunE", ends);
    Kernel::LoadValue(in, "RunA", atts);
    Kernel::LoadValue(in, "PAtt", paragraphAtts);
    Kernel::LoadValue(in, "ObjI", places);
    Kernel::LoadValue(in, "ObjG", glyphs);
    m_text = DecodeUtf8(text.view()).text;
    if (m_text.size() >= c_maximumLength)
        m_text.resize(c_maximumLength - 1);
    constexpr char c_firstByteOfSeparator = '\xE2';
    if (text.view().find(c_firstByteOfSeparator) != std::string_view::npos)
        std::replace(m_text.begin(), m_text.end(), c_paragraphSeparator, c_lineSeparator);
    m_text.push_back(c_paragraphSeparator);
    // The room was for as many characters as the stored text has bytes.
    if (m_text.capacity() > m_text.size() + m_text.size() / 8)
        m_text.shrink_to_fit();
    m_runs.clear();
    std::uint32_t last = 0;
    for (std::size_t i = 0; i != std::min(ends.size(), atts.size()); ++i) {
        std::uint32_t const end = std::min(ends[i], GetLength());
        if (end > last)
            m_runs.push_back({end, atts[i]});
        last = std::max(last, end);
    }
    if (last != GetLength())
        m_runs.push_back({GetLength(), m_runs.empty() ? GlyphAttsRef() : m_runs.back().atts});
    m_objects.clear();
    for (std::size_t i = 0; i != std::min(places.size(), glyphs.size()); ++i) {
        bool const inOrder = m_objects.empty() || places[i] > m_objects.back().index;
        if (glyphs[i] && inOrder && places[i] < GetLength() && m_text[places[i]] == c_objectCharacter)
            m_objects.push_back({places[i], glyphs[i]});
    }
    m_atts = paragraphAtts;
    m_isSettled.store(false, std::memory_order_release);
    return true;
}

} // namespace Story
