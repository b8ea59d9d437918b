// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_commands.h"

// Base of commands that bring up to date what texts say, wherever in the document they stand, such as references.
class REDRAFT_ENGINE TextUpdateCommand : public SelectionCommandProxyStateManager {
public:
    using SelectionCommandProxyStateManager::SelectionCommandProxyStateManager;
    ~TextUpdateCommand() override;

    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return HasKeptStates(); }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    using BeforeChange = std::function<void(TextNode& text)>;
    // The first selected text of the document, and where its selected part begins; null where there is none.
    struct Place {
        Kernel::Counted<TextNode> text;
        std::uint32_t index = 0;
    };
    Place FindPlace();
    // Changes texts, with a call of `beforeChange` for each before its first change.
    virtual void UpdateTexts(BeforeChange const& beforeChange) = 0;

private:
    void PutBack(Direction direction);

    // The texts that changed.
    Kernel::Counted<Selection const> m_changed;
    ChangedTextAreas m_areas;
};
