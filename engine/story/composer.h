// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/drop_cap.h"
#include "engine/story/paragraph_numbers.h"
#include "engine/story/wrap_shapes.h"
#include "platform/story/composition.h"

#include <mutex>
#include <optional>
#include <unordered_map>

namespace Story {

// Facts about paragraphs that were found out, for all versions of a story. Safe from any thread.
class ParagraphCache {
public:
    struct Entry {
        ComposedParagraphRef composed;
        // From the beginning, for the measure that was last asked for.
        BrokenLinesRef lines;
    };
    // Empty when the paragraph is not known.
    Entry Find(Paragraph const& paragraph);
    void Put(ComposedParagraphRef const& composed, BrokenLinesRef const& lines);
    void Clear();
    // How many paragraphs are best prepared in one go: few for the first page, which somebody waits for; more and more
    // for a long story, since threads wait for each other at the end of each batch.
    std::size_t TakeBatchSize();
    // Forgets paragraphs of other stories when they have become many.
    void DropUnused(Story const& story);
    std::size_t GetMemoryUse();

private:
    static constexpr std::size_t c_firstBatch = 32, c_lastBatch = 512;
    std::mutex m_mutex;
    std::size_t m_batch = c_firstBatch;
    // The entries keep their keys alive.
    std::unordered_map<Paragraph const*, Entry> m_entries;
};

// The paragraphs of one version of a story, and behind them those of its notes, shaped and broken when they are asked
// for. What objects show is looked at once for each paragraph and frame in which it begins.
class ParagraphSource {
public:
    ParagraphSource(Story const& story, StyleSheet const& styles, FieldDataSource const* fields, ParagraphCache& cache,
                    ParagraphNumbers& numbers)
        : m_story(story),
          m_styles(styles),
          m_fields(fields),
          m_cache(cache),
          m_numbers(numbers),
          m_isVertical(story.GetWritingMode() == WritingMode::Vertical),
          m_hasNotes(story.CountNotes(story.GetAll()) != 0) {}
    bool HasParagraph(std::size_t index);
    // Beyond the story's own, they are those of notes.
    bool IsOfNote(std::size_t index) const { return index >= m_story.GetParagraphCount(); }
    // As it is where it begins in that frame.
    ComposedParagraphRef GetParagraph(std::size_t index, std::size_t frame);
    BrokenLinesRef GetLines(std::size_t index, std::size_t frame, std::uint32_t begin, LineMeasure const& measure);
    // The paragraph from a place on, as it goes on in another frame; the same object where that shows the same.
    ComposedParagraphRef GoOn(ComposedParagraphRef const& composed, std::uint32_t from, std::size_t frame) const;
    // The paragraph as it is where its drop cap has no room.
    ComposedParagraphRef WithoutDropCap(ComposedParagraph const& composed, std::size_t frame) const;
    void Forget();

private:
    // Characters that are shaped ahead at most.
    static constexpr std::uint64_t c_maximumBatchLength = 1 << 19;
    // Longer paragraphs show the page that they begin on throughout: each frame that they go on in would shape and
    // break all that is left of them.
    static constexpr std::size_t c_longestThatGoesOn = 1 << 14;
    struct Shown {
        ComposedParagraphRef composed;
        std::size_t index = 0;
        std::size_t frame = 0;
    };
    struct NoteParagraph {
        ParagraphRef paragraph;
        std::u32string number;
    };
    ParagraphRef const& GetSource(std::size_t index);
    // It shows nothing that depends on more than its own text.
    bool IsPlain(std::size_t index);
    ParagraphContext MakeContext(std::size_t frame, std::uint32_t notesBefore = 0, std::u32string number = {}) const;
    ParagraphContext GetContext(std::size_t index, std::size_t frame);
    void FindNotes();
    // Paragraphs with objects that are prepared in one go: few, since what is behind the frame that is asked for is
    // prepared in vain when the next value comes first.
    static constexpr std::size_t c_firstShownBatch = 8, c_lastShownBatch = 64;
    void Prepare(std::size_t index, LineMeasure const& measure);
    void PrepareShown(std::size_t index, std::size_t frame, LineMeasure const& measure);
    // Of a paragraph with objects; shapes it where what is known shows something else.
    ComposedParagraphRef GetShown(std::size_t index, std::size_t frame);

