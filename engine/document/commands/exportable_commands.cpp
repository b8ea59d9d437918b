// SPDX-License-Identifier: Apache-2.0
#include "platform/document/exportable_commands.h"

#include "platform/document/document_notification.h"
#include "platform/kernel/exception.h"

namespace {

template <class To, class From>
To& CastExportable(Kernel::Counted<From> const& object) {
    auto* const found = Kernel::CastPointer<To>(object.get());
    if (found == nullptr)
        throw Kernel::Exception("there is nothing whose export could be set up");
    return *found;
}

} // namespace

template <class T, class Value>
Kernel::Counted<DocumentCommand>
ExportableCommand<T, Value>::Create(Value const& value, Kernel::JailCounted<ExportableInterface> const& object) {
    Kernel::Counted<T> const command(Kernel::FieldAccess::New<T>());
    command->m_object = Kernel::Counted<Selectable>(&CastExportable<Selectable>(object));
    command->m_new = value;
    return command;
}

template <class T, class Value>
void ExportableCommand<T, Value>::Do() {
    this->SetDirection(DomainCommand::Direction::Do);
    auto& object = CastExportable<ExportableInterface>(m_object);
    m_old = T::Get(object);
    T::Set(object, m_new);
}

template <class T, class Value>
void ExportableCommand<T, Value>::Undo() {
    this->SetDirection(DomainCommand::Direction::Undo);
    T::Set(CastExportable<ExportableInterface>(m_object), m_old);
}

template <class T, class Value>
void ExportableCommand<T, Value>::Redo() {
    this->SetDirection(DomainCommand::Direction::Redo);
    T::Set(CastExportable<ExportableInterface>(m_object), m_new);
}

template <class T, class Value>
void ExportableCommand<T, Value>::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(
        Kernel::MakeCounted<ExportablesChangedNotification>(this->GetDocumentController(), this->IsPreview()));
}

template <class T, class Value>
Kernel::Counted<DocumentCommand> ExportableCommand<T, Value>::Clone() const {
    return Create(m_new, Kernel::Counted<ExportableInterface>(&CastExportable<ExportableInterface>(m_object)));
}

template class ExportableCommand<SetExportableFilenameCommand, Kernel::String>;
template class ExportableCommand<SetExportableIncludeCommand, bool>;

Kernel::LocalisedString SetExportableFilenameCommand::GetDescription() const {
    return Kernel::LocalisedString("Set export file name", "Command description");
}

Kernel::LocalisedString SetExportableIncludeCommand::GetDescription() const {
    return m_new ? Kernel::LocalisedString("Include in export", "Command description")
                 : Kernel::LocalisedString("Leave out of export", "Command description");
}
