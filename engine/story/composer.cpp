// SPDX-License-Identifier: Apache-2.0
#include "engine/story/composer.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "platform/story/note.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Story {

namespace {

constexpr double c_slack = 1e-6;

// Columns that are equally wide but for the rounding of their places share broken lines. What is not finite counts as
// no width.
double RoundWidth(double width) {
    constexpr double c_steps = 4096, c_widest = 1e9;
    return std::fabs(width) < c_widest ? std::round(width * c_steps) / c_steps : 0;
}

} // namespace

// ParagraphCache

ParagraphCache::Entry ParagraphCache::Find(Paragraph const& paragraph) {
    std::lock_guard const lock(m_mutex);
    auto const found = m_entries.find(&paragraph);
    return found == m_entries.end() ? Entry() : found->second;
}

void ParagraphCache::Put(ComposedParagraphRef const& composed, BrokenLinesRef const& lines) {
    std::lock_guard const lock(m_mutex);
    auto& entry = m_entries[composed->GetSource().get()];
    if (entry.composed != composed)
        entry = {composed, {}};
    if (lines)
        entry.lines = lines;
}

void ParagraphCache::Clear() {
    std::lock_guard const lock(m_mutex);
    m_entries.clear();
}

std::size_t ParagraphCache::TakeBatchSize() {
    std::lock_guard const lock(m_mutex);
    return std::exchange(m_batch, std::min(m_batch * 2, c_lastBatch));
}

void ParagraphCache::DropUnused(Story const& story) {
    std::lock_guard const lock(m_mutex);
    if (m_entries.size() <= 2 * (story.GetParagraphCount() + story.CountNotes(story.GetAll())) + 256)
        return;
    std::unordered_map<Paragraph const*, Entry> kept;
    for (auto const& object : story.FindObjects(story.GetAll())) {
        auto const* const note = Kernel::CastPointer<NoteGlyph const>(object.glyph.get());
        auto const text = note == nullptr ? StoryRef() : note->GetStory();
        for (std::size_t i = 0; text && i != text->GetParagraphCount(); ++i) {
            if (auto const found = m_entries.find(text->GetParagraph(i).get()); found != m_entries.end())
                kept.insert(*found);
        }
    }
    for (std::size_t i = 0; i != story.GetParagraphCount(); ++i) {
        if (auto const found = m_entries.find(story.GetParagraph(i).get()); found != m_entries.end())
            kept.insert(*found);
    }
    m_entries = std::move(kept);
}

std::size_t ParagraphCache::GetMemoryUse() {
    std::lock_guard const lock(m_mutex);
    std::size_t use = 0;
    for (auto const& [paragraph, entry] : m_entries)
        use += entry.composed->GetMemoryUse() + (entry.lines ? entry.lines->GetMemoryUse() : 0);
    return use;
}

BrokenLinesRef ParagraphSource::GetLines(std::size_t index, std::size_t frame, std::uint32_t begin,
                                         LineMeasure const& measure) {
    auto const& paragraph = GetSource(index);
    auto const prepareShown = [&] {
        if (!IsOfNote(index) && !m_shown.contains(paragraph.get()))
            PrepareShown(index, frame, measure);
        return GetShown(index, frame);
    };
    auto const composed = IsPlain(index) ? ComposedParagraphRef() : prepareShown();
    auto entry = m_cache.Find(*paragraph);
    if (composed) {
        if (entry.composed != composed)
            entry = {composed, {}};
    } else if (!entry.composed) {
        Prepare(index, measure);
        entry = m_cache.Find(*paragraph);
    }
    bool const isKnown = entry.lines && entry.lines->paragraph == entry.composed && entry.lines->begin == begin &&
                         entry.lines->measure == measure;
    if (isKnown)
        return entry.lines;
    auto lines = Kernel::MakeCounted<BrokenLines>(entry.composed, begin, measure);
    if (begin == 0)
        m_cache.Put(entry.composed, lines);
    return lines;
}

