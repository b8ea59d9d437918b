// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_command.h"
#include "platform/document/spread_rects.h"
#include "platform/kernel/stored_class.h"

// Sets how text runs round the selected objects. The distances that it keeps stay as they are.
class REDRAFT_ENGINE ChangeTextWrapCommand final
    : public Kernel::StoredClass<ChangeTextWrapCommand,
                                 SelectionCommandWithSingleInterface<ChangeTextWrapCommand, TextWrapInterface>> {
public:
    explicit ChangeTextWrapCommand(Story::WrapStyle::Type style, Kernel::Counted<Selection const> selection = {});

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return HasKeptStates(); }
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void ReceiveInterface(Kernel::NonCounted<TextWrapInterface> object) override;

private:
    friend struct Kernel::FieldAccess;
    ChangeTextWrapCommand() : ChangeTextWrapCommand(Story::WrapStyle::None) {}
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Styl", &ChangeTextWrapCommand::m_style}}; }
    template <class Operation>
    void WithAreas(Operation const& operation);

    Story::WrapStyle::Type m_style;
    // The objects, and where texts lie otherwise than before.
    SpreadRects m_areas;
};
