// SPDX-License-Identifier: Apache-2.0
#include "platform/document/exportable_commands.h"

#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

namespace {

Kernel::Counted<Selectable> ToStored(Kernel::JailCounted<ExportableInterface> const& object) {
    auto* const selectable = Kernel::CastPointer<Selectable>(object.get());
    if (selectable == nullptr)
        throw Kernel::Exception("there is nothing whose export could be set up");
    return Kernel::Counted<Selectable>(selectable);
}

// A forged file may name anything else.
ExportableInterface& ToExportable(Kernel::Counted<Selectable> const& object) {
    auto* const exportable = Kernel::CastPointer<ExportableInterface>(object.get());
    if (exportable == nullptr)
        throw Kernel::Exception("there is nothing whose export could be set up");
    return *exportable;
}

void NotifyExportables(DocumentCommand& command, Kernel::NotificationList& notifications) {
    notifications.push_back(
        Kernel::MakeCounted<ExportablesChangedNotification>(command.GetDocumentController(), command.IsPreview()));
}

} // namespace

Kernel::Counted<DocumentCommand> SetExportableFilenameCommand::Create(Kernel::String const& name,
                                                                      Kernel::JailCounted<ExportableInterface> object) {
    auto command = Kernel::Counted<SetExportableFilenameCommand>(new SetExportableFilenameCommand);
    command->m_object = ToStored(object);
    command->m_name = name;
    return command;
}

Kernel::LocalisedString SetExportableFilenameCommand::GetDescription() const {
    return Kernel::LocalisedString("Set export file name", "Command description");
}

void SetExportableFilenameCommand::Do() {
    SetDirection(Direction::Do);
    auto& object = ToExportable(m_object);
    m_oldName = object.GetExportFilename();
    object.SetExportFilename(m_name);
}

void SetExportableFilenameCommand::Undo() {
    SetDirection(Direction::Undo);
    ToExportable(m_object).SetExportFilename(m_oldName);
}

void SetExportableFilenameCommand::Redo() {
    SetDirection(Direction::Redo);
    ToExportable(m_object).SetExportFilename(m_name);
}

void SetExportableFilenameCommand::Notify(Kernel::NotificationList& notifications) {
    NotifyExportables(*this, notifications);
}

Kernel::Counted<DocumentCommand> SetExportableFilenameCommand::Clone() const {
    return Create(m_name, Kernel::Counted<ExportableInterface>(&ToExportable(m_object)));
}

Kernel::Counted<DocumentCommand>
SetExportableIncludeCommand::Create(bool include, Kernel::JailCounted<ExportableInterface> const& object) {
    auto command = Kernel::Counted<SetExportableIncludeCommand>(new SetExportableIncludeCommand);
    command->m_object = ToStored(object);
    command->m_include = include;
    return command;
}

Kernel::LocalisedString SetExportableIncludeCommand::GetDescription() const {
    return m_include ? Kernel::LocalisedString("Include in export", "Command description")
                     : Kernel::LocalisedString("Leave out of export", "Command description");
}

void SetExportableIncludeCommand::Do() {
    SetDirection(Direction::Do);
    auto& object = ToExportable(m_object);
    m_oldInclude = object.IsIncludedInExport();
    object.SetIncludedInExport(m_include);
}

void SetExportableIncludeCommand::Undo() {
    SetDirection(Direction::Undo);
    ToExportable(m_object).SetIncludedInExport(m_oldInclude);
}

void SetExportableIncludeCommand::Redo() {
    SetDirection(Direction::Redo);
    ToExportable(m_object).SetIncludedInExport(m_include);
}

void SetExportableIncludeCommand::Notify(Kernel::NotificationList& notifications) {
    NotifyExportables(*this, notifications);
}

Kernel::Counted<DocumentCommand> SetExportableIncludeCommand::Clone() const {
    return Create(m_include, Kernel::Counted<ExportableInterface>(&ToExportable(m_object)));
}
