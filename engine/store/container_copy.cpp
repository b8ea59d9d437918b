// SPDX-License-Identifier: Apache-2.0
#include "engine/store/coding.h"
#include "engine/store/container_state.h"
#include "engine/store/page_checksum.h"

#include <algorithm>

namespace Store {

namespace {

constexpr std::size_t c_pagesAtATime = 32;
constexpr std::uint64_t c_lockedPage = 0x40000000 / c_pageSize;

// Big-endian, as SQLite has them.
std::uint32_t ReadNumber(std::span<std::byte const> page, std::size_t offset) {
    std::uint32_t value = 0;
    for (auto const byte : page.subspan(offset, 4))
        value = value << 8 | std::to_integer<std::uint32_t>(byte);
    return value;
}

// The free pages, counted from 0, ascending, as far as their list can be read. SQLite's published file format, "The
// Freelist": a chain of pages each of which has the number of the next one, a count, and the numbers of other free
// pages.
std::vector<std::uint64_t> ListFreePages(File& file, std::uint64_t pages) {
    constexpr std::size_t c_firstTrunk = 32;
    constexpr std::size_t c_mostLeaves = c_pageSize / 4 - 2;
    std::vector<std::byte> page(c_pageSize);
    file.ReadAt(0, page);
    std::vector<std::uint64_t> free;
    std::uint64_t next = ReadNumber(page, c_firstTrunk);
    // A chain that was forged to lead back into itself has no end.
    for (std::uint64_t trunks = 0; next > 0 && next <= pages && trunks != pages; ++trunks) {
        file.ReadAt((next - 1) * c_pageSize, page);
        if (!IsPageIntact(page, next - 1))
            break;
        free.push_back(next - 1);
        next = ReadNumber(page, 0);
        auto const leaves = std::min<std::size_t>(ReadNumber(page, 4), c_mostLeaves);
        for (std::size_t i = 0; i != leaves && free.size() < 2 * pages; ++i)
            free.push_back(std::uint64_t{ReadNumber(page, 8 + 4 * i)} - 1);
    }
    std::sort(free.begin(), free.end());
    return free;
}

// Adds the rows that a query finds before it meets a damaged page. No more than `limit`: a tree that was forged to lead
// back into itself has no end.
void AddRows(Database& database, char const* sql, std::size_t limit, std::vector<std::int64_t>& rows) {
    try {
        Statement statement(database, sql);
        for (std::size_t i = 0; i != limit && statement.Step(); ++i)
            rows.push_back(statement.GetInteger(0));
    } catch (Kernel::DamagedDataException const&) {
    }
}

// Leaves out what cannot be read or, with `proofs`, proved.
void CopyBlob(Statement& read, std::int64_t row, Proofs const* proofs, Statements& target) {
    try {
        StatementScope const scope(read);
        if (!read.Bind(1, row).Step())
            return;
        auto const key = read.GetBytes(0);
        auto const size = read.GetInteger(1);
        auto const coding = read.GetInteger(2);
        auto const stored = read.GetBytes(3);
        auto const digest =
            Kernel::ComputeBlobKey(Decode(static_cast<Coding>(coding), stored, static_cast<std::uint64_t>(size)));
        if (!std::ranges::equal(key, digest.bytes))
            return;
        if (proofs != nullptr) {
            auto const proof = proofs->blobs.find(row);
            if (proof == proofs->blobs.end() || proof->second != ProveBlob(digest, static_cast<std::uint64_t>(size),
                                                                           static_cast<Coding>(coding), stored))
                return;
        }
        target.writeBlob.Bind(1, key).Bind(2, size).Bind(3, coding).Bind(4, stored).Run();
    } catch (Kernel::DamagedDataException const&) {
    }
}

} // namespace

// Pages of zeros are sound where they are free, and nowhere else.
std::uint64_t Container::State::ForEachDamagedPage(std::function<bool(std::uint64_t)> const& tell) {
    Statement count(*database, "PRAGMA page_count");
    auto const pages = count.Step() ? static_cast<std::uint64_t>(count.GetInteger(0)) : 0;
    std::vector<std::byte> buffer(c_pagesAtATime * c_pageSize);
    std::vector<std::uint64_t> empty;
    for (std::uint64_t first = 0; first < pages; first += c_pagesAtATime) {
        auto const wanted = static_cast<std::size_t>(std::min<std::uint64_t>(c_pagesAtATime, pages - first));
        auto const got = file->ReadAt(first * c_pageSize, std::span(buffer).first(wanted * c_pageSize));
        for (std::size_t i = 0; i != wanted; ++i) {
            bool const isWhole = (i + 1) * c_pageSize <= got;
            auto const page = std::span<std::byte const>(buffer).subspan(i * c_pageSize, c_pageSize);
            if (first + i == c_lockedPage || (isWhole && IsPageIntact(page, first + i)))
                continue;
            if (isWhole && IsPageAcceptable(page, first + i))
                empty.push_back(first + i);
            else if (!tell(first + i))
                return pages;
        }
    }
    auto const free = empty.empty() ? std::vector<std::uint64_t>() : ListFreePages(*file, pages);
    for (auto const page : empty) {
        if (!std::binary_search(free.begin(), free.end(), page) && !tell(page))
            return pages;
    }
    if (file->GetSize() > pages * c_pageSize)
        tell(pages);
    return pages;
}

bool Container::HasDamagedPages() const {
    std::lock_guard const lock(m_state->mutex);
    m_state->RequireOpen();
    bool isDamaged = false;
    m_state->ForEachDamagedPage([&](std::uint64_t) {
        isDamaged = true;
        return false;
    });
    return isDamaged;
}

// The table and its index name the same rows, and both are read from either end: what one damaged page hides is found
// on another way.
std::vector<std::int64_t> Container::State::ListReadableBlobs() {
    // A row takes more bytes than this.
    auto const limit = static_cast<std::size_t>(file->GetSize() / 16);
    std::vector<std::int64_t> rows;
    for (auto const* const sql :
         {"SELECT id FROM blob NOT INDEXED ORDER BY id", "SELECT id FROM blob NOT INDEXED ORDER BY id DESC",
          "SELECT id FROM blob INDEXED BY blob_key ORDER BY key,id",
          "SELECT id FROM blob INDEXED BY blob_key ORDER BY key DESC,id DESC"})
        AddRows(*database, sql, limit, rows);
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

Kernel::Counted<Container> Container::CopyReadableTo(std::filesystem::path const& path, IfExists ifExists) const {
    auto& source = *m_state;
    std::lock_guard const lock(source.mutex);
    source.RequireOpen();
    if (source.isSaving || source.draft != nullptr)
        throw Kernel::Exception("cannot be copied while it is being saved");
    if (source.ReadGeneration() != source.generation)
        throw Kernel::Exception("was saved by another program since it was opened");
    if (source.hasForeignTables || source.formatMinor > c_formatMinor)
        throw Kernel::DamagedDataException("is damaged, and a newer version of the program has to mend it");
    auto copy = State::CreateDraft(source.files, path, ifExists);
    copy->MakeTables();
    copy->generation = source.generation;
    copy->damagedOrigin = Kernel::Counted<Container const>(this);
    copy->database->Execute("BEGIN");
    Statement read(*source.database, "SELECT key,size,coding,stored FROM blob WHERE id=?");
    for (auto const row : source.ListReadableBlobs())
        CopyBlob(read, row, source.requiresProofs ? &source.proofs : nullptr, *copy->statements);
    copy->database->Execute("COMMIT");
    return Kernel::Counted<Container>(new Container(std::move(copy)));
}

bool Container::HasLosses() const {
    std::lock_guard const lock(m_state->mutex);
    return m_state->hasLosses;
}

} // namespace Store
