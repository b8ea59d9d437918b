// SPDX-License-Identifier: Apache-2.0
// Objects that stand in a story: how they are found, and edited by copy.
#include "engine/story/story_content.h"
#include "platform/kernel/cast.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

namespace Story {

std::size_t Story::FindParagraphWithObjects(std::size_t index) const {
    auto const& content = Get();
    if (index >= content.paragraphCount)
        return content.paragraphCount;
    auto const* entry = &content.FindBlockOfParagraph(index);
    auto const* const end = content.blocks.data() + content.blocks.size();
    for (; entry != end; ++entry) {
        auto const& places = entry->block->withObjects;
        auto const from = index > entry->firstParagraph ? index - entry->firstParagraph : 0;
        auto const found = std::lower_bound(places.begin(), places.end(), from);
        if (found != places.end())
            return entry->firstParagraph + *found;
    }
    return content.paragraphCount;
}

void Story::VisitObjects(
    StoryRange range,
    std::function<bool(std::uint32_t index, Kernel::Counted<Glyph const> const& glyph)> const& visit) const {
    range.end = std::min(range.end, GetLength());
    if (range.empty())
        return;
    std::size_t const count = GetParagraphCount();
    for (auto i = FindParagraphWithObjects(Find(range.begin).paragraph); i != count;
         i = FindParagraphWithObjects(i + 1)) {
        std::uint32_t const begin = GetParagraphBegin(i);
        if (begin >= range.end)
            return;
        for (auto const& object : GetParagraph(i)->GetObjects()) {
            std::uint32_t const index = begin + object.index;
            if (index >= range.end)
                return;
            if (index >= range.begin && !visit(index, object.glyph))
                return;
        }
    }
}

std::vector<ObjectAt> Story::FindObjects(StoryRange range) const {
    std::vector<ObjectAt> objects;
    VisitObjects(range, [&](std::uint32_t index, Kernel::Counted<Glyph const> const& glyph) {
        objects.push_back({index, glyph});
        return true;
    });
    return objects;
}

// Each paragraph is made once, however many of its objects change, and each block too.
void Story::ReplaceObjects(std::vector<ObjectAt> const& objects) {
    auto const& content = Get();
    std::vector<Content::BlockRef> blocks;
    blocks.reserve(content.blocks.size());
    for (auto const& entry : content.blocks)
        blocks.push_back(entry.block);
    std::optional<std::size_t> openBlock;
    std::vector<ParagraphRef> paragraphs;
    bool isChanged = false;
    auto const closeBlock = [&] {
        if (!openBlock)
            return;
        std::vector<Content::BlockRef> made;
        Content::AppendBlocks(made, paragraphs);
        blocks[*openBlock] = std::move(made.front());
        openBlock.reset();
    };
    for (std::size_t i = 0; i != objects.size();) {
        auto const place = Find(objects[i].index);
        auto const& paragraph = *content.GetParagraph(place.paragraph);
        auto const paragraphEnd = place.paragraphBegin + paragraph.GetLength();
        auto changed = paragraph.GetObjects();
        bool differs = false;
        std::size_t const first = i;
        for (; i != objects.size() && objects[i].index < paragraphEnd && objects[i].index >= place.paragraphBegin;
             ++i) {
            auto const found = std::lower_bound(changed.begin(), changed.end(), objects[i].index - place.paragraphBegin,
                                                [](ObjectAt const& each, std::uint32_t at) { return each.index < at; });
            bool const isObject = found != changed.end() && found->index == objects[i].index - place.paragraphBegin;
            if (!isObject || !objects[i].glyph || objects[i].glyph->IsCharacter() || found->glyph == objects[i].glyph)
                continue;
            found->glyph = objects[i].glyph;
            differs = true;
        }
        // An index beyond the story's end.
        if (i == first)
            ++i;
        if (!differs)
            continue;
        auto const block =
            static_cast<std::size_t>(&content.FindBlockOfParagraph(place.paragraph) - content.blocks.data());
        if (openBlock != block) {
            closeBlock();
            openBlock = block;
            paragraphs = content.blocks[block].block->paragraphs;
        }
        paragraphs[place.paragraph - content.blocks[block].firstParagraph] = Kernel::MakeCounted<Paragraph>(
            std::u32string(paragraph.GetText()), paragraph.GetRuns(), std::move(changed), paragraph.GetAtts());
        isChanged = true;
    }
    closeBlock();
    if (!isChanged)
        return;
    m_content = Content::Make(std::move(blocks));
    MarkChanged();
}

Kernel::Counted<Glyph> Story::GetMutableGlyph(std::uint32_t index) { return GetMutableGlyphs({index}).front(); }

std::vector<Kernel::Counted<Glyph>> Story::GetMutableGlyphs(std::vector<std::uint32_t> const& indices) {
    if (auto const copies = m_copyCount.load(std::memory_order_acquire); copies != m_ownSince) {
        m_ownGlyphs.clear();
        m_ownSince = copies;
    }
    std::vector<Kernel::Counted<Glyph>> result;
    std::vector<ObjectAt> changed;
    for (std::uint32_t const index : indices) {
        auto const place = Find(index);
        auto glyph = index < GetLength() ? GetParagraph(place.paragraph)->FindObject(place.offset) : nullptr;
        if (glyph && !changed.empty() && changed.back().index == index)
            glyph = changed.back().glyph;
        if (glyph && !m_ownGlyphs.contains(glyph.get())) {
            auto copy = CopyGlyph(*glyph);
            m_ownGlyphs.emplace(copy.get(), copy);
            changed.push_back({index, copy});
            glyph = std::move(copy);
        }
        // Only this story has it.
        result.emplace_back(const_cast<Glyph*>(glyph.get()));
    }
    ReplaceObjects(changed);
    return result;
}

// A copy that stands for the same thing: an anchor stays what references lead to, and a note has the same text.
Kernel::Counted<Glyph const> Story::CopyGlyph(Glyph const& glyph) {
    if (auto const* const anchor = Kernel::CastPointer<AnchorGlyph const>(&glyph))
        return Kernel::MakeCounted<AnchorGlyph>(anchor->GetAnchorData());
    if (auto const* const note = Kernel::CastPointer<NoteGlyph const>(&glyph))
        return Kernel::MakeCounted<NoteGlyph>(note->GetKind(), note->GetStory());
    return glyph.Clone(GlyphCloneContext::CloneGlyphs);
}

namespace {

// Makes the objects of copied stories, those of their notes included, objects of their own.
class OwnGlyphs {
public:
    explicit OwnGlyphs(std::function<Kernel::String(Glyph const&)> const& makeUid) : m_makeUid(makeUid) {}

