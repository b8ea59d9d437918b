// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/command.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

// Base of commands that say in one place what each direction does: `void Run(Direction direction)`, which is public in
// T.
template <class T, class Base = Persisted<T, DocumentCommand>>
class DirectedCommand : public Base {
public:
    using Base::Base;

    void Do() override { Start(DomainCommand::Direction::Do); }
    void Undo() override { Start(DomainCommand::Direction::Undo); }
    void Redo() override { Start(DomainCommand::Direction::Redo); }

private:
    void Start(DomainCommand::Direction direction) {
        this->SetDirection(direction);
        static_cast<T&>(*this).Run(direction);
    }
};
