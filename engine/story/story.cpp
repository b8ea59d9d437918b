// SPDX-License-Identifier: Apache-2.0
#include "engine/story/story_content.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/inline_object.h"
#include "platform/story/note.h"

#include <algorithm>
#include <limits>
#include <mutex>

namespace Story {

namespace {

std::uint32_t CountNotesBefore(Paragraph const& paragraph, std::uint32_t index) {
    std::uint32_t count = 0;
    for (auto const& object : paragraph.GetObjects())
        count += object.index < index && IsNoteGlyph(*object.glyph) ? 1 : 0;
    return count;
}

} // namespace

std::shared_ptr<Story::Content const> Story::Content::Make(std::vector<BlockRef> blocks) {
    auto content = std::make_shared<Content>();
    content->blocks.reserve(blocks.size());
    std::uint64_t length = 0;
    std::uint32_t notes = 0;
    for (auto& block : blocks) {
        content->blocks.push_back({block, content->paragraphCount, static_cast<std::uint32_t>(length), notes});
        notes += block->noteCount;
        content->paragraphCount += block->paragraphs.size();
        length += block->begins.back();
        if (length > c_maximumLength)
            throw Kernel::Exception("the text is too long: a story holds 268 million characters at most");
    }
    content->length = static_cast<std::uint32_t>(length);
    return content;
}

void Story::Block::Add(ParagraphRef paragraph) {
    std::uint32_t const begin = begins.empty() ? 0 : begins.back();
    if (begins.empty())
        begins.push_back(0);
    if (!paragraph->GetObjects().empty())
        withObjects.push_back(static_cast<std::uint16_t>(paragraphs.size()));
    noteCount += CountNotesBefore(*paragraph, paragraph->GetLength());
    begins.push_back(begin + paragraph->GetLength());
    paragraphs.push_back(std::move(paragraph));
}

// A forged block may have any number of paragraphs of any length: what is too much is left out, as long as each number
// here has room for it.
void Story::Block::Settle() {
    if (m_isSettled.load(std::memory_order_acquire))
        return;
    static std::mutex s_mutex;
    std::lock_guard const lock(s_mutex);
    if (m_isSettled.load(std::memory_order_acquire))
        return;
    for (auto const& paragraph : m_loaded) {
        bool const isFull = paragraphs.size() == std::numeric_limits<std::uint16_t>::max() ||
                            (!begins.empty() && begins.back() > c_maximumLength);
        if (!paragraph || isFull)
            continue;
        paragraph->Settle();
        Add(paragraph);
    }
    m_loaded = {};
    m_isSettled.store(true, std::memory_order_release);
}

void Story::Block::Save(Kernel::OutSerialiser& out) const {
    if (m_isSettled.load(std::memory_order_acquire))
        Kernel::SaveValue(out, "Pars", paragraphs);
    else
        Kernel::SaveValue(out, "Pars", m_loaded);
}
bool Story::Block::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    paragraphs.clear();
    begins.clear();
    withObjects.clear();
    noteCount = 0;
    m_loaded.clear();
    Kernel::LoadValue(in, "Pars", m_loaded);
    m_isSettled.store(false, std::memory_order_release);
    return true;
}

void Story::Content::AppendBlocks(std::vector<BlockRef>& blocks, std::vector<ParagraphRef> const& paragraphs) {
    for (std::size_t i = 0; i < paragraphs.size(); i += Block::c_capacity) {
        auto block = Kernel::MakeCounted<Block>();
        std::size_t const end = std::min(i + Block::c_capacity, paragraphs.size());
        block->paragraphs.reserve(end - i);
        block->begins.reserve(end - i + 1);
        for (std::size_t j = i; j != end; ++j)
            block->Add(paragraphs[j]);
        blocks.push_back(std::move(block));
    }
}

Story::Content::Entry const& Story::Content::FindBlockOfParagraph(std::size_t index) const {
    auto const next = std::upper_bound(blocks.begin(), blocks.end(), index, [](std::size_t wanted, Entry const& entry) {
        return wanted < entry.firstParagraph;
    });
    return *std::prev(next);
}

ParagraphRef const& Story::Content::GetParagraph(std::size_t index) const {
    auto const& entry = FindBlockOfParagraph(std::min(index, paragraphCount - 1));
    return entry.block->paragraphs[std::min(index, paragraphCount - 1) - entry.firstParagraph];
}

std::shared_ptr<Story::Content const> const& Story::GetEmptyContent() {
    static auto const& s_empty = *new std::shared_ptr<Content const>([] {
        std::vector<Content::BlockRef> blocks;
        Content::AppendBlocks(blocks, {Kernel::MakeCounted<Paragraph>()});
        return Content::Make(std::move(blocks));
    }());
    return s_empty;
}

Story::Story() : m_content(GetEmptyContent()) {}

Story::Story(Story const& other) : Kernel::Countable(), Kernel::Serialisable(other) {
    other.Get();
    m_content = other.m_content;
    m_writingMode = other.m_writingMode;
    other.m_copyCount.fetch_add(1, std::memory_order_acq_rel);
}

Story::~Story() = default;

