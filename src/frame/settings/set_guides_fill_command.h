// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "platform/renderer/fill_descriptor.h"

namespace Commands {

// Sets the colour of the document's guides, which is also the colour that later documents get.
class REDRAFT_API SetGuidesFillCommand final : public Persisted<SetGuidesFillCommand, DocumentCommand> {
public:
    static constexpr std::string_view c_keptByUndo = "The document defaults keep the new colour.";
    static constexpr bool c_storesBaseFirst = true;

    explicit SetGuidesFillCommand(Kernel::Counted<Renderer::FillDescriptor const> fill) : m_newFill(std::move(fill)) {}

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

private:
    friend struct Kernel::FieldAccess;
    SetGuidesFillCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"ofil", &SetGuidesFillCommand::m_oldFill},
                                 Kernel::Field{"fill", &SetGuidesFillCommand::m_newFill}.As(
                                     "fill", "the guides' colour; none: the built-in one")};
    }

    Kernel::Counted<Renderer::FillDescriptor const> m_newFill, m_oldFill;
};

} // namespace Commands
