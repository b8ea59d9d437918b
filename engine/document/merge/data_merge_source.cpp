// SPDX-License-Identifier: Apache-2.0
#include "platform/document/data_merge_source.h"

#include "engine/document/merge/loaded_merge_sources.h"
#include "engine/document/tree/layout_epoch.h"
#include "platform/document/data_merge_filters.h"
#include "platform/document/edit_journal.h"
#include "platform/document/nodes.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_value.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>

namespace {

namespace Files = std::filesystem;
using Payload = DataMergeSource::DataMergeSourcePayload;

// By which a change of a file shows.
struct FileStamp {
    Files::file_time_type time{};
    std::uintmax_t size = 0;
    bool exists = false;

    static FileStamp Of(std::string const& path) {
        FileStamp stamp;
        std::error_code error;
        stamp.time = Files::last_write_time(path, error);
        if (!error)
            stamp.size = Files::file_size(path, error);
        stamp.exists = !error;
        return stamp;
    }
    friend bool operator==(FileStamp const&, FileStamp const&) = default;
};

// Whether a file lies in a folder or below it, by the way that links lead.
bool IsInFolder(std::string const& path, std::string const& folder) {
    std::error_code error;
    auto const file = Files::weakly_canonical(path, error);
    if (error)
        return false;
    auto const base = Files::weakly_canonical(folder.empty() ? "." : folder, error);
    if (error)
        return false;
    auto const [end, at] = std::mismatch(base.begin(), base.end(), file.begin(), file.end());
    return end == base.end() && at != file.end();
}

// Sets an abort flag when a time has passed.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds time)
        : m_thread([this, time](std::stop_token const& stop) {
              std::unique_lock lock(m_mutex);
              if (!m_wakeUp.wait_for(lock, stop, time, [] { return false; }) && !stop.stop_requested())
                  std::atomic_ref<bool>(m_abort).store(true);
          }) {}
    bool* GetFlag() { return &m_abort; }

private:
    bool m_abort = false;
    std::mutex m_mutex;
    std::condition_variable_any m_wakeUp;
    std::jthread m_thread;
};

constexpr std::chrono::milliseconds c_timeWithoutFlag{10'000};

} // namespace

struct DataMergeSource::Data {
    // Guards the table and both payloads, which readers of the document may make.
    std::mutex mutex;
    // The table as it was read last; without one when there was nothing to read.
    Records::ReadResult read;
    Kernel::Counted<DataMergeFetcher const> fetcher;
    Kernel::Counted<DataMergeParser> parser;
    FileStamp stamp;
    Kernel::Counted<Payload> payload, shown;
    // The payload is of another fetcher or parser: it is made anew when it is asked for.
    bool isOutdated = false;
    // Whether fields show a source that was enabled or disabled after the last update of the preview.
    std::optional<bool> wasEnabled;
    std::string folder;
    bool isRestricted = false;
    bool allowsPicturesAnywhere = false;
};

// DataMergeSourcePayload

DataMergeSource::DataMergeSourcePayload::DataMergeSourcePayload(Kernel::Counted<Records::Result const> result,
                                                                Kernel::Counted<DataMergeWarningSink const> warnings,
                                                                bool isStale)
    : m_result(std::move(result)), m_warnings(std::move(warnings)), m_isStale(isStale) {}
DataMergeSource::DataMergeSourcePayload::~DataMergeSourcePayload() = default;

// DataMergeSource

DataMergeSource::DataMergeSource() : m_data(std::make_unique<Data>()) {}

DataMergeSource::DataMergeSource(Kernel::String guid, Kernel::String name,
                                 Kernel::Counted<DataMergeFetcher const> fetcher,
                                 Kernel::Counted<DataMergeParser> parser)
    : DataMergeSource() {
    m_guid = std::move(guid);
    m_name = std::move(name);
    m_fetcher = std::move(fetcher);
    m_parser = parser ? std::move(parser) : Kernel::MakeCounted<DataMergeParser>();
}

DataMergeSource::~DataMergeSource() = default;

Kernel::Counted<Kernel::Serialisable> DataMergeSource::CreateObject() {
    return Kernel::Counted<Kernel::Serialisable>(new DataMergeSource);
}

void DataMergeSource::SetUserEnabled(bool enabled) {
    EditJournal::NoteValue(*this, m_isUserEnabled);
    EditJournal::NoteValue(*this, m_data->wasEnabled);
    m_data->wasEnabled = IsShowing();
    m_isUserEnabled = enabled;
    MarkChanged();
}

