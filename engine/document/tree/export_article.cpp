// SPDX-License-Identifier: Apache-2.0
#include "platform/document/export_article.h"

#include "platform/document/edit_journal.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_value.h"

// ExportTaggingInterface

void ExportTaggingInterface::SetArticleIndex(int index) {
    if (GetArticleIndex() != index)
        GetExportTaggingOwner().EditState<ExportTaggingState>([&](auto& state) { state.articleIndex = index; });
}

void ExportTaggingInterface::SetSequenceIndex(int index) {
    if (GetSequenceIndex() != index)
        GetExportTaggingOwner().EditState<ExportTaggingState>([&](auto& state) { state.sequenceIndex = index; });
}

void ExportTaggingInterface::SetIncludeUntagged(bool include) {
    if (IsIncludeUntagged() != include)
        GetExportTaggingOwner().EditState<ExportTaggingState>([&](auto& state) { state.includeUntagged = include; });
}

void ExportTaggingInterface::SetHide(bool hidden, bool autoHide) {
    if (IsHidden() == hidden && IsAutoHide() == autoHide)
        return;
    GetExportTaggingOwner().EditState<ExportTaggingState>([&](auto& state) {
        state.hidden = hidden;
        state.autoHide = autoHide;
    });
}

// ExportArticle

void ExportArticle::SetName(Kernel::String name) {
    EditJournal::NoteValue(*this, m_name);
    m_name = std::move(name);
    MarkChanged();
}

void ExportArticle::SetHide(bool hidden, bool autoHide) {
    EditJournal::NoteValue(*this, m_hidden);
    EditJournal::NoteValue(*this, m_autoHide);
    m_hidden = hidden;
    m_autoHide = autoHide;
    MarkChanged();
}

void ExportArticle::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Name", m_name);
    Kernel::SaveValue(out, "Hide", m_hidden);
    Kernel::SaveValue(out, "Auto", m_autoHide);
}

bool ExportArticle::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Name", m_name);
    Kernel::LoadValue(in, "Hide", m_hidden);
    Kernel::LoadValue(in, "Auto", m_autoHide);
    return true;
}

// ExportArticleCollector

ExportArticleCollector::ExportArticleCollector(Kernel::JailCounted<Node> node) {
    if (node)
        m_members.push_back(std::move(node));
}

ExportTaggingInterface* ExportArticleCollector::FindTagging() const {
    return m_article || m_members.empty() ? nullptr
                                          : Kernel::CastPointer<ExportTaggingInterface>(m_members.front().get());
}

int ExportArticleCollector::GetArticleIndex(Kernel::Counted<DocumentController const> const&,
                                            bool onlyInDocument) const {
    if (m_article) {
        if (auto const number = m_article->GetNumber())
            return *number;
        if (onlyInDocument || m_members.empty())
            return -1;
    } else if (m_members.empty()) {
        return -1;
    }
    auto const* const tagging = Kernel::CastPointer<ExportTaggingInterface>(m_members.front().get());
    return tagging == nullptr ? -1 : tagging->GetArticleIndex();
}

int ExportArticleCollector::GetSequenceIndex() const {
    auto const* const tagging = FindTagging();
    return tagging == nullptr ? -1 : tagging->GetSequenceIndex();
}

void ExportArticleCollector::SetArticleIndex(int index) {
    for (auto const& member : m_members) {
        if (auto* const tagging = Kernel::CastPointer<ExportTaggingInterface>(member.get()))
            tagging->SetArticleIndex(index);
    }
}

void ExportArticleCollector::SetSequenceIndex(int index) {
    if (auto* const tagging = FindTagging())
        tagging->SetSequenceIndex(index);
}

std::vector<Kernel::Counted<ExportArticleCollector>> ExportArticleCollector::Unpack() const {
    std::vector<Kernel::Counted<ExportArticleCollector>> entries;
    for (auto const& member : m_members)
        entries.push_back(Kernel::MakeCounted<ExportArticleCollector>(member));
    return entries;
}

Kernel::String ExportArticleCollector::GetName() const {
    if (m_article)
        return m_article->GetName();
    return m_members.empty() ? Kernel::String() : m_members.front()->GetDescription(false);
}

void ExportArticleCollector::SetName(Kernel::String const& name) {
    if (m_article)
        m_article->SetName(name);
    else if (!m_members.empty())
        m_members.front()->SetUserDescription(name);
}

bool ExportArticleCollector::IsHidden() const {
    auto const* const tagging = FindTagging();
    return m_article ? m_article->IsHidden() : tagging != nullptr && tagging->IsHidden();
}

bool ExportArticleCollector::IsAutoHide() const {
    auto const* const tagging = FindTagging();
    return m_article ? m_article->IsAutoHide() : tagging != nullptr && tagging->IsAutoHide();
}

void ExportArticleCollector::SetHide(bool hidden, bool autoHide) {
    if (m_article)
        m_article->SetHide(hidden, autoHide);
    else if (auto* const tagging = FindTagging())
        tagging->SetHide(hidden, autoHide);
}

bool ExportArticleCollector::Matches(Kernel::Counted<ExportArticleCollector const> const& other) const {
    if (!other)
        return false;
    if (m_article || other->m_article)
        return m_article == other->m_article;
    auto* const mine = FindTagging();
    auto* const theirs = other->FindTagging();
    return mine != nullptr && theirs != nullptr && &mine->GetExportTaggingOwner() == &theirs->GetExportTaggingOwner();
}

void ExportArticleCollector::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Artc", m_article);
    Kernel::SaveValue(out, "Memb", m_members);
}

// Members that a forged file leaves out, or that are no nodes, do not count.
bool ExportArticleCollector::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Artc", m_article);
    Kernel::LoadValue(in, "Memb", m_members);
    std::erase(m_members, nullptr);
    return true;
}
