// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/stored_class.h"
#include "platform/kernel/string.h"
#include "platform/records/read_table.h"

// Where the data of a merge source come from: a file, or text that the document holds itself. An immutable value once
// it is shared.
class REDRAFT_ENGINE DataMergeFetcher final : public Kernel::StoredClass<DataMergeFetcher, Kernel::Serialisable> {
public:
    // A file. A path that is not absolute begins at the folder of the document.
    explicit DataMergeFetcher(Kernel::String path) : m_path(std::move(path)) {}
    // Data that the document holds. `name`, such as "people.csv", tells their format by its ending.
    static Kernel::Counted<DataMergeFetcher> MakeWithContent(Kernel::String name, Kernel::String content);

    // Of the file, or the name of the data.
    Kernel::String const& GetPath() const { return m_path; }
    bool HasContent() const { return m_hasContent; }
    Kernel::String const& GetContent() const { return m_content; }
    bool IsEqualTo(DataMergeFetcher const& other) const;

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    DataMergeFetcher() = default;
    static constexpr auto Fields() {
        using This = DataMergeFetcher;
        return Kernel::FieldList{Kernel::Field{"Path", &This::m_path}, Kernel::Field{"HasC", &This::m_hasContent},
                                 Kernel::Field{"Cont", &This::m_content}};
    }

    Kernel::String m_path, m_content;
    bool m_hasContent = false;
};

// How the data of a merge source are taken as a table, and by which language it is sorted. An immutable value once it
// is shared.
class REDRAFT_ENGINE DataMergeParser final : public Kernel::StoredClass<DataMergeParser, Kernel::Serialisable> {
public:
    // Everything is found by looking at the data; sorts go by English.
    DataMergeParser() = default;
    // `locale`: as ICU names it, such as "de_DE"; empty: English.
    DataMergeParser(Records::ReadOptions options, Kernel::String locale)
        : m_options(std::move(options)), m_locale(std::move(locale)) {}
    Records::ReadOptions const& GetOptions() const { return m_options; }
    Kernel::String const& GetLocale() const { return m_locale; }
    bool IsEqualTo(DataMergeParser const& other) const;

    static Kernel::ClassProperties const* GetTypeClassProperties();
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Records::ReadOptions m_options;
    Kernel::String m_locale;
};