ComposedParagraphRef ParagraphSource::GetParagraph(std::size_t index, std::size_t frame) {
    if (!IsPlain(index))
        return GetShown(index, frame);
    auto const& paragraph = GetSource(index);
    if (auto const entry = m_cache.Find(*paragraph); entry.composed)
        return entry.composed;
    auto composed = Kernel::MakeCounted<ComposedParagraph>(paragraph, m_styles, MakeContext(frame));
    m_cache.Put(composed, {});
    return composed;
}

bool ParagraphSource::HasParagraph(std::size_t index) {
    if (!IsOfNote(index))
        return true;
    FindNotes();
    return index - m_story.GetParagraphCount() < m_notes.size();
}

ParagraphRef const& ParagraphSource::GetSource(std::size_t index) {
    if (!IsOfNote(index))
        return m_story.GetParagraph(index);
    FindNotes();
    return m_notes[index - m_story.GetParagraphCount()].paragraph;
}

bool ParagraphSource::IsPlain(std::size_t index) {
    return !IsOfNote(index) && m_story.GetParagraph(index)->GetObjects().empty() && m_numbers.Get(index).empty();
}

ParagraphContext ParagraphSource::MakeContext(std::size_t frame, std::uint32_t notesBefore,
                                              std::u32string number) const {
    return {m_fields, frame, notesBefore, std::move(number), m_isVertical};
}

ParagraphContext ParagraphSource::GetContext(std::size_t index, std::size_t frame) {
    if (IsOfNote(index))
        return MakeContext(frame, 0, m_notes[index - m_story.GetParagraphCount()].number);
    auto context = MakeContext(frame);
    if (m_hasNotes)
        context.notesBefore = m_story.CountNotes({0, m_story.GetParagraphBegin(index)});
    if (auto const number = m_numbers.Get(index); !number.empty())
        context.number = DecodeUtf8(number.view()).text + U'\t';
    return context;
}

// The number of a note stands in front of its first paragraph, parted from it by a space of half the size.
void ParagraphSource::FindNotes() {
    if (std::exchange(m_hasFoundNotes, true) || !m_hasNotes)
        return;
    ResolvedParagraphs resolved(m_styles);
    int count = 0;
    m_story.VisitObjects(m_story.GetAll(), [&](std::uint32_t, Kernel::Counted<Glyph const> const& glyph) {
        auto const* const note = Kernel::CastPointer<NoteGlyph const>(glyph.get());
        if (note == nullptr)
            return true;
        auto const digits = std::to_string(++count);
        std::u32string number(digits.begin(), digits.end());
        number += U'\u2002';
        auto const text = note->GetStory();
        Numberer numberer;
        for (std::size_t i = 0; i != text->GetParagraphCount(); ++i) {
            auto const& paragraph = text->GetParagraph(i);
            auto const own = numberer.Next(*resolved.Resolve(paragraph->GetAtts()));
            if (!own.empty())
                number += DecodeUtf8(own.view()).text + U'\t';
            m_notes.push_back({paragraph, std::exchange(number, {})});
        }
        return true;
    });
}

ComposedParagraphRef ParagraphSource::GetShown(std::size_t index, std::size_t frame) {
    auto const& paragraph = GetSource(index);
    auto& shown = m_shown[paragraph.get()];
    // One paragraph that stands in two places shows other numbers there.
    bool const isHere = shown.composed && shown.index == index;
    bool const isSettled = isHere && (shown.frame == frame || shown.composed->GetReach() != ExpansionReach::Frame);
    if (isSettled) {
        shown.frame = frame;
        return shown.composed;
    }
    auto const context = GetContext(index, frame);
    if (!shown.composed)
        shown.composed = m_cache.Find(*paragraph).composed;
    shown.index = index;
    shown.frame = frame;
    if (shown.composed && shown.composed->ShowsTheSame(context, isHere ? ExpansionReach::Frame : ExpansionReach::Story))
        return shown.composed;
    auto const other = shown.composed;
    shown.composed = Kernel::MakeCounted<ComposedParagraph>(paragraph, m_styles, context, other.get());
    m_cache.Put(shown.composed, {});
    return shown.composed;
}

