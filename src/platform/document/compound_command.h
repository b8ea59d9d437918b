// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/inner_commands.h"

// A command made of commands. Children are done in the order in which they were added, undone last to first. When one
// throws, those before it are taken back, so that the compound is done or undone as a whole or not at all.
class REDRAFT_ENGINE CompoundCommand : public DocumentCommand, public NewNodesCommandInterface {
public:
    // `stopAtEmpty`: the compound is not stacked when it has no children; it is not either when none of them is.
    // `presentAsOne`: macros show it as one step. `notifyChildren`: Notify forwards to the children.
    CompoundCommand(bool stopAtEmpty, bool presentAsOne, bool notifyChildren);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Teardown() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    void CallCompletionCallbacks() override;
    bool ShouldStackForUndo() const override;
    bool ValidateUntrusted() override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    bool ShouldPresentInMacro() const override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;
    void SetPreview(bool preview) override;
    void ApplyTransform(Raster::AffineTransform::Params transform) override;
    void ApplyInverseTransform(Raster::AffineTransform::Params transform) override;
    bool WillAddChildNodes() const override;
    void Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) override;
    void GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const override;

    std::vector<Kernel::Counted<DocumentCommand>> const& GetCommands() const { return m_commands.Get(); }
    // A child that has not run; it runs with the compound. Exception for a command that asks a model (OstraAICommand).
    void AppendCommand(Kernel::Counted<DocumentCommand> command);
    // Without it a compound is a "Compound Command".
    void SetDescription(Kernel::LocalisedString description);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    InnerCommands m_commands;
    Kernel::LocalisedString m_description;

private:
    bool m_stopAtEmpty = false;
    bool m_presentAsOne = true;
    bool m_notifyChildren = true;
};

// A compound whose children come into being while its own Do runs.
class REDRAFT_ENGINE AggregateCommand : public CompoundCommand {
public:
    AggregateCommand() : CompoundCommand(false, true, true) {}
    bool ShouldStackForUndo() const override { return DocumentCommand::ShouldStackForUndo(); }

protected:
    // With `front` the child is undone last.
    virtual void AddCommand(Kernel::Counted<DocumentCommand> command, bool front);
    // Binds the child to this command's controller, runs its Do and appends it.
    void AddAndDoCommand(Kernel::Counted<DocumentCommand> command);
};
