// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/http_address.h"

#include "engine/learning/curl_library.h"

#include <memory>

namespace Learning {

namespace {

std::string GetUrlPart(CURLU* url, CURLUPart part) {
    auto const& curl = CurlLibrary::Get();
    char* text = nullptr;
    if (curl.getUrl(url, part, &text, part == CURLUPART_PORT ? CURLU_DEFAULT_PORT : 0) != CURLUE_OK)
        return {};
    std::string result = text;
    curl.freeText(text);
    return result;
}

std::string ToLowerCase(std::string text) {
    for (char& character : text) {
        if ('A' <= character && character <= 'Z')
            character = static_cast<char>(character + 32);
    }
    return text;
}

} // namespace

std::optional<HttpAddress> HttpAddress::Parse(std::string const& text, std::string const& base) {
    auto const& curl = CurlLibrary::Get();
    std::unique_ptr<CURLU, decltype(curl.freeUrl)> const url(curl.makeUrl(), curl.freeUrl);
    if (!url || text.empty() || text.find('\0') != std::string::npos)
        return std::nullopt;
    if (!base.empty() && curl.setUrl(url.get(), CURLUPART_URL, base.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    if (curl.setUrl(url.get(), CURLUPART_URL, text.c_str(), CURLU_DISALLOW_USER) != CURLUE_OK)
        return std::nullopt;
    auto const scheme = ToLowerCase(GetUrlPart(url.get(), CURLUPART_SCHEME));
    auto const host = ToLowerCase(GetUrlPart(url.get(), CURLUPART_HOST));
    if ((scheme != "http" && scheme != "https") || host.empty())
        return std::nullopt;
    HttpAddress address{scheme + "://" + host + ":" + GetUrlPart(url.get(), CURLUPART_PORT),
                        GetUrlPart(url.get(), CURLUPART_URL)};
    while (address.url.ends_with('/'))
        address.url.pop_back();
    return address;
}

} // namespace Learning
