// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "publishing/epub_cover_argument.h"

namespace Commands {

// Sets the cover of the document's e-books.
class REDRAFT_API SetEPubCoverInfoCommand final : public Persisted<SetEPubCoverInfoCommand, DocumentCommand> {
public:
    static constexpr bool c_storesBaseFirst = true;

    // Null: no cover is set.
    explicit SetEPubCoverInfoCommand(Kernel::Counted<EPubCoverInfo const> info) : m_info(std::move(info)) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

private:
    friend struct Kernel::FieldAccess;
    SetEPubCoverInfoCommand() = default;
    static constexpr auto Fields() {
        using This = SetEPubCoverInfoCommand;
        return Kernel::FieldList{Kernel::Field{"info", &This::m_info}.As<EPubCoverArgument>("cover", "the cover"),
                                 Kernel::Field{"oinf", &This::m_oldInfo}};
    }

    Kernel::Counted<EPubCoverInfo const> m_info, m_oldInfo;
};

} // namespace Commands
