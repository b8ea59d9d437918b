// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "merge/data_merge_update.h"
#include "merge/merge_references.h"
#include "platform/document/document_controller.h"
#include "platform/document/merge_field_areas.h"
#include "platform/document/set_data_merge_preview_command.h"

namespace Commands {

// Tells that a source is set up otherwise.
REDRAFT_API void NotifyOfSource(DocumentCommand const& command, Kernel::Counted<DataMergeSource> const& source,
                                Kernel::NotificationList& notifications);

// Base of the commands on a merge source as a whole. T's list of fields names m_source.
template <class T>
class DataMergeSourceCommand : public Persisted<T, DocumentCommand> {
public:
    void Notify(Kernel::NotificationList& notifications) override { NotifyOfSource(*this, m_source, notifications); }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }

protected:
    DataMergeSourceCommand() = default;
    explicit DataMergeSourceCommand(Kernel::JailCounted<DataMergeSource> source) : m_source(std::move(source)) {}

    Kernel::JailCounted<DataMergeSource> m_source;
};

// Of those that have the fields of the document show the source as it is then.
template <class T>
class DataMergePreviewedSourceCommand : public DataMergeSourceCommand<T> {
public:
    void Notify(Kernel::NotificationList& notifications) override {
        DataMergeSourceCommand<T>::Notify(notifications);
        NotifyOfUpdatePreview(*this, m_updatePreviewCommand, notifications);
    }
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override {
        DocumentCommand::PostLoad(controller);
        PostLoadUpdatePreview(m_updatePreviewCommand, controller);
    }

protected:
    using DataMergeSourceCommand<T>::DataMergeSourceCommand;

    Kernel::Counted<SetDataMergePreviewCommand> m_updatePreviewCommand;
};

// Of those that give a source other options of some class. T says which, in `static Kernel::Counted<Options>
// Get(DataMergeSource const&)` and `static void Set(DataMergeSource&, Kernel::Counted<Options> const&)`. Required:
// there is no preview command; fields that show a record show it as it is read now.
template <class T, class Options>
class DataMergeOptionsCommand : public DataMergeSourceCommand<T> {
public:
    DataMergeOptionsCommand(Kernel::JailCounted<DataMergeSource> source, Kernel::Counted<Options> options)
        : DataMergeSourceCommand<T>(std::move(source)), m_newOptions(std::move(options)) {}

    static constexpr auto c_description = Kernel::Localisable("Set Data Merge Source Options", "Command description");
    void Do() override {
        m_oldOptions = T::Get(RequireSource(this->m_source));
        Put(DomainCommand::Direction::Do, m_newOptions);
    }
    void Undo() override { Put(DomainCommand::Direction::Undo, m_oldOptions); }
    void Redo() override { Put(DomainCommand::Direction::Redo, m_newOptions); }
    void Notify(Kernel::NotificationList& notifications) override {
        DataMergeSourceCommand<T>::Notify(notifications);
        m_areas.Notify(notifications, this->GetDocumentController(), this->IsPreview());
    }

protected:
    DataMergeOptionsCommand() = default;

    Kernel::Counted<Options> m_oldOptions, m_newOptions;

private:
    void Put(DomainCommand::Direction direction, Kernel::Counted<Options> const& options) {
        this->SetDirection(direction);
        auto& source = RequireSource(this->m_source);
        m_areas.Around(*this->m_documentController->GetDocument(), source, [&] { T::Set(source, options); });
    }

    MergeFieldAreas m_areas;
};

} // namespace Commands
