// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "publishing/accessibility_argument.h"

namespace Commands {

// Says how the document's publications may be read, and by whom.
class REDRAFT_API SetDocumentAccessibilityMetadataCommand final
    : public Persisted<SetDocumentAccessibilityMetadataCommand, DocumentCommand> {
public:
    // Null: nothing is said.
    explicit SetDocumentAccessibilityMetadataCommand(Kernel::Counted<EPub::AccessibilityMetadata const> metadata)
        : m_metadata(std::move(metadata)) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    // Required: nobody is told.
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override;

private:
    friend struct Kernel::FieldAccess;
    SetDocumentAccessibilityMetadataCommand() = default;
    static constexpr auto Fields() {
        using This = SetDocumentAccessibilityMetadataCommand;
        return Kernel::FieldList{
            Kernel::Field{"meta", &This::m_metadata}.As<AccessibilityArgument>("metadata", "how it may be read"),
            Kernel::Field{"omet", &This::m_oldMetadata}};
    }

    Kernel::Counted<EPub::AccessibilityMetadata const> m_metadata, m_oldMetadata;
};

} // namespace Commands
