// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/selection_command.h"
#include "platform/document/changed_areas.h"
#include "platform/document/generative_interface.h"
#include "platform/kernel/stored_class.h"

// Shows another one of the pictures that were made for the selected generated objects. An object with fewer of them
// keeps the one that it shows.
class REDRAFT_ENGINE SetChosenGenerationCommand final
    : public Kernel::StoredClass<SetChosenGenerationCommand,
                                 SelectionCommandWithSingleInterface<SetChosenGenerationCommand, GenerativeInterface>> {
public:
    // `index` counts from 0.
    explicit SetChosenGenerationCommand(std::uint32_t index, Kernel::Counted<Selection const> selection = {});

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override { return HasKeptStates(); }
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void ReceiveInterface(Kernel::NonCounted<GenerativeInterface> object) override;

private:
    friend struct Kernel::FieldAccess;
    SetChosenGenerationCommand() : SetChosenGenerationCommand(0) {}
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Indx", &SetChosenGenerationCommand::m_index}};
    }

    std::uint32_t m_index;
    ChangedAreas m_areas;
};