// The paragraph and the next ones with objects, a batch at most, all at once. Those that show their page wait until it
// is known where they begin.
void ParagraphSource::PrepareShown(std::size_t index, std::size_t frame, LineMeasure const& measure) {
    std::vector<ComposedParagraphRef> made, others;
    std::vector<ParagraphRef> missing;
    std::vector<std::size_t> places;
    std::vector<ParagraphContext> contexts;
    std::uint64_t length = 0;
    for (auto i = index; i < m_story.GetParagraphCount() && missing.size() < m_shownBatch;
         i = m_story.FindParagraphWithObjects(i + 1)) {
        auto const& paragraph = m_story.GetParagraph(i);
        auto const& objects = paragraph->GetObjects();
        bool const hasPages = std::any_of(objects.begin(), objects.end(), [](ObjectAt const& object) {
            return object.glyph->GetExpansionReach() == ExpansionReach::Frame;
        });
        if (i != index && (hasPages || m_shown.contains(paragraph.get())))
            continue;
        auto const known = m_cache.Find(*paragraph).composed;
        auto context = GetContext(i, frame);
        if (known && known->ShowsTheSame(context, ExpansionReach::Story)) {
            m_shown[paragraph.get()] = {known, i, frame};
            // Known paragraphs are looked at in no greater numbers than new ones.
            if (i != index && missing.empty())
                break;
            continue;
        }
        missing.push_back(paragraph);
        others.push_back(known);
        places.push_back(i);
        contexts.push_back(std::move(context));
        length += paragraph->GetLength();
        if (length > c_maximumBatchLength)
            break;
    }
    m_shownBatch = std::min(m_shownBatch * 2, c_lastShownBatch);
    made.resize(missing.size());
    auto const make = [&](std::size_t i) {
        made[i] = Kernel::MakeCounted<ComposedParagraph>(missing[i], m_styles, contexts[i], others[i].get());
        m_cache.Put(made[i], Kernel::MakeCounted<BrokenLines>(made[i], 0u, measure));
    };
    if (missing.size() == 1)
        make(0);
    else
        Kernel::ParallelFor(missing.size(), make);
    for (std::size_t i = 0; i != missing.size(); ++i)
        m_shown[missing[i].get()] = {made[i], places[i], frame};
}

ComposedParagraphRef ParagraphSource::GoOn(ComposedParagraphRef const& composed, std::uint32_t from,
                                           std::size_t frame) const {
    auto const context = MakeContext(frame, composed->GetNotesBefore(),
                                     std::u32string(composed->GetText().substr(0, composed->GetNumberLength())));
    bool const staysTheSame = composed->GetReach() != ExpansionReach::Frame ||
                              composed->GetText().size() > c_longestThatGoesOn ||
                              composed->ShowsTheSame(context, ExpansionReach::Frame, from);
    return staysTheSame ? composed : Kernel::MakeCounted<ComposedParagraph>(*composed, from, m_styles, context);
}

ComposedParagraphRef ParagraphSource::WithoutDropCap(ComposedParagraph const& composed, std::size_t frame) const {
    return ComposedParagraph::MakeWithoutDropCap(composed, m_styles, MakeContext(frame, composed.GetNotesBefore()));
}

void ParagraphSource::Forget() {
    m_shown.clear();
    m_cache.Clear();
}

// The paragraph and those behind it that are not known yet, a batch at most. Those with objects are left to when it is
// known in which frame they begin.
void ParagraphSource::Prepare(std::size_t index, LineMeasure const& measure) {
    std::vector<ParagraphRef> missing;
    std::uint64_t length = 0;
    auto const end = std::min(index + m_cache.TakeBatchSize(), m_story.GetParagraphCount());
    for (std::size_t i = index; i != end; ++i) {
        auto const& paragraph = m_story.GetParagraph(i);
        if (!IsPlain(i))
            continue;
        if (m_cache.Find(*paragraph).composed)
            break;
        missing.push_back(paragraph);
        length += paragraph->GetLength();
        if (length > c_maximumBatchLength)
            break;
    }
    auto const make = [&](std::size_t i) {
        auto const composed =
            Kernel::MakeCounted<ComposedParagraph>(missing[i], m_styles, ParagraphContext{.isVertical = m_isVertical});
        m_cache.Put(composed, Kernel::MakeCounted<BrokenLines>(composed, 0u, measure));
    };
    if (missing.size() == 1)
        make(0);
    else
        Kernel::ParallelFor(missing.size(), make);
}

