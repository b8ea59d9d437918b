// SPDX-License-Identifier: Apache-2.0
#include "shell/document_target.h"

#include "formats/path_ending.h"
#include "platform/document/document_controller.h"
#include "shell/failure.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace Shell {

namespace {

// docs/file-format.md, "Container": SQLite's magic, and the application id.
constexpr std::string_view c_magic{"SQLite format 3\0", 16};
constexpr std::size_t c_applicationIdOffset = 68;
constexpr std::string_view c_applicationId = "Rdft";

// A document that cannot be read now may have a history all the same.
bool MayHaveHistory(std::string const& path) {
    try {
        return DocumentController::Open(path, false)->GetHistory()->GetCount() != 0;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        return true;
    }
}

[[noreturn]] void Refuse(std::string const& path, std::string const& reason) {
    throw Failure(ExitStatus::Output, path, reason + "; --force replaces it");
}

} // namespace

bool IsDocument(std::string const& path) {
    std::array<char, c_applicationIdOffset + c_applicationId.size()> header{};
    std::ifstream file(path, std::ios::binary);
    if (!file.read(header.data(), header.size()))
        return false;
    std::string_view const text(header.data(), header.size());
    return text.starts_with(c_magic) && text.ends_with(c_applicationId);
}

void CheckDocumentTarget(std::string const& path, bool isForced) {
    if (Formats::GetPathEnding(path) != ".redraft")
        throw Failure(ExitStatus::Usage, path, "needs the file name extension .redraft");
    std::error_code error;
    bool const isFile = std::filesystem::is_regular_file(path, error);
    if (isForced || !isFile || std::filesystem::file_size(path, error) == 0)
        return;
    if (!IsDocument(path))
        Refuse(path, "is not a document");
    if (MayHaveHistory(path))
        Refuse(path, "is a document with a history");
}

} // namespace Shell
