// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_source_command.h"

namespace Commands {

// Takes a merge source from the document. Fields that it filled show their names then.
class REDRAFT_API DeleteDataMergeSourceCommand final
    : public DataMergePreviewedSourceCommand<DeleteDataMergeSourceCommand> {
public:
    explicit DeleteDataMergeSourceCommand(Kernel::JailCounted<DataMergeSource> source)
        : DataMergePreviewedSourceCommand(std::move(source)) {}

    static constexpr auto c_description = Kernel::Localisable("Delete Data Merge Source", "Command description");
    // Nothing happens where the document does not have the source; it is a step all the same.
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;

    // Null for a command that found nothing to delete.
    Kernel::Counted<SetDataMergePreviewCommand> const& GetPreviewCommand() const { return m_updatePreviewCommand; }

private:
    friend struct Kernel::FieldAccess;
    DeleteDataMergeSourceCommand() = default;
    static constexpr auto Fields() {
        using This = DeleteDataMergeSourceCommand;
        return Kernel::FieldList{
            Kernel::Field{"news", &This::m_source}.As<DataMergeSourceReference>("source", "the source to delete"),
            Kernel::Field{"olin", &This::m_oldIndex}, Kernel::Field{"prcm", &This::m_updatePreviewCommand}};
    }

    // Among the sources of the document.
    std::uint32_t m_oldIndex = 0;
};

} // namespace Commands
