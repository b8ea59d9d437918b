// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/learning/http_address.h"
#include "platform/learning/back_ends.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Learning {

// One field of a form.
struct HttpPart {
    std::string name;
    // Both empty for a plain text.
    std::string fileName;
    std::string type;
    std::string data;
};

// A request to the service. A POST where there is a body or a form, else a GET.
struct HttpRequest {
    // Whole, as GetUrl makes it.
    std::string url;
    // Of type application/json.
    std::string body;
    std::vector<HttpPart> form;
};

struct HttpAnswer {
    // Tells why there is no answer; code 0 for answers of any status.
    RemoteInference::Result failure;
    long status = 0;
    std::string body;
};

// A question that is put again and again while a request is worked on. Its failures are ignored.
struct HttpPoll {
    std::string url;
    std::function<void(std::string const& body)> receive;
};

// The connections to one service, which are kept between requests. Used by several threads at once.
//
// Redirects are followed three times and only to the service's own scheme, host and port, the request being repeated
// as it was but for status 303. The token goes nowhere else. Certificates are verified. The environment (proxies) and
// files of the user (.netrc) are not looked at.
class HttpSession {
public:
    // Exception where the options cannot be used.
    explicit HttpSession(ServiceOptions const& options);
    HttpSession(HttpSession const&) = delete;
    HttpSession& operator=(HttpSession const&) = delete;
    ~HttpSession();

    // `path` begins with a slash.
    std::string GetUrl(std::string_view path) const { return m_address.url + std::string(path); }
    // Scheme, host and port, for messages.
    std::string const& GetOrigin() const { return m_address.origin; }
    ServiceOptions const& GetOptions() const { return m_options; }

    // Blocks until there is an answer, until a time is over or until the call is cancelled.
    HttpAnswer Send(HttpRequest const& request, InferenceCall const& call, HttpPoll const* poll = nullptr);

private:
    class Connections;
    class Transfer;
    class Lease;
    using Clock = std::chrono::steady_clock;

    HttpAnswer Exchange(Connections& connections, HttpRequest const& request, Clock::time_point begin,
                        InferenceCall const& call, HttpPoll const* poll, std::string& location) const;
    RemoteInference::Result Fail(int code, std::string const& text) const;

    ServiceOptions m_options;
    HttpAddress m_address;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Connections>> m_idle;
};

} // namespace Learning
