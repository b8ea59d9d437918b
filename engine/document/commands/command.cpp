// SPDX-License-Identifier: Apache-2.0
#include "platform/document/command.h"

#include "engine/document/commands/damage_area.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/merge_targets.h"
#include "platform/kernel/cast.h"
#include "platform/raster/dynamic_buffer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>

namespace {

// Long enough for the steps of one drag or one run of key strokes, short enough to tell two deeds apart.
constexpr unsigned c_mergeTimeoutMilliseconds = 1000;
constexpr int c_progressIntervalMilliseconds = 250;
// In pixels, of the longer side; small things are not blown up beyond the scale.
constexpr double c_thumbnailSide = 256;
constexpr double c_largestThumbnailScale = 4;

std::map<Kernel::ClassProperties const*, MergeTargetsComparison>& GetMergeTargets() {
    static std::map<Kernel::ClassProperties const*, MergeTargetsComparison> s_comparisons;
    return s_comparisons;
}

} // namespace

void Command::Teardown() {}

bool Command::Merge(Kernel::Counted<Command const>) { return false; }

bool Command::CanMerge(Kernel::Counted<Command const>) const { return false; }

void Command::CallCompletionCallbacks() {}

bool DomainCommand::AvoidMultipleInQueue() const { return false; }

bool DomainCommand::IsAnotherAlreadyInQueue(Kernel::Counted<DomainCommand> const&) const { return false; }

void DomainCommand::DoAndUpdateCaches() { Do(); }

void DomainCommand::UndoAndUpdateCaches() { Undo(); }

void DomainCommand::RedoAndUpdateCaches() { Redo(); }

void DomainCommand::NotifyWithCacheUpdates(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    Notify(notifications);
}

bool DomainCommand::ShouldStackForUndo() const { return true; }

bool DomainCommand::ClearsPreviewCommands() const { return true; }

DomainCommand::ProgressType DomainCommand::GetProgressType() const { return ProgressType::None; }

int DomainCommand::GetProgressInterval() const { return c_progressIntervalMilliseconds; }

bool* DomainCommand::GetProgressAbortPointer() const { return nullptr; }

bool DomainCommand::ProgressHasIntermediateUpdates() const { return false; }

Kernel::LocalisedString DomainCommand::GetProgressDescription() const { return GetDescription(); }

bool DomainCommand::ValidateUntrusted() { return true; }

unsigned int DomainCommand::MergeTimeout() const { return c_mergeTimeoutMilliseconds; }

std::vector<Kernel::Counted<Kernel::Reflected>> DomainCommand::EnumerateReflecteds() { return {}; }

void DomainCommand::ClearAbortFlag() const {
    if (bool* const flag = GetProgressAbortPointer())
        std::atomic_ref(*flag).store(false, std::memory_order_relaxed);
}

DocumentControllerBinding::DocumentControllerBinding(DocumentControllerBinding const& other) noexcept
    : m_controller(other.m_controller), m_block(other.m_block) {
    if (m_block != nullptr)
        m_block->AcquireWeak();
}

DocumentControllerBinding& DocumentControllerBinding::operator=(DocumentControllerBinding const& other) noexcept {
    DocumentControllerBinding copy(other);
    std::swap(m_controller, copy.m_controller);
    std::swap(m_block, copy.m_block);
    return *this;
}

void DocumentControllerBinding::Bind(Kernel::NonCounted<DocumentController> controller) noexcept {
    auto* const block = controller ? controller->GetControlBlock() : nullptr;
    if (block == m_block)
        return;
    if (m_block != nullptr)
        m_block->ReleaseWeak();
    m_controller = controller.get();
    m_block = block;
    if (m_block != nullptr)
        m_block->AcquireWeak();
}

DocumentControllerBinding::operator Kernel::Counted<DocumentController>() const noexcept {
    if (m_block == nullptr || !m_block->TryAcquireStrong())
        return {};
    return Kernel::Counted<DocumentController>::Adopt(m_controller);
}

DocumentControllerBinding::operator Kernel::Counted<DocumentController const>() const noexcept {
    return static_cast<Kernel::Counted<DocumentController>>(*this);
}

DocumentControllerBinding::operator Kernel::NonCounted<DocumentController>() const noexcept {
    return *this ? m_controller : nullptr;
}

Kernel::Counted<DocumentController> DocumentControllerBinding::operator->() const noexcept {
    return static_cast<Kernel::Counted<DocumentController>>(*this);
}

DocumentCommand::DocumentCommand() { m_family = Family::Document; }

DocumentCommand::~DocumentCommand() = default;

void DocumentCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    m_documentController.Bind(controller);
}

bool DocumentCommand::MakesDOMDirty() const { return true; }

bool DocumentCommand::IsUnsupportedBeta() const { return false; }

bool DocumentCommand::ShouldStackForMacro() const { return true; }

bool DocumentCommand::ShouldPresentInMacro() const { return true; }

bool DocumentCommand::MacroMerge(Kernel::Counted<Command const>) { return false; }

void DocumentCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    m_documentController.Bind(controller);
}

