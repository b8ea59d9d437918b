// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/epub/exporter_state.h"
#include "engine/epub/markup_writer.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"

namespace EPub {

// An image; a decoration says that it tells nothing.
void WritePictureElement(HtmlExporter::State& state, MarkupWriter& markup, Picture const& picture);

// Writes one story as paragraphs. Notes in it follow behind the text that was begun first.
class StoryWriter {
public:
    struct PendingNote {
        Kernel::Counted<Story::NoteGlyph const> glyph;
        // Of its number where it stands, and of its text.
        std::string referenceId, textId, label;
    };
    // `part`, its writer and the list of notes outlive this object.
    StoryWriter(HtmlExporter::State& state, HtmlExporter::Callbacks const& callbacks, HtmlExporter::State::Part& part,
                MarkupWriter& markup, std::vector<PendingNote>& notes, Story::StoryRef story);
    StoryWriter(StoryWriter const&) = delete;
    StoryWriter& operator=(StoryWriter const&) = delete;
    ~StoryWriter();

    // `end` in glyphs: paragraphs that begin there or behind are left out, and one that lies across it is cut.
    void Write(std::uint32_t end);
    // In place of the number of the first paragraph; markup.
    void SetPrefix(std::string prefix) { m_prefix = std::move(prefix); }
    void WritePicture(Picture const& picture) { WritePictureElement(m_state, m_markup, picture); }
    // The story of an object that is pinned where the writer is.
    void WriteInner(Story::StoryRef const& story);
    Story::StoryRef const& GetStory() const { return m_story; }
    // The notes that were met, in their order, each as one aside.
    static void WriteNotes(HtmlExporter::State& state, HtmlExporter::Callbacks const& callbacks,
                           HtmlExporter::State::Part& part, MarkupWriter& markup, std::vector<PendingNote> notes);

private:
    using ParagraphLook = StyleClasses::ParagraphLook;
    void WriteParagraph(Story::Paragraph const& paragraph, std::uint32_t begin, std::uint32_t length);
    void WriteContent(Story::Paragraph const& paragraph, std::uint32_t begin, std::uint32_t length);
    void WriteSpan(Story::Paragraph const& paragraph, std::uint32_t from, std::uint32_t to, std::uint32_t begin);
    void WriteText(std::u32string_view text);
    void TakeMarks(std::uint32_t end);
    void WriteMarks(std::uint32_t end);
    void WriteObject(Kernel::Counted<Story::Glyph const> const& glyph, std::uint32_t index);
    void WriteNoteReference(Kernel::Counted<Story::NoteGlyph const> const& note, std::uint32_t index);
    void WritePin(Kernel::JailCounted<Story::PinInterface> const& pin);
    std::string GetAddress(Story::HyperlinkAtt const& link) const;
    std::string GetAddress(Story::AnchorData const& anchor) const;
    std::string GetAddress(AnchorRegistry::Target const& target) const;
    AnchorRegistry::Link const* FindLink(std::uint32_t index);

    HtmlExporter::State& m_state;
    HtmlExporter::Callbacks const& m_callbacks;
    HtmlExporter::State::Part& m_part;
    MarkupWriter& m_markup;
    std::vector<PendingNote>& m_notes;
    Story::StoryRef m_story;
    Kernel::Counted<Story::Numberer> m_numberer;
    // False for a story that was written before.
    bool m_hasMarks = false;
    std::vector<AnchorRegistry::Mark> m_marks;
    std::size_t m_takenMarks = 0, m_nextMark = 0;
    std::vector<AnchorRegistry::Link> m_links;
    std::size_t m_nextLink = 0;
    std::string m_prefix;
    // Text in the paragraph goes to the heading's entry, too.
    HtmlExporter::State::Heading* m_heading = nullptr;
    // Objects that are no part of a line: they follow behind the paragraph.
    std::vector<Kernel::JailCounted<Story::PinInterface>> m_pendingPins;
    bool m_isInLink = false;
    // In the last paragraph, which has what is marked behind it, too.
    bool m_isLast = false;
};

} // namespace EPub
