// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/catalogue.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <libintl.h>
#include <system_error>

namespace Kernel {

namespace {

std::filesystem::path FindCatalogues() {
    if (char const* const named = std::getenv("REDRAFT_LOCALEDIR"); named != nullptr && *named != '\0')
        return named;
    Dl_info library;
    if (dladdr(reinterpret_cast<void const*>(&OpenCatalogues), &library) != 0 && library.dli_fname != nullptr) {
        std::error_code error;
        auto const beside =
            std::filesystem::absolute(library.dli_fname, error).parent_path().parent_path() / "share" / "locale";
        if (!error && std::filesystem::is_directory(beside, error))
            return beside;
    }
    return REDRAFT_LOCALEDIR;
}

} // namespace

bool OpenCatalogues() noexcept {
    try {
        return bindtextdomain("redraft", FindCatalogues().c_str()) != nullptr &&
               bind_textdomain_codeset("redraft", "UTF-8") != nullptr;
    } catch (...) {
        return false;
    }
}

} // namespace Kernel
