// SPDX-License-Identifier: Apache-2.0
#include "platform/document/update_index_command.h"

#include "engine/document/commands/index_paragraphs.h"
#include "platform/document/document_controller.h"
#include "platform/document/index_preview.h"
#include "platform/document/story_visitor.h"
#include "platform/kernel/cast.h"

#include <unordered_set>

namespace {

using Story::IndexAtt;
using AttRef = Kernel::Counted<IndexAtt const>;

class IndexFinder final : public StoryVisitor {
public:
    IndexFinder() : StoryVisitor(false) {}
    std::vector<Kernel::Counted<TextNode>> texts;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        if (!FindIndices(*story).empty())
            texts.push_back(GetTextNode());
    }
};

// An index without entries keeps its place.
std::vector<Story::GeneratedParagraph> MakeEmptyIndex(AttRef const& att) {
    auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
    atts->Set(Story::ParagraphAtt::Object::Index, Kernel::Counted<Kernel::Serialisable const>(att.get()));
    Story::GeneratedParagraph paragraph;
    paragraph.paragraphAtts = atts;
    return {std::move(paragraph)};
}

// Texts, with a call before the first change of each.
class Editor {
public:
    explicit Editor(std::function<void(TextNode& text)> const& beforeChange) : m_beforeChange(beforeChange) {}
    // False where the story is the same as before.
    bool SetStory(TextNode& text, Kernel::Counted<Story::Story> const& story) {
        if (*story == *text.GetStory())
            return false;
        auto& owner = text.GetStoryOwner();
        if (m_changed.insert(&owner).second)
            m_beforeChange(owner);
        owner.SetStory(story);
        owner.OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::Text, Story::StoryRanges()),
                            false);
        return true;
    }

private:
    std::function<void(TextNode& text)> const& m_beforeChange;
    std::unordered_set<TextNode const*> m_changed;
};

// In an empty paragraph's place, else in front of the one that the place lies in.
void InsertIndex(Editor& editor, AttRef const& att, TextNode& text, std::uint32_t place) {
    auto const story = text.GetStory()->Clone();
    auto const at = story->Find(place);
    auto const length = story->GetParagraph(at.paragraph)->GetLength();
    Story::ReplaceWithParagraphs(*story, {at.paragraphBegin, at.paragraphBegin + (length == 1 ? 1 : 0)},
                                 MakeEmptyIndex(att));
    editor.SetStory(text, story);
}

} // namespace

UpdateIndexCommand::UpdateIndexCommand(AttRef att, Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)), m_att(std::move(att)) {}
UpdateIndexCommand::~UpdateIndexCommand() = default;

std::vector<Kernel::String> UpdateIndexCommand::FindIds(Story::Story const& story) {
    std::vector<Kernel::String> ids;
    for (auto const& found : FindIndices(story))
        ids.push_back(found.att->GetId());
    return ids;
}

Kernel::LocalisedString UpdateIndexCommand::GetDescription() const {
    return m_att ? Kernel::LocalisedString("Insert index", "Command description")
                 : Kernel::LocalisedString("Update index", "Command description");
}

// A longer index may move pages that it names: it is made again until it stays as it is.
void UpdateIndexCommand::UpdateTexts(BeforeChange const& beforeChange) {
    auto const document = m_documentController->GetDocument();
    Editor editor(beforeChange);
    if (auto const [text, place] = FindPlace(); m_att && text)
        InsertIndex(editor, m_att, *text, place);
    IndexFinder finder;
    finder.Visit(Kernel::JailCounted<Node>(document.get()), {});
    auto const& index = document->GetIndex();
    auto const separators = GetIndexSeparators(index);
    bool changed = !finder.texts.empty();
    for (int pass = 0; changed && pass != c_maximumPasses; ++pass) {
        changed = false;
        auto const pages = GetIndexedPages(IndexPreview(*document, false, true));
        for (auto const& text : finder.texts) {
            auto const story = text->GetStory()->Clone();
            auto const indices = FindIndices(*story);
            for (auto found = indices.rbegin(); found != indices.rend(); ++found) {
                auto paragraphs =
                    Story::MakeIndexText(index, pages, separators, found->att, *document->GetTextStyleSheet());
                if (paragraphs.empty())
                    paragraphs = MakeEmptyIndex(found->att);
                Story::ReplaceWithParagraphs(*story, found->range, paragraphs);
            }
            changed = editor.SetStory(*text, story) || changed;
        }
    }
}

Kernel::Counted<DocumentCommand> UpdateIndexCommand::Clone() const {
    return Kernel::MakeCounted<UpdateIndexCommand>(m_att, GetGivenSelection());
}
