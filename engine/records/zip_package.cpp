// SPDX-License-Identifier: Apache-2.0
#include "engine/records/zip_package.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <vector>
#include <zip.h>

namespace Records {

namespace {

constexpr std::size_t c_pieceSize = 64 << 10;
// XML of spreadsheets takes a tenth to a fiftieth of its size; more of the same bytes than that are no data.
constexpr std::uint64_t c_freeBytes = std::uint64_t(16) << 20, c_tightest = 250;

[[noreturn]] void RefusePart(std::string const& name, std::string const& reason) {
    throw Kernel::Exception("the spreadsheet's part " + name + " " + reason);
}

} // namespace

// The questions of libzip to a source, answered from a DataSource.
struct ZipPackage::Stream {
    DataSource const& source;
    std::uint64_t at = 0;
    zip_error_t error{};
    // The first failure of the source, in its own words.
    std::exception_ptr failure;

    zip_int64_t Read(void* data, zip_uint64_t size) {
        auto const count = std::min<std::uint64_t>(size, source.GetSize() - at);
        try {
            source.Read(at, {static_cast<char*>(data), static_cast<std::size_t>(count)});
        } catch (Kernel::Exception const&) {
            failure = std::current_exception();
            zip_error_set(&error, ZIP_ER_READ, 0);
            return -1;
        }
        at += count;
        return static_cast<zip_int64_t>(count);
    }

    zip_int64_t Answer(void* data, zip_uint64_t size, zip_source_cmd_t command) {
        switch (command) {
        case ZIP_SOURCE_OPEN:
            at = 0;
            return 0;
        case ZIP_SOURCE_READ:
            return Read(data, size);
        case ZIP_SOURCE_CLOSE:
            return 0;
        case ZIP_SOURCE_STAT: {
            auto* const stat = static_cast<zip_stat_t*>(data);
            zip_stat_init(stat);
            stat->valid = ZIP_STAT_SIZE;
            stat->size = source.GetSize();
            return sizeof(zip_stat_t);
        }
        case ZIP_SOURCE_SEEK: {
            auto const place = zip_source_seek_compute_offset(at, source.GetSize(), data, size, &error);
            if (place < 0)
                return -1;
            at = static_cast<std::uint64_t>(place);
            return 0;
        }
        case ZIP_SOURCE_TELL:
            return static_cast<zip_int64_t>(at);
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data(&error, data, size);
        case ZIP_SOURCE_SUPPORTS:
            return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                                  ZIP_SOURCE_ERROR, ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL,
                                                  ZIP_SOURCE_SUPPORTS, ZIP_SOURCE_FREE, -1);
        case ZIP_SOURCE_FREE:
            return 0;
        default:
            zip_error_set(&error, ZIP_ER_OPNOTSUPP, 0);
            return -1;
        }
    }
};

ZipPackage::ZipPackage(DataSource const& source, bool const* abort)
    : m_abort(abort), m_stream(new Stream{source, 0, {}, nullptr}) {
    zip_error_t error;
    zip_error_init(&error);
    auto const answer = [](void* stream, void* data, zip_uint64_t size, zip_source_cmd_t command) {
        return static_cast<Stream*>(stream)->Answer(data, size, command);
    };
    auto* const from = zip_source_function_create(answer, m_stream.get(), &error);
    if (from != nullptr)
        m_archive = zip_open_from_source(from, ZIP_RDONLY, &error);
    if (m_archive != nullptr) {
        zip_error_fini(&error);
        return;
    }
    if (from != nullptr)
        zip_source_free(from);
    std::string const reason = zip_error_strerror(&error);
    zip_error_fini(&error);
    if (m_stream->failure != nullptr)
        std::rethrow_exception(m_stream->failure);
    throw Kernel::Exception("is no spreadsheet that can be read: " + reason);
}

ZipPackage::~ZipPackage() { zip_discard(m_archive); }

bool ZipPackage::HasPart(std::string const& name) const {
    return zip_name_locate(m_archive, name.c_str(), ZIP_FL_NOCASE) >= 0;
}

void ZipPackage::ReadPart(std::string const& name, std::function<void(std::string_view)> const& take) const {
    auto const index = zip_name_locate(m_archive, name.c_str(), ZIP_FL_NOCASE);
    zip_stat_t stat;
    if (index < 0 || zip_stat_index(m_archive, static_cast<zip_uint64_t>(index), 0, &stat) != 0)
        RefusePart(name, "is missing");
    std::unique_ptr<zip_file_t, decltype(&zip_fclose)> const file(
        zip_fopen_index(m_archive, static_cast<zip_uint64_t>(index), 0), &zip_fclose);
    if (file == nullptr)
        RefusePart(name, std::string("cannot be read: ") + zip_strerror(m_archive));
    auto const packed = (stat.valid & ZIP_STAT_COMP_SIZE) == 0 ? 0 : stat.comp_size;
    std::vector<char> piece(c_pieceSize);
    for (std::uint64_t size = 0;;) {
        if (Kernel::IsAbortSet(m_abort))
            throw Kernel::AbortException();
        auto const count = zip_fread(file.get(), piece.data(), piece.size());
        if (count < 0 && m_stream->failure != nullptr)
            std::rethrow_exception(m_stream->failure);
        if (count < 0)
            RefusePart(name, std::string("is damaged: ") + zip_error_strerror(zip_file_get_error(file.get())));
        if (count == 0)
            return;
        size += static_cast<std::uint64_t>(count);
        if (size > c_longestPart)
            RefusePart(name, "has more than " + DescribeSize(c_longestPart));
        if (size > c_freeBytes && size / c_tightest > packed)
            RefusePart(name, "unpacks to more than " + std::to_string(c_tightest) + " times its size and is not read");
        take({piece.data(), static_cast<std::size_t>(count)});
    }
}

std::string ZipPackage::LoadPart(std::string const& name, std::size_t maximumSize) const {
    std::string whole;
    ReadPart(name, [&](std::string_view piece) {
        if (whole.size() + piece.size() > maximumSize)
            RefusePart(name, "has more than " + DescribeSize(maximumSize));
        whole.append(piece);
    });
    return whole;
}

} // namespace Records
