// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_source_command.h"

namespace Commands {

// Has a source fill the fields of the document, or leave them.
class REDRAFT_API SetDataMergeEnabledCommand final
    : public DataMergePreviewedSourceCommand<SetDataMergeEnabledCommand> {
public:
    SetDataMergeEnabledCommand(Kernel::JailCounted<DataMergeSource> source, bool enabled)
        : DataMergePreviewedSourceCommand(std::move(source)), m_newValue(enabled) {}

    static constexpr auto c_description = Kernel::Localisable("Set Data Merge Source Enabled", "Command description");
    void Do() override {
        SetDirection(Direction::Do);
        m_oldValue = RequireSource(m_source).IsUserEnabled();
        m_source->SetUserEnabled(m_newValue);
        m_updatePreviewCommand = DoUpdatePreview(*this, m_source);
    }
    void Undo() override {
        SetDirection(Direction::Undo);
        RequireSource(m_source).SetUserEnabled(m_oldValue);
        UndoUpdatePreview(m_updatePreviewCommand);
    }
    void Redo() override {
        SetDirection(Direction::Redo);
        RequireSource(m_source).SetUserEnabled(m_newValue);
        RedoUpdatePreview(m_updatePreviewCommand);
    }

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeEnabledCommand() = default;
    static constexpr auto Fields() {
        using This = SetDataMergeEnabledCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"olft", &This::m_oldValue},
            Kernel::Field{"nwft", &This::m_newValue}.As("enabled", "whether the source fills fields"),
            Kernel::Field{"uppc", &This::m_updatePreviewCommand}};
    }

    bool m_oldValue = false, m_newValue = false;
};

} // namespace Commands
