// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/learning/http_session.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Learning {

// A JSON answer of a service. Texts are valid while it lives.
class ServiceJson {
public:
    // None where the text is not JSON, is nested deeper than 64, or has so many values that it is no answer about
    // pictures. Takes memory in proportion to the text.
    static std::optional<ServiceJson> Parse(std::string text);
    ServiceJson(ServiceJson&&) noexcept;
    ServiceJson& operator=(ServiceJson&&) noexcept;
    ~ServiceJson();

    // The text or the number at a path of names, such as "/error/message" (RFC 6901); none where there is none.
    std::optional<std::string_view> GetText(std::string_view path) const;
    std::optional<double> GetNumber(std::string_view path) const;
    // The texts of an array of texts, or of an array of objects their texts of that name, an empty one where it is
    // missing. None where there is no such array.
    std::optional<std::vector<std::string_view>> GetTexts(std::string_view path, std::string_view name = {}) const;

private:
    struct State;
    explicit ServiceJson(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

// Code Refused with the service's reason for an answer that is not of status 200, as far as one of the forms is known:
// {"error":{"message":...}}, {"error":...}, {"detail":...}, {"message":...}. Code Answered for status 200.
RemoteInference::Result CheckStatus(HttpAnswer const& answer, HttpSession const& session);

// A failure with the service's name in front.
RemoteInference::Result FailFor(HttpSession const& session, int code, std::string_view text);
// The same for a failure that does not name the service yet. Code Cancelled needs no name.
RemoteInference::Result NameService(RemoteInference::Result result, HttpSession const& session);

} // namespace Learning
