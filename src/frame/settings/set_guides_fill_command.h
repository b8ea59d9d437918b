// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/directed_command.h"
#include "platform/renderer/fill_descriptor.h"

namespace Commands {

// Sets the colour of the document's guides, which is also the colour that later documents get.
class REDRAFT_API SetGuidesFillCommand final : public DirectedCommand<SetGuidesFillCommand> {
public:
    static constexpr std::string_view c_keptByUndo = "The document defaults keep the new colour.";
    static constexpr bool c_storesBaseFirst = true;

    explicit SetGuidesFillCommand(Kernel::Counted<Renderer::FillDescriptor const> fill) : m_newFill(std::move(fill)) {}

    static constexpr auto c_description = Kernel::Localisable("Set Guides Colour", "Command Description");
    void Run(Direction direction);
    void Notify(Kernel::NotificationList& notifications) override;

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
