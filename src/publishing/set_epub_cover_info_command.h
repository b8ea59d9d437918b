// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "frame/settings/setting_command.h"
#include "publishing/epub_cover_argument.h"

namespace Commands {

// Sets the cover of the document's e-books.
class REDRAFT_API SetEPubCoverInfoCommand final
    : public SettingCommand<SetEPubCoverInfoCommand, Kernel::Counted<EPubCoverInfo const>> {
public:
    // Takes the cover; null: no cover is set.
    using SettingCommand::SettingCommand;
    static constexpr bool c_storesBaseFirst = true;

    static constexpr auto c_description = Kernel::Localisable("Set EPub cover info", "Command description");
    static Kernel::Counted<EPubCoverInfo const> Get(DocumentController& document) {
        return document.GetDocument()->GetEPubCoverInfo();
    }
    static void Set(DocumentController& document, Kernel::Counted<EPubCoverInfo const> const& info) {
        document.GetDocument()->SetEPubCoverInfo(info);
    }
    void Notify(Kernel::NotificationList& notifications) override {
        notifications.push_back(
            Kernel::MakeCounted<Notifications::EPubCoverInfoChangedNotification>(GetDocumentController()));
    }

private:
    friend struct Kernel::FieldAccess;
    SetEPubCoverInfoCommand() = default;
    static constexpr auto Fields() {
        using This = SetEPubCoverInfoCommand;
        return Kernel::FieldList{Kernel::Field{"info", &This::m_value}.As<EPubCoverArgument>("cover", "the cover"),
                                 Kernel::Field{"oinf", &This::m_oldValue}};
    }
};

} // namespace Commands
