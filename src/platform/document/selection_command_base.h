// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/selection.h"

// Base of commands that run on a selection: one that is given, or the document's own at run time.
class REDRAFT_ENGINE SelectionCommandBase : public DocumentCommand {
public:
    explicit SelectionCommandBase(Kernel::Counted<Selection const> selection);
    ~SelectionCommandBase() override;

    void Do() override;
    void Undo() override;
    void Redo() override;
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool ValidateUntrusted() override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;
    Kernel::Counted<Selection const> GetSelection() override;
    // The selection that the command was given; empty for one that takes the document's at run time. For clones.
    Kernel::Counted<Selection const> GetGivenSelection() const {
        return m_selectionFromDocument ? Kernel::Counted<Selection const>() : m_selection;
    }
    bool SelectionContainsArtboards() override;
    bool CanOnlyOperateOnCurrentSpread() const override;
    Kernel::RectT<double> GenerateHistoryInterestingRect() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    virtual bool ShouldOperateOnMasterItems();

private:
    virtual void PrepareUndo();

public:
    virtual bool ReservedSelectionQuery() const;

protected:
    // An ordered copy of the document's current selection; empty without a controller or a selection.
    Kernel::Counted<Selection const> CreateSelectionOrdered();
    bool IsSelectionEqualTo(Kernel::Counted<Selection const> const& other) const;

    Kernel::Counted<Selection const> m_selection;
    // The selection was made from the document's at run time.
    bool m_selectionFromDocument = false;
    // The selection has been settled.
    bool m_selectionResolved = false;
};
