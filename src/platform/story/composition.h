// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/kernel/geometry_values.h"
#include "platform/story/field_data_source.h"
#include "platform/story/story.h"
#include "platform/story/style_sheet.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Story {

enum class VerticalAlignment : std::uint32_t { Top = 0, Centre = 1, Bottom = 2, Justify = 3 };

// A shape that lines keep clear of, in the frame's text space, with the distances that are kept at each side.
struct WrapShape {
    Kernel::Counted<Geometry::PolyCurveDbl const> outline;
    Kernel::RectT<double> distances;
    friend bool operator==(WrapShape const&, WrapShape const&) = default;
};

// The transform that lets lines of text space, which run from left to right and one below the other, run from top to
// bottom, the next one on the left.
inline constexpr Raster::AffineTransform::Params c_verticalTurn{0, -1, 0, 1, 0, 0};

// Where text goes. All lengths are in text space; `renderScale` takes it to the space of the frame's node, and turns it
// where the story's lines run from top to bottom.
struct FrameGeometry {
    // In the order of reading. Empty for art text.
    std::vector<Kernel::RectT<double>> columns;
    VerticalAlignment verticalAlignment = VerticalAlignment::Top;
    // Baselines stand at start + n * spacing; a spacing of 0 is no grid.
    double gridStart = 0;
    double gridSpacing = 0;
    std::vector<WrapShape> wrapShapes;
    // Where the first baseline of art text begins, is centred, or ends. Lines end at hard breaks only.
    std::optional<Kernel::PointT<double>> artOrigin;
    Raster::AffineTransform::Params renderScale;
    friend bool operator==(FrameGeometry const&, FrameGeometry const&) = default;
};

// Properties of one glyph of a line, set by composition. The numbers of bits are fixed by their readers.
namespace CompositionFlag {
// Not in the story: composition put it there.
inline constexpr unsigned c_made = 1u << 0;
// Made, and part of what is read: text of a field, a hyphen at a line's end.
inline constexpr unsigned c_madeText = 1u << 1;
// Takes no place and shows nothing: an object without a text, a control character.
inline constexpr unsigned c_hidden = 1u << 2;
// Made for the line alone: fill of a tab, a mark of overflow.
inline constexpr unsigned c_madeForLine = 1u << 3;
// A space at a line's end, which hangs into the margin.
inline constexpr unsigned c_hanging = 1u << 4;
// Made by filler text.
inline constexpr unsigned c_fillerText = 1u << 5;
// The story's own last paragraph separator.
inline constexpr unsigned c_storyEnd = 1u << 6;
// Drawn by another object that stands in the text.
inline constexpr unsigned c_drawnApart = 1u << 9;
} // namespace CompositionFlag

class BrokenLines;
class ComposedParagraph;
class NoteGlyph;
class Numberer;
struct LineData;

// A cluster: glyphs for a few characters that cannot be split, such as a letter with its marks, or a ligature.
struct LineCell {
    // As LinePart counts its glyphs.
    std::uint32_t begin = 0, end = 0;
    // Left end, from the line's left end, and how far the pen moves.
    double x = 0;
    double advance = 0;
    bool isRightToLeft = false;
};

// A line, or the piece of one between two obstacles.
class REDRAFT_ENGINE LinePart {
public:
    LinePart(Kernel::Counted<BrokenLines const> lines, std::uint32_t line, Kernel::PointT<double> origin,
             std::uint32_t paragraphBegin, bool isStoryEnd);
    LinePart(LinePart const&);
    LinePart(LinePart&&) noexcept;
    LinePart& operator=(LinePart const&);
    ~LinePart();

    // The glyphs of the line in the order of the story, those at its end that hang or break it included.
    std::uint32_t GetSize() const;
    unsigned GetCompositionFlags(std::uint32_t index) const;
    bool IsSource(std::uint32_t index) const { return (GetCompositionFlags(index) & CompositionFlag::c_made) == 0; }
    Kernel::Counted<Glyph const> GetGlyph(std::uint32_t index) const;
    char32_t GetCharacter(std::uint32_t index) const;
    // As the story has them, without what styles give.
    GlyphAttsRef GetGlyphAtts(std::uint32_t index) const;
    ParagraphAttsRef GetParagraphAtts() const;
    // True when this part is the last on its line.
    bool IsWholeLineBack() const { return m_isWholeLineBack; }
    // True when the line ends because the text says so: by a line separator or, asked for, a paragraph's end.
    bool IsHardBreak(bool orParagraphEnd) const;
    // A line of a note behind the text: none of its glyphs is the story's.
    bool IsOfNote() const { return m_isOfNote; }
    // The story's glyphs that the line covers; empty at the story's end for a line of a note.
    StoryRange GetRange() const;

