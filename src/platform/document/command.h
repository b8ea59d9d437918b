// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/abortable.h"
#include "platform/kernel/counted.h"
#include "platform/kernel/geometry_values.h"
#include "platform/kernel/notification.h"
#include "platform/kernel/serialisable.h"
#include "platform/kernel/string.h"
#include "platform/raster/affine_transform.h"
#include "platform/raster/buffer.h"

#include <cstdint>
#include <vector>

class DocumentController;
class DocumentCommand;
class DomainController;
class Selection;

namespace Raster {
class BlockDeduplicationSupport;
class DynamicBuffer;
} // namespace Raster

class Node;

namespace Kernel {
// The part of a command that scripts may see; no command of this library shows anything.
class REDRAFT_ENGINE Reflected : public virtual Countable {};
} // namespace Kernel

// The order of the virtual operations of this file is the contract between the library and the engine: slots are never
// moved, new ones go to the end.

// One user operation.
class REDRAFT_ENGINE Command : public virtual Kernel::Countable {
public:
    virtual Kernel::LocalisedString GetDescription() const = 0;
    // Changes the document. Throws before its first change, or puts back what it changed.
    virtual void Do() = 0;
    virtual void Undo() = 0;
    virtual void Redo() = 0;
    // The end of a command's life in history.
    virtual void Teardown();
    // Appends what the operation that ran last has changed. The list is the caller's.
    virtual void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) = 0;
    // Takes over the newer command's new values. False: it stays a command of its own.
    virtual bool Merge(Kernel::Counted<Command const> newer);
    // Whether Merge is worth asking. The newer command may be of another class.
    virtual bool CanMerge(Kernel::Counted<Command const> newer) const;
    virtual void CallCompletionCallbacks();
};

class REDRAFT_ENGINE DomainCommand : public Command {
public:
    // The command's family, which the queue has to know without asking its class.
    enum class Family : std::uint8_t { Domain, Document, BackgroundTask };
    // Which operation ran last.
    enum class Direction : std::uint32_t { Do = 0, Undo = 1, Redo = 2, Teardown = 3 };
    // How progress is shown: not, or more or less so. Whether it can be stopped is what GetProgressAbortPointer tells.
    enum class ProgressType : std::uint32_t { None = 0, Bar = 1, LargeBar = 2 };
    // Bits of the status word that a failed check sets.
    static constexpr std::uint32_t c_statusDivideRefused = 2;
    static constexpr std::uint32_t c_statusBitmapRefused = 8;

    virtual Kernel::Counted<DomainController const> GetDomainController() const = 0;
    virtual Kernel::Counted<DomainController> GetDomainController() = 0;
    // True: a command of this class replaces waiting ones that IsAnotherAlreadyInQueue names.
    virtual bool AvoidMultipleInQueue() const;
    virtual bool IsAnotherAlreadyInQueue(Kernel::Counted<DomainCommand> const& other) const;
    virtual void PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController> controller) = 0;
    // The frame's entries: they wrap Do, Undo, Redo and Notify.
    virtual void DoAndUpdateCaches();
    virtual void UndoAndUpdateCaches();
    virtual void RedoAndUpdateCaches();
    virtual void NotifyWithCacheUpdates(std::vector<Kernel::Counted<Kernel::Notification>>& notifications);
    virtual bool ShouldStackForUndo() const;
    virtual bool ClearsPreviewCommands() const;
    virtual ProgressType GetProgressType() const;
    // Milliseconds between two progress reports.
    virtual int GetProgressInterval() const;
    // The flag that ends a long operation; null for a command that cannot be aborted. Owned by the command.
    virtual bool* GetProgressAbortPointer() const;
    virtual bool ProgressHasIntermediateUpdates() const;
    virtual Kernel::LocalisedString GetProgressDescription() const;
    // Checks a command that was loaded from a file that is not trusted. False refuses it.
    virtual bool ValidateUntrusted();
    // For how many milliseconds after the last change a newer command may merge into this one; 0: never.
    virtual unsigned int MergeTimeout() const;
    virtual std::vector<Kernel::Counted<Kernel::Reflected>> EnumerateReflecteds();

    Direction GetDirection() const noexcept { return m_direction; }
    Family GetFamily() const noexcept { return m_family; }
    // Takes an abort back that was asked for before the command runs; whoever runs a command calls it first.
    void ClearAbortFlag() const;
    std::uint32_t GetStatusFlags() const noexcept { return m_statusFlags; }

protected:
    void SetDirection(Direction direction) noexcept { m_direction = direction; }

    Direction m_direction = Direction::Do;
    std::uint32_t m_statusFlags = 0;
    Family m_family = Family::Domain;
};

