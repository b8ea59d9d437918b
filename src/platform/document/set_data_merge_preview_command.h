// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_source.h"
#include "platform/document/merge_field_areas.h"

// Shows a record of a merge source in the fields of the document, or takes it from them. Every run has the fields show
// what the source's last update gave.
class REDRAFT_ENGINE SetDataMergePreviewCommand final
    : public Kernel::StoredClass<SetDataMergePreviewCommand, DocumentCommand> {
public:
    // `row`: a place among the records that came out of the filters; -1: the one that was shown last.
    SetDataMergePreviewCommand(Kernel::JailCounted<DataMergeSource> source, bool enabled, int row);
    ~SetDataMergePreviewCommand() override;
    // One that shows what is shown already, as the source has it now.
    static Kernel::Counted<SetDataMergePreviewCommand>
    MakeForceUpdatePreviewCommand(Kernel::JailCounted<DataMergeSource> source);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    // Puts back whether a record is shown and which.
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool ShouldStackForUndo() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    // For a change of what fields show that comes right before a run: the run tells of both.
    void NoteBeforeChange();

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    SetDataMergePreviewCommand();
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = SetDataMergePreviewCommand;
        return Kernel::FieldList{Kernel::Field{"Srce", &This::m_source}, Kernel::Field{"Enab", &This::m_enabled},
                                 Kernel::Field{"Row_", &This::m_row}, Kernel::Field{"OldE", &This::m_oldEnabled},
                                 Kernel::Field{"OldR", &This::m_oldRow}};
    }
    // `row`: below 0: leaves it.
    void Show(bool enabled, std::int64_t row);

    Kernel::Counted<DataMergeSource> m_source;
    bool m_enabled = false, m_oldEnabled = false;
    std::int32_t m_row = -1;
    std::uint32_t m_oldRow = 0;
    MergeFieldAreas m_areas;
};
