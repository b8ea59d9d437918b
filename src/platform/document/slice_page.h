// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/selectable.h"
#include "platform/kernel/string.h"

class DocumentController;
class SpreadNode;

// An object that can be exported to a file of its own, as the user set it up.
class REDRAFT_ENGINE ExportableInterface : public virtual Kernel::Countable {
public:
    // Without folder and ending; empty until one has been set.
    virtual Kernel::String const& GetExportFilename() const = 0;
    virtual void SetExportFilename(Kernel::String name) = 0;
    // Whether an export of all slices takes it along.
    virtual bool IsIncludedInExport() const = 0;
    virtual void SetIncludedInExport(bool include) = 0;
};

// The slice of a document that is one whole spread. It belongs to its spread and can be selected.
class REDRAFT_ENGINE SlicePage final : public Selectable, public ExportableInterface {
public:
    ~SlicePage() override;
    Kernel::String const& GetExportFilename() const override { return m_filename; }
    void SetExportFilename(Kernel::String name) override;
    bool IsIncludedInExport() const override { return m_isIncluded; }
    void SetIncludedInExport(bool include) override;
    // True once the export assistant has been over it.
    bool IsAssistantSetUp() const { return m_isAssistantSetUp; }
    void SetAssistantSetUp(bool setUp);

    // A name by the numbers of the spread's pages, such as "page-3" or "pages-4-5". Empty for a spread that has no page
    // or stands in no document.
    Kernel::String GenerateDefaultFilename(DocumentController const& controller) const;
    // Nothing has been set; such a slice is as good as none.
    bool IsDefault() const { return m_filename.empty() && !m_isIncluded && !m_isAssistantSetUp; }

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<SlicePage>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend class SpreadNode;
    void NoteChange();

    // Null for a slice that has lost its spread. A slice that was made for a document without slices is stored with its
    // spread once something is set.
    SpreadNode* m_spread = nullptr;
    Kernel::String m_filename;
    bool m_isIncluded = false;
    bool m_isAssistantSetUp = false;
};