Story::Content const& Story::Get() const {
    if (m_isSettled.load(std::memory_order_acquire)) [[likely]]
        return *m_content;
    static std::mutex s_mutex;
    std::lock_guard const lock(s_mutex);
    if (m_isSettled.load(std::memory_order_acquire))
        return *m_content;
    std::vector<ParagraphRef> paragraphs;
    std::vector<Content::BlockRef> blocks;
    std::uint64_t length = 0;
    for (auto const& block : m_content->loaded) {
        if (!block)
            continue;
        block->Settle();
        bool const isEmpty = block->paragraphs.empty();
        length += isEmpty ? 0 : block->begins.back();
        if (length > c_maximumLength)
            break;
        if (!isEmpty)
            blocks.push_back(block);
    }
    for (auto const& paragraph : m_loaded) {
        if (!paragraph)
            continue;
        paragraph->Settle();
        length += paragraph->GetLength();
        if (length > c_maximumLength)
            break;
        paragraphs.push_back(paragraph);
    }
    Content::AppendBlocks(blocks, paragraphs);
    m_content = blocks.empty() ? GetEmptyContent() : Content::Make(std::move(blocks));
    m_loaded.clear();
    m_isSettled.store(true, std::memory_order_release);
    return *m_content;
}

std::uint32_t Story::GetLength() const { return Get().length; }
std::size_t Story::GetParagraphCount() const { return Get().paragraphCount; }
ParagraphRef const& Story::GetParagraph(std::size_t index) const { return Get().GetParagraph(index); }

Story::Place Story::Find(std::uint32_t index) const {
    auto const& content = Get();
    index = std::min(index, content.length - 1);
    auto const next =
        std::upper_bound(content.blocks.begin(), content.blocks.end(), index,
                         [](std::uint32_t wanted, Content::Entry const& entry) { return wanted < entry.begin; });
    auto const& entry = *std::prev(next);
    auto const& begins = entry.block->begins;
    auto const after = std::upper_bound(begins.begin(), begins.end(), index - entry.begin);
    auto const number = static_cast<std::size_t>(std::prev(after) - begins.begin());
    std::uint32_t const begin = entry.begin + begins[number];
    return {entry.firstParagraph + number, begin, index - begin};
}

std::uint32_t Story::GetParagraphBegin(std::size_t index) const {
    auto const& content = Get();
    if (index >= content.paragraphCount)
        return content.length;
    auto const& entry = content.FindBlockOfParagraph(index);
    return entry.begin + entry.block->begins[index - entry.firstParagraph];
}

std::size_t Story::CountCommonPrefix(Story const& other) const {
    auto const& a = Get();
    auto const& b = other.Get();
    std::size_t block = 0;
    while (block < a.blocks.size() && block < b.blocks.size() && a.blocks[block].block == b.blocks[block].block)
        ++block;
    std::size_t count = block == a.blocks.size() ? a.paragraphCount : a.blocks[block].firstParagraph;
    std::size_t const limit = std::min(a.paragraphCount, b.paragraphCount);
    while (count < limit && a.GetParagraph(count) == b.GetParagraph(count))
        ++count;
    return count;
}

std::uint32_t Story::CountNotes(StoryRange range) const {
    auto const& content = Get();
    auto const countBefore = [&](std::uint32_t index) {
        if (index >= content.length)
            return content.blocks.back().notesBefore + content.blocks.back().block->noteCount;
        auto const place = Find(index);
        auto const& entry = content.FindBlockOfParagraph(place.paragraph);
        std::uint32_t count = entry.notesBefore;
        if (entry.block->noteCount == 0)
            return count;
        auto const number = place.paragraph - entry.firstParagraph;
        for (auto const i : entry.block->withObjects) {
            if (i >= number)
                break;
            auto const& paragraph = *entry.block->paragraphs[i];
            count += CountNotesBefore(paragraph, paragraph.GetLength());
        }
        return count + CountNotesBefore(*entry.block->paragraphs[number], place.offset);
    };
    return range.empty() ? 0 : countBefore(range.end) - countBefore(range.begin);
}

Kernel::Counted<Glyph const> Story::GetGlyph(std::uint32_t index) const {
    auto const place = Find(index);
    return GetParagraph(place.paragraph)->GetGlyph(place.offset);
}
GlyphAttsRef Story::GetGlyphAtts(std::uint32_t index) const {
    auto const place = Find(index);
    return GetParagraph(place.paragraph)->GetGlyphAtts(place.offset);
}
ParagraphAttsRef Story::GetParagraphAtts(std::uint32_t index) const {
    return GetParagraph(Find(index).paragraph)->GetAtts();
}

std::u32string Story::GetText(StoryRange range) const {
    std::u32string text;
    range.end = std::min(range.end, GetLength());
    if (range.empty())
        return text;
    text.reserve(range.GetSize());
    auto place = Find(range.begin);
    for (std::uint32_t at = range.begin; at < range.end;) {
        auto const piece = GetParagraph(place.paragraph)->GetText().substr(place.offset, range.end - at);
        text += piece;
        at += static_cast<std::uint32_t>(piece.size());
        place = {place.paragraph + 1, at, 0};
    }
    return text;
}

