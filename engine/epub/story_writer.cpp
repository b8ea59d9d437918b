// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/story_writer.h"

#include "engine/epub/css.h"
#include "engine/epub/link_address.h"
#include "platform/kernel/cast.h"
#include "platform/story/cross_reference.h"
#include "platform/story/pin.h"
#include "platform/story/reading_direction.h"

#include <algorithm>
#include <array>

namespace EPub {

namespace {

constexpr std::array<std::string_view, 6> c_headingElements{"h1", "h2", "h3", "h4", "h5", "h6"};
constexpr std::size_t c_maximumHeading = 1000;

// HTML shows runs of spaces as one, and none at a paragraph's begin.
bool NeedsSpaces(std::u32string_view text) {
    return text.find(U'\t') != text.npos || text.find(U"  ") != text.npos || text.starts_with(U' ');
}

// Nothing but spaces and objects that are pinned there.
bool IsPicturesOnly(Story::Paragraph const& paragraph, std::u32string_view text) {
    return text.find_first_not_of(U" \u00A0\uFFFC") == text.npos &&
           std::ranges::all_of(paragraph.GetObjects(),
                               [](auto const& object) { return Story::IsPinGlyph(*object.glyph); });
}

} // namespace

StoryWriter::StoryWriter(HtmlExporter::State& state, HtmlExporter::Callbacks const& callbacks,
                         HtmlExporter::State::Part& part, MarkupWriter& markup, std::vector<PendingNote>& notes,
                         Story::StoryRef story)
    : m_state(state),
      m_callbacks(callbacks),
      m_part(part),
      m_markup(markup),
      m_notes(notes),
      m_story(std::move(story)),
      m_links(state.anchors.GetLinks(*m_story)) {
    // Ids are given once, also where a text is written twice.
    m_hasMarks = state.markedStories.insert(m_story).second;
    m_state.writers.push_back(this);
    if (m_callbacks.makeNumberer)
        m_numberer = m_callbacks.makeNumberer(m_story->gbegin());
}

StoryWriter::~StoryWriter() { m_state.writers.pop_back(); }

void StoryWriter::Write(std::uint32_t end) {
    std::uint32_t begin = 0;
    for (std::size_t i = 0; i != m_story->GetParagraphCount() && begin < end; ++i) {
        auto const& paragraph = *m_story->GetParagraph(i);
        // The separator has nothing to show.
        auto const length = std::min(paragraph.GetLength() - 1, end - begin);
        m_isLast = i + 1 == m_story->GetParagraphCount() || begin + paragraph.GetLength() >= end;
        TakeMarks(m_isLast ? m_story->GetLength() : begin + paragraph.GetLength());
        WriteParagraph(paragraph, begin, length);
        begin += paragraph.GetLength();
        auto const pins = std::exchange(m_pendingPins, {});
        for (auto const& pin : pins)
            m_callbacks.handlePin(pin);
        m_state.CompressBody(m_part);
    }
}

// The marks before `end`, and maybe some behind it.
void StoryWriter::TakeMarks(std::uint32_t end) {
    if (!m_hasMarks)
        return;
    if (m_callbacks.reach)
        m_callbacks.reach({m_story, end});
    m_state.anchors.TakeMarks(*m_story, m_takenMarks, m_marks);
}

void StoryWriter::WriteParagraph(Story::Paragraph const& paragraph, std::uint32_t begin, std::uint32_t length) {
    auto const& look = m_state.classes.GetParagraphLook(paragraph.GetAtts());
    auto const text = paragraph.GetText().substr(0, length);
    m_state.classes.CountText(look, length);
    bool const isHeading = look.headingLevel != 0 && length != 0;
    auto const element =
        isHeading ? c_headingElements[std::min<std::size_t>(look.headingLevel, c_headingElements.size()) - 1] : "p";
    // A line that is made as high as a picture on the page is as high as that here by itself.
    bool const isPicture = !paragraph.GetObjects().empty() && IsPicturesOnly(paragraph, text);
    auto classes = isPicture ? look.styleClass : look.classes;
    if (!isPicture && NeedsSpaces(text))
        classes += classes.empty() ? "spaces" : " spaces";
    auto direction = look.direction;
    if (direction.empty() && length != 0 && Story::BeginsRightToLeft(text) != m_state.settings->isRightToLeft)
        direction = m_state.settings->isRightToLeft ? "ltr" : "rtl";
    m_markup.Begin(element);
    if (isHeading) {
        m_part.headings.push_back({look.headingLevel, {}, "heading" + std::to_string(++m_state.headingCount)});
        m_heading = &m_part.headings.back();
        m_markup.Attribute("id", m_heading->id);
    }
    m_markup.Optional("class", classes).Optional("dir", direction);
    m_markup.Optional("xml:lang", m_state.settings->isEPub ? look.language : std::string());
    m_markup.Optional("lang", look.language);
    auto const number = m_numberer ? m_numberer->Next(*look.resolved) : Kernel::String();
    if (!m_prefix.empty())
        m_markup.Raw(std::exchange(m_prefix, {}));
    if (!number.empty()) {
        m_markup.Begin("span").Attribute("class", "number").Text(number.view()).End().Raw(" ");
        if (m_heading != nullptr)
            m_heading->text = Story::DecodeUtf8(number.view()).text + U' ';
    }
    if (isPicture)
        WriteSpan(paragraph, 0, length, begin);
    else
        WriteContent(paragraph, begin, length);
    WriteMarks(m_isLast ? UINT32_MAX : begin + length + 1);
    // A line of its own, as on the page.
    if (length == 0 && number.empty())
        m_markup.Begin("br").EndVoid();
    m_markup.End().Raw("\n");
    m_heading = nullptr;
}

void StoryWriter::WriteContent(Story::Paragraph const& paragraph, std::uint32_t begin, std::uint32_t length) {
    std::uint32_t from = 0;
    Kernel::Counted<Story::HyperlinkAtt const> link;
    AnchorRegistry::Link const* registered = nullptr;
    auto const endLink = [&] {
        if (std::exchange(m_isInLink, false))
            m_markup.End();
    };
    auto const beginLink = [&](Kernel::Counted<Story::HyperlinkAtt const> const& own,
                               AnchorRegistry::Link const* other) {
        if (own == link && other == registered)
            return;
        endLink();
        link = own;
        registered = other;
        auto const address = own ? GetAddress(*own) : other != nullptr ? GetAddress(other->target) : std::string();
        if (!address.empty()) {
            m_markup.Begin("a").Attribute("href", address);
            m_isInLink = true;
        }
    };
    for (auto const& run : paragraph.GetRuns()) {
        auto const to = std::min(run.end, length);
        if (from >= to)
            break;
        auto const& look = m_state.classes.GetRunLook(run.atts, paragraph.GetAtts());
        while (from < to) {
            auto const* const next = FindLink(begin + from);
            bool const isInside = next != nullptr && next->range.begin <= begin + from;
            auto const end =
                next == nullptr ? to : std::min(to, (isInside ? next->range.end : next->range.begin) - begin);
            beginLink(look.link, isInside && !look.link ? next : nullptr);
            if (look.IsPlain()) {
                WriteSpan(paragraph, from, end, begin);
            } else {
                m_markup.Begin(look.isBold ? "b" : look.isItalic ? "i" : "span").Optional("class", look.classes);
                m_markup.Optional("xml:lang", m_state.settings->isEPub ? look.language : std::string());
                m_markup.Optional("lang", look.language);
                WriteSpan(paragraph, from, end, begin);
                m_markup.End();
            }
            from = end;
        }
    }
    endLink();
}

// The registered link that a glyph is in, else the next one behind it; null for none. Glyphs are asked for in ascending
// order.
AnchorRegistry::Link const* StoryWriter::FindLink(std::uint32_t index) {
    while (m_nextLink != m_links.size() && m_links[m_nextLink].range.end <= index)
        ++m_nextLink;
    return m_nextLink == m_links.size() ? nullptr : &m_links[m_nextLink];
}

// Glyphs `from` to `to` of a paragraph: text between marks and objects.
void StoryWriter::WriteSpan(Story::Paragraph const& paragraph, std::uint32_t from, std::uint32_t to,
                            std::uint32_t begin) {
    auto const text = paragraph.GetText();
    auto const& objects = paragraph.GetObjects();
    auto object = std::ranges::lower_bound(objects, from, {}, &Story::ObjectAt::index);
    while (from < to) {
        WriteMarks(begin + from + 1);
        if (object != objects.end() && object->index == from) {
            WriteObject(object->glyph, begin + from);
            ++object;
            ++from;
            continue;
        }
        auto next = object != objects.end() ? std::min(object->index, to) : to;
        if (m_nextMark < m_marks.size())
            next = std::min(next, m_marks[m_nextMark].index - begin);
        WriteText(text.substr(from, next - from));
        from = next;
    }
}

void StoryWriter::WriteText(std::u32string_view text) {
    if (m_heading != nullptr && m_heading->text.size() < c_maximumHeading)
        m_heading->text += text.substr(0, c_maximumHeading);
    while (!text.empty()) {
        auto const lineEnd = std::min(text.find(Story::c_lineSeparator), text.size());
        m_markup.Text(text.substr(0, lineEnd));
        if (lineEnd == text.size())
            break;
        m_markup.Begin("br").EndVoid();
        text.remove_prefix(lineEnd + 1);
    }
}

// Marks in front of glyphs before `end`.
void StoryWriter::WriteMarks(std::uint32_t end) {
    for (; m_nextMark < m_marks.size() && m_marks[m_nextMark].index < end; ++m_nextMark) {
        auto const& mark = m_marks[m_nextMark];
        m_markup.Begin("span").Attribute("id", mark.id);
        if (mark.pageLabel) {
            if (m_state.settings->isEPub)
                m_markup.Attribute("epub:type", "pagebreak");
            m_markup.Attribute("role", "doc-pagebreak").Attribute("aria-label", mark.pageLabel->view());
        }
        m_markup.End();
    }
}

void StoryWriter::WriteObject(Kernel::Counted<Story::Glyph const> const& glyph, std::uint32_t index) {
    if (auto const note = Kernel::Cast<Story::NoteGlyph const>(glyph)) {
        WriteNoteReference(note, index);
        return;
    }
    if (auto const pin = Kernel::Cast<Story::PinGlyph const>(glyph)) {
        if (pin->GetPin())
            WritePin(pin->GetPin());
        return;
    }
    auto const field = Kernel::Cast<Story::FieldGlyph const>(glyph);
    std::u32string text;
    if (field) {
        if (m_callbacks.expandField)
            text = Story::DecodeUtf8(m_callbacks.expandField(field, {m_story, index}).view()).text;
    } else {
        text = Story::ExpandGlyph(*glyph, {});
    }
    auto const* const reference = Kernel::CastPointer<Story::CrossReferenceGlyph const>(glyph.get());
    auto const address = reference != nullptr && reference->GetAnchorData() && !m_isInLink && !text.empty()
                             ? GetAddress(*reference->GetAnchorData())
                             : std::string();
    if (!address.empty())
        m_markup.Begin("a").Attribute("href", address);
    WriteText(text);
    if (!address.empty())
        m_markup.End();
}

void StoryWriter::WriteNoteReference(Kernel::Counted<Story::NoteGlyph const> const& note, std::uint32_t index) {
    auto const number = m_callbacks.getNoteNumber ? m_callbacks.getNoteNumber(note, {m_story, index}) : 0;
    auto const id = std::to_string(++m_state.noteCount);
    m_notes.push_back({note, "reference" + id, "note" + id, number > 0 ? std::to_string(number) : "*"});
    auto const& pending = m_notes.back();
    // A link cannot stand in a link.
    m_markup.Begin(m_isInLink ? "span" : "a").Attribute("class", "noteref").Attribute("id", pending.referenceId);
    if (!m_isInLink) {
        m_markup.Attribute("href", "#" + pending.textId);
        if (m_state.settings->isEPub)
            m_markup.Attribute("epub:type", "noteref");
        m_markup.Attribute("role", "doc-noteref");
    }
    m_markup.Text(pending.label).End();
}

void StoryWriter::WritePin(Kernel::JailCounted<Story::PinInterface> const& pin) {
    if (!m_callbacks.handlePin)
        return;
    if (m_callbacks.writesPinAsImage && m_callbacks.writesPinAsImage(pin))
        m_callbacks.handlePin(pin);
    else
        m_pendingPins.push_back(pin);
}

void WritePictureElement(HtmlExporter::State& state, MarkupWriter& markup, Picture const& picture) {
    markup.Begin("img").Attribute("src", state.AddPicture(picture.png));
    markup.Attribute("alt", picture.isDecoration ? std::string_view() : picture.alternativeText.view());
    if (picture.isDecoration)
        markup.Attribute("role", "presentation");
    if (picture.width >= 0.5)
        markup.Attribute("style", "width: " + FormatCssNumber(picture.width) + "px;");
    markup.EndVoid();
}

void StoryWriter::WriteInner(Story::StoryRef const& story) {
    bool const isOpen = std::ranges::any_of(m_state.writers, [&](auto* each) { return each->GetStory() == story; });
    if (isOpen || m_state.writers.size() >= HtmlExporter::c_maximumDepth)
        return;
    m_markup.Begin("div").Raw("\n");
    StoryWriter inner(m_state, m_callbacks, m_part, m_markup, m_notes, story);
    inner.Write(story->GetLength());
    m_markup.End().Raw("\n");
}

std::string StoryWriter::GetAddress(Story::HyperlinkAtt const& link) const {
    return link.GetAnchorData() ? GetAddress(*link.GetAnchorData()) : MakeLinkAddress(link.GetUrl().view());
}

std::string StoryWriter::GetAddress(Story::AnchorData const& anchor) const {
    auto const target = m_state.anchors.FindAnchor(anchor);
    return target ? GetAddress(*target) : std::string();
}

std::string StoryWriter::GetAddress(AnchorRegistry::Target const& target) const {
    bool const isHere = !m_state.settings->isEPub || target.file == m_part.file;
    return (isHere ? std::string() : target.file.ToStdString()) + "#" + target.id;
}

void StoryWriter::WriteNotes(HtmlExporter::State& state, HtmlExporter::Callbacks const& callbacks,
                             HtmlExporter::State::Part& part, MarkupWriter& markup, std::vector<PendingNote> notes) {
    if (notes.empty())
        return;
    bool const isEPub = state.settings->isEPub;
    markup.Begin("section").Attribute("class", "notes");
    if (isEPub)
        markup.Attribute("epub:type", "endnotes");
    markup.Attribute("role", "doc-endnotes").Attribute("aria-label", state.LookUp(callbacks, "notes", "Notes"));
    markup.Raw("\n");
    // Notes of notes come behind all others.
    while (!notes.empty()) {
        std::vector<PendingNote> deeper;
        for (auto const& note : notes) {
            markup.Begin("aside").Attribute("id", note.textId);
            if (isEPub)
                markup.Attribute("epub:type", "footnote");
            markup.Attribute("role", "doc-footnote").Raw("\n");
            std::string prefix;
            MarkupWriter(prefix).Begin("a").Attribute("href", "#" + note.referenceId).Text(note.label).End().Raw(" ");
            StoryWriter writer(state, callbacks, part, markup, deeper, note.glyph->GetStory());
            writer.SetPrefix(std::move(prefix));
            writer.Write(note.glyph->GetStory()->GetLength());
            markup.End().Raw("\n");
        }
        notes = std::move(deeper);
    }
    markup.End().Raw("\n");
}

} // namespace EPub
