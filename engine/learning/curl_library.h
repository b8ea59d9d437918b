// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

namespace Learning {

// libcurl, loaded when it is first used: it brings thirty more libraries, which would take five milliseconds at each
// start of a program that never calls a service.
struct CurlLibrary {
    // Exception when it is not installed.
    static CurlLibrary const& Get();

    decltype(&::curl_easy_init) makeEasy;
    decltype(&::curl_easy_cleanup) freeEasy;
    decltype(&::curl_easy_reset) resetEasy;
    decltype(&::curl_easy_setopt) setOption;
    decltype(&::curl_easy_getinfo) getInfo;
    decltype(&::curl_slist_append) appendToList;
    decltype(&::curl_slist_free_all) freeList;
    decltype(&::curl_mime_init) makeForm;
    decltype(&::curl_mime_addpart) addPart;
    decltype(&::curl_mime_name) setPartName;
    decltype(&::curl_mime_filename) setPartFileName;
    decltype(&::curl_mime_type) setPartType;
    decltype(&::curl_mime_data) setPartData;
    decltype(&::curl_mime_free) freeForm;
    decltype(&::curl_multi_init) makeMulti;
    decltype(&::curl_multi_cleanup) freeMulti;
    decltype(&::curl_multi_add_handle) addToMulti;
    decltype(&::curl_multi_remove_handle) removeFromMulti;
    decltype(&::curl_multi_perform) perform;
    decltype(&::curl_multi_poll) poll;
    decltype(&::curl_multi_info_read) readMessage;
    decltype(&::curl_url) makeUrl;
    decltype(&::curl_url_cleanup) freeUrl;
    decltype(&::curl_url_set) setUrl;
    decltype(&::curl_url_get) getUrl;
    decltype(&::curl_free) freeText;

private:
    CurlLibrary();
};

} // namespace Learning
