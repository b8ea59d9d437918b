// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/kernel/field_value.h"

#include <vector>

class InnerCommands;

namespace Kernel {
// As an array of objects.
REDRAFT_ENGINE void SaveValue(OutSerialiser& out, IDTag tag, InnerCommands const& commands);
REDRAFT_ENGINE bool LoadValue(InSerialiser const& in, IDTag tag, InnerCommands& commands);
} // namespace Kernel

// The commands that another command, their owner, makes and runs as parts of itself: a list in the order in which they
// run. The owner decides which operations it passes on, and
// when; an operation on the whole list that fails has taken back what it did before it throws.
class REDRAFT_ENGINE InnerCommands {
public:
    using List = std::vector<Kernel::Counted<DocumentCommand>>;

    // For a single one, without a list: brings it to the state of the owner (controller, preview) and runs it.
    static void DoOne(DocumentCommand const& owner, DocumentCommand& inner);
    static void UndoOne(DocumentCommand& inner);
    static void RedoOne(DocumentCommand& inner);

    List const& Get() const noexcept { return m_commands; }
    bool IsEmpty() const noexcept { return m_commands.empty(); }
    // One that has not run, or has run already.
    void Append(Kernel::Counted<DocumentCommand> command);
    // With `front` it is undone last.
    void Insert(Kernel::Counted<DocumentCommand> command, bool front);
    // Runs a command, which joins the list when it has not thrown.
    void DoAndAppend(DocumentCommand const& owner, Kernel::Counted<DocumentCommand> command);

    // First to last.
    void Do(DocumentCommand const& owner);
    void Redo();
    void Notify(Kernel::NotificationList& notifications) const;
    void CallCompletionCallbacks() const;
    void SetPreview(bool preview) const;
    void ApplyTransform(Raster::AffineTransform::Params const& transform) const;
    // Puts those in place that commands of older versions are replaced by. True when there was one: the owner has
    // changed then.
    bool PostLoad(Kernel::NonCounted<DocumentController> controller);
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) const;
    void Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) const;
    // Last to first.
    void Undo();
    void Teardown() const;
    void ApplyInverseTransform(Raster::AffineTransform::Params const& transform) const;

    bool ValidateUntrusted() const;
    // True when one of them is.
    bool ShouldStackForUndo() const;
    bool WillAddChildNodes() const;
    // The nodes that they made.
    void AppendNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const;
    // New commands with the same arguments; empty when one of them cannot be cloned.
    InnerCommands Clone() const;

    friend bool operator==(InnerCommands const&, InnerCommands const&) = default;

private:
    friend void Kernel::SaveValue(Kernel::OutSerialiser& out, Kernel::IDTag tag, InnerCommands const& commands);
    friend bool Kernel::LoadValue(Kernel::InSerialiser const& in, Kernel::IDTag tag, InnerCommands& commands);
    void UndoRange(std::size_t end, std::size_t begin);
    void RedoRange(std::size_t begin, std::size_t end);

    List m_commands;
};

// How the commands of a class tell which others they hold, for walks over whole histories: a step one of whose parts
// cannot be read stays in the history, unreadable as a whole. The list of classes registers it for those whose fields
// hold commands.
using InnerCommandsGetter = void (*)(DocumentCommand const& command, InnerCommands::List& found);
REDRAFT_ENGINE void RegisterInnerCommands(Kernel::ClassProperties const& ofClass, InnerCommandsGetter getter);
REDRAFT_ENGINE void UnregisterInnerCommands(Kernel::ClassProperties const& ofClass);
// The commands that a command holds itself, without those that they hold; may append null.
REDRAFT_ENGINE void AppendInnerCommands(DocumentCommand const& command, InnerCommands::List& found);
