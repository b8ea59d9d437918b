// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/epub/anchor_registry.h"
#include "platform/epub/export_settings.h"
#include "platform/story/field_glyphs.h"

#include <functional>
#include <memory>

namespace Story {
class NoteGlyph;
class Numberer;
class PinInterface;
} // namespace Story

namespace EPub {

// Writes texts as one page of HTML (the WHATWG's living standard), with its styles and pictures inside.
//
// Start, then any number of texts and pictures in the order of reading, then Finish. Places that links lead to are
// registered before the text that they stand in is written. An e-book compresses long texts while they are written.
// Characters that XML has no place for become U+FFFD.
class REDRAFT_ENGINE HtmlExporter {
public:
    // `options` may be null.
    HtmlExporter(Kernel::Counted<ExportSettings const> settings, Kernel::Counted<FlowingEPubOptions const> options);
    HtmlExporter(HtmlExporter const&) = delete;
    HtmlExporter& operator=(HtmlExporter const&) = delete;
    virtual ~HtmlExporter();

    // The ways back to the document. Where one is not set, the text has nothing in the place of such an object, and
    // links, notes and headings are without numbers.
    struct Callbacks {
        // Writes the pin's object through WritePicture and WriteStory.
        std::function<void(Kernel::JailCounted<Story::PinInterface>)> handlePin;
        // Whether that will be a picture alone, which may stand in a line.
        std::function<bool(Kernel::JailCounted<Story::PinInterface>)> writesPinAsImage;
        // 0 for a note without a number.
        std::function<int(Kernel::Counted<Story::NoteGlyph const>, Story::StoryPos const&)> getNoteNumber;
        // Counts on from a position; null for a text whose paragraphs have no numbers.
        std::function<Kernel::Counted<Story::Numberer>(Story::StoryPos const&)> makeNumberer;
        std::function<Kernel::String(Kernel::Counted<Story::FieldGlyph const>, Story::StoryPos const&)> expandField;
        // Before the text up to a position is written: marks that lie before it may be registered until this returns.
        std::function<void(Story::StoryPos const&)> reach;
        // Words that stand around texts, in a language; the last one where there are none in it.
        std::function<Kernel::String(Kernel::String const& key, Kernel::Counted<Story::Language const>,
                                     Kernel::String const& fallback)>
            lookUpString;
    };
    Callbacks& GetCallbacks() { return m_callbacks; }
    AnchorRegistry& GetAnchorRegistry();
    ExportSettings const& GetSettings() const;
    FlowingEPubOptions const& GetOptions() const;

    // Opens the file for writing, which empties it. `source` is the object that is exported; it is kept alive until
    // Finish.
    virtual void Start(Kernel::String const& path, Kernel::Counted<Kernel::Countable const> source);
    // Writes a story from its begin to `end`, at the end of a part of the publication: a file of an e-book by that
    // name, a section of HTML. Where the part has no headings, `title` names it in lists; empty: the publication's
    // title. False where the file could not be opened.
    bool ExportStory(Kernel::Counted<Story::Story const> story, Story::StoryPos const& end, Kernel::String const& file,
                     Kernel::String const& title);
    // The same with a picture.
    bool ExportPicture(Picture const& picture, Kernel::String const& file, Kernel::String const& title);
    // Writes what has been collected. False when that failed, in which case the file holds a part of it or nothing.
    virtual bool Finish();

    // For handlePin, while ExportStory runs: at the place that it has come to. A story that is just being written is
    // left out, so that texts that are pinned to one another end, and so are those in `c_maximumDepth` others.
    static constexpr std::size_t c_maximumDepth = 32;
    void WritePicture(Picture const& picture);
    void WriteStory(Kernel::Counted<Story::Story const> story);

    struct State;

protected:
    State& GetState() { return *m_state; }

private:
    Callbacks m_callbacks;
    std::unique_ptr<State> m_state;
};

} // namespace EPub