// FrameComposer

FrameComposer::FrameComposer(ParagraphSource& paragraphs, Story const& story, FrameGeometry const& geometry,
                             std::size_t frame)
    : m_paragraphs(paragraphs), m_story(story), m_geometry(geometry), m_frame(frame) {}

ComposedParagraphRef FrameComposer::GetComposed(Cursor const& cursor) const {
    return cursor.composed ? cursor.composed : m_paragraphs.GetParagraph(cursor.paragraph, m_frame);
}

Kernel::Counted<ComposedFrame> FrameComposer::Compose(Cursor& cursor) {
    auto frame = Kernel::MakeCounted<ComposedFrame>();
    frame->m_geometry = m_geometry;
    frame->m_range.begin = GetIndex(cursor);
    // A paragraph that goes on here shows this frame's page from here on.
    if (cursor.composed) {
        auto const composed = m_paragraphs.GoOn(cursor.composed, cursor.begin, m_frame);
        if (composed != cursor.composed)
            cursor.lines = {};
        cursor.composed = composed;
    } else if (cursor.lines && cursor.lines->paragraph->GetReach() == ExpansionReach::Frame) {
        cursor.lines = {};
    }
    if (m_geometry.artOrigin) {
        auto const& origin = *m_geometry.artOrigin;
        FillColumn(cursor, {origin.x, origin.y, origin.x, origin.y}, *frame);
        AlignArtLines(*m_column);
    }
    for (auto const& column : m_geometry.columns)
        FillColumn(cursor, column, *frame);
    frame->m_range.end = GetIndex(cursor);
    return frame;
}

std::uint32_t FrameComposer::GetIndex(Cursor const& cursor) const {
    if (cursor.paragraph >= m_story.GetParagraphCount())
        return m_story.GetLength();
    std::uint32_t const begin = m_story.GetParagraphBegin(cursor.paragraph);
    if (cursor.begin == 0)
        return begin;
    return begin + GetComposed(cursor)->ToSource(cursor.begin);
}

double FrameComposer::SnapToGrid(double baseline, ComposedParagraph const& paragraph) const {
    bool const isOn = m_geometry.gridSpacing > 0 && paragraph.GetAtts()->Get(ParagraphAtt::Enum::BaselineGrid) != 0;
    if (!isOn)
        return baseline;
    double const steps = std::ceil((baseline - m_geometry.gridStart) / m_geometry.gridSpacing - c_slack);
    return m_geometry.gridStart + steps * m_geometry.gridSpacing;
}

// Where a line's baseline comes when it is put below what the column has. `space` is left before it.
double FrameComposer::GetBaseline(LineData const& line, ComposedParagraph const& paragraph, double space) const {
    if (m_geometry.artOrigin && m_column->m_lines.empty())
        return m_column->m_rect.top;
    if (m_column->m_lines.empty())
        return SnapToGrid(m_column->m_rect.top + line.ascent, paragraph);
    return SnapToGrid(m_baseline + line.leading + space, paragraph);
}

bool FrameComposer::Fits(LineData const& line, double baseline) const {
    return m_geometry.artOrigin || baseline + line.descent <= m_column->m_rect.bottom + c_slack;
}

ParagraphPlace FrameComposer::GetPlace(std::size_t paragraph) const {
    return {m_story.GetParagraphBegin(paragraph), paragraph + 1 == m_story.GetParagraphCount(),
            m_paragraphs.IsOfNote(paragraph)};
}

