// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/composed_paragraph.h"

#include <cstdint>
#include <vector>

namespace Story {

// Where a line ends: the next one begins with the character at `position`.
struct LineEnd {
    std::uint32_t position = 0;
    // A hyphen is put there.
    bool hyphen = false;
    friend bool operator==(LineEnd const&, LineEnd const&) = default;
};

// A place where a line may end, with sums over everything before it, in text units.
struct BreakCandidate {
    std::uint32_t position = 0;
    bool hyphen = false;
    bool must = false;
    double width = 0;        // all advances
    double visibleWidth = 0; // without the spaces that would hang
    double spaces = 0;       // advances of what stretches, weighed
    double visibleSpaces = 0;
    double hyphenWidth = 0;
};

// The candidates from a character on, ascending, the paragraph's end last. `places` are further places for hyphens.
std::vector<BreakCandidate> FindCandidates(ComposedParagraph const& paragraph, std::uint32_t begin,
                                           std::vector<std::uint32_t> const& places);
// Where the paragraph's words may be split; empty unless it asks for that.
std::vector<std::uint32_t> FindHyphenPlaces(ComposedParagraph const& paragraph);

// The cost of a justified line, as Knuth and Plass count ("Breaking Paragraphs into Lines", 1981): (10 + badness)
// squared, badness being 100 |r|^3 for a line whose spaces stretch by r halves or shrink by r thirds of their width.
// Beyond a million it grows more slowly, up to two million, which is what a line costs that is full but for what
// nothing can stretch; one that stays empty costs ten million. A hyphen adds 50 squared, two in a row 10000 more.
// Negative when the line cannot be shrunk so far.
struct LineCost {
    double ratio = 0;
    double demerits = -1;
};
LineCost GetLineCost(BreakCandidate const* from, BreakCandidate const& to, double measure);

// The cheapest line ends of all for lines of constant length but for the first ones, one at least, whose lengths are
// `firstMeasures`. Empty when no line breaking keeps all ratios at most at `tolerance`. Takes time in proportion to the
// number of first lines.
std::vector<LineEnd> BreakTotalFit(std::vector<BreakCandidate> const& candidates,
                                   std::vector<double> const& firstMeasures, double measure, double tolerance);

// Fills one line after the other. Words that are longer than a line are split between letters.
class GreedyBreaker {
public:
    GreedyBreaker(ComposedParagraph const& paragraph, std::uint32_t begin);
    ~GreedyBreaker();
    GreedyBreaker(GreedyBreaker const&) = delete;
    GreedyBreaker& operator=(GreedyBreaker const&) = delete;
    bool IsAtEnd() const { return m_next == m_candidates.size(); }
    std::uint32_t GetPosition() const { return m_position; }
    // `measure` may be any number; a line has one letter at least. Tab stops count from `indent` before the line.
    LineEnd Next(double measure, double indent = 0);
    // The width of the next line up to the first place where it may end. Tabs count as nothing.
    double GetLeastWidth() const;
    // Where the next line begins, to come back to it.
    struct Place {
        std::size_t next = 0;
        std::uint32_t position = 0;
        double widthBefore = 0;
    };
    Place GetPlace() const { return {m_next, m_position, m_widthBefore}; }
    void SetPlace(Place const& place) {
        m_next = place.next;
        m_position = place.position;
        m_widthBefore = place.widthBefore;
    }

private:
    LineEnd Take(std::size_t candidate);
    LineEnd BreakInWord(double measure, BreakCandidate const& limit);
    LineEnd NextWithTabs(double measure, double indent);

    ComposedParagraph const& m_paragraph;
    std::vector<BreakCandidate> m_candidates;
    std::size_t m_next = 0;
    std::uint32_t m_position;
    double m_widthBefore = 0;
};

// Where a tab at `x` leads to: the next stop, or the next multiple of the interval.
TabStop FindTabStop(ComposedParagraph const& paragraph, double x);

} // namespace Story
