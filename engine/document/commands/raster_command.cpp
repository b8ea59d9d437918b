// SPDX-License-Identifier: Apache-2.0
#include "platform/document/raster_command.h"

#include "platform/document/damaged_bitmaps.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

RasterCommand::RasterCommand(Kernel::Counted<Selection const> selection)
    : SelectionCommandWithSingleInterface(std::move(selection)) {}

RasterCommand::~RasterCommand() = default;

void RasterCommand::PrepareUndo() {
    m_workedOn.clear();
    m_invalidationArea = {};
    m_work = false;
}

void RasterCommand::ReceiveInterface(Kernel::NonCounted<MutableRasterInterface> layer) {
    if (m_direction != Direction::Do || !layer->GetBitmap())
        return;
    m_workedOn.push_back({layer.ToCounted(), layer->GetBitmap()});
    Kernel::RectT<int> changed;
    try {
        changed = DoEffect(layer);
    } catch (Kernel::DamagedDataException const& damage) {
        TakeBack();
        if (auto const* const node = Kernel::CastPointer<Node const>(layer.get()))
            throw Kernel::DamagedDataException(GetLayerName(*node).ToStdString() + ": " + damage.what());
        throw;
    } catch (...) {
        TakeBack();
        throw;
    }
    if (changed.IsEmpty())
        return;
    m_work = true;
    if (auto const* const node = Kernel::CastPointer<Node const>(layer.get()))
        m_invalidationArea.Append(SpreadRect(
            *node, layer->GetRasterToDomainTransform().Apply(Kernel::RectT<double>{
                       double(changed.left), double(changed.top), double(changed.right), double(changed.bottom)})));
}

void RasterCommand::TakeBack() {
    for (auto const& worked : m_workedOn) {
        if (worked.layer->GetBitmap() != worked.before)
            worked.layer->SetBitmap(worked.before);
    }
}

void RasterCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    m_workedOn.clear();
    if (!m_invalidationArea.IsEmpty())
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
            GetDocumentController(), m_invalidationArea, GetSelection(), IsPreview(), false, false, false));
}

bool RasterCommand::Merge(Kernel::Counted<Command const>) { return false; }

void RasterCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    SelectionCommandWithSingleInterface::PostLoad(controller);
    if (!m_selection)
        m_selectionResolved = true;
}

DomainCommand::ProgressType RasterCommand::GetProgressType() const { return ProgressType::None; }

bool RasterCommand::CanFadeRewind() const { return true; }

bool RasterCommand::GetLooksTerribleWhenPreviewingBecauseOfRetina() const { return false; }

void RasterCommand::Progress(float fraction, void* command) {
    auto* const self = static_cast<RasterCommand*>(command);
    if (auto const controller = self->GetDocumentController())
        controller->UpdateProgress(Kernel::Counted<DomainCommand const>(self), fraction);
}

void RasterCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Work", m_work);
    Kernel::SaveValue(out, "InvA", m_invalidationArea);
    SelectionCommandWithSingleInterface::Save(out);
}

bool RasterCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Work", m_work);
    Kernel::LoadValue(in, "InvA", m_invalidationArea);
    return SelectionCommandWithSingleInterface::Load(in, files, version);
}