// A command's way to its controller. It does not keep the controller alive, because the controller's history keeps the
// command; once the controller is gone it is empty.
class REDRAFT_ENGINE DocumentControllerBinding {
public:
    DocumentControllerBinding() noexcept = default;
    DocumentControllerBinding(DocumentControllerBinding const& other) noexcept;
    DocumentControllerBinding& operator=(DocumentControllerBinding const& other) noexcept;
    ~DocumentControllerBinding() {
        if (m_block != nullptr)
            m_block->ReleaseWeak();
    }
    void Bind(Kernel::NonCounted<DocumentController> controller) noexcept;

    explicit operator bool() const noexcept { return m_block != nullptr && m_block->GetStrongCount() != 0; }
    operator Kernel::Counted<DocumentController>() const noexcept;
    operator Kernel::Counted<DocumentController const>() const noexcept;
    // For the length of a call.
    operator Kernel::NonCounted<DocumentController>() const noexcept;
    // The controller stays for the length of the expression.
    Kernel::Counted<DocumentController> operator->() const noexcept;

private:
    DocumentController* m_controller = nullptr;
    Kernel::CountedControlBlock* m_block = nullptr;
};

// Which attributes of linked nodes an edit sets free from their link. Bits; 0 is none.
enum class DetachInterfaces : std::uint32_t { None = 0, Structure = 1, Look = 2, Geometry = 4, All = 7 };

class REDRAFT_ENGINE DocumentCommand : public DomainCommand, public Kernel::Serialisable {
public:
    virtual void PostLoad(Kernel::NonCounted<DocumentController> controller);
    // A fresh command with the same arguments, never with what Do has captured. Empty: it cannot be repeated.
    virtual Kernel::Counted<DocumentCommand> Clone() const = 0;
    virtual bool MakesDOMDirty() const;
    virtual bool IsUnsupportedBeta() const;
    virtual bool ShouldStackForMacro() const;
    virtual bool ShouldPresentInMacro() const;
    virtual bool MacroMerge(Kernel::Counted<Command const> newer);
    // Binds the controller. An override may read the document now.
    virtual void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller);
    virtual void SetPreview(bool preview);
    // The selection that the command runs on; empty for commands without one.
    virtual Kernel::Counted<Selection const> GetSelection();
    // When a preview ends by `clearing`, the command that history keeps in its place; empty: none.
    virtual Kernel::Counted<DocumentCommand>
    ShouldStackForUndoWhenClearedAsPreview(Kernel::Counted<DocumentCommand> clearing,
                                           std::vector<Kernel::Counted<Kernel::Notification>>& notifications);
    // The same of what the command touched.
    virtual Kernel::Counted<Raster::DynamicBuffer> GenerateThumbnail() const;
    virtual void ApplyTransform(Raster::AffineTransform::Params transform);
    virtual void ApplyInverseTransform(Raster::AffineTransform::Params transform);
    virtual bool CanRepeat() const;
    virtual bool RequiresArtboardChangedNotification() const;
    virtual bool SelectionContainsArtboards();
    // A picture of the part of the current spread that the rectangle names, in document units, as it is now; empty
    // when there is nothing to show. The document is held for reading.
    virtual Kernel::Counted<Raster::BufferRGBA8> GenerateHistoryThumbnail(Kernel::RectT<double> area) const;
    // The area that a picture should show: the bounds of all that the command touched, or the spread.
    virtual Kernel::RectT<double> GenerateHistoryInterestingRect() const;
    virtual void Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort);
    virtual bool WillAddChildNodes() const;
    virtual DetachInterfaces GetDocumentDetachLinkedAttributesOnEdit() const;
    virtual DetachInterfaces GetDetachInterfaces(Kernel::NonCounted<Kernel::Countable const> object) const;
    // Whether an edit of this object's children sets it free from its link.
    virtual bool ShouldDetachLinksOnEdit(Kernel::Counted<Kernel::Countable const> object) const;
    virtual bool CanOnlyOperateOnCurrentSpread() const;
    // The preview that is up while this one replaces it.
    virtual void FastTrackPreview(Kernel::Counted<Command> previous);
    // Asked of a loaded command: what stands in history in its place. Empty: the command itself.
    virtual Kernel::Counted<DocumentCommand> GetReplacementCommand();
    virtual bool AffectsCrossReferences() const;

    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    Kernel::Counted<DomainController const> GetDomainController() const override;
    Kernel::Counted<DomainController> GetDomainController() override;
    void PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController> controller) override;

    // The bound controller; empty before the command was bound, and after the controller has gone.
    Kernel::Counted<DocumentController> GetDocumentController() const noexcept;
    bool IsPreview() const noexcept { return m_preview; }

    static Kernel::ClassProperties const* GetTypeClassProperties();
    // The base writes nothing and reads nothing.
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

    ~DocumentCommand() override;

protected:
    DocumentCommand();

    DocumentControllerBinding m_documentController;
    bool m_preview = false;
};

// Commands that can tell which nodes they made.
class REDRAFT_ENGINE NewNodesCommandInterface : public virtual Kernel::Countable {
public:
    // Appends them.
    virtual void GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const = 0;
};
