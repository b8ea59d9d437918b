// SPDX-License-Identifier: Apache-2.0
#include "platform/document/place_merge_fields_command.h"

#include "engine/document/merge/record_pictures.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/story_visitor.h"
#include "platform/kernel/cast.h"
#include "platform/records/table.h"
#include "platform/story/field_glyphs.h"
#include "platform/story/paragraph.h"

#include <algorithm>
#include <charconv>

namespace {

// The most records behind the first one of a page.
constexpr std::uint32_t c_largestOffset = 9'999;

std::string_view Trim(std::string_view text) {
    auto const isSpace = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

struct FieldName {
    Kernel::String field;
    std::uint32_t offset = 0;
};

// The words between two braces, as a column of the table.
std::optional<FieldName> FindField(Records::Table const& table, std::string_view words) {
    words = Trim(words);
    if (table.FindColumn(words))
        return FieldName{Kernel::String(std::string(words)), 0};
    auto const at = words.rfind('@');
    if (at == words.npos)
        return {};
    auto const name = Trim(words.substr(0, at)), number = Trim(words.substr(at + 1));
    std::uint32_t count = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), count);
    if (error != std::errc() || end != number.data() + number.size() || count == 0 || count - 1 > c_largestOffset ||
        !table.FindColumn(name))
        return {};
    return FieldName{Kernel::String(std::string(name)), count - 1};
}

struct Found {
    Story::StoryRange range;
    FieldName name;
};

// Names do not go on over the end of a line.
std::vector<Found> FindFields(Story::Story const& story, Records::Table const& table) {
    std::vector<Found> found;
    auto const text = story.GetText(story.GetClientAll());
    constexpr auto npos = std::u32string::npos;
    for (auto open = text.find(U"{{"); open != npos;) {
        auto const close = text.find(U"}}", open + 2);
        if (close == npos)
            break;
        auto const inner = text.rfind(U"{{", close);
        auto const words = text.substr(inner + 2, close - inner - 2);
        bool const isOneLine = std::none_of(words.begin(), words.end(), [](char32_t c) {
            return Story::IsHardBreakCharacter(c) || c == Story::c_objectCharacter;
        });
        if (isOneLine) {
            if (auto name = FindField(table, Story::EncodeUtf8(words)))
                found.push_back(
                    {{static_cast<std::uint32_t>(inner), static_cast<std::uint32_t>(close + 2)}, std::move(*name)});
        }
        open = text.find(U"{{", close + 2);
    }
    return found;
}

struct TextWithFields {
    Kernel::Counted<TextNode> text;
    std::vector<Found> found;
};

class FieldFinder final : public StoryVisitor {
public:
    explicit FieldFinder(Records::Table const& table) : StoryVisitor(false), m_table(table) {}
    std::vector<TextWithFields> texts;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        auto found = FindFields(*story, m_table);
        if (!found.empty())
            texts.push_back({GetTextNode(), std::move(found)});
    }

private:
    Records::Table const& m_table;
};

} // namespace

PlaceMergeFieldsCommand::PlaceMergeFieldsCommand() : PlaceMergeFieldsCommand(nullptr) {}
PlaceMergeFieldsCommand::PlaceMergeFieldsCommand(Kernel::JailCounted<DataMergeSource> source)
    : StoredClass(Kernel::Counted<Selection const>()), m_source(std::move(source)) {}
PlaceMergeFieldsCommand::~PlaceMergeFieldsCommand() = default;

Kernel::LocalisedString PlaceMergeFieldsCommand::GetDescription() const {
    return Kernel::LocalisedString("Place merge fields", "Command description");
}

void PlaceMergeFieldsCommand::Do() {
    m_pictures.reset();
    m_fieldCount = 0;
    TextUpdateCommand::Do();
}

void PlaceMergeFieldsCommand::UpdateTexts(BeforeChange const& beforeChange) {
    auto const result = m_source ? m_source->GetResult() : Kernel::Counted<Records::Result const>();
    if (!result || !result->table)
        return;
    FieldFinder finder(*result->table);
    finder.Visit(Kernel::JailCounted<Node>(m_documentController->GetDocument().get()), {});
    for (auto const& [text, found] : finder.texts) {
        beforeChange(*text);
        auto const story = text->GetMutableStory(true);
        for (auto place = found.rbegin(); place != found.rend(); ++place) {
            auto const glyph =
                Kernel::MakeCounted<Story::MergeFieldGlyph>(m_source->GetGuid(), place->name.field, place->name.offset);
            story->ReplaceText(place->range, Story::GlyphString(Kernel::Counted<Story::Glyph const>(glyph)),
                               story->GetGlyphAtts(place->range.begin));
        }
        m_fieldCount += found.size();
        text->OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::Text, Story::StoryRanges()),
                            false);
    }
    PlacePictures();
}

void PlaceMergeFieldsCommand::PlacePictures() {
    auto const& table = *m_source->GetResult()->table;
    std::vector<std::pair<SceneNode*, FieldName>> places;
    std::vector<Kernel::Counted<Node>> nodes;
    ForEachNode(*m_documentController->GetDocument(), [&](Node& node) {
        auto* const scene = Kernel::CastPointer<SceneNode>(&node);
        auto const name = scene == nullptr ? Kernel::String() : scene->GetDescription(false);
        auto const words = Trim(name.view());
        if (!words.starts_with("{{") || !words.ends_with("}}") || words.size() < 4 || GetPicturePlace(*scene).IsEmpty())
            return;
        if (auto field = FindField(table, words.substr(2, words.size() - 4))) {
            places.emplace_back(scene, std::move(*field));
            nodes.emplace_back(&node);
        }
    });
    m_pictures = Kernel::MakeCounted<Selection const>(nodes);
    m_pictureAreas.Around(m_pictures, [&] {
        for (auto& [node, name] : places) {
            StoreInterfaces(Kernel::NonCounted<Kernel::Countable>(node));
            node->SetMergeField(m_source->GetGuid(), name.field, name.offset);
            RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(node));
        }
    });
}

void PlaceMergeFieldsCommand::PutPicturesBack(Direction direction) {
    SetDirection(direction);
    if (!m_pictures)
        return;
    m_pictureAreas.Around(m_pictures, [&] {
        for (auto const& node : m_pictures->GetNodes())
            RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(node.get()));
    });
}

void PlaceMergeFieldsCommand::Undo() {
    PutPicturesBack(Direction::Undo);
    TextUpdateCommand::Undo();
}

void PlaceMergeFieldsCommand::Redo() {
    TextUpdateCommand::Redo();
    PutPicturesBack(Direction::Redo);
}

void PlaceMergeFieldsCommand::Notify(Kernel::NotificationList& notifications) {
    TextUpdateCommand::Notify(notifications);
    if (!m_pictures || m_pictures->empty())
        return;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_pictureAreas.GetRects(), m_pictures, m_preview, false, false, false));
    notifications.push_back(Kernel::MakeCounted<NodesAttributesChangedNotification>(m_pictures, controller, m_preview));
}

Kernel::Counted<DocumentCommand> PlaceMergeFieldsCommand::Clone() const {
    return Kernel::MakeCounted<PlaceMergeFieldsCommand>(m_source);
}
