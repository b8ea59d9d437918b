// SPDX-License-Identifier: Apache-2.0
#include "platform/story/note.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_list.h"
#include "platform/story/story.h"

#include <algorithm>
#include <mutex>
#include <string>

namespace Story {

// A note's text as it stands on file, in one piece: its paragraphs' own form could hold the note itself. The attributes
// may still be empty while a graph is loaded, so that the story is made when it is first asked for.
struct NoteGlyph::Loaded {
    std::u32string text;
    std::vector<std::uint32_t> runEnds;
    std::vector<GlyphAttsRef> runAtts;
    std::vector<ParagraphAttsRef> paragraphAtts;
    std::vector<std::uint32_t> places;
    std::vector<Kernel::Counted<Glyph const>> objects;

    Kernel::Counted<Story const> MakeStory() const;
};

namespace {

Kernel::Counted<Story const> CheckNote(Kernel::Counted<Story const> story) {
    if (!story)
        return Kernel::MakeCounted<Story>();
    story->VisitObjects(story->GetAll(), [](std::uint32_t, Kernel::Counted<Glyph const> const& glyph) {
        if (IsNoteGlyph(*glyph))
            throw Kernel::Exception("a note cannot hold a note");
        return true;
    });
    return story;
}

} // namespace

// Parts that do not fit together in a forged file are brought into order, and notes within the note are left out.
Kernel::Counted<Story const> NoteGlyph::Loaded::MakeStory() const {
    auto story = Kernel::MakeCounted<Story>();
    GlyphSink sink(story);
    std::size_t run = 0, paragraph = 0, object = 0;
    auto const setParagraph = [&] {
        sink.SetParagraphAtts(paragraph < paragraphAtts.size() ? paragraphAtts[paragraph] : nullptr);
        ++paragraph;
    };
    bool isNewRun = true;
    auto const goTo = [&](std::uint32_t index) {
        for (; run < runEnds.size() && runEnds[run] <= index; ++run)
            isNewRun = true;
        if (std::exchange(isNewRun, false))
            sink.SetGlyphAtts(run < runAtts.size() ? runAtts[run] : nullptr);
    };
    setParagraph();
    for (std::uint32_t i = 0; i != text.size(); ++i) {
        goTo(i);
        char32_t const c = text[i];
        if (c == c_objectCharacter) {
            while (object < places.size() && places[object] < i)
                ++object;
            bool const isThere = object < places.size() && object < objects.size() && places[object] == i &&
                                 objects[object] && !objects[object]->IsCharacter() && !IsNoteGlyph(*objects[object]);
            if (isThere)
                sink.Add(objects[object]);
            continue;
        }
        sink.Add(c);
        if (c == c_paragraphSeparator)
            setParagraph();
    }
    goTo(static_cast<std::uint32_t>(text.size()));
    sink.Flush();
    return story;
}

NoteGlyph::NoteGlyph() : m_story(Kernel::MakeCounted<Story>()) {}
NoteGlyph::NoteGlyph(Kind kind, Kernel::Counted<Story const> story)
    : m_kind(kind), m_story(CheckNote(std::move(story))) {}
NoteGlyph::~NoteGlyph() = default;

Kernel::Counted<Story const> NoteGlyph::GetStory() const {
    if (m_isSettled.load(std::memory_order_acquire)) [[likely]]
        return m_story;
    static std::mutex s_mutex;
    std::lock_guard const lock(s_mutex);
    if (!m_isSettled.load(std::memory_order_acquire)) {
        m_story = m_loaded->MakeStory();
        m_loaded.reset();
        m_isSettled.store(true, std::memory_order_release);
    }
    return m_story;
}

void NoteGlyph::SetStory(Kernel::Counted<Story const> story) {
    m_story = CheckNote(std::move(story));
    m_loaded.reset();
    m_isSettled.store(true, std::memory_order_release);
    MarkChanged();
}

std::u32string NoteGlyph::Expand(ExpansionContext const& context) const {
    if (context.note == 0)
        return {};
    auto const digits = std::to_string(context.note);
    return {digits.begin(), digits.end()};
}

Kernel::Counted<Glyph const> NoteGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<NoteGlyph>(m_kind, GetStory()->CloneWithOwnGlyphs());
}

// The last separator is not written.
void NoteGlyph::Save(Kernel::OutSerialiser& out) const {
    auto const story = GetStory();
    std::u32string text;
    std::vector<std::uint32_t> runEnds, places;
    std::vector<GlyphAttsRef> runAtts;
    std::vector<ParagraphAttsRef> paragraphAtts;
    std::vector<Kernel::Counted<Glyph const>> objects;
    for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
        auto const& paragraph = *story->GetParagraph(i);
        auto const begin = static_cast<std::uint32_t>(text.size());
        for (auto const& run : paragraph.GetRuns()) {
            runEnds.push_back(begin + run.end);
            runAtts.push_back(run.atts);
        }
        for (auto const& object : paragraph.GetObjects()) {
            places.push_back(begin + object.index);
            objects.push_back(object.glyph);
        }
        paragraphAtts.push_back(paragraph.GetAtts());
        text += paragraph.GetText();
    }
    text.pop_back();
    Kernel::SaveValue(out, "Kind", static_cast<std::uint32_t>(m_kind));
    Kernel::SaveValue(out, "Text", Kernel::String(EncodeUtf8(text)));
    Kernel::SaveValue(out, "RunE", runEnds);
    Kernel::SaveValue(out, "RunA", runAtts);
    Kernel::SaveValue(out, "PAtt", paragraphAtts);
    if (!objects.empty()) {
        Kernel::SaveValue(out, "ObjI", places);
        Kernel::SaveValue(out, "ObjG", objects);
    }
}

bool NoteGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    auto loaded = std::make_shared<Loaded>();
    std::uint32_t kind = 0;
    Kernel::String text;
    Kernel::LoadValue(in, "Kind", kind);
    Kernel::LoadValue(in, "Text", text);
    Kernel::LoadValue(in, "RunE", loaded->runEnds);
    Kernel::LoadValue(in, "RunA", loaded->runAtts);
    Kernel::LoadValue(in, "PAtt", loaded->paragraphAtts);
    Kernel::LoadValue(in, "ObjI", loaded->places);
    Kernel::LoadValue(in, "ObjG", loaded->objects);
    m_kind = kind == 1 ? Kind::Endnote : Kind::Footnote;
    loaded->text = DecodeUtf8(text.view()).text;
    if (loaded->text.size() >= Paragraph::c_maximumLength)
        loaded->text.resize(Paragraph::c_maximumLength - 1);
    m_story.reset();
    m_loaded = std::move(loaded);
    m_isSettled.store(false, std::memory_order_release);
    return true;
}

} // namespace Story
