// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/settings/setting_command.h"
#include "publishing/accessibility_argument.h"

namespace Commands {

// Says how the document's publications may be read, and by whom.
class REDRAFT_API SetDocumentAccessibilityMetadataCommand final
    : public SettingCommand<SetDocumentAccessibilityMetadataCommand,
                            Kernel::Counted<EPub::AccessibilityMetadata const>> {
public:
    // Takes the metadata; null: nothing is said.
    using SettingCommand::SettingCommand;

    static constexpr auto c_description = Kernel::Localisable("Set Accessibility Metadata", "Command description");
    static Kernel::Counted<EPub::AccessibilityMetadata const> Get(DocumentController& document) {
        return document.GetAccessibilityMetadata();
    }
    static void Set(DocumentController& document, Kernel::Counted<EPub::AccessibilityMetadata const> const& metadata) {
        document.SetAccessibilityMetadata(metadata);
    }
    // Required: nobody is told.
    void Notify(Kernel::NotificationList&) override {}

private:
    friend struct Kernel::FieldAccess;
    SetDocumentAccessibilityMetadataCommand() = default;
    static constexpr auto Fields() {
        using This = SetDocumentAccessibilityMetadataCommand;
        return Kernel::FieldList{
            Kernel::Field{"meta", &This::m_value}.As<AccessibilityArgument>("metadata", "how it may be read"),
            Kernel::Field{"omet", &This::m_oldValue}};
    }
};

} // namespace Commands
