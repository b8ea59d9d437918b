// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/slice_page.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/stored_class.h"

// Base of commands that set one value of how an object is exported. T lists the fields and says how the value is read
// and set: `static Value Get(ExportableInterface const&)` and `static void Set(ExportableInterface&, Value const&)`.
template <class T, class Value>
class REDRAFT_ENGINE ExportableCommand : public Kernel::StoredClass<T, DocumentCommand> {
public:
    // Throws Kernel::Exception where the object cannot be stored.
    static Kernel::Counted<DocumentCommand> Create(Value const& value,
                                                   Kernel::JailCounted<ExportableInterface> const& object);

    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

protected:
    // The object. A forged file may name anything else: Do, Undo and Redo throw Kernel::Exception then.
    Kernel::Counted<Selectable> m_object;
    Value m_new{}, m_old{};
};

// Sets the file that an object is exported to.
class REDRAFT_ENGINE SetExportableFilenameCommand final
    : public ExportableCommand<SetExportableFilenameCommand, Kernel::String> {
public:
    Kernel::LocalisedString GetDescription() const override;
    static Kernel::String Get(ExportableInterface const& object) { return object.GetExportFilename(); }
    static void Set(ExportableInterface& object, Kernel::String const& name) { object.SetExportFilename(name); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    SetExportableFilenameCommand() = default;
    static constexpr auto Fields() {
        using This = SetExportableFilenameCommand;
        return Kernel::FieldList{Kernel::Field{"Objt", &This::m_object}, Kernel::Field{"NewN", &This::m_new},
                                 Kernel::Field{"OldN", &This::m_old}};
    }
};

// Takes an object into the exports of all slices, or out of them.
class REDRAFT_ENGINE SetExportableIncludeCommand final : public ExportableCommand<SetExportableIncludeCommand, bool> {
public:
    Kernel::LocalisedString GetDescription() const override;
    static bool Get(ExportableInterface const& object) { return object.IsIncludedInExport(); }
    static void Set(ExportableInterface& object, bool include) { object.SetIncludedInExport(include); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    SetExportableIncludeCommand() = default;
    static constexpr auto Fields() {
        using This = SetExportableIncludeCommand;
        return Kernel::FieldList{Kernel::Field{"Objt", &This::m_object}, Kernel::Field{"NewI", &This::m_new},
                                 Kernel::Field{"OldI", &This::m_old}};
    }
};

extern template class ExportableCommand<SetExportableFilenameCommand, Kernel::String>;
extern template class ExportableCommand<SetExportableIncludeCommand, bool>;