// The table stays until it is asked for again, and the records that came out of it for an update that is stopped.
void DataMergeSource::OutdateData() {
    EditJournal::NoteValue(*this, m_data->isOutdated);
    EditJournal::NoteValue(*this, m_data->shown);
    m_data->isOutdated = true;
    m_data->shown.reset();
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void DataMergeSource::SetFetcher(Kernel::Counted<DataMergeFetcher const> fetcher) {
    EditJournal::NoteValue(*this, m_fetcher);
    m_fetcher = std::move(fetcher);
    OutdateData();
}

void DataMergeSource::SetParser(Kernel::Counted<DataMergeParser> parser) {
    EditJournal::NoteValue(*this, m_parser);
    m_parser = parser ? std::move(parser) : Kernel::MakeCounted<DataMergeParser>();
    OutdateData();
}

void DataMergeSource::SetCoversWholeDocument() {
    SetPageRange(0, 0);
    EditJournal::NoteValue(*this, m_coversWholeDocument);
    m_coversWholeDocument = true;
}

void DataMergeSource::SetPageRange(int startPage, int endPage) {
    EditJournal::NoteValue(*this, m_coversWholeDocument);
    EditJournal::NoteValue(*this, m_startPage);
    EditJournal::NoteValue(*this, m_endPage);
    m_coversWholeDocument = false;
    m_startPage = startPage;
    m_endPage = endPage;
    MarkChanged();
}

DataMergeSource::Filters& DataMergeSource::GetFilters() {
    EditJournal::NoteValue(*this, m_filters);
    MarkChanged();
    return m_filters;
}

// Paths and folders

void DataMergeSource::SetFolder(Kernel::String folder) { m_data->folder = folder.ToStdString(); }
void DataMergeSource::RestrictToFolder() { m_data->isRestricted = true; }
void DataMergeSource::AllowPicturesAnywhere() { m_data->allowsPicturesAnywhere = true; }

Kernel::String DataMergeSource::GetDataPath() const {
    if (!m_fetcher || m_fetcher->HasContent() || m_fetcher->GetPath().empty())
        return {};
    Files::path const path(m_fetcher->GetPath().ToStdString());
    auto const found = Files::path(m_data->folder) / path;
    auto const moved = Files::path(m_data->folder) / path.filename();
    std::error_code error;
    bool const hasMoved = !m_data->folder.empty() && !Files::exists(found, error) && Files::exists(moved, error);
    return Kernel::String((hasMoved ? moved : found).string());
}

Kernel::String DataMergeSource::FindPicture(std::string_view field) const {
    if (field.find('\0') != std::string_view::npos)
        throw Kernel::Exception("the path of a picture holds a NUL");
    auto const data = GetDataPath().ToStdString();
    auto const folder = data.empty() ? Files::path(m_data->folder) : Files::path(data).parent_path();
    Files::path const named(field);
    auto const path = (named.is_absolute() ? named : folder / named).string();
    if (!m_data->allowsPicturesAnywhere && !IsInFolder(path, folder.string()))
        throw Kernel::Exception("the picture " + path + " lies outside of the folder of the data");
    std::error_code error;
    if (!Files::is_regular_file(path, error))
        throw Kernel::Exception("the picture " + path + (Files::exists(path, error) ? " is no file" : " is not there"));
    return Kernel::String(path);
}

// Updates

namespace {

// Reads the data as they are now.
Records::ReadResult Read(DataMergeFetcher const& fetcher, std::string const& path, Records::ReadOptions const& options,
                         bool const* abort) {
    return fetcher.HasContent() ? Records::ParseTable(fetcher.GetContent().view(), fetcher.GetPath(), options, abort)
                                : Records::ReadTable(Kernel::String(path), options, abort);
}

Records::ReadResult MakeUnread(std::string const& reason) {
    Records::ReadResult result;
    result.warnings.push_back({Records::Warning::c_noRow, {}, Kernel::String(reason)});
    return result;
}

} // namespace

struct DataMergeUpdate {
    // The table of a source as its data are now. Throws Kernel::AbortException.
    static Records::ReadResult GetTable(DataMergeSource const& source, bool const* abort);
};

Records::ReadResult DataMergeUpdate::GetTable(DataMergeSource const& source, bool const* abort) {
    auto& data = *source.m_data;
    auto const& fetcher = source.m_fetcher;
    if (!fetcher)
        return {};
    auto const path = source.GetDataPath().ToStdString();
    auto const stamp = fetcher->HasContent() ? FileStamp{} : FileStamp::Of(path);
    std::unique_lock lock(data.mutex);
    bool const wasRead = data.read.table && data.fetcher == fetcher && data.parser == source.m_parser;
    if (wasRead && data.stamp == stamp)
        return data.read;
    if (wasRead && !stamp.exists && !fetcher->HasContent()) {
        auto kept = data.read;
        kept.warnings.push_back({Records::Warning::c_noRow,
                                 {},
                                 Kernel::String("the file " + path + " is gone; these are its records as they were")});
        return kept;
    }
    bool const isForbidden = data.isRestricted && !fetcher->HasContent() && !IsInFolder(path, data.folder);
    lock.unlock();
    if (isForbidden)
        return MakeUnread("the file " + path +
                          " is not read: the document is not trusted, and the file lies outside of its folder");
    Records::ReadResult read;
    try {
        read = Read(*fetcher, path, source.m_parser->GetOptions(), abort);
    } catch (Kernel::AbortException const&) {
        throw;
    } catch (Kernel::Exception const& failure) {
        return MakeUnread(failure.what());
    }
    lock.lock();
    data.read = read;
    data.fetcher = fetcher;
    data.parser = source.m_parser;
    data.stamp = stamp;
    return read;
}

Kernel::Counted<DataMergeSource::DataMergeSourcePayload> DataMergeSource::PrepareFilterUpdate(bool* abort) const {
    std::vector<Records::Step> steps;
    for (auto const& filter : m_filters)
        filter->AppendSteps(steps);
    try {
        auto const read = DataMergeUpdate::GetTable(*this, abort);
        auto warnings = read.warnings;
        auto further = read.furtherWarnings;
        Kernel::Counted<Records::Result const> result;
        if (read.table) {
            result = Records::RunSteps(read.table, steps, {m_parser->GetLocale(), true}, abort);
            warnings.insert(warnings.end(), result->warnings.begin(), result->warnings.end());
            further += result->furtherWarnings;
        } else {
            result = Kernel::MakeCounted<Records::Result>();
        }
        return Kernel::MakeCounted<Payload>(
            result, Kernel::MakeCounted<DataMergeWarningSink>(m_name, std::move(warnings), further), false);
    } catch (Kernel::AbortException const&) {
        std::lock_guard const lock(m_data->mutex);
        auto const& last = m_data->payload;
        std::vector<Records::Warning> warnings{
            {Records::Warning::c_noRow, {}, "the update was stopped: these are the records of the one before"}};
        return Kernel::MakeCounted<Payload>(last ? last->GetResult() : Kernel::MakeCounted<Records::Result>(),
                                            Kernel::MakeCounted<DataMergeWarningSink>(m_name, std::move(warnings), 0),
                                            true);
    }
}

void DataMergeSource::CommitUpdate(Kernel::Counted<DataMergeSourcePayload> payload) {
    if (!payload)
        return;
    // Fields go on to show what they showed.
    if (m_isPreviewEnabled && IsShowing() && m_data->payload && !m_data->isOutdated)
        GetShownResult();
    EditJournal::NoteValue(*this, m_data->payload);
    EditJournal::NoteValue(*this, m_data->isOutdated);
    m_data->payload = std::move(payload);
    m_data->isOutdated = false;
}

Kernel::Counted<DataMergeWarningSink const> DataMergeSource::GetWarnings() const {
    std::lock_guard const lock(m_data->mutex);
    return m_data->payload ? m_data->payload->GetWarnings() : Kernel::Counted<DataMergeWarningSink const>();
}

Kernel::Counted<DataMergeSource::DataMergeSourcePayload> DataMergeSource::GetPayload() const {
    {
        std::lock_guard const lock(m_data->mutex);
        if (m_data->payload && !m_data->isOutdated)
            return m_data->payload;
    }
    Deadline deadline(c_timeWithoutFlag);
    auto const made = PrepareFilterUpdate(deadline.GetFlag());
    std::lock_guard const lock(m_data->mutex);
    if (!m_data->payload || m_data->isOutdated) {
        m_data->payload = made;
        m_data->isOutdated = false;
    }
    return m_data->payload;
}

Kernel::Counted<Records::Result const> DataMergeSource::GetResult() const { return GetPayload()->GetResult(); }

unsigned int DataMergeSource::GetUnfilteredRecordCount() const {
    Deadline deadline(c_timeWithoutFlag);
    try {
        auto const read = DataMergeUpdate::GetTable(*this, deadline.GetFlag());
        return read.table ? read.table->GetRowCount() : 0;
    } catch (Kernel::AbortException const&) {
        return 0;
    }
}

// The preview

void DataMergeSource::SetPreviewEnabled(bool enabled) {
    EditJournal::NoteValue(*this, m_isPreviewEnabled);
    m_isPreviewEnabled = enabled;
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void DataMergeSource::SetPreviewRow(unsigned int row) {
    EditJournal::NoteValue(*this, m_previewRow);
    m_previewRow = row;
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void DataMergeSource::UpdatePreview() {
    EditJournal::NoteValue(*this, m_data->shown);
    EditJournal::NoteValue(*this, m_data->wasEnabled);
    m_data->shown.reset();
    m_data->wasEnabled.reset();
    LayoutEpoch::AdvanceForPlaces();
}

bool DataMergeSource::IsShowing() const { return m_data->wasEnabled.value_or(m_isUserEnabled); }

Kernel::Counted<Records::Result const> DataMergeSource::GetShownResult() const {
    {
        std::lock_guard const lock(m_data->mutex);
        if (m_data->shown)
            return m_data->shown->GetResult();
    }
    auto const payload = GetPayload();
    std::lock_guard const lock(m_data->mutex);
    if (!m_data->shown)
        m_data->shown = payload;
    return m_data->shown->GetResult();
}

std::optional<Kernel::String> DataMergeSource::GetShownValue(Kernel::String const& field, std::uint32_t offset) const {
    if (!IsShowing() || !m_isPreviewEnabled)
        return std::nullopt;
    auto const result = GetShownResult();
    if (result->rows.empty())
        return Kernel::String();
    auto const first = std::min<std::size_t>(m_previewRow, result->rows.size() - 1);
    return Kernel::String(std::string(result->GetText(first + offset, field.view())));
}

// The file

void DataMergeSource::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Guid", m_guid);
    Kernel::SaveValue(out, "Name", m_name);
    Kernel::SaveValue(out, "Fetc", m_fetcher);
    Kernel::SaveValue(out, "Pars", m_parser);
    Kernel::SaveValue(out, "Filt", m_filters);
    Kernel::SaveValue(out, "UsEn", m_isUserEnabled);
    Kernel::SaveValue(out, "Whol", m_coversWholeDocument);
    Kernel::SaveValue(out, "StPg", m_startPage);
    Kernel::SaveValue(out, "EnPg", m_endPage);
    Kernel::SaveValue(out, "PvEn", m_isPreviewEnabled);
    Kernel::SaveValue(out, "PvRw", m_previewRow);
}

bool DataMergeSource::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Guid", m_guid);
    Kernel::LoadValue(in, "Name", m_name);
    Kernel::LoadValue(in, "Fetc", m_fetcher);
    Kernel::LoadValue(in, "Pars", m_parser);
    Kernel::LoadValue(in, "Filt", m_filters);
    std::erase(m_filters, nullptr);
    Kernel::LoadValue(in, "UsEn", m_isUserEnabled);
    Kernel::LoadValue(in, "Whol", m_coversWholeDocument);
    Kernel::LoadValue(in, "StPg", m_startPage);
    Kernel::LoadValue(in, "EnPg", m_endPage);
    Kernel::LoadValue(in, "PvEn", m_isPreviewEnabled);
    Kernel::LoadValue(in, "PvRw", m_previewRow);
    if (!m_parser)
        m_parser = Kernel::MakeCounted<DataMergeParser>();
    LoadedMergeSources::Note(*this);
    return true;
}

// In the document

std::vector<Kernel::JailCounted<DataMergeSource>>& DocumentNode::GetDataMergeSettings() {
    EditJournal::NoteValue(*this, m_mergeSources);
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
    return m_mergeSources;
}

Kernel::Counted<DataMergeSource> FindDataMergeSource(DocumentNode const& document, Kernel::String const& guid) {
    for (auto const& source : document.GetDataMergeSettings()) {
        if (source->GetGuid() == guid)
            return source;
    }
    return {};
}
