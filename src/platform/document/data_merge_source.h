// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_options.h"
#include "platform/document/data_merge_warning_sink.h"
#include "platform/records/pipeline.h"

#include <memory>
#include <optional>
#include <vector>

class DataMergeFilter;
class DocumentNode;

// A source of records for the fields of a document: where the data are, how they are read, the filters that choose,
// sort and change records, the pages that are filled, and the record that is shown while the document is edited.
//
// The data are read, and taken through the filters, when they are first asked for and in updates. What comes out of it
// belongs to this process: it is neither stored nor part of the document's hash.
class REDRAFT_ENGINE DataMergeSource final : public Kernel::Serialisable {
public:
    using Filters = std::vector<Kernel::JailCounted<DataMergeFilter>>;

    // The records that came out of the filters. Immutable.
    class REDRAFT_ENGINE DataMergeSourcePayload final : public virtual Kernel::Countable {
    public:
        DataMergeSourcePayload(Kernel::Counted<Records::Result const> result,
                               Kernel::Counted<DataMergeWarningSink const> warnings, bool isStale);
        ~DataMergeSourcePayload() override;
        // Never null; its table is where there are no data.
        Kernel::Counted<Records::Result const> const& GetResult() const { return m_result; }
        Kernel::Counted<DataMergeWarningSink const> const& GetWarnings() const { return m_warnings; }
        // Of an update that was stopped: it has the records of the one before.
        bool IsStale() const { return m_isStale; }

    private:
        Kernel::Counted<Records::Result const> m_result;
        Kernel::Counted<DataMergeWarningSink const> m_warnings;
        bool m_isStale;
    };

    // `guid`: by which fields name the source; no other source of the document has it. It covers all pages, and is not
    // shown.
    DataMergeSource(Kernel::String guid, Kernel::String name, Kernel::Counted<DataMergeFetcher const> fetcher,
                    Kernel::Counted<DataMergeParser> parser);
    ~DataMergeSource() override;

    Kernel::String const& GetGuid() const { return m_guid; }
    Kernel::String const& GetName() const { return m_name; }
    // A source that is not enabled fills no fields. Fields go on to show what they showed until the preview is updated.
    bool IsUserEnabled() const { return m_isUserEnabled; }
    void SetUserEnabled(bool enabled);
    Kernel::Counted<DataMergeFetcher const> GetFetcher() const { return m_fetcher; }
    // Null: there are no data. The data are read anew when they are next asked for, by fields that show them at once;
    // so they are after SetParser.
    void SetFetcher(Kernel::Counted<DataMergeFetcher const> fetcher);
    Kernel::Counted<DataMergeParser> GetParser() const { return m_parser; }
    // Null: a parser without settings.
    void SetParser(Kernel::Counted<DataMergeParser> parser);

    // The pages of the document that its records fill, counted from 0, both included.
    bool CoversWholeDocument() const { return m_coversWholeDocument; }
    int GetStartPage() const { return m_startPage; }
    int GetEndPage() const { return m_endPage; }
    // The numbers become 0.
    void SetCoversWholeDocument();
    void SetPageRange(int startPage, int endPage);

    // In the order in which records go through them. The list that may be changed counts as changed, and is put back
    // when the step fails.
    Filters const& GetFilters() const { return m_filters; }
    Filters& GetFilters();

    // Takes the data through the filters, without a change of the source or the document: on other threads, these may
    // be read at the same time. Reads the data where that is due: they were never read, the fetcher or the parser is
    // another one, or the file has changed since. Data that cannot be read, and filters that fail, are warnings. When
    // the flag is set, which is looked at every millisecond or so, the answer is the payload of the last update, as a
    // stale one whose warnings say so.
    Kernel::Counted<DataMergeSourcePayload> PrepareFilterUpdate(bool* abort) const;
    // Null is ignored. What fields show stays until the preview is updated.
    void CommitUpdate(Kernel::Counted<DataMergeSourcePayload> payload);
    // Of the payload; null before the first one.
    Kernel::Counted<DataMergeWarningSink const> GetWarnings() const;
    // The payload, made now where there is none. A script that goes on for ever is stopped after ten seconds then.
    Kernel::Counted<DataMergeSourcePayload> GetPayload() const;
    // Of the payload.
    Kernel::Counted<Records::Result const> GetResult() const;
    // How many records there are before all filters. Reads the data where that is due; 0 where they cannot be read.
    unsigned int GetUnfilteredRecordCount() const;

    // Whether fields show a record, and which: a place among those that came out of the filters. A place beyond them
    // shows the last one.
    bool IsPreviewEnabled() const { return m_isPreviewEnabled; }
    unsigned int GetPreviewRow() const { return m_previewRow; }
    void SetPreviewEnabled(bool enabled);
    void SetPreviewRow(unsigned int row);
    // Has fields show the payload.
    void UpdatePreview();
    // The text that a field shows: of the record that is shown, or of one that comes `offset` records behind it. Empty
    // optional: no record is shown, because the source or its preview is not enabled.
    std::optional<Kernel::String> GetShownValue(Kernel::String const& field, std::uint32_t offset) const;
    // The records that fields show.
    Kernel::Counted<Records::Result const> GetShownResult() const;

    // Where relative paths begin; empty: the working folder. No part of what is stored.
    void SetFolder(Kernel::String folder);
    // For a document that is not trusted: only data in the folder, or in folders of it, are read from now on.
    void RestrictToFolder();
    // The path of the data's file, absolute where the folder is; empty for data that the document holds. A file that is
    // not there, but of which one of its name is in the folder, has moved along with the document.
    Kernel::String GetDataPath() const;
    // The path of a picture that a field names, which begins at the folder of the data. Throws Kernel::Exception in one
    // line when it is no regular file, or lies outside of that folder and nobody has allowed that.
    Kernel::String FindPicture(std::string_view field) const;
    // For a document whose user trusts it. No part of what is stored.
    void AllowPicturesAnywhere();

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    DataMergeSource();
    friend struct DataMergeUpdate;
    struct Data;
    void OutdateData();
    bool IsShowing() const;

    Kernel::String m_guid, m_name;
    Kernel::Counted<DataMergeFetcher const> m_fetcher;
    Kernel::Counted<DataMergeParser> m_parser;
    Filters m_filters;
    bool m_isUserEnabled = true;
    bool m_coversWholeDocument = true;
    int m_startPage = 0, m_endPage = 0;
    bool m_isPreviewEnabled = false;
    unsigned int m_previewRow = 0;
    // Of this process.
    std::unique_ptr<Data> m_data;
};

// The source of a document that has this id; null when there is none.
REDRAFT_ENGINE Kernel::Counted<DataMergeSource> FindDataMergeSource(DocumentNode const& document,
                                                                    Kernel::String const& guid);
