// SPDX-License-Identifier: Apache-2.0
#include "platform/story/unicode_story_exporter.h"

#include "engine/story/paragraph_numbers.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_data_source.h"
#include "platform/story/note.h"

namespace Story {

namespace {

void AppendUtf8(std::string& text, char32_t c) {
    auto const add = [&](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (c < 0x80) {
        add(c);
    } else if (c < 0x800) {
        add(0xC0 | c >> 6);
        add(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        add(0xE0 | c >> 12);
        add(0x80 | (c >> 6 & 0x3F));
        add(0x80 | (c & 0x3F));
    } else {
        add(0xF0 | c >> 18);
        add(0x80 | (c >> 12 & 0x3F));
        add(0x80 | (c >> 6 & 0x3F));
        add(0x80 | (c & 0x3F));
    }
}

// Noncharacters are for no interchange (The Unicode Standard, 23.7).
bool IsNoCharacter(char32_t c) {
    return c > 0x10FFFF || (c >= 0xD800 && c < 0xE000) || (c >= 0xFDD0 && c < 0xFDF0) || (c & 0xFFFE) == 0xFFFE;
}

void AppendPlain(std::string& text, std::u32string_view added) {
    for (char32_t const c : added) {
        constexpr char32_t c_softHyphen = 0xAD;
        bool const isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
        if (IsHardBreakCharacter(c) || c == U'\n')
            text += '\n';
        else if (IsNoCharacter(c))
            AppendUtf8(text, c_replacementCharacter);
        else if (c == U'\t' || !(isControl || c == c_softHyphen || c == c_objectCharacter))
            AppendUtf8(text, c);
    }
}

std::string MakeMark(std::uint32_t number) { return "[" + std::to_string(number) + "]"; }

} // namespace

UnicodeStoryExporter::UnicodeStoryExporter(Kernel::Counted<Numberer const> const& numberer,
                                           Kernel::Counted<FieldDataSource const> const& fields,
                                           Kernel::Counted<Table const>, bool withNumbers, bool withNotes)
    : m_numberer(numberer ? numberer->Clone() : nullptr),
      m_fields(fields),
      m_styles(fields ? fields->GetStyleSheet() : nullptr),
      m_withNumbers(withNumbers),
      m_withNotes(withNotes) {
    if (!m_styles)
        m_styles = StyleSheet::GetEmpty();
    m_resolved = std::make_unique<ResolvedParagraphs>(*m_styles);
}

UnicodeStoryExporter::~UnicodeStoryExporter() = default;

void UnicodeStoryExporter::Append(std::u32string_view text) { AppendPlain(m_text, text); }

void UnicodeStoryExporter::BeginParagraph(StoryPos const& at, Paragraph const& paragraph, bool) {
    auto const& story = *at.GetStory();
    auto const place = story.Find(at.GetIndex());
    if (!m_hasBegun) {
        m_hasBegun = true;
        m_noteCount = story.CountNotes({0, at.GetIndex()});
        if (m_withNumbers && !m_numberer)
            m_numberer = ParagraphNumbers(story, *m_styles).MakeNumberer(place.paragraph);
    }
    if (!m_withNumbers)
        return;
    auto const& resolved = m_resolved->Resolve(paragraph.GetAtts());
    auto const number = m_numberer->Next(*resolved);
    // A range that begins inside a paragraph has no number.
    if (place.offset == 0 && !number.empty())
        Append(DecodeUtf8(number.view()).text + U'\t');
}

void UnicodeStoryExporter::ReceiveText(StoryPos const&, std::u32string_view text, GlyphAttsRef const&) { Append(text); }

void UnicodeStoryExporter::ReceiveObject(StoryPos const&, Kernel::Counted<Glyph const> const& glyph,
                                         GlyphAttsRef const&) {
    auto const* const note = Kernel::CastPointer<NoteGlyph const>(glyph.get());
    if (note == nullptr) {
        Append(ExpandGlyph(*glyph, {m_fields.get()}));
        return;
    }
    ++m_noteCount;
    if (!m_withNotes)
        return;
    m_text += MakeMark(m_noteCount);
    AppendNote(m_noteCount, *note->GetStory());
}

void UnicodeStoryExporter::EndParagraph(StoryPos const&, Paragraph const&, bool hasSeparator) {
    if (hasSeparator)
        m_text += '\n';
}

void UnicodeStoryExporter::AppendNote(std::uint32_t number, Story const& note) {
    UnicodeStoryExporter exporter({}, m_fields, {}, m_withNumbers, false);
    exporter.Visit(note.Bind(note.GetClientAll()));
    m_notes += "\n" + MakeMark(number) + " " + exporter.m_text;
}

Kernel::String UnicodeStoryExporter::GetText() const {
    if (m_notes.empty())
        return {m_text};
    // An empty line parts the notes from the text.
    return {m_text + (m_text.empty() || m_text.back() == '\n' ? "" : "\n") + m_notes};
}

} // namespace Story
