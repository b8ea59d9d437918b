// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace Learning {

// An address of a web service.
struct HttpAddress {
    // As "http://127.0.0.1:8188": scheme, host and port, in lower case and with the port even where it is the usual
    // one.
    std::string origin;
    // The whole address, without a slash at its end.
    std::string url;

    // None where the text is not an address of http or https, or holds a name or a password. `base` is what a relative
    // one stands in; empty: none.
    static std::optional<HttpAddress> Parse(std::string const& text, std::string const& base = {});
};

} // namespace Learning
