// SPDX-License-Identifier: Apache-2.0
#include "platform/document/shown_texts.h"

#include "engine/document/tree/caption_numbers.h"
#include "engine/document/tree/text_wrap.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"
#include "platform/story/toc.h"

#include <algorithm>

namespace {

// Whether two lines show the same, wherever they stand in their story.
bool LooksAlike(Story::LinePart const& a, Story::LinePart const& b) {
    if (a.GetOrigin() != b.GetOrigin())
        return false;
    if (&a.GetLines() == &b.GetLines() && a.GetLineIndex() == b.GetLineIndex())
        return true;
    if (a.GetSize() != b.GetSize() || a.GetWidth() != b.GetWidth() || a.GetSpaceExtra() != b.GetSpaceExtra())
        return false;
    for (std::uint32_t i = 0; i != a.GetSize(); ++i) {
        if (a.GetCharacter(i) != b.GetCharacter(i) || a.GetGlyphAtts(i) != b.GetGlyphAtts(i) ||
            a.GetCompositionFlags(i) != b.GetCompositionFlags(i))
            return false;
    }
    auto const cells = a.GetCells(), peers = b.GetCells();
    return std::equal(cells.begin(), cells.end(), peers.begin(), peers.end(), [](auto const& cell, auto const& peer) {
        return cell.x == peer.x && cell.advance == peer.advance && cell.begin == peer.begin && cell.end == peer.end;
    });
}

// Whether the letters of lines that stand alike look the same with the styles of their sheets.
bool HasSameStyles(Story::LinePart const& a, Story::StyleSheet const& styles, Story::LinePart const& b,
                   Story::StyleSheet const& others) {
    Story::GlyphAttsRef last, lastOther;
    for (std::uint32_t i = 0; i != a.GetSize(); ++i) {
        auto const own = a.GetGlyphAtts(i), other = b.GetGlyphAtts(i);
        bool const isRunning = i != 0 && own == last && other == lastOther;
        if (!isRunning && styles.Resolve(own, a.GetParagraphAtts()) != others.Resolve(other, b.GetParagraphAtts()))
            return false;
        last = own;
        lastOther = other;
    }
    return true;
}

bool LooksAlike(Story::ComposedFrame const& a, Story::ComposedFrame const& b) {
    if (&a == &b)
        return true;
    auto const &styles = *a.GetStyleSheet(), &others = *b.GetStyleSheet();
    bool const hasSameSheet = Story::LookAlike(styles, others);
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](auto const& one, auto const& other) {
        return std::equal(
            one->begin(), one->end(), other->begin(), other->end(), [&](auto const& line, auto const& peer) {
                return LooksAlike(line, peer) && (hasSameSheet || HasSameStyles(line, styles, peer, others));
            });
    });
}

} // namespace

void ShownTexts::Add(Kernel::Counted<TextNode> node, Story::ComposedFramePtr composed) {
    if (!m_known.insert(node.get()).second)
        return;
    SpreadRects area;
    if (Kernel::CastPointer<ArtTextNode const>(node.get()) != nullptr)
        area.IncludeWhereShown(*node);
    m_texts.push_back({std::move(node), std::move(composed), std::move(area)});
}

void ShownTexts::AddSpread(SpreadNode const& spread) {
    ForEachNode(const_cast<SpreadNode&>(spread), [&](Node& node) {
        auto const* const text = Kernel::CastPointer<FrameTextNode>(&node);
        if (text == nullptr || m_known.contains(&node))
            return;
        auto const flow = text->GetTextFlow();
        for (auto each : *flow) {
            if (each && !m_known.contains(each.get())) {
                auto composed = each->MakeComposedText();
                Add(std::move(each), std::move(composed));
            }
        }
    });
}

ShownTexts::ShownTexts(std::vector<SpreadNode const*> const& spreads) {
    for (auto const* const spread : spreads) {
        if (spread != nullptr)
            AddSpread(*spread);
    }
}

ShownTexts::ShownTexts(TextNode const& text) {
    auto const flow = text.GetTextFlow();
    auto const composed = text.GetComposition();
    auto const count = std::min(flow->size(), composed->GetComposedFrameCount());
    m_texts.reserve(count);
    for (std::size_t i = 0; i != count; ++i) {
        if (auto node = flow->GetNodeAt(i))
            Add(std::move(node), composed->GetFrame(i));
    }
    auto const* const spread = text.GetSpread();
    if (AnyWraps() && spread != nullptr && Kernel::CastPointer<ArtTextNode const>(&text) != nullptr)
        AddSpread(*spread);
}

ShownTexts ShownTexts::OfNumberedCaptions(DocumentNode const& document) {
    ShownTexts texts;
    // Kept while they are composed.
    auto const numbers = CaptionNumbers::Get(document);
    for (auto* const caption : numbers->GetCaptions()) {
        bool showsNumber = false;
        auto const story = caption->GetStory();
        story->VisitObjects(story->GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const& glyph) {
            showsNumber = glyph->GetClassUID() == Story::CaptionNumberGlyph::c_classUid;
            return !showsNumber;
        });
        if (!showsNumber)
            continue;
        for (auto each : *caption->GetTextFlow()) {
            if (each) {
                auto composed = each->MakeComposedText();
                texts.Add(std::move(each), std::move(composed));
            }
        }
    }
    return texts;
}

std::vector<Kernel::Counted<Node>> ShownTexts::IncludeChanged(SpreadRects& areas) const {
    std::vector<Kernel::Counted<Node>> changed;
    for (auto const& text : m_texts) {
        if (LooksAlike(*text.composed, *text.node->MakeComposedText()))
            continue;
        for (auto const& before : text.area.GetRects())
            areas.Append(before);
        areas.IncludeWhereShown(*text.node);
        changed.push_back(text.node);
    }
    return changed;
}

bool ShownTexts::AnyWraps() { return HasTextWrap(); }
