// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/text_rows.h"

#include "platform/kernel/cast.h"
#include "platform/story/paragraph.h"

#include <algorithm>

namespace Formats::Svg {

namespace {

using Story::GlyphAtt;

// Properties of text that SVG has no counterpart for.
std::string_view FindObstacle(Story::GlyphAtts const& atts) {
    if (atts.Get(GlyphAtt::Double::Skew) != 0)
        return "slanted glyphs";
    if (atts.Get(GlyphAtt::Double::HorizontalScale) != 1 || atts.Get(GlyphAtt::Double::VerticalScale) != 1)
        return "stretched glyphs";
    if (atts.Get(GlyphAtt::Object::SecondFill))
        return "second fill";
    return {};
}

TextRow::Anchor FindAnchor(Story::Alignment alignment, bool isRightToLeft) {
    switch (alignment) {
    case Story::Alignment::Centre:
        return TextRow::Anchor::Middle;
    case Story::Alignment::End:
        return TextRow::Anchor::End;
    case Story::Alignment::Left:
        return isRightToLeft ? TextRow::Anchor::End : TextRow::Anchor::Start;
    case Story::Alignment::Right:
        return isRightToLeft ? TextRow::Anchor::Start : TextRow::Anchor::End;
    case Story::Alignment::Start:
    case Story::Alignment::Justify:
        break;
    }
    return TextRow::Anchor::Start;
}

Story::GlyphAttsRef WithSize(Story::GlyphAttsRef const& own, double size) {
    auto atts = own->Clone();
    atts->Set(GlyphAtt::Double::Size, size);
    return Kernel::Consolidated<Story::GlyphAtts>(Story::GlyphAttsRef(std::move(atts))).ToCounted();
}

class RowFinder {
public:
    explicit RowFinder(TextNode const& text) : m_frame(text.MakeComposedText()) {
        m_found.isVertical = text.GetStory()->GetWritingMode() == Story::WritingMode::Vertical;
        m_turn = m_found.isVertical ? Story::c_verticalTurn : Raster::AffineTransform::Params();
        m_found.toNode = m_frame->GetGeometry().renderScale * m_turn.GetInverse();
    }

    TextRows Find() {
        std::size_t count = 0;
        for (auto const& column : *m_frame) {
            for (auto const& line : *column) {
                AddLine(line);
                ++count;
            }
        }
        auto const& origin = m_frame->GetGeometry().artOrigin;
        // A single line keeps the place that it is aligned to.
        if (origin && count == 1 && m_found.rows.size() == 1) {
            auto const& line = *m_frame->GetColumn(0).begin();
            auto const paragraph = m_frame->GetStyleSheet()->Resolve(line.GetParagraphAtts());
            TextRow& row = m_found.rows.front();
            auto const alignment = paragraph->Get(Story::ParagraphAtt::Enum::Alignment);
            row.anchor = FindAnchor(static_cast<Story::Alignment>(alignment), row.isRightToLeft);
            row.place = m_turn.Apply(*origin);
        }
        return std::move(m_found);
    }

private:
    void AddLine(Story::LinePart const& line) {
        namespace Flag = Story::CompositionFlag;
        TextRow row = BeginRow(line, line.IsRightToLeft() ? line.GetWidth() : 0);
        for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
            unsigned const flags = line.GetCompositionFlags(i);
            char32_t const c = line.GetCharacter(i);
            bool const isMade = (flags & Flag::c_made) != 0;
            if (isMade && (flags & Flag::c_madeText) == 0) {
                if ((flags & Flag::c_madeForLine) != 0)
                    m_found.obstacle = "tab leaders";
                continue;
            }
            if (Story::IsHardBreakCharacter(c) || c == Story::c_objectCharacter)
                continue;
            if (c == U'\t') {
                AddRow(std::move(row));
                row = BeginRow(line, FindPlaceBehind(line, i));
                continue;
            }
            AddCharacter(row, line, i, c);
        }
        AddRow(std::move(row));
    }

    TextRow BeginRow(Story::LinePart const& line, double x) const {
        TextRow row;
        row.place = m_turn.Apply(Kernel::PointT<double>{line.GetOrigin().x + x, line.GetOrigin().y});
        row.isRightToLeft = line.IsRightToLeft();
        row.wordSpacing = line.GetSpaceExtra();
        return row;
    }

    void AddRow(TextRow&& row) {
        if (!row.runs.empty())
            m_found.rows.push_back(std::move(row));
    }

    // Where the glyphs behind a tab begin, from the line's left end.
    double FindPlaceBehind(Story::LinePart const& line, std::uint32_t tab) {
        if (line.IsRightToLeft())
            m_found.obstacle = "tabs in right-to-left text";
        for (auto const& cell : line.GetCells())
            if (cell.begin > tab)
                return cell.x;
        return line.GetWidth();
    }

    void AddCharacter(TextRow& row, Story::LinePart const& line, std::uint32_t index, char32_t c) {
        auto atts = m_frame->GetStyleSheet()->Resolve(line.GetGlyphAtts(index), line.GetParagraphAtts());
        if (line.GetScale() != 1)
            atts = WithSize(atts, line.GetScale() * atts->Get(GlyphAtt::Double::Size));
        if (row.runs.empty() || row.runs.back().atts != atts) {
            row.runs.push_back({atts, {}});
            if (m_found.obstacle.empty())
                m_found.obstacle = FindObstacle(*atts);
        }
        row.runs.back().text += Story::EncodeUtf8(std::u32string_view(&c, 1));
    }

    Story::ComposedFramePtr m_frame;
    Raster::AffineTransform::Params m_turn;
    TextRows m_found;
};

} // namespace

TextRows FindTextRows(TextNode const& text) { return RowFinder(text).Find(); }

} // namespace Formats::Svg
