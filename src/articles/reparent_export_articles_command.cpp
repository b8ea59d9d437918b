// SPDX-License-Identifier: Apache-2.0
#include "articles/reparent_export_articles_command.h"

#include "platform/document/edit_journal.h"
#include "platform/kernel/exception.h"

namespace Commands {

namespace {

// Counting up to a forged number would never end.
int Bounded(int highest) {
    if (highest > ReparentExportArticlesCommand::c_highestNumber)
        throw Kernel::Exception("the reading order has numbers that are too high to be put in order");
    return highest;
}

} // namespace

void ReparentExportArticlesCommand::Do() {
    auto const controller = Begin(Direction::Do);
    std::erase(m_collectors, nullptr);
    int const highest = Bounded(Helpers::GetHighestArticleNumber(controller));
    std::set<int> leaving;
    Gaps gaps;
    for (auto const& entry : m_collectors) {
        int const article = entry->GetArticleIndex(controller, true);
        if (article == -1)
            continue;
        if (Helpers::IsArticleGroup(controller, article))
            gaps[article].insert(entry->GetSequenceIndex());
        else
            leaving.insert(article);
    }
    int next = 0;
    for (int number = 0; number <= highest; ++number) {
        if (!leaving.contains(number))
            m_articleMap.emplace_hint(m_articleMap.end(), number, next++);
    }
    int const oldTarget = m_targetArticle;
    // Required: a target without an entry becomes 0, and the map has it from then on.
    m_targetArticle = m_articleMap[m_targetArticle];
    CloseGaps(controller, gaps);
    MakeRoom(controller, oldTarget);
    Apply(controller);
}

void ReparentExportArticlesCommand::CloseGaps(Kernel::Counted<DocumentController> const& controller, Gaps const& gaps) {
    for (auto const& [article, sequences] : gaps) {
        int const maximum = Bounded(Helpers::GetMaximumSequenceNumber(controller, article));
        // Required: the target's new number is compared with old ones.
        if (article == m_targetArticle) {
            MakeRoomAmong(maximum, sequences);
            continue;
        }
        int next = 0;
        for (int sequence = 0; sequence <= maximum; ++sequence) {
            if (!sequences.contains(sequence))
                m_sequenceMaps.maps[article][sequence] = next++;
        }
    }
}

void ReparentExportArticlesCommand::MakeRoom(Kernel::Counted<DocumentController> const& controller, int oldTarget) {
    if (m_targetArticle != -1 && m_sequenceMaps.maps[m_targetArticle].empty())
        MakeRoomAmong(Bounded(Helpers::GetMaximumSequenceNumber(controller, oldTarget)), {});
    if (m_targetSequence == -1)
        m_targetSequence = CountNumbers(Helpers::GetMaximumSequenceNumber(controller, m_targetArticle), 2).back();
}

void ReparentExportArticlesCommand::MakeRoomAmong(int maximum, std::set<int> const& gaps) {
    auto& map = m_sequenceMaps.maps[m_targetArticle];
    int next = 0, place = -1;
    for (int sequence = 0; sequence <= maximum; ++sequence) {
        if (sequence == m_targetSequence) {
            place = next;
            next += static_cast<int>(m_collectors.size());
        }
        if (!gaps.contains(sequence))
            map[sequence] = next++;
    }
    m_targetSequence = place != -1 ? place : next;
}

// Keeping the old numbers comes before the first change of any.
void ReparentExportArticlesCommand::Apply(Kernel::Counted<DocumentController> const& controller) {
    auto const sequences = CountNumbers(m_targetSequence, m_collectors.size());
    std::vector<int> const parents(m_collectors.size(), m_targetArticle);
    EditJournal::NoteValue(*this, m_oldParents);
    EditJournal::NoteValue(*this, m_oldSequences);
    auto const keepOld = [&] {
        for (auto const& entry : m_collectors) {
            m_oldParents.push_back(entry->GetArticleIndex(controller, true));
            m_oldSequences.push_back(entry->GetSequenceIndex());
        }
    };
    auto const remap = [&] {
        Helpers::RemapArticleNumbers(controller, m_articleMap);
        for (auto const& [article, map] : m_sequenceMaps.maps)
            Helpers::RemapSequenceNumbers(controller, article, map);
    };
    // Redo keeps the numbers behind the remapping.
    if (GetDirection() == Direction::Do) {
        keepOld();
        remap();
    } else {
        remap();
        keepOld();
    }
    Helpers::SetArticlesAndSequenceNumbers(controller, m_collectors, parents, sequences);
    End(controller);
}

void ReparentExportArticlesCommand::Undo() {
    auto const controller = Begin(Direction::Undo);
    Helpers::RemapArticleNumbers(controller, Invert(m_articleMap));
    for (auto const& [article, map] : m_sequenceMaps.maps)
        Helpers::RemapSequenceNumbers(controller, article, Invert(map));
    Helpers::SetArticlesAndSequenceNumbers(controller, m_collectors, m_oldParents, m_oldSequences);
    End(controller);
}

// Required: the target is not stored, so that a loaded command takes its entries out of the order.
void ReparentExportArticlesCommand::Redo() { Apply(Begin(Direction::Redo)); }

bool ReparentExportArticlesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                         unsigned short version) {
    bool const loaded = ArticleCommand::Load(in, files, version);
    std::erase(m_collectors, nullptr);
    return loaded;
}

} // namespace Commands
