// SPDX-License-Identifier: Apache-2.0
#include "raster/replace_bitmap_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/abortable.h"
#include "platform/kernel/cast.h"

namespace Commands {

ReplaceBitmapCommand::ReplaceBitmapCommand(Kernel::Counted<Raster::DynamicBitmap> bitmap,
                                           Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)), m_bitmap(std::move(bitmap)) {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<ReplaceBitmapCommand, RasterNode>>());
}

ReplaceBitmapCommand::ReplaceBitmapCommand() : ReplaceBitmapCommand({}, {}) {}

void ReplaceBitmapCommand::Receive(Kernel::NonCounted<RasterNode> layer) {
    // In Undo the visit comes by layers outside the tree too, which took no part in Do.
    if (!layer->IsInDocument())
        return;
    if (m_direction == Direction::Do) {
        auto const old = layer->GetMutableBitmap();
        auto const boundsBefore = layer->GetBounds(true);
        m_oldBitmaps.push_back(old);
        layer->SetBitmap(m_bitmap);
        m_invalidationArea.Append(SpreadRect(*layer, boundsBefore));
        m_invalidationArea.Append(SpreadRect(*layer, layer->GetBounds(true)));
    } else if (m_direction == Direction::Undo) {
        // The visit goes the other way round. A damaged history may hold too few.
        if (m_oldBitmaps.empty())
            return;
        auto const old = m_oldBitmaps.back();
        EditJournal::NoteFor(*this, [old](ReplaceBitmapCommand& command) { command.m_oldBitmaps.push_back(old); });
        m_oldBitmaps.pop_back();
        layer->SetBitmap(old);
    } else if (m_direction == Direction::Redo) {
        auto const old = layer->GetMutableBitmap();
        EditJournal::NoteFor(*this, [count = m_oldBitmaps.size()](ReplaceBitmapCommand& command) {
            command.m_oldBitmaps.resize(count);
        });
        m_oldBitmaps.push_back(old);
        layer->SetBitmap(m_bitmap);
    }
}

void ReplaceBitmapCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        GetDocumentController(), m_invalidationArea, GetSelection(), IsPreview(), false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesDataChangedNotification>(GetSelection(), GetDocumentController(), IsPreview()));
}

bool ReplaceBitmapCommand::ValidateUntrusted() {
    if (!SelectionCommandBase::ValidateUntrusted())
        return false;
    auto const selection = GetSelection();
    if (!selection)
        return true;
    for (auto const& node : selection->GetNodes()) {
        auto const* const layer = Kernel::CastPointer<RasterNode const>(node.get());
        if (layer == nullptr)
            continue;
        auto const present = layer->GetBitmap();
        auto const sizeOf = [](Raster::DynamicBitmap const* bitmap) {
            return bitmap == nullptr ? Kernel::SizeT<int>() : bitmap->GetSize();
        };
        if (!m_bitmap || sizeOf(present.get()) != m_bitmap->GetSize()) {
            m_statusFlags |= c_statusBitmapRefused;
            return false;
        }
    }
    return true;
}

void ReplaceBitmapCommand::Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) {
    Kernel::Abortable flag;
    flag.SetAbortPointer(abort);
    for (auto const& bitmap : m_oldBitmaps) {
        if (flag.IsAborted())
            return;
        if (bitmap)
            bitmap->Deduplicate(support, abort);
    }
    if (m_bitmap && !flag.IsAborted())
        m_bitmap->Deduplicate(support, abort);
}

} // namespace Commands