    // Left end of the baseline, in text space, and how far the visible glyphs advance. On lines that run from top to
    // bottom the middle of the letters is in place of the baseline.
    Kernel::PointT<double> GetOrigin() const { return m_origin; }
    void SetOrigin(Kernel::PointT<double> origin) { m_origin = origin; }
    double GetWidth() const;
    double GetAscent() const;
    double GetDescent() const;
    // How much larger than their attributes say the letters are drawn: those of a drop cap, which is a piece of a line
    // in front of that at its side; 1 for others.
    double GetScale() const;
    // The width that each space that stretches was given beyond its own advance.
    double GetSpaceExtra() const;
    bool IsRightToLeft() const;
    Alignment GetAlignment() const;
    // In visual order, without what hangs.
    std::vector<LineCell> GetCells() const;

    LineData const& GetData() const;
    ComposedParagraph const& GetParagraph() const;
    BrokenLines const& GetLines() const { return *m_lines; }
    std::uint32_t GetLineIndex() const { return m_line; }

private:
    friend class FrameComposer;
    Kernel::Counted<BrokenLines const> m_lines;
    Kernel::PointT<double> m_origin;
    std::uint32_t m_line;
    std::uint32_t m_paragraphBegin;
    bool m_isStoryEnd;
    bool m_isOfNote = false;
    bool m_isWholeLineBack = true;
};

class REDRAFT_ENGINE ComposedColumn final : public virtual Kernel::Countable {
public:
    using const_iterator = std::vector<LinePart>::const_iterator;
    bool empty() const { return m_lines.empty(); }
    const_iterator begin() const { return m_lines.begin(); }
    const_iterator end() const { return m_lines.end(); }
    std::size_t size() const { return m_lines.size(); }
    Kernel::RectT<double> const& GetRect() const { return m_rect; }
    // On the first baseline: at the column's side, or middle, that the first line is aligned to. Text space.
    Kernel::PointT<double> GetArtOrigin() const;

private:
    friend class FrameComposer;
    std::vector<LinePart> m_lines;
    Kernel::RectT<double> m_rect;
};

// A box of a composed frame.
enum class TextBox : std::uint32_t {
    // The rectangles of the columns.
    Columns = 0,
    // The lines, by their ascents, descents and advances.
    Lines = 1,
    // The room from the top of the first column to the end of the story, were that column as long as the text needs it.
    Needed = 2
};

class REDRAFT_ENGINE ComposedFrame final : public virtual Kernel::Countable {
public:
    using Columns = std::vector<Kernel::Counted<ComposedColumn const>>;
    Columns::const_iterator begin() const { return m_columns.begin(); }
    Columns::const_iterator end() const { return m_columns.end(); }
    std::size_t GetColumnCount() const { return m_columns.size(); }
    ComposedColumn const& GetColumn(std::size_t index) const { return *m_columns[index]; }
    // Whether it shows anything, be it lines of notes.
    bool HasLines() const;
    // The story's glyphs that stand in the frame.
    StoryRange GetRange() const { return m_range; }
    FrameGeometry const& GetGeometry() const { return m_geometry; }
    Kernel::Counted<StyleSheet const> const& GetStyleSheet() const { return m_styleSheet; }
    // Bounds of the lines by their ascents, descents and advances; empty without lines. Text space.
    Kernel::RectT<double> GetTextBounds() const;
    // Bounds of a box after two transforms, the first one first; an empty rectangle where there is none. `tight`: of
    // the needed room only what its lines cover. Takes no account of what the text runs around. Composes for the needed
    // box.
    Kernel::RectT<double> GetScaledTextBox(Raster::AffineTransform::Params const& first,
                                           Raster::AffineTransform::Params const& second, TextBox box,
                                           bool tight) const;

private:
    friend class FrameComposer;
    friend class ComposedStory;
    Kernel::RectT<double> GetNeededBox(bool tight) const;
    Columns m_columns;
    StoryRange m_range;
    FrameGeometry m_geometry;
    StoryRef m_story;
    Kernel::Counted<StyleSheet const> m_styleSheet;
    FieldDataSourceRef m_fields;
};
using ComposedFramePtr = Kernel::Counted<ComposedFrame const>;

