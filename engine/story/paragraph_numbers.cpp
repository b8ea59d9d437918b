// SPDX-License-Identifier: Apache-2.0
#include "engine/story/paragraph_numbers.h"

#include <algorithm>

namespace Story {

ParagraphAttsRef const& ResolvedParagraphs::Resolve(ParagraphAttsRef const& own) {
    auto const [known, isNew] = m_answers.try_emplace(own.get());
    if (isNew)
        known->second = {own, m_styles.Resolve(own)};
    return known->second.resolved;
}

void ParagraphNumbers::TakeOver(ParagraphNumbers const& earlier, std::size_t common) {
    auto const count = std::min(earlier.m_pieces.size(), common / c_pieceSize);
    m_pieces.assign(earlier.m_pieces.begin(), earlier.m_pieces.begin() + static_cast<std::ptrdiff_t>(count));
}

ParagraphNumbers::PieceRef const& ParagraphNumbers::GetPiece(std::size_t index) {
    while (m_pieces.size() <= index) {
        auto piece = std::make_shared<Piece>();
        if (m_pieces.empty())
            piece->before = Kernel::MakeCounted<Numberer>();
        else
            piece->before = m_pieces.back()->behind;
        piece->behind = piece->before;
        Kernel::Counted<Numberer> numberer;
        auto const begin = m_pieces.size() * c_pieceSize;
        auto const end = std::min(begin + c_pieceSize, m_story.GetParagraphCount());
        for (auto i = begin; i < end; ++i) {
            auto const& resolved = m_resolved.Resolve(m_story.GetParagraph(i)->GetAtts());
            if (!NumberingAtt::Of(*resolved))
                continue;
            if (!numberer)
                piece->behind = numberer = piece->before->Clone();
            piece->numbers.emplace_back(static_cast<std::uint32_t>(i - begin), numberer->Next(*resolved));
        }
        m_pieces.push_back(std::move(piece));
    }
    return m_pieces[index];
}

Kernel::String ParagraphNumbers::Get(std::size_t paragraph) {
    auto const& numbers = GetPiece(paragraph / c_pieceSize)->numbers;
    auto const found = std::lower_bound(numbers.begin(), numbers.end(), paragraph % c_pieceSize,
                                        [](auto const& each, std::size_t place) { return each.first < place; });
    bool const isKnown = found != numbers.end() && found->first == paragraph % c_pieceSize;
    return isKnown ? found->second : Kernel::String();
}

Kernel::Counted<Numberer> ParagraphNumbers::MakeNumberer(std::size_t paragraph) {
    auto const index = paragraph / c_pieceSize;
    auto numberer = GetPiece(index)->before->Clone();
    for (auto i = index * c_pieceSize; i < std::min(paragraph, m_story.GetParagraphCount()); ++i)
        numberer->Next(*m_resolved.Resolve(m_story.GetParagraph(i)->GetAtts()));
    return numberer;
}

} // namespace Story
