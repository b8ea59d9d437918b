// SPDX-License-Identifier: Apache-2.0
#include "shapes/flatten_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/dynamic_node_rendering_engine.h"
#include "platform/document/quorin_controller.h"
#include "platform/kernel/timer.h"
#include "platform/kernel/trace.h"
#include "raster/pipeline/fill_loop.h"

#include <cmath>

namespace Commands {

namespace {

constexpr auto c_plain = NodeChildListType::Plain;

} // namespace

Kernel::JailCounted<Node> FlattenCommand::GetFlatteningRoot() const {
    return GetDocumentController()->GetCurrentSpread();
}

// The picture of the spread; whole pixels of its box.
Kernel::Counted<Raster::DynamicBitmap> FlattenCommand::MakePicture() {
    auto const controller = GetDocumentController();
    auto const box = controller->GetCurrentSpread()->GetBaseBox(true);
    double const across = std::trunc(box.right - box.left), down = std::trunc(box.bottom - box.top);
    CheckPictureSize(across, down);
    int const width = static_cast<int>(across), height = static_cast<int>(down);
    auto const format = controller->GetFormat();
    auto picture = Kernel::MakeCounted<Raster::DynamicBitmap>();
    if (Raster::IsHandledFormat(format))
        picture->Create(width, height, format, Raster::MipmapMode::Deferred, Raster::HardwareCachePolicy::Automatic);

    DynamicNodeRenderingEngine engine;
    engine.Create(GetFlatteningRoot(), Node::NodeRenderOptions(), {}, width, height, {},
                  Raster::ResamplerType::Bilinear, QuorinController::GetInstance().GetUpViewResamplerType(), false, 0,
                  format, controller->GetProfiles(), true, true, true, true, false, true, false, false,
                  Renderer::RenderTarget::BlockTextMode::None);
    FillContext context;
    context.progress = &Progress;
    context.progressContext = this;
    FillBitmap(*picture, engine, context);
    return picture;
}

void FlattenCommand::Do() {
    Kernel::Timer const timer;
    SetDirection(Direction::Do);
    auto const controller = GetDocumentController();
    controller->EnsureTextComposed(true, nullptr);
    Kernel::Counted<Raster::DynamicBitmap const> picture;
    {
        // Readers go on during the long render. An exception takes the lock back as well.
        DomainWriterUnlockSession unlocked(controller);
        picture = MakePicture();
        unlocked.Acquire();
    }
    m_rasterNode = Kernel::MakeCounted<RasterNode>();
    m_rasterNode->SetBitmap(picture);
    auto const spread = GetFlatteningRoot();
    m_oldChildren.clear();
    for (Node* child = spread->GetFirstChild(c_plain); child != nullptr; child = child->GetNextSibling())
        m_oldChildren.emplace_back(child);
    RemoveChildren(spread, c_plain, ShouldDetachLinksOnEdit(spread));
    // The picture begins at the corner of the spread's box, wherever that lies.
    auto const box = controller->GetCurrentSpread()->GetBaseBox(true);
    m_rasterNode->Transform(
        spread->GetSpreadToBaseTransform() * Raster::AffineTransform::Params{1, 0, box.left, 0, 1, box.top}, false);
    AddChildBack(spread, c_plain, m_rasterNode, false, ShouldDetachLinksOnEdit(spread));
    SetNewSelection(*controller, Selection::CreateWithSingleObject(m_rasterNode));
    Kernel::Trace::Write("Flatten = " + std::to_string(timer.GetMilliseconds()) + "ms\r\n");
}

void FlattenCommand::Undo() {
    SetDirection(Direction::Undo);
    auto const spread = GetFlatteningRoot();
    if (!IsReplay()) {
        UndoStructureChanges(m_rasterNode);
        UndoStructureChanges(spread);
    } else {
        RemoveChildren(spread, c_plain, ShouldDetachLinksOnEdit(spread));
        for (auto const& child : m_oldChildren)
            AddChildBack(spread, c_plain, child, false, ShouldDetachLinksOnEdit(spread));
    }
    UndoSelection(*GetDocumentController());
}

void FlattenCommand::Redo() {
    SetDirection(Direction::Redo);
    auto const spread = GetFlatteningRoot();
    RemoveChildren(spread, c_plain, ShouldDetachLinksOnEdit(spread));
    AddChildBack(spread, c_plain, m_rasterNode, false, ShouldDetachLinksOnEdit(spread));
    RedoSelection(*GetDocumentController());
}

void FlattenCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, IsPreview()));
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentAllNotification>(controller, IsPreview()));
    NotifySelection(*this, notifications);
    StructureCommandHelper::Notify(notifications);
}

void FlattenCommand::Progress(float value, void* context) {
    auto* const command = static_cast<FlattenCommand*>(context);
    command->GetDocumentController()->UpdateProgress(Kernel::Counted<DomainCommand const>(command), value);
}

} // namespace Commands
