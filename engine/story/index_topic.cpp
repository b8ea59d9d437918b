// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/field_list.h"
#include "platform/story/index_mark.h"

#include <algorithm>
#include <string>
#include <unordered_set>

namespace Story {

IndexTopic::~IndexTopic() = default;

Kernel::Counted<IndexTopic const> IndexTopic::GetParentInIndex() const {
    m_index->Settle();
    auto parent = m_parent.Lock();
    if (parent && parent->m_index != m_index)
        parent.reset();
    return parent;
}

// A topic in no index, as history holds it, may have been forged: its chain may run into a ring.
std::vector<Kernel::Counted<IndexTopic const>> IndexTopic::GetAncestors() const {
    std::vector<Kernel::Counted<IndexTopic const>> ancestors;
    std::unordered_set<IndexTopic const*> met;
    Kernel::Counted<IndexTopic const> next(this);
    while (next) {
        if (next->m_index != nullptr) {
            next = next->GetParentInIndex();
        } else {
            if (!met.insert(next.get()).second) {
                // `next` is the first topic of a ring, and has no parent.
                if (next.get() == this)
                    return {};
                ancestors.erase(std::find(ancestors.begin(), ancestors.end(), next) + 1, ancestors.end());
                return ancestors;
            }
            next = next->m_parent.Lock();
        }
        if (next)
            ancestors.push_back(next);
    }
    return ancestors;
}

Kernel::Counted<IndexTopic const> IndexTopic::GetParent() const {
    if (m_index != nullptr)
        return GetParentInIndex();
    auto const ancestors = GetAncestors();
    return ancestors.empty() ? Kernel::Counted<IndexTopic const>() : ancestors.front();
}

bool IndexTopic::IsTransitiveParent(Kernel::Counted<IndexTopic const> const& other) const {
    if (!other)
        return false;
    if (m_index == nullptr) {
        auto const ancestors = GetAncestors();
        return std::find(ancestors.begin(), ancestors.end(), other) != ancestors.end();
    }
    for (auto parent = GetParentInIndex(); parent; parent = parent->GetParentInIndex()) {
        if (parent == other)
            return true;
    }
    return false;
}

int IndexTopic::DistanceToRoot() const {
    if (m_index == nullptr)
        return static_cast<int>(GetAncestors().size());
    int distance = 0;
    for (auto parent = GetParentInIndex(); parent; parent = parent->GetParentInIndex())
        ++distance;
    return distance;
}

Kernel::String IndexTopic::GetNameWithParents() const {
    auto const ancestors = GetAncestors();
    std::string name;
    for (auto ancestor = ancestors.rbegin(); ancestor != ancestors.rend(); ++ancestor) {
        name += (*ancestor)->GetName().view();
        name += '/';
    }
    name += m_name.view();
    return Kernel::String(name);
}

std::vector<Kernel::Counted<IndexTopic const>> IndexTopic::GetRelatedTo() const {
    if (m_index != nullptr)
        m_index->Settle();
    std::vector<Kernel::Counted<IndexTopic const>> related;
    for (auto const& weak : m_related) {
        auto topic = weak.Lock();
        if (topic && (m_index == nullptr || topic->m_index == m_index))
            related.push_back(std::move(topic));
    }
    std::stable_sort(related.begin(), related.end(),
                     [](auto const& a, auto const& b) { return a->m_ordinal < b->m_ordinal; });
    return related;
}

// History alone may hold a topic that stands in no index: the document's hash does not count it.
void IndexTopic::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Name", m_name);
    if (!m_guid.empty())
        Kernel::SaveValue(out, "GUID", m_guid);
    if (!m_sortString.empty())
        Kernel::SaveValue(out, "Sort", m_sortString);
    if (out.IsForHash()) {
        if (m_index == nullptr)
            return;
        if (auto const parent = GetParentInIndex())
            Kernel::SaveValue(out, "Prnt", parent);
        if (auto const related = GetRelatedTo(); !related.empty())
            Kernel::SaveValue(out, "Rltd", related);
        return;
    }
    if (auto const parent = m_parent.Lock())
        Kernel::SaveValue(out, "Prnt", parent);
    std::vector<Kernel::Counted<IndexTopic const>> related;
    for (auto const& weak : m_related) {
        if (auto topic = weak.Lock())
            related.push_back(std::move(topic));
    }
    if (!related.empty())
        Kernel::SaveValue(out, "Rltd", related);
    if (m_ordinal != 0)
        Kernel::SaveValue(out, "Ordn", m_ordinal);
}

bool IndexTopic::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Name", m_name);
    Kernel::LoadValue(in, "GUID", m_guid);
    Kernel::LoadValue(in, "Sort", m_sortString);
    Kernel::Counted<IndexTopic const> parent;
    Kernel::LoadValue(in, "Prnt", parent);
    m_parent = parent;
    std::vector<Kernel::Counted<IndexTopic const>> related;
    Kernel::LoadValue(in, "Rltd", related);
    m_related.clear();
    std::unordered_set<IndexTopic const*> met;
    for (auto const& topic : related) {
        if (topic && met.insert(topic.get()).second)
            m_related.emplace_back(topic);
    }
    Kernel::LoadValue(in, "Ordn", m_ordinal);
    return true;
}

// IndexMarkGlyph

IndexMarkGlyph::~IndexMarkGlyph() = default;

Kernel::Counted<Glyph const> IndexMarkGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<IndexMarkGlyph>(m_topic, m_styleName);
}

void IndexMarkGlyph::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Topc", m_topic);
    if (!m_styleName.empty())
        Kernel::SaveValue(out, "OvSN", m_styleName);
}

bool IndexMarkGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Topc", m_topic);
    Kernel::LoadValue(in, "OvSN", m_styleName);
    return true;
}

} // namespace Story