void FrameComposer::Place(BrokenLinesRef const& lines, std::uint32_t index, double left, double baseline,
                          std::size_t paragraph) {
    Place(lines, index, left, baseline, GetPlace(paragraph));
}

void FrameComposer::Place(BrokenLinesRef const& lines, std::uint32_t index, double left, double baseline,
                          ParagraphPlace const& place) {
    m_column->m_lines.emplace_back(lines, index, Kernel::PointT<double>{left + lines->lines[index].left, baseline},
                                   place.begin, place.isStoryEnd);
    m_column->m_lines.back().m_isOfNote = place.isOfNote;
    m_baseline = baseline;
}

// Room for the lines that the column is likely to have.
void FrameComposer::ReserveLines(double leading) {
    constexpr double c_most = 256;
    double const count = m_column->m_rect.GetHeight() / leading + 1;
    if (count > 1 && count < c_most)
        m_column->m_lines.reserve(static_cast<std::size_t>(count));
}

void FrameComposer::FillColumn(Cursor& cursor, Kernel::RectT<double> const& rect, ComposedFrame& frame) {
    auto column = Kernel::MakeCounted<ComposedColumn>();
    m_column = column.get();
    column->m_rect = rect;
    m_baseline = rect.top;
    m_spaceAfter = 0;
    // Where the column would end if the last paragraph went on into the next one; see KeepWithNext.
    Cursor keepFrom = cursor;
    std::size_t keepCount = 0;
    while (m_paragraphs.HasParagraph(cursor.paragraph)) {
        bool const isAtBegin = cursor.begin == 0;
        std::size_t const placedBefore = column->m_lines.size();
        if (isAtBegin && !m_keepsWithPrevious) {
            keepFrom = cursor;
            keepCount = placedBefore;
        }
        bool const isDone = m_geometry.wrapShapes.empty() || m_geometry.artOrigin ? FillFromParagraph(cursor)
                                                                                  : FillAroundShapes(cursor);
        if (!isDone) {
            bool const movesAlong = m_keepsWithPrevious && column->m_lines.size() == placedBefore && keepCount != 0;
            if (movesAlong) {
                column->m_lines.erase(column->m_lines.begin() + static_cast<std::ptrdiff_t>(keepCount),
                                      column->m_lines.end());
                cursor = keepFrom;
            }
            break;
        }
        auto const composed = GetComposed(cursor);
        m_spaceAfter = composed->GetLength(ParagraphAtt::Double::SpaceAfter);
        m_keepsWithPrevious = composed->GetAtts()->Get(ParagraphAtt::Enum::KeepWithNext) != 0;
        cursor = {cursor.paragraph + 1, 0, {}, 0, {}};
    }
    m_keepsWithPrevious = false;
    AlignVertically(*column, !m_paragraphs.HasParagraph(cursor.paragraph));
    if (column->m_lines.capacity() > 2 * column->m_lines.size())
        column->m_lines.shrink_to_fit();
    frame.m_columns.push_back(std::move(column));
}

std::uint32_t FrameComposer::CountFitting(BrokenLines const& lines, std::uint32_t first, double space) const {
    auto const count = static_cast<std::uint32_t>(lines.lines.size());
    double baseline = m_baseline;
    std::uint32_t fitting = first;
    for (; fitting != count; ++fitting) {
        auto const& line = lines.lines[fitting];
        double const next = fitting == first ? GetBaseline(line, *lines.paragraph, space)
                                             : SnapToGrid(baseline + line.leading, *lines.paragraph);
        if (!Fits(line, next))
            break;
        baseline = next;
    }
    return fitting - first;
}

