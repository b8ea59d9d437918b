// SPDX-License-Identifier: Apache-2.0
#include "generative/remove_bg_command.h"

#include "generative/remote_request.h"
#include "platform/kernel/field_value.h"
#include "raster/pipeline/convert_pixels.h"

namespace Commands {

RemoveBGCommand::RemoveBGCommand() : Persisted(Kernel::Counted<Selection const>()) {}

RemoveBGCommand::RemoveBGCommand(OstraAICommandSource source)
    : Persisted(Kernel::Counted<Selection const>()), OstraAICommand(source) {}

RemoveBGCommand::RemoveBGCommand(Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)), OstraAICommand(OstraAICommandSource::Unknown) {}

// Required: neither the selection of pixels nor the channels that may be changed have a say.
Kernel::RectT<int> RemoveBGCommand::DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) {
    SetDirection(Direction::Do);
    auto const document = GetDocumentController();
    auto const bitmap = layer->GetBitmap();
    auto const profiles = document->GetProfiles();
    RemoteRequest request(*this);
    Kernel::Counted<Raster::DynamicBitmap> answer;
    auto const result = Learning::RemoteInference::GetInstance().InferImageRemoveBG(
        bitmap, profiles, answer, &RemoteRequest::ReportProgress, request.GetData());
    auto const completed = Kernel::MakeCounted<AIOperationCompletedNotification>();
    completed->operation = AIOperationCompletedNotification::Operation::RemoveBackground;
    completed->reserved = 0;
    request.SendCompleted(completed, result);
    if (result.code != Learning::RemoteInference::Answered) {
        request.SendFailed(result, Kernel::LocalisedString("Remove Background Failed", "Remote inference"),
                           GetSource());
        m_shouldStack = false;
        return {};
    }
    request.Acquire();
    ConvertPixelsInto(*layer->GetMutableBitmap(), *answer);
    return layer->GetRasterBoundingBox();
}

Kernel::Counted<DocumentCommand> RemoveBGCommand::Clone() const {
    return Kernel::MakeCounted<RemoveBGCommand>(GetSource());
}

void RemoveBGCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Work", m_work);
    DocumentCommand::Save(out);
}

bool RemoveBGCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Work", m_work);
    return DocumentCommand::Load(in, files, version);
}

} // namespace Commands
