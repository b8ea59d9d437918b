// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/numberer.h"
#include "platform/story/story.h"
#include "platform/story/style_sheet.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace Story {

// Answers of a style sheet for paragraphs, which have few different attributes.
class ResolvedParagraphs {
public:
    explicit ResolvedParagraphs(StyleSheet const& styles) : m_styles(styles) {}
    ParagraphAttsRef const& Resolve(ParagraphAttsRef const& own);

private:
    struct Answer {
        // Keeps the key's address from being given to others.
        ParagraphAttsRef own, resolved;
    };
    StyleSheet const& m_styles;
    std::unordered_map<ParagraphAtts const*, Answer> m_answers;
};

// The numbers of a story's paragraphs, counted as far as they are asked for.
class ParagraphNumbers {
public:
    ParagraphNumbers(Story const& story, StyleSheet const& styles) : m_story(story), m_resolved(styles) {}
    // Facts about the first paragraphs, `common` of them, which both stories have. Their styles look alike.
    void TakeOver(ParagraphNumbers const& earlier, std::size_t common);
    // Empty for a paragraph without one.
    Kernel::String Get(std::size_t paragraph);
    // Stands before the paragraph.
    Kernel::Counted<Numberer> MakeNumberer(std::size_t paragraph);

private:
    // Versions of a story share what is known of their paragraphs in pieces of so many.
    static constexpr std::size_t c_pieceSize = 256;
    struct Piece {
        Kernel::Counted<Numberer const> before, behind;
        // By the paragraph's place in the piece, ascending; only those that have one.
        std::vector<std::pair<std::uint32_t, Kernel::String>> numbers;
    };
    using PieceRef = std::shared_ptr<Piece const>;
    PieceRef const& GetPiece(std::size_t index);

    Story const& m_story;
    ResolvedParagraphs m_resolved;
    std::vector<PieceRef> m_pieces;
};

} // namespace Story