// How far composition must go.
class REDRAFT_ENGINE CompositionEndConditions {
public:
    // To the end of the story, or of its frames.
    CompositionEndConditions() = default;
    // Until the range's end has been composed.
    explicit CompositionEndConditions(StoryRange range) : m_end(range.end) {}
    std::optional<std::uint32_t> GetEnd() const { return m_end; }

private:
    std::optional<std::uint32_t> m_end;
};

// A version of a story laid out in a chain of frames: a value that is computed as far as it is asked for.
//
// Given an earlier composition, it takes over the frames that the difference cannot reach, and what was found out about
// the paragraphs that are still there. Safe from any thread.
class REDRAFT_ENGINE ComposedStory final : public virtual Kernel::Countable {
public:
    // `fields` may be null: there are no fields' values then.
    ComposedStory(StoryRef story, Kernel::Counted<StyleSheet const> styleSheet, std::vector<FrameGeometry> frames,
                  FieldDataSourceRef fields = {}, Kernel::Counted<ComposedStory> earlier = {});
    ~ComposedStory() override;

    StoryRef const& GetStory() const { return m_story; }
    Kernel::Counted<StyleSheet const> const& GetStyleSheet() const { return m_styleSheet; }
    std::vector<FrameGeometry> const& GetGeometries() const { return m_geometries; }
    FieldDataSourceRef const& GetFields() const { return m_fields; }
    std::size_t GetFrameCount() const { return m_geometries.size(); }
    // Composes up to the frame. Throws Kernel::Exception for an index beyond the last frame.
    ComposedFramePtr GetFrame(std::size_t index);
    void Compose(CompositionEndConditions const& conditions);
    // The first glyph that has no place in any frame; the story's length when all have one. Composes everything.
    std::uint32_t GetOverflowBegin();
    // The frame in which a glyph of the story stands; the number of frames for one that has no place. Composes up to
    // it.
    std::size_t FindFrame(std::uint32_t index);
    // True too where notes have no place.
    bool HasOverflow();
    // Where the last frame ends: paragraphs, those of notes counted behind the story's, and a place in what the next
    // one shows. Greater where more has a place. Composes everything.
    std::pair<std::size_t, std::uint32_t> GetComposedEnd();
    // The number of a note of the story, from 1; 0 for one that does not stand in it. Composes nothing.
    int GetNoteNumber(NoteGlyph const& note);
    // A numberer that stands before the paragraph that the position lies in: its next number is that paragraph's.
    // Composes nothing. The caller's own.
    Kernel::Counted<Numberer> MakeNumberer(StoryPos const& position);
    // The frames that are composed now.
    std::size_t GetComposedFrameCount() const;
    // Frames that were taken over from the earlier composition; for tests and the bench.
    std::size_t GetReusedFrameCount() const;
    // Bytes that the paragraphs' glyphs and lines take.
    std::size_t GetMemoryUse() const;

private:
    struct State;
    void TakeOver(ComposedStory& earlier);

    StoryRef m_story;
    Kernel::Counted<StyleSheet const> m_styleSheet;
    std::vector<FrameGeometry> m_geometries;
    FieldDataSourceRef m_fields;
    std::unique_ptr<State> m_state;
};

// The number of equal frames that the whole story takes; `maximum` + 1 when more than `maximum` do not hold it. Keeps
// nothing of the composition, so that a story may be far longer than what composed pages of it would leave room for.
// `abort`, which may be null, is looked at before each frame: Kernel::AbortException is thrown when it is set.
// `progress` is told after each frame which fraction of the story has its place.
REDRAFT_ENGINE std::size_t CountFrames(Story const& story, Kernel::Counted<StyleSheet const> styleSheet,
                                       FrameGeometry const& geometry, std::size_t maximum, bool const* abort = nullptr,
                                       std::function<void(float)> const& progress = {},
                                       FieldDataSourceRef const& fields = {});

// Families that were asked for and are not there, each once, in the order in which they were first missed. What is set
// in them shows in another family.
REDRAFT_ENGINE std::vector<std::string> GetMissingFonts();

} // namespace Story