Kernel::String Story::GetString(StoryRange range) const {
    auto text = GetText(range);
    std::erase(text, c_objectCharacter);
    for (auto& c : text) {
        if (IsHardBreakCharacter(c))
            c = U'\n';
    }
    return EncodeUtf8(text);
}

bool operator==(Story const& a, Story const& b) {
    if (a.GetLength() != b.GetLength() || a.GetParagraphCount() != b.GetParagraphCount() ||
        a.m_writingMode != b.m_writingMode)
        return false;
    for (std::size_t i = 0; i != a.GetParagraphCount(); ++i) {
        auto const& left = a.GetParagraph(i);
        auto const& right = b.GetParagraph(i);
        if (left != right && !(*left == *right))
            return false;
    }
    return true;
}

// A text of several blocks names these, so that versions share them on file. How a text is cut into blocks depends on
// how it was edited and is no part of what it says: for its hash it names its paragraphs, as a short text always does.
void Story::Save(Kernel::OutSerialiser& out) const {
    auto const& content = Get();
    if (m_writingMode != WritingMode::Horizontal)
        Kernel::SaveValue(out, "WMod", static_cast<std::uint32_t>(m_writingMode));
    if (content.blocks.size() > 1 && !out.IsForHash()) {
        std::size_t next = 0;
        Kernel::SaveObjectArray(out, "Blks", content.blocks.size(), [&] {
            return Kernel::NonCounted<Kernel::Serialisable const>(content.blocks[next++].block.get());
        });
        return;
    }
    std::size_t block = 0, at = 0;
    Kernel::SaveObjectArray(out, "Pars", content.paragraphCount, [&] {
        while (at == content.blocks[block].block->paragraphs.size()) {
            ++block;
            at = 0;
        }
        return Kernel::NonCounted<Kernel::Serialisable const>(content.blocks[block].block->paragraphs[at++].get());
    });
}

bool Story::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    m_loaded.clear();
    Kernel::LoadValue(in, "Pars", m_loaded);
    auto content = std::make_shared<Content>();
    Kernel::LoadValue(in, "Blks", content->loaded);
    std::uint32_t mode = 0;
    Kernel::LoadValue(in, "WMod", mode);
    m_writingMode =
        mode == static_cast<std::uint32_t>(WritingMode::Vertical) ? WritingMode::Vertical : WritingMode::Horizontal;
    m_content = std::move(content);
    m_ownGlyphs.clear();
    m_isSettled.store(false, std::memory_order_release);
    return true;
}

// StoryRanges and GlyphString

StoryRanges::StoryRanges(std::vector<StoryRange> ranges) {
    std::sort(ranges.begin(), ranges.end(), [](StoryRange const& a, StoryRange const& b) { return a.begin < b.begin; });
    for (auto const& range : ranges) {
        if (!m_ranges.empty() && range.begin <= m_ranges.back().end)
            m_ranges.back().end = std::max(m_ranges.back().end, range.end);
        else
            m_ranges.push_back(range);
    }
}
StoryRange StoryRanges::GetMaxRange() const {
    return m_ranges.empty() ? StoryRange() : StoryRange{m_ranges.front().begin, m_ranges.back().end};
}

GlyphString::GlyphString(Kernel::String const& text) : m_text(DecodeUtf8(text.view()).text) {}
void GlyphString::Add(Kernel::Counted<Glyph const> glyph) {
    if (!glyph->IsCharacter())
        m_objects.push_back({GetLength(), glyph});
    m_text.push_back(glyph->GetCharacter());
}

bool operator==(GlyphString const& a, GlyphString const& b) {
    return a.m_text == b.m_text &&
           std::equal(a.m_objects.begin(), a.m_objects.end(), b.m_objects.begin(), b.m_objects.end(),
                      [](ObjectAt const& one, ObjectAt const& other) { return one.glyph == other.glyph; });
}

// Objects follow in their order; each has its place in the text.
void GlyphString::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Text", Kernel::String(EncodeUtf8(m_text)));
    if (m_objects.empty())
        return;
    std::vector<Kernel::Counted<Glyph const>> objects;
    for (auto const& object : m_objects)
        objects.push_back(object.glyph);
    Kernel::SaveValue(out, "Objs", objects);
}

// A place without an object goes. So does an object that calls itself a character, as a forged file may have it.
bool GlyphString::Load(Kernel::InSerialiser const& in, Kernel::ClassUID, unsigned short) {
    Kernel::String text;
    std::vector<Kernel::Counted<Glyph const>> objects;
    Kernel::LoadValue(in, "Text", text);
    Kernel::LoadValue(in, "Objs", objects);
    m_text.clear();
    m_objects.clear();
    auto object = objects.begin();
    for (char32_t const c : DecodeUtf8(text.view()).text) {
        if (c != c_objectCharacter) {
            m_text.push_back(c);
        } else if (object != objects.end()) {
            auto glyph = std::move(*object++);
            if (glyph && Kernel::CastPointer<CharacterGlyph const>(glyph.get()) == nullptr)
                Add(std::move(glyph));
        }
    }
    return true;
}

} // namespace Story
