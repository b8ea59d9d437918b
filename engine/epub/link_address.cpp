// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/link_address.h"

#include <algorithm>
#include <array>

namespace EPub {

namespace {

bool IsHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool IsLetterOrDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Escape(std::string_view text) {
    constexpr std::string_view c_allowed = "-._~:/?#[]@!$&'()*+,;=";
    constexpr char c_digits[] = "0123456789ABCDEF";
    std::string result;
    for (std::size_t i = 0; i != text.size(); ++i) {
        char const c = text[i];
        bool const isEscape = c == '%' && i + 2 < text.size() && IsHexDigit(text[i + 1]) && IsHexDigit(text[i + 2]);
        if (IsLetterOrDigit(c) || isEscape || c_allowed.find(c) != c_allowed.npos) {
            result += c;
        } else {
            auto const byte = static_cast<unsigned char>(c);
            result += '%';
            result += c_digits[byte >> 4];
            result += c_digits[byte & 15];
        }
    }
    return result;
}

// A name or number of a machine with user and port, without anything to be escaped.
bool IsHost(std::string_view host) {
    return !host.empty() && IsLetterOrDigit(host.front() == '[' ? 'a' : host.front()) &&
           std::ranges::all_of(host, [](char c) {
               return IsLetterOrDigit(c) || c == '-' || c == '.' || c == ':' || c == '_' || c == '[' || c == ']';
           });
}

} // namespace

std::string MakeLinkAddress(std::string_view url) {
    auto const colon = url.find(':');
    if (colon == url.npos)
        return {};
    std::string scheme(url.substr(0, colon));
    std::ranges::transform(scheme, scheme.begin(), ToLower);
    auto const rest = url.substr(colon + 1);
    if (scheme == "mailto" || scheme == "tel")
        return rest.empty() ? std::string() : scheme + ":" + Escape(rest);
    if ((scheme != "http" && scheme != "https") || !rest.starts_with("//"))
        return {};
    auto const host = rest.substr(2, std::min(rest.find_first_of("/?#", 2), rest.size()) - 2);
    if (!IsHost(host))
        return {};
    return scheme + ":" + Escape(rest);
}

} // namespace EPub
