// SPDX-License-Identifier: Apache-2.0
#include "platform/document/alter_toc_command.h"

#include "engine/document/commands/toc_text.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"

#include <algorithm>

AlterTocCommand::AlterTocCommand(Kind kind, Story::TocAttRef toc, Kernel::String styleName,
                                 Kernel::Counted<Selection const> selection)
    : SelectionCommandProxyStateManager(std::move(selection)),
      m_kind(kind),
      // Its own: whether it is one object with an attribute of a text would depend on what else is open.
      m_toc(toc ? Story::TocAttRef(toc->Clone()) : Story::TocAttRef()),
      m_styleName(std::move(styleName)) {}

Kernel::Counted<AlterTocCommand>
AlterTocCommand::MakeApplyTocStyle(Story::TocAttRef const& toc, Kernel::String styleName,
                                   Kernel::Counted<DocumentController const> const& controller) {
    if (!toc)
        return {};
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(controller->GetDocument().get()), {});
    bool const isThere = std::any_of(visitor.GetTables().begin(), visitor.GetTables().end(),
                                     [&](TocVisitor::Table const& table) { return *table.toc == *toc; });
    if (!isThere)
        return {};
    return Kernel::Counted<AlterTocCommand>(
        new AlterTocCommand(Kind::Apply, toc, std::move(styleName), Kernel::MakeCounted<Selection const>()));
}

Kernel::Counted<AlterTocCommand> AlterTocCommand::MakeInsertToc(Story::TocAttRef const& toc,
                                                                Kernel::Counted<Selection const> selection) {
    return Kernel::Counted<AlterTocCommand>(
        new AlterTocCommand(Kind::Insert, toc, toc->GetTocStyleName(), std::move(selection)));
}

Kernel::Counted<AlterTocCommand> AlterTocCommand::MakeUpdateTocs() {
    return Kernel::Counted<AlterTocCommand>(
        new AlterTocCommand(Kind::UpdateAll, {}, {}, Kernel::MakeCounted<Selection const>()));
}

Kernel::Counted<Story::Style> AlterTocCommand::MakeTocStyle(Kernel::Counted<Story::StyleSheet const> const&,
                                                            Kernel::String const& name) {
    auto const toc = Kernel::MakeCounted<Story::TocAtt>(name, 0);
    toc->SetTitle(Kernel::LocalisedString("Contents", "Title of a table of contents").ToString());
    toc->SetTitleStyleName("Contents Title");
    return Kernel::MakeCounted<Story::TocStyle>(name, Kernel::MakeCounted<Story::TocStyleDelta>(toc));
}

std::uint32_t AlterTocCommand::MakeTocId(DocumentController const& controller) {
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(controller.GetDocument().get()), {});
    std::vector<std::uint32_t> ids;
    for (auto const& table : visitor.GetTables())
        ids.push_back(table.toc->GetId());
    std::uint32_t id = 1;
    while (std::find(ids.begin(), ids.end(), id) != ids.end())
        ++id;
    return id;
}

Kernel::LocalisedString AlterTocCommand::GetDescription() const {
    return m_kind == Kind::Insert ? Kernel::LocalisedString("Insert table of contents", "Command description")
                                  : Kernel::LocalisedString("Update table of contents", "Command description");
}

namespace {

// The first text of a selection, and where its selected part begins.
std::pair<Kernel::Counted<TextNode>, std::uint32_t> FindPlace(Selection const& selection) {
    for (auto const& item : selection) {
        auto* const text = Kernel::CastPointer<TextNode>(item->GetSelectable().get());
        if (text == nullptr || !text->IsInDocument())
            continue;
        auto const selected = item->MakeStorySelection(true);
        return {Kernel::Counted<TextNode>(text), selected.IsSet() ? selected.GetMaxBegin().GetIndex() : 0};
    }
    return {};
}

} // namespace

void AlterTocCommand::Do() {
    SelectionCommandBase::Do();
    SetDirection(Direction::Do);
    ForgetKeptStates();
    auto const document = m_documentController->GetDocument();
    std::vector<Kernel::Counted<Node>> changed;
    m_areas.Around([&] {
        TocText tables(*document, [&](TextNode& text) {
            m_areas.Note(text);
            StoreInterfaces(Kernel::NonCounted<Kernel::Countable>(&text));
            changed.emplace_back(&text);
        });
        Story::TocAttRef toc = m_toc ? Story::TocAttRef(m_toc->Clone()) : m_toc;
        if (m_kind == Kind::Insert && toc) {
            auto const [text, place] = FindPlace(*GetSelection());
            if (text)
                tables.Insert(*text, place, toc);
        } else if (m_kind == Kind::Apply && toc && toc->GetTocStyleName() != m_styleName) {
            auto const styled = toc->Clone();
            styled->SetTocStyleName(m_styleName);
            toc = styled;
            tables.Replace(*m_toc, toc);
        }
        if (toc || m_kind == Kind::UpdateAll)
            tables.MakeLines(
                [&](Story::TocAtt const& table) {
                    if (m_kind == Kind::UpdateAll)
                        return true;
                    return m_isNotLast ? table == *toc : table.GetTocStyleName() == m_styleName;
                },
                !m_isNotLast);
        for (auto text = changed.rbegin(); text != changed.rend(); ++text)
            RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(text->get()));
    });
    m_changed = Kernel::MakeCounted<Selection const>(changed);
}

void AlterTocCommand::PutBack(Direction direction) {
    SetDirection(direction);
    if (!m_changed)
        return;
    m_areas.Around([&] {
        for (auto const& node : m_changed->GetNodes()) {
            if (auto* const text = Kernel::CastPointer<TextNode>(node.get()))
                m_areas.Note(*text);
            RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(node.get()));
        }
    });
}

void AlterTocCommand::Undo() {
    PutBack(Direction::Undo);
    SelectionCommandBase::Undo();
}

void AlterTocCommand::Redo() {
    SelectionCommandBase::Redo();
    PutBack(Direction::Redo);
}

void AlterTocCommand::Notify(Kernel::NotificationList& notifications) {
    if (!m_changed || m_changed->empty())
        return;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_changed, m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesAttributesChangedNotification>(m_areas.GetNodes(m_changed), controller, m_preview));
    notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(controller, m_changed, m_preview));
}

Kernel::Counted<DocumentCommand> AlterTocCommand::Clone() const {
    Kernel::Counted<AlterTocCommand> clone(new AlterTocCommand(m_kind, m_toc, m_styleName, GetGivenSelection()));
    clone->m_isNotLast = m_isNotLast;
    return clone;
}

Kernel::Counted<Kernel::Serialisable> AlterTocCommand::CreateObject() {
    return Kernel::Counted<Kernel::Serialisable>(new AlterTocCommand(Kind::Apply, {}, {}, {}));
}

void AlterTocCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Kind", m_kind);
    Kernel::SaveValue(out, "Toc_", m_toc);
    Kernel::SaveValue(out, "StNm", m_styleName);
    Kernel::SaveValue(out, "NtLs", m_isNotLast);
    Kernel::SaveValue(out, "Chgd", m_changed);
    SelectionCommandProxyStateManager::Save(out);
}

bool AlterTocCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Kind", m_kind);
    Kernel::LoadValue(in, "Toc_", m_toc);
    Kernel::LoadValue(in, "StNm", m_styleName);
    Kernel::LoadValue(in, "NtLs", m_isNotLast);
    Kernel::LoadValue(in, "Chgd", m_changed);
    return SelectionCommandProxyStateManager::Load(in, files, version);
}
