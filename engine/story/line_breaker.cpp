// SPDX-License-Identifier: Apache-2.0
#include "engine/story/line_breaker.h"

#include "engine/story/hyphenator.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace Story {

namespace {

constexpr double c_stretch = 0.5;
constexpr double c_shrink = 1.0 / 3;
// A line that stretches as far as this cannot be worth looking at. Beyond it the badness approaches that of rigid
// lines.
constexpr double c_badnessOfFarRatios = 1'000'000;
constexpr double c_farRatio = 21.544346900318832; // the cube root of a hundredth of it
// Of a line that nothing can stretch: worse than any other, and the worse the emptier it is.
constexpr double c_rigidBadness = 2'000'000;
constexpr double c_rigidBadnessOfEmptyLine = 10'000'000;
constexpr double c_linePenalty = 10;
constexpr double c_hyphenPenalty = 50;
constexpr double c_doubleHyphenDemerits = 10'000;
// Rounding of sums must not push a line over that fits.
constexpr double c_fittingSlack = 1e-3;

// Of the breaker that was last done with, for the thread's next one: allocating them for each paragraph takes longer
// than many of its steps. Not those of an unusually long one.
thread_local std::vector<BreakCandidate> s_spareCandidates;
constexpr std::size_t c_mostSpareCandidates = 4096;

double GetHyphenWidth(ShapedRun const& run) {
    if (run.face == nullptr)
        return 0;
    auto const& face = *run.face;
    auto const glyph = face.GetGlyphOfCharacter(face.HasCharacter(0x2010) ? 0x2010 : U'-');
    return hb_font_get_glyph_h_advance(face.GetFont(), glyph) / face.GetUnitsPerEm() * run.look->size *
           run.look->horizontalScale;
}

} // namespace

std::vector<std::uint32_t> FindHyphenPlaces(ComposedParagraph const& paragraph) {
    std::vector<std::uint32_t> places;
    if (paragraph.GetAtts()->Get(ParagraphAtt::Enum::Hyphenate) == 0)
        return places;
    auto const& runs = paragraph.GetRuns();
    for (std::size_t i = 0; i != runs.size();) {
        // Runs of one language together: a change of face may stand within a word.
        std::size_t next = i + 1;
        while (next != runs.size() && runs[next].look->languageTag == runs[i].look->languageTag &&
               runs[next].look->noBreak == runs[i].look->noBreak)
            ++next;
        std::uint32_t const begin = runs[i].begin;
        auto* const hyphenator = runs[i].look->noBreak ? nullptr : Hyphenator::Get(runs[i].look->languageTag);
        if (hyphenator != nullptr)
            hyphenator->FindPlaces(paragraph.GetText().substr(begin, runs[next - 1].end - begin), begin, places);
        i = next;
    }
    return places;
}

