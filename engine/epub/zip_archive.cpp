// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/zip_archive.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <cstring>
#include <zip.h>

namespace EPub {

namespace {

// 1 January 1980, 0 o'clock, the first time that the format has.
constexpr zip_uint16_t c_time = 0, c_date = 1 << 5 | 1;

[[noreturn]] void Fail(char const* reason) {
    throw Kernel::Exception(std::string("the archive cannot be made: ") + reason);
}

// A source whose bytes are compressed already, so that the archive takes them as they are.
struct Deflated {
    DeflatedText::Result const& text;
    std::size_t place = 0;
};

zip_int64_t ReadDeflated(void* data, void* target, zip_uint64_t size, zip_source_cmd_t command) {
    auto& source = *static_cast<Deflated*>(data);
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    case ZIP_SOURCE_OPEN:
        source.place = 0;
        return 0;
    case ZIP_SOURCE_READ: {
        auto const count = std::min<std::size_t>(size, source.text.bytes.size() - source.place);
        if (count != 0)
            std::memcpy(target, source.text.bytes.data() + source.place, count);
        source.place += count;
        return static_cast<zip_int64_t>(count);
    }
    case ZIP_SOURCE_STAT: {
        auto& stat = *static_cast<zip_stat_t*>(target);
        zip_stat_init(&stat);
        stat.valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD;
        stat.size = source.text.length;
        stat.comp_size = source.text.bytes.size();
        stat.crc = source.text.crc;
        stat.comp_method = ZIP_CM_DEFLATE;
        return sizeof stat;
    }
    case ZIP_SOURCE_ERROR: {
        // None of the above fails.
        int const none[2] = {ZIP_ER_OK, 0};
        std::memcpy(target, none, sizeof none);
        return sizeof none;
    }
    case ZIP_SOURCE_FREE:
        delete &source;
        return 0;
    default:
        return 0;
    }
}

} // namespace

ZipArchive::ZipArchive() {
    zip_error_t error;
    zip_error_init(&error);
    m_target = zip_source_buffer_create(nullptr, 0, 0, &error);
    if (m_target != nullptr)
        m_archive = zip_open_from_source(m_target, ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (m_archive == nullptr) {
        if (m_target != nullptr)
            zip_source_free(m_target);
        zip_error_fini(&error);
        Fail("not enough memory");
    }
    zip_error_fini(&error);
    zip_source_keep(m_target);
}

ZipArchive::~ZipArchive() {
    if (m_archive != nullptr)
        zip_discard(m_archive);
    zip_source_free(m_target);
}

std::uint64_t ZipArchive::AddSource(std::string const& name, ::zip_source* source) {
    auto const index = source == nullptr ? -1 : zip_file_add(m_archive, name.c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
        if (source != nullptr)
            zip_source_free(source);
        Fail(zip_strerror(m_archive));
    }
    auto const entry = static_cast<zip_uint64_t>(index);
    if (zip_file_set_dostime(m_archive, entry, c_time, c_date, 0) != 0)
        Fail(zip_strerror(m_archive));
    return entry;
}

void ZipArchive::Add(std::string const& name, std::span<std::byte const> bytes, Method method) {
    auto const entry = AddSource(name, zip_source_buffer(m_archive, bytes.data(), bytes.size(), 0));
    bool const isStored = method == Method::Stored;
    if (zip_set_file_compression(m_archive, entry, isStored ? ZIP_CM_STORE : ZIP_CM_DEFLATE, isStored ? 0 : c_level) !=
        0)
        Fail(zip_strerror(m_archive));
}

void ZipArchive::Add(std::string const& name, DeflatedText::Result const& text) {
    auto deflated = std::make_unique<Deflated>(Deflated{text});
    auto* const source = zip_source_function(m_archive, ReadDeflated, deflated.get());
    if (source != nullptr)
        static_cast<void>(deflated.release());
    AddSource(name, source);
}

std::vector<std::byte> ZipArchive::Finish() {
    if (zip_close(m_archive) != 0)
        Fail(zip_strerror(m_archive));
    m_archive = nullptr;
    zip_stat_t stat;
    if (zip_source_stat(m_target, &stat) != 0 || zip_source_open(m_target) != 0)
        Fail("it cannot be read back");
    std::vector<std::byte> bytes(stat.size);
    auto const read = zip_source_read(m_target, bytes.data(), bytes.size());
    zip_source_close(m_target);
    if (read < 0 || static_cast<zip_uint64_t>(read) != stat.size)
        Fail("it cannot be read back");
    return bytes;
}

} // namespace EPub