// Puts lines of the cursor's paragraph into the column. False when some are left, at which the cursor then stands.
bool FrameComposer::FillFromParagraph(Cursor& cursor) {
    LineMeasure const measure{RoundWidth(m_column->m_rect.GetWidth()), m_geometry.artOrigin.has_value(),
                              m_geometry.gridSpacing};
    if (!cursor.lines || !(cursor.lines->measure == measure)) {
        cursor.lines = cursor.composed ? Kernel::MakeCounted<BrokenLines>(cursor.composed, cursor.begin, measure)
                                       : m_paragraphs.GetLines(cursor.paragraph, m_frame, cursor.begin, measure);
        cursor.line = 0;
    }
    bool const isColumnEmpty = m_column->m_lines.empty();
    auto const spaceBefore = cursor.lines->paragraph->GetLength(ParagraphAtt::Double::SpaceBefore);
    double const space = cursor.begin == 0 ? m_spaceAfter + spaceBefore : 0;
    bool const beginsWithCap = cursor.begin == 0 && cursor.lines->paragraph->GetDropCapEnd() != 0;
    if (beginsWithCap && !HasRoomForDropCap(*cursor.lines, space)) {
        if (cursor.lines->capHeight != 0 && !isColumnEmpty)
            return false;
        cursor.lines = Kernel::MakeCounted<BrokenLines>(m_paragraphs.WithoutDropCap(*cursor.lines->paragraph, m_frame),
                                                        0u, measure);
    }
    auto const& paragraph = *cursor.lines->paragraph;
    auto const& lines = cursor.lines->lines;
    auto const count = static_cast<std::uint32_t>(lines.size());
    bool const hasCap = cursor.begin == 0 && cursor.lines->capHeight != 0;
    auto const first = cursor.line + (hasCap ? 1 : 0);
    auto const fitting = first + CountFitting(*cursor.lines, first, space);
    std::uint32_t const end = fitting == count ? count : KeepLinesTogether(cursor, fitting, count, isColumnEmpty);
    if (isColumnEmpty && end > first)
        ReserveLines(lines[first].leading);
    auto const placedBefore = m_column->m_lines.size();
    auto const place = GetPlace(cursor.paragraph);
    for (std::uint32_t i = first; i < end; ++i) {
        double const next =
            i == first ? GetBaseline(lines[i], paragraph, space) : SnapToGrid(m_baseline + lines[i].leading, paragraph);
        Place(cursor.lines, i, m_column->m_rect.left, next, place);
    }
    if (hasCap && end > first)
        PlaceDropCap(cursor.lines, placedBefore, m_column->m_rect.left, GetBottomOfDropCap(*cursor.lines, placedBefore),
                     cursor.paragraph);
    if (end == count)
        return true;
    cursor.line = end;
    cursor.begin = lines[end].begin;
    // Where nothing of the paragraph has found a place, it begins anew in the next frame, and its cap is tried again.
    if (cursor.begin != 0)
        cursor.composed = cursor.lines->paragraph;
    else if (beginsWithCap)
        cursor.lines = {};
    return false;
}

// How far a paragraph that does not fit is filled in, so that neither its first nor its last lines stand alone.
std::uint32_t FrameComposer::KeepLinesTogether(Cursor const& cursor, std::uint32_t fitting, std::uint32_t count,
                                               bool isColumnEmpty) const {
    auto const& atts = *cursor.lines->paragraph->GetAtts();
    auto const least = [&](ParagraphAtt::Enum att) {
        return static_cast<std::uint32_t>(std::clamp(atts.Get(att), 1, 100));
    };
    // A drop cap stays with the lines beside it.
    bool const hasCap = cursor.begin == 0 && cursor.lines->capHeight != 0;
    auto const orphans = hasCap ? 1 + std::max(cursor.lines->besideCap, least(ParagraphAtt::Enum::Orphans))
                                : least(ParagraphAtt::Enum::Orphans);
    std::uint32_t end = fitting;
    if (count - end < least(ParagraphAtt::Enum::Widows))
        end = std::max(cursor.line, count - std::min(count, least(ParagraphAtt::Enum::Widows)));
    end = std::min(end, fitting);
    if (cursor.begin == 0 && end - cursor.line < orphans)
        end = cursor.line;
    // A column must take something: one that cannot keep the rules breaks them.
    return end == cursor.line && isColumnEmpty ? fitting : end;
}

} // namespace Story