std::vector<BreakCandidate> FindCandidates(ComposedParagraph const& paragraph, std::uint32_t begin,
                                           std::vector<std::uint32_t> const& places) {
    auto const text = paragraph.GetText();
    auto const& flags = paragraph.GetFlags();
    auto const& runs = paragraph.GetRuns();
    auto const& glyphs = paragraph.GetGlyphs();
    constexpr std::uint32_t c_none = 0xFFFFFFFF;
    std::vector<BreakCandidate> candidates = std::exchange(s_spareCandidates, {});
    candidates.clear();
    candidates.reserve((text.size() - begin) / 5 + places.size() + 2);
    auto place = std::lower_bound(places.begin(), places.end(), begin + 1);
    std::size_t runIndex = paragraph.FindRun(begin);
    double hyphenWidth = -1;
    // Candidates at the characters from `at` up to `limit`; `sum` is of what stands in front of them. Returns the place
    // for a hyphen behind them.
    auto const emit = [&](std::uint32_t at, std::uint32_t limit, BreakCandidate sum) {
        for (; at <= limit; ++at) {
            bool const isPlace = place != places.end() && *place == at;
            if (isPlace)
                ++place;
            if (!isPlace && (flags[at] & CharacterFlag::c_breakBefore) == 0)
                continue;
            sum.position = at;
            sum.must = (flags[at] & CharacterFlag::c_mustBreakBefore) != 0;
            bool const isSoftHyphen = (flags[at - 1] & CharacterFlag::c_softHyphen) != 0;
            sum.hyphen = !sum.must && ((isPlace && (flags[at] & CharacterFlag::c_breakBefore) == 0) || isSoftHyphen);
            if (sum.hyphen && hyphenWidth < 0)
                hyphenWidth = GetHyphenWidth(runs[runIndex]);
            sum.hyphenWidth = sum.hyphen ? hyphenWidth : 0;
            candidates.push_back(sum);
        }
        return place == places.end() ? c_none : *place;
    };
    // Of every glyph: these stay in registers, since nothing else refers to them.
    double width = 0, visibleWidth = 0, stretch = 0, visibleStretch = 0;
    auto const getSum = [](double w, double visible, double s, double visibleS) {
        return BreakCandidate{.width = w, .visibleWidth = visible, .spaces = s, .visibleSpaces = visibleS};
    };
    std::uint32_t next = begin + 1;
    std::uint32_t nextPlace = place == places.end() ? c_none : *place;
    auto const* const flag = flags.data();
    for (; runIndex != runs.size(); ++runIndex) {
        auto const& run = runs[runIndex];
        hyphenWidth = -1;
        std::uint32_t const first = run.begin < begin ? paragraph.FindGlyph(run, begin) : run.glyphBegin;
        auto const* const end = glyphs.data() + run.glyphEnd;
        for (auto const* glyph = glyphs.data() + first; glyph < end; ++glyph) {
            auto const cluster = glyph->cluster;
            if (cluster >= next) {
                bool const isNone =
                    cluster == next && cluster != nextPlace && (flag[cluster] & CharacterFlag::c_breakBefore) == 0;
                if (!isNone)
                    nextPlace = emit(next, cluster, getSum(width, visibleWidth, stretch, visibleStretch));
                next = cluster + 1;
            }
            width += glyph->advance;
            if (glyph->Has(ShapedGlyph::c_stretches))
                stretch += GetStretch(text[cluster], double{glyph->advance}, run.look->size);
            if ((flag[cluster] & CharacterFlag::c_space) == 0) {
                visibleWidth = width;
                visibleStretch = stretch;
            }
        }
        // Characters whose glyphs joined those before them.
        if (runIndex + 1 != runs.size() && run.end > next) {
            nextPlace = emit(next, run.end - 1, getSum(width, visibleWidth, stretch, visibleStretch));
            next = run.end;
        }
    }
    emit(next, static_cast<std::uint32_t>(text.size()), getSum(width, visibleWidth, stretch, visibleStretch));
    return candidates;
}

namespace {

// Grows with the ratio all the way, from 0 to the badness of rigid lines.
double GetBadness(double ratio) {
    if (ratio <= c_farRatio)
        return 100 * ratio * ratio * ratio;
    return c_rigidBadness - (c_rigidBadness - c_badnessOfFarRatios) * c_farRatio / ratio;
}

double GetRigidBadness(double difference, double measure) {
    double const empty = measure > 0 ? std::clamp(difference / measure, 0.0, 1.0) : 1.0;
    return c_rigidBadness + (c_rigidBadnessOfEmptyLine - c_rigidBadness) * empty * empty;
}

} // namespace

LineCost GetLineCost(BreakCandidate const* from, BreakCandidate const& to, double measure) {
    double const natural = to.visibleWidth - (from == nullptr ? 0 : from->width) + to.hyphenWidth;
    double const spaces = to.visibleSpaces - (from == nullptr ? 0 : from->spaces);
    double const difference = measure - natural;
    LineCost cost;
    if (to.must && difference >= -c_fittingSlack)
        cost.ratio = 0;
    else if (difference >= -c_fittingSlack)
        cost.ratio =
            spaces > 0 ? std::max(difference, 0.0) / (spaces * c_stretch) : std::numeric_limits<double>::infinity();
    else if (spaces > 0 && difference >= -spaces * c_shrink - c_fittingSlack)
        cost.ratio = difference / (spaces * c_shrink);
    else
        return cost;
    double const ratio = std::fabs(cost.ratio);
    double const badness = std::isinf(ratio) ? GetRigidBadness(difference, measure) : GetBadness(ratio);
    cost.demerits = (c_linePenalty + badness) * (c_linePenalty + badness);
    if (to.hyphen)
        cost.demerits += c_hyphenPenalty * c_hyphenPenalty;
    if (to.hyphen && from != nullptr && from->hyphen)
        cost.demerits += c_doubleHyphenDemerits;
    return cost;
}

