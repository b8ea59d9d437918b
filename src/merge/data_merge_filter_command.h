// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "merge/data_merge_update.h"
#include "merge/merge_references.h"
#include "platform/document/set_data_merge_preview_command.h"

namespace Commands {

// Tells that the filters of a source are others, and which texts show something else.
REDRAFT_API void NotifyOfFilters(DocumentCommand const& command, Kernel::Counted<DataMergeSource> const& source,
                                 Kernel::Counted<SetDataMergePreviewCommand> const& preview,
                                 Kernel::NotificationList& notifications);

// Base of the commands that add and remove filters, rules and clauses: each change is followed by an update of the
// source, and Do has the fields of the document show what comes out. T says what it changes, in `void Apply()`, which
// goes by the direction; the list of T's fields names m_source and m_updatePreviewCommand.
template <class T>
class DataMergeFilterCommand : public Persisted<T, DataMergeUpdateCommand> {
public:
    void Do() override {
        ApplyAndUpdate(DomainCommand::Direction::Do);
        this->m_updatePreviewCommand = DoUpdatePreview(*this, m_source);
    }
    void Undo() override {
        ApplyAndUpdate(DomainCommand::Direction::Undo);
        UndoUpdatePreview(this->m_updatePreviewCommand);
    }
    void Redo() override {
        ApplyAndUpdate(DomainCommand::Direction::Redo);
        RedoUpdatePreview(this->m_updatePreviewCommand);
    }
    void Notify(Kernel::NotificationList& notifications) override {
        NotifyOfFilters(*this, m_source, this->m_updatePreviewCommand, notifications);
    }

protected:
    DataMergeFilterCommand() = default;
    explicit DataMergeFilterCommand(Kernel::JailCounted<DataMergeSource> source) : m_source(std::move(source)) {}

    Kernel::JailCounted<DataMergeSource> m_source;

private:
    void ApplyAndUpdate(DomainCommand::Direction direction) {
        this->SetDirection(direction);
        auto& source = RequireSource(m_source);
        static_cast<T&>(*this).Apply();
        UpdateFilters(*this, source);
    }
};

} // namespace Commands