void DocumentCommand::SetPreview(bool preview) { m_preview = preview; }

Kernel::Counted<Selection const> DocumentCommand::GetSelection() { return {}; }

Kernel::Counted<DocumentCommand>
DocumentCommand::ShouldStackForUndoWhenClearedAsPreview(Kernel::Counted<DocumentCommand>,
                                                        std::vector<Kernel::Counted<Kernel::Notification>>&) {
    return {};
}

Kernel::Counted<Raster::DynamicBuffer> DocumentCommand::GenerateThumbnail() const {
    auto const picture = GenerateHistoryThumbnail(GenerateHistoryInterestingRect());
    return picture ? Kernel::MakeCounted<Raster::DynamicBuffer>(picture) : nullptr;
}

void DocumentCommand::ApplyTransform(Raster::AffineTransform::Params) {}

void DocumentCommand::ApplyInverseTransform(Raster::AffineTransform::Params) {}

bool DocumentCommand::CanRepeat() const { return false; }

bool DocumentCommand::RequiresArtboardChangedNotification() const { return false; }

bool DocumentCommand::SelectionContainsArtboards() {
    auto const selection = GetSelection();
    return selection && selection->ContainsArtboards();
}

Kernel::Counted<Raster::BufferRGBA8> DocumentCommand::GenerateHistoryThumbnail(Kernel::RectT<double> area) const {
    auto const controller = GetDocumentController();
    auto const spread = controller ? controller->GetCurrentSpread() : nullptr;
    double const side = std::max(area.GetWidth(), area.GetHeight());
    if (!spread || !(std::min(area.GetWidth(), area.GetHeight()) > 0) || !std::isfinite(side))
        return {};
    SpreadPictureOptions options;
    options.area = area;
    options.scale = std::min(c_largestThumbnailScale, c_thumbnailSide / side);
    // For a screen, whatever the document's profiles are.
    options.profiles = Raster::ICCProfileSet();
    auto const picture = MakeSpreadPicture(*spread, options);
    auto const& raster = picture->GetOptions();
    return Kernel::Cast<Raster::BufferRGBA8>(picture->Render({0, 0, raster.width, raster.height}));
}

Kernel::RectT<double> DocumentCommand::GenerateHistoryInterestingRect() const {
    if (auto const damage = FindDamageArea(*this); !damage.IsEmpty())
        return damage;
    auto const controller = GetDocumentController();
    if (!controller)
        return {};
    auto const spread = controller->GetCurrentSpread();
    return spread ? spread->GetBaseBox(true) : Kernel::RectT<double>();
}

void DocumentCommand::Deduplicate(Raster::BlockDeduplicationSupport&, bool*) {}

bool DocumentCommand::WillAddChildNodes() const { return false; }

DetachInterfaces DocumentCommand::GetDocumentDetachLinkedAttributesOnEdit() const { return DetachInterfaces::None; }

DetachInterfaces DocumentCommand::GetDetachInterfaces(Kernel::NonCounted<Kernel::Countable const>) const {
    return GetDocumentDetachLinkedAttributesOnEdit();
}

bool DocumentCommand::ShouldDetachLinksOnEdit(Kernel::Counted<Kernel::Countable const> object) const {
    auto const detached = static_cast<std::uint32_t>(GetDetachInterfaces(object));
    return (detached & static_cast<std::uint32_t>(DetachInterfaces::Structure)) != 0;
}

bool DocumentCommand::CanOnlyOperateOnCurrentSpread() const { return false; }

void DocumentCommand::FastTrackPreview(Kernel::Counted<Command>) {}

Kernel::Counted<DocumentCommand> DocumentCommand::GetReplacementCommand() { return {}; }

bool DocumentCommand::AffectsCrossReferences() const { return false; }

void RegisterMergeTargets(Kernel::ClassProperties const& ofClass, MergeTargetsComparison areSame) {
    GetMergeTargets()[&ofClass] = areSame;
}

void UnregisterMergeTargets(Kernel::ClassProperties const& ofClass) { GetMergeTargets().erase(&ofClass); }

bool DocumentCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    if (!newer || newer.get() == this)
        return false;
    auto const* const properties = GetObjectClassProperties();
    auto const known = GetMergeTargets().find(properties);
    if (known == GetMergeTargets().end())
        return true;
    auto const* const other = Kernel::CastPointer<DocumentCommand const>(newer.get());
    return other != nullptr && other->GetObjectClassProperties() == properties && known->second(*this, *other);
}

Kernel::Counted<DomainController const> DocumentCommand::GetDomainController() const { return GetDocumentController(); }

Kernel::Counted<DomainController> DocumentCommand::GetDomainController() { return GetDocumentController(); }

void DocumentCommand::PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController> controller) {
    m_documentController.Bind(Kernel::Cast<DocumentController>(controller));
}

Kernel::Counted<DocumentController> DocumentCommand::GetDocumentController() const noexcept {
    return m_documentController;
}

void DocumentCommand::Save(Kernel::OutSerialiser&) const {}

bool DocumentCommand::Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) { return true; }
