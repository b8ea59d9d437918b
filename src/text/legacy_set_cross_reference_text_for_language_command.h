// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// Does nothing. Histories of old documents hold it, and load with it.
class REDRAFT_API LegacySetCrossReferenceTextForLanguageCommand final
    : public Persisted<LegacySetCrossReferenceTextForLanguageCommand, DocumentCommand> {
public:
    Kernel::LocalisedString GetDescription() const override { return {}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    bool IsUnsupportedBeta() const override { return true; }

private:
    friend struct Kernel::FieldAccess;
    LegacySetCrossReferenceTextForLanguageCommand() = default;
};

} // namespace Commands
