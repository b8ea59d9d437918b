// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/zip_archive.h"

#include "platform/kernel/exception.h"

#include <zip.h>

namespace EPub {

namespace {

// 1 January 1980, 0 o'clock, the first time that the format has.
constexpr zip_uint16_t c_time = 0, c_date = 1 << 5 | 1;
// zlib's own default: more gains a hundredth in size and takes twice the time.
constexpr zip_uint32_t c_level = 6;

[[noreturn]] void Fail(char const* reason) {
    throw Kernel::Exception(std::string("the archive cannot be made: ") + reason);
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

void ZipArchive::Add(std::string const& name, std::span<std::byte const> bytes, Method method) {
    auto* const content = zip_source_buffer(m_archive, bytes.data(), bytes.size(), 0);
    auto const index = content == nullptr ? -1 : zip_file_add(m_archive, name.c_str(), content, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
        if (content != nullptr)
            zip_source_free(content);
        Fail(zip_strerror(m_archive));
    }
    auto const entry = static_cast<zip_uint64_t>(index);
    bool const isStored = method == Method::Stored;
    if (zip_set_file_compression(m_archive, entry, isStored ? ZIP_CM_STORE : ZIP_CM_DEFLATE, isStored ? 0 : c_level) !=
            0 ||
        zip_file_set_dostime(m_archive, entry, c_time, c_date, 0) != 0)
        Fail(zip_strerror(m_archive));
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