    void CopyIn(Kernel::Counted<Story> const& copy) {
        auto objects = copy->FindObjects(copy->GetAll());
        for (auto& object : objects)
            object.glyph = Copy(*object.glyph);
        copy->ReplaceObjects(objects);
        m_stories.push_back(copy);
    }
    // A link to an anchor that was copied leads to its copy from now on.
    void Redirect() const {
        for (auto const& story : m_stories) {
            for (auto const& object : story->FindObjects(story->GetAll())) {
                auto const* const reference = Kernel::CastPointer<CrossReferenceGlyph const>(object.glyph.get());
                auto const copied = reference == nullptr ? nullptr : FindCopy(reference->GetAnchorData().get());
                // The copy is this story's alone until it is handed over.
                if (copied)
                    const_cast<CrossReferenceGlyph*>(reference)->SetAnchorData(copied, reference->GetAnchorFlag());
            }
            if (!m_anchors.empty())
                RedirectLinks(*story);
        }
    }

private:
    Kernel::Counted<Glyph const> Copy(Glyph const& from) {
        if (auto const* const note = Kernel::CastPointer<NoteGlyph const>(&from)) {
            auto text = note->GetStory()->Clone();
            CopyIn(text);
            return Kernel::MakeCounted<NoteGlyph>(note->GetKind(), text);
        }
        auto glyph = from.Clone(GlyphCloneContext::CloneGlyphs);
        auto const* const anchor = Kernel::CastPointer<AnchorGlyph const>(&from);
        auto const* const copied = Kernel::CastPointer<AnchorGlyph const>(glyph.get());
        if (anchor == nullptr || copied == nullptr)
            return glyph;
        // Two marks of one anchor mark one anchor in the copy.
        auto const [known, isNew] = m_anchors.try_emplace(anchor->GetAnchorData().get(), copied->GetAnchorData());
        if (!isNew)
            return Kernel::MakeCounted<AnchorGlyph>(known->second);
        if (m_makeUid)
            known->second->SetUid(m_makeUid(from));
        return glyph;
    }
    Kernel::Counted<AnchorData> FindCopy(AnchorData const* anchor) const {
        auto const known = m_anchors.find(anchor);
        return known == m_anchors.end() ? Kernel::Counted<AnchorData>() : known->second;
    }
    void RedirectLinks(Story& story) const {
        for (std::size_t i = 0; i != story.GetParagraphCount(); ++i) {
            auto const paragraph = story.GetParagraph(i);
            std::uint32_t const begin = story.GetParagraphBegin(i);
            std::uint32_t at = 0;
            for (auto const& run : paragraph->GetRuns()) {
                auto const link = HyperlinkAtt::Of(*run.atts);
                if (auto const copied = link ? FindCopy(link->GetAnchorData().get()) : nullptr)
                    story.FormatText(
                        {begin + at, begin + run.end},
                        *MakeDelta(GlyphAtt::Object::Hyperlink, Kernel::MakeCounted<HyperlinkAtt>(copied)));
                at = run.end;
            }
        }
    }

    std::function<Kernel::String(Glyph const&)> const& m_makeUid;
    std::unordered_map<AnchorData const*, Kernel::Counted<AnchorData>> m_anchors;
    std::vector<Kernel::Counted<Story>> m_stories;
};

} // namespace

Kernel::Counted<Story> Story::CloneWithOwnGlyphs(std::function<Kernel::String(Glyph const&)> const& makeUid) const {
    auto copy = Clone();
    OwnGlyphs glyphs(makeUid);
    glyphs.CopyIn(copy);
    glyphs.Redirect();
    return copy;
}

} // namespace Story
