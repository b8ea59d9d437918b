// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/slice_page.h"
#include "platform/kernel/stored_class.h"

// Sets the file that an object is exported to.
class REDRAFT_ENGINE SetExportableFilenameCommand final
    : public Kernel::StoredClass<SetExportableFilenameCommand, DocumentCommand> {
public:
    // Throws Kernel::Exception where the object cannot be stored.
    static Kernel::Counted<DocumentCommand> Create(Kernel::String const& name,
                                                   Kernel::JailCounted<ExportableInterface> object);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    SetExportableFilenameCommand() = default;
    static constexpr auto Fields() {
        using This = SetExportableFilenameCommand;
        return Kernel::FieldList{Kernel::Field{"Objt", &This::m_object}, Kernel::Field{"NewN", &This::m_name},
                                 Kernel::Field{"OldN", &This::m_oldName}};
    }

    Kernel::Counted<Selectable> m_object;
    Kernel::String m_name, m_oldName;
};

// Takes an object into the exports of all slices, or out of them.
class REDRAFT_ENGINE SetExportableIncludeCommand final
    : public Kernel::StoredClass<SetExportableIncludeCommand, DocumentCommand> {
public:
    // Throws Kernel::Exception where the object cannot be stored.
    static Kernel::Counted<DocumentCommand> Create(bool include,
                                                   Kernel::JailCounted<ExportableInterface> const& object);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    SetExportableIncludeCommand() = default;
    static constexpr auto Fields() {
        using This = SetExportableIncludeCommand;
        return Kernel::FieldList{Kernel::Field{"Objt", &This::m_object}, Kernel::Field{"NewI", &This::m_include},
                                 Kernel::Field{"OldI", &This::m_oldInclude}};
    }

    Kernel::Counted<Selectable> m_object;
    bool m_include = false;
    bool m_oldInclude = false;
};