std::vector<LineEnd> BreakTotalFit(std::vector<BreakCandidate> const& candidates,
                                   std::vector<double> const& firstMeasures, double measure, double tolerance) {
    constexpr std::uint32_t c_none = 0xFFFFFFFF;
    // A way to break the text up to a candidate, the cheapest one with so many lines; beyond the first lines their
    // number makes no difference.
    struct Node {
        double demerits = 0;
        std::uint32_t candidate = c_none;
        std::uint32_t lines = 0;
        std::uint32_t before = c_none;
    };
    auto const mostLines = static_cast<std::uint32_t>(firstMeasures.size());
    std::vector<Node> nodes;
    nodes.reserve(candidates.size() + 1);
    nodes.emplace_back();
    // Those that a line can still begin at.
    std::vector<std::uint32_t> active{0};
    std::vector<Node> best(mostLines + 1);
    for (std::uint32_t i = 0; i != candidates.size(); ++i) {
        auto const& to = candidates[i];
        for (auto& each : best)
            each.demerits = std::numeric_limits<double>::infinity();
        std::size_t kept = 0;
        for (std::uint32_t const from : active) {
            auto const& node = nodes[from];
            double const room = node.lines < mostLines ? firstMeasures[node.lines] : measure;
            auto const cost = GetLineCost(node.candidate == c_none ? nullptr : &candidates[node.candidate], to, room);
            // A text that does not fit to here fits to no place behind, but for a hyphen that is not there.
            if (cost.demerits >= 0 || to.hyphen)
                active[kept++] = from;
            if (cost.demerits < 0 || cost.ratio > tolerance)
                continue;
            double const total = cost.demerits + node.demerits;
            auto const lines = std::min(node.lines + 1, mostLines);
            if (total < best[lines].demerits)
                best[lines] = {total, i, lines, from};
        }
        active.resize(kept);
        if (to.must)
            active.clear();
        for (auto const& each : best) {
            if (each.demerits == std::numeric_limits<double>::infinity())
                continue;
            active.push_back(static_cast<std::uint32_t>(nodes.size()));
            nodes.push_back(each);
        }
        if (active.empty())
            return {};
    }
    std::vector<LineEnd> ends;
    auto const cheapest = std::min_element(best.begin(), best.end(),
                                           [](Node const& a, Node const& b) { return a.demerits < b.demerits; });
    auto const* node = &*cheapest;
    for (; node->candidate != c_none; node = &nodes[node->before])
        ends.push_back({candidates[node->candidate].position, candidates[node->candidate].hyphen});
    std::reverse(ends.begin(), ends.end());
    return ends;
}

TabStop FindTabStop(ComposedParagraph const& paragraph, double x) {
    auto const& object = paragraph.GetAtts()->Get(ParagraphAtt::Object::TabStops);
    double const scale = paragraph.GetLengthScale();
    if (auto const* stops = Kernel::CastPointer<TabStops const>(object.get())) {
        for (auto const& stop : stops->GetStops()) {
            if (stop.position * scale > x + c_fittingSlack)
                return {stop.position * scale, stop.kind, stop.leader};
        }
    }
    double const interval = std::max(paragraph.GetLength(ParagraphAtt::Double::TabInterval), 0.01);
    return {(std::floor(x / interval + c_fittingSlack) + 1) * interval, TabStop::Kind::Start};
}

double GreedyBreaker::GetLeastWidth() const {
    return m_candidates[m_next].visibleWidth - m_widthBefore + m_candidates[m_next].hyphenWidth;
}

GreedyBreaker::~GreedyBreaker() {
    if (m_candidates.capacity() <= c_mostSpareCandidates)
        s_spareCandidates = std::move(m_candidates);
}

GreedyBreaker::GreedyBreaker(ComposedParagraph const& paragraph, std::uint32_t begin)
    : m_paragraph(paragraph),
      m_candidates(FindCandidates(paragraph, begin, FindHyphenPlaces(paragraph))),
      m_position(begin) {}

LineEnd GreedyBreaker::Next(double measure, double indent) {
    if (!(measure > 0))
        measure = 0;
    if (m_paragraph.HasTabs())
        return NextWithTabs(measure, indent);
    std::size_t fitting = m_next;
    bool hasFitting = false;
    for (std::size_t i = m_next; i != m_candidates.size(); ++i) {
        auto const& candidate = m_candidates[i];
        double const width = candidate.visibleWidth - m_widthBefore + candidate.hyphenWidth;
        if (width <= measure + c_fittingSlack) {
            fitting = i;
            hasFitting = true;
        } else if (!candidate.hyphen) {
            break;
        }
        if (candidate.must)
            break;
    }
    if (!hasFitting)
        return BreakInWord(measure, m_candidates[m_next]);
    return Take(fitting);
}

