// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/curl_library.h"

#include "platform/kernel/exception.h"

#include <dlfcn.h>

namespace Learning {

CurlLibrary const& CurlLibrary::Get() {
    // Threads of it may be at work when the program ends, so it stays.
    static CurlLibrary const s_library;
    return s_library;
}

CurlLibrary::CurlLibrary() {
    void* const library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw Kernel::Exception("services cannot be called: the library libcurl.so.4 is not installed");
    auto const find = [library](auto*& function, char const* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(library, name));
        if (function == nullptr)
            throw Kernel::Exception("services cannot be called: the library libcurl.so.4 is too old");
    };
    find(makeEasy, "curl_easy_init");
    find(freeEasy, "curl_easy_cleanup");
    find(resetEasy, "curl_easy_reset");
    find(setOption, "curl_easy_setopt");
    find(getInfo, "curl_easy_getinfo");
    find(appendToList, "curl_slist_append");
    find(freeList, "curl_slist_free_all");
    find(makeForm, "curl_mime_init");
    find(addPart, "curl_mime_addpart");
    find(setPartName, "curl_mime_name");
    find(setPartFileName, "curl_mime_filename");
    find(setPartType, "curl_mime_type");
    find(setPartData, "curl_mime_data");
    find(freeForm, "curl_mime_free");
    find(makeMulti, "curl_multi_init");
    find(freeMulti, "curl_multi_cleanup");
    find(addToMulti, "curl_multi_add_handle");
    find(removeFromMulti, "curl_multi_remove_handle");
    find(perform, "curl_multi_perform");
    find(poll, "curl_multi_poll");
    find(readMessage, "curl_multi_info_read");
    find(makeUrl, "curl_url");
    find(freeUrl, "curl_url_cleanup");
    find(setUrl, "curl_url_set");
    find(getUrl, "curl_url_get");
    find(freeText, "curl_free");
    decltype(&::curl_global_init) initialise = nullptr;
    find(initialise, "curl_global_init");
    if (initialise(CURL_GLOBAL_DEFAULT) != CURLE_OK)
        throw Kernel::Exception("services cannot be called: the library libcurl.so.4 cannot be used");
}

} // namespace Learning