    Story const& m_story;
    StyleSheet const& m_styles;
    FieldDataSource const* m_fields;
    ParagraphCache& m_cache;
    ParagraphNumbers& m_numbers;
    bool m_isVertical;
    bool m_hasNotes;
    // Those of notes, once one of them is asked for.
    std::vector<NoteParagraph> m_notes;
    bool m_hasFoundNotes = false;
    // Of those with objects, as they were last asked for. The paragraphs are the story's, or their composed ones'.
    std::unordered_map<Paragraph const*, Shown> m_shown;
    std::size_t m_shownBatch = c_firstShownBatch;
};

// Where in a story the next line stands.
struct Cursor {
    std::size_t paragraph = 0;
    std::uint32_t begin = 0; // in composed text
    // Lines that were broken already, and the next of them; may be empty.
    BrokenLinesRef lines;
    std::uint32_t line = 0;
    // The paragraph as it was where it began, or last went on; only while the cursor stands inside it.
    ComposedParagraphRef composed;
};

// A line in the room where it stands.
struct RowLine {
    LineData line;
    // Left end of the column that the line would stand in with its indents.
    double left = 0;
};

// Where rows of text stand that no shape reaches into.
struct Row {
    Interval whole;
    // From the column's sides.
    LineIndents indents;
};

// A drop cap among shapes.
struct CapPlace {
    // Of its box, the room behind it included.
    Interval box;
    // Baselines of the first line beside it, of the last one, and the first one below it.
    double first = 0, last = 0, clear = 0;
};

// Where a paragraph stands, for its lines.
struct ParagraphPlace {
    std::uint32_t begin = 0; // in the story
    bool isStoryEnd = false;
    bool isOfNote = false;
};

// Fills one frame.
class FrameComposer {
public:
    // `frame` is the frame's index in its chain.
    FrameComposer(ParagraphSource& paragraphs, Story const& story, FrameGeometry const& geometry, std::size_t frame);
    // Moves the cursor behind what found a place.
    Kernel::Counted<ComposedFrame> Compose(Cursor& cursor);

private:
    std::uint32_t GetIndex(Cursor const& cursor) const;
    // The cursor's paragraph as it is in this frame.
    ComposedParagraphRef GetComposed(Cursor const& cursor) const;
    double SnapToGrid(double baseline, ComposedParagraph const& paragraph) const;
    double GetBaseline(LineData const& line, ComposedParagraph const& paragraph, double space) const;
    bool Fits(LineData const& line, double baseline) const;
    void Place(BrokenLinesRef const& lines, std::uint32_t index, double left, double baseline, std::size_t paragraph);
    void Place(BrokenLinesRef const& lines, std::uint32_t index, double left, double baseline,
               ParagraphPlace const& place);
    ParagraphPlace GetPlace(std::size_t paragraph) const;
    void ReserveLines(double leading);
    void FillColumn(Cursor& cursor, Kernel::RectT<double> const& rect, ComposedFrame& frame);
    bool FillFromParagraph(Cursor& cursor);
    // How many of the lines from one on fit below what the column has; `space` is left before the first.
    std::uint32_t CountFitting(BrokenLines const& lines, std::uint32_t first, double space) const;
    std::uint32_t KeepLinesTogether(Cursor const& cursor, std::uint32_t fitting, std::uint32_t count,
                                    bool isColumnEmpty) const;
    // wrapped_rows.cpp: the same in rows, each line of which stands in one of the rooms that shapes leave.
    bool FillAroundShapes(Cursor& cursor);
    bool FillRows(Cursor& cursor, Kernel::Counted<BrokenLines> const& lines, double space, bool hasBegin);
    std::vector<RowLine> BreakRow(ComposedParagraph const& paragraph, GreedyBreaker& breaker,
                                  std::vector<Interval> const& rooms, Row const& whole, bool partsWords) const;
    Row GetRow(ComposedParagraph const& paragraph, bool isFirst, double baseline) const;
    // Looks for the highest place where no shape reaches into a cap, from the first line down. False where the column
    // has none; `cap` is empty where no column of that width has.
    bool FindPlaceForDropCap(ComposedParagraph const& paragraph, double space, std::optional<DropCap>& cap);
    bool PlaceRow(Kernel::Counted<BrokenLines> const& lines, GreedyBreaker& breaker, std::size_t paragraph,
                  double space, bool partsWords);
    std::size_t KeepRowsTogether(BrokenLines const& lines, GreedyBreaker& breaker, std::size_t rowCount,
                                 bool hasBegin) const;
    // placed_lines.cpp: lines that stand in the column.
    bool HasRoomForDropCap(BrokenLines const& lines, double space) const;
    // Puts the cap, the first of the lines, in front of those that stand in the column from `firstBeside` on. What
    // follows begins below `bottom`, the baseline of the last line beside it.
    void PlaceDropCap(BrokenLinesRef const& lines, std::size_t firstBeside, double left, double bottom,
                      std::size_t paragraph);
    double GetBottomOfDropCap(BrokenLines const& lines, std::size_t firstBeside) const;
    void AlignArtLines(ComposedColumn& column) const;
    void AlignVertically(ComposedColumn& column, bool isStoryEnd) const;

    ParagraphSource& m_paragraphs;
    Story const& m_story;
    FrameGeometry const& m_geometry;
    std::size_t m_frame;
    ComposedColumn* m_column = nullptr;
    std::optional<CapPlace> m_capPlace;
    double m_baseline = 0;
    double m_spaceAfter = 0;
    bool m_keepsWithPrevious = false;
};

} // namespace Story