LineEnd GreedyBreaker::Take(std::size_t candidate) {
    m_position = m_candidates[candidate].position;
    m_widthBefore = m_candidates[candidate].width;
    m_next = candidate + 1;
    return {m_position, m_candidates[candidate].hyphen};
}

// Clusters as far as they fit, one at least.
LineEnd GreedyBreaker::BreakInWord(double measure, BreakCandidate const& limit) {
    auto const& runs = m_paragraph.GetRuns();
    auto const& glyphs = m_paragraph.GetGlyphs();
    double width = 0, chosenWidth = 0;
    std::uint32_t chosen = m_position, last = m_position;
    bool isFull = false;
    for (std::size_t r = m_paragraph.FindRun(m_position); !isFull && r != runs.size(); ++r) {
        if (runs[r].begin >= limit.position)
            break;
        for (std::uint32_t i = m_paragraph.FindGlyph(runs[r], m_position); i < runs[r].glyphEnd; ++i) {
            auto const cluster = glyphs[i].cluster;
            if (cluster >= limit.position)
                break;
            // A space hangs at the line's end and never begins a line of its own.
            bool const isSpace = (m_paragraph.GetFlags()[cluster] & CharacterFlag::c_space) != 0;
            if (cluster != last && !isSpace) {
                last = cluster;
                isFull = chosen != m_position && width > measure + c_fittingSlack;
                if (isFull)
                    break;
                chosen = cluster;
                chosenWidth = width;
            }
            width += glyphs[i].advance;
        }
    }
    if (chosen == m_position)
        return Take(m_next);
    m_position = chosen;
    m_widthBefore += chosenWidth;
    return {chosen, false};
}

// Where tabs lead depends on where they stand, so that sums do not help. What follows a stop at which text ends, or is
// centred, fills the way to it first. A decimal stop counts as if text began at it.
LineEnd GreedyBreaker::NextWithTabs(double measure, double indent) {
    auto const& runs = m_paragraph.GetRuns();
    auto const& glyphs = m_paragraph.GetGlyphs();
    auto const& flags = m_paragraph.GetFlags();
    double x = 0, visible = 0;
    // The stop that text is being set to, where it does not begin there: where the tab stands, and how wide the text is
    // so far.
    struct {
        std::optional<TabStop> stop;
        double from = 0, width = 0;
    } behind;
    auto const goTo = [&](TabStop const& stop) {
        bool const begins = stop.kind == TabStop::Kind::Start || stop.kind == TabStop::Kind::Decimal;
        behind = {begins ? std::nullopt : std::optional(stop), x, 0};
        return begins ? stop.position - indent : x;
    };
    auto const goOn = [&](double advance) {
        if (!behind.stop)
            return x + advance;
        behind.width += advance;
        double const share = behind.stop->kind == TabStop::Kind::End ? behind.width : behind.width / 2;
        return std::max(behind.stop->position - indent - share, behind.from) + behind.width;
    };
    std::size_t next = m_next, fitting = m_next;
    bool hasFitting = false;
    auto const look = [&](std::uint32_t at) {
        for (; next != m_candidates.size() && m_candidates[next].position <= at; ++next) {
            if (visible + m_candidates[next].hyphenWidth > measure + c_fittingSlack)
                return false;
            fitting = next;
            hasFitting = true;
            if (m_candidates[next].must) {
                ++next;
                return false;
            }
        }
        return true;
    };
    bool goesOn = true;
    for (std::size_t r = m_paragraph.FindRun(m_position); goesOn && r != runs.size(); ++r) {
        for (std::uint32_t i = m_paragraph.FindGlyph(runs[r], m_position); goesOn && i < runs[r].glyphEnd; ++i) {
            auto const cluster = glyphs[i].cluster;
            goesOn = look(cluster);
            x = (flags[cluster] & CharacterFlag::c_tab) != 0 ? goTo(FindTabStop(m_paragraph, x + indent))
                                                             : goOn(glyphs[i].advance);
            if ((flags[cluster] & CharacterFlag::c_space) == 0)
                visible = x;
        }
    }
    if (goesOn)
        look(static_cast<std::uint32_t>(m_paragraph.GetText().size()));
    return hasFitting ? Take(fitting) : BreakInWord(measure, m_candidates[m_next]);
}

} // namespace Story
