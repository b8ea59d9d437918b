// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_style_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/story_visitor.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/story/toc.h"

#include <algorithm>
#include <set>
#include <unordered_set>

namespace {

using Names = std::set<Kernel::String>;

// Adds the styles of a sheet that stand on others of the names.
void AddDescendants(Names& names, Story::StyleSheet const& sheet) {
    for (std::size_t before = 0; before != names.size();) {
        before = names.size();
        for (auto const& style : sheet) {
            if (style && !style->GetParentName().empty() && names.contains(style->GetParentName()))
                names.insert(style->GetName());
        }
    }
}

// The texts that have paragraphs or letters of some styles.
class StyleUserFinder final : public StoryVisitor {
public:
    explicit StyleUserFinder(Names const& names) : StoryVisitor(false), m_names(names) {}
    std::vector<Kernel::Counted<Node>> texts;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
            auto const& paragraph = *story->GetParagraph(i);
            bool const uses = Uses(*paragraph.GetAtts()) ||
                              std::any_of(paragraph.GetRuns().begin(), paragraph.GetRuns().end(),
                                          [this](Story::GlyphRun const& run) { return Uses(*run.atts); });
            if (!uses)
                continue;
            texts.emplace_back(GetTextNode());
            return;
        }
    }

private:
    template <class Atts>
    bool Uses(Atts const& atts) {
        if (m_without.contains(&atts))
            return false;
        bool const uses = m_names.contains(atts.Get(Atts::String::StyleName));
        if (!uses)
            m_without.insert(&atts);
        return uses;
    }

    Names const& m_names;
    std::unordered_set<Kernel::Serialisable const*> m_without;
};

} // namespace

Kernel::Counted<TextStyleCommand> TextStyleCommand::MakeDeleteStyle(Kernel::String const& name, bool withDescendants) {
    Kernel::Counted<TextStyleCommand> command(new TextStyleCommand);
    command->m_name = name;
    command->m_withDescendants = withDescendants;
    return command;
}

Kernel::Counted<TextStyleCommand> TextStyleCommand::MakeSetStyle(Kernel::String const& name,
                                                                 Kernel::Consolidated<Story::Style> const& style) {
    Kernel::Counted<TextStyleCommand> command(new TextStyleCommand);
    command->m_name = name;
    command->m_style = style.ToCounted();
    return command;
}

Kernel::LocalisedString TextStyleCommand::GetDescription() const {
    return m_style ? Kernel::LocalisedString("Set text style", "Command description")
                   : Kernel::LocalisedString("Delete text style", "Command description");
}

Kernel::Counted<Story::StyleSheet const> TextStyleCommand::MakeSheet(Story::StyleSheet const& sheet) const {
    Names names{m_name};
    if (!m_style && m_withDescendants)
        AddDescendants(names, sheet);
    Story::StyleSheet::Styles styles;
    bool isSet = false;
    for (auto const& style : sheet) {
        if (!style)
            continue;
        if (!m_style) {
            if (!names.contains(style->GetName()))
                styles.push_back(style);
            continue;
        }
        if (style->GetName() == m_name && !isSet) {
            styles.push_back(m_style);
            isSet = true;
        } else if (style->GetName() != m_name && style->GetName() != m_style->GetName()) {
            styles.push_back(style);
        } else if (style->GetType() != m_style->GetType()) {
            throw Kernel::Exception("a style of another kind has this name: " + style->GetName().ToStdString());
        }
    }
    if (m_style && !isSet)
        styles.push_back(m_style);
    return Kernel::MakeCounted<Story::StyleSheet>(std::move(styles));
}

void TextStyleCommand::Set(Direction direction, Kernel::Counted<Story::StyleSheet const> const& sheet) {
    SetDirection(direction);
    auto const document = m_documentController->GetDocument();
    auto const old = document->GetTextStyleSheet();
    auto const other = sheet ? sheet : Story::StyleSheet::GetEmpty();
    m_texts.reset();
    if (m_before == m_after)
        return;
    m_areas.Begin();
    if (!Story::LookAlike(*old, *other)) {
        Names names{m_name};
        if (m_style)
            names.insert(m_style->GetName());
        AddDescendants(names, *old);
        AddDescendants(names, *other);
        StyleUserFinder finder(names);
        finder.Visit(Kernel::JailCounted<Node>(document.get()), {});
        for (auto const& text : finder.texts)
            m_areas.Note(*Kernel::CastPointer<TextNode>(text.get()));
        m_texts = Kernel::MakeCounted<Selection const>(finder.texts);
    }
    m_areas.Around([&] { document->SetTextStyleSheet(sheet); });
}

// A document without styles of its own has no sheet, and gets none back.
void TextStyleCommand::Do() {
    auto const sheet = m_documentController->GetDocument()->GetTextStyleSheet();
    m_before = sheet == Story::StyleSheet::GetEmpty() ? Kernel::Counted<Story::StyleSheet const>() : sheet;
    m_after = m_style || sheet->GetStyle(m_name) ? MakeSheet(*sheet) : m_before;
    Set(Direction::Do, m_after);
}
void TextStyleCommand::Undo() { Set(Direction::Undo, m_before); }
void TextStyleCommand::Redo() { Set(Direction::Redo, m_after); }

void TextStyleCommand::Notify(Kernel::NotificationList& notifications) {
    if (!m_texts || m_texts->empty())
        return;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, m_areas.GetRects(), m_texts,
                                                                                m_preview, false, false, false));
}

Kernel::Counted<DocumentCommand> TextStyleCommand::Clone() const {
    Kernel::Counted<TextStyleCommand> command(new TextStyleCommand);
    command->m_name = m_name;
    command->m_style = m_style;
    command->m_withDescendants = m_withDescendants;
    return command;
}
