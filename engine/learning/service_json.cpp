// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/service_json.h"

#include "engine/learning/service_text.h"

#include <cstring>
#include <simdjson.h>

namespace Learning {

namespace {

constexpr std::size_t c_maximumDepth = 64;
constexpr std::size_t c_maximumValues = 1 << 18;

// Counts values and levels before memory for them is taken, which would be many times the text.
bool HasModestShape(std::string_view text) {
    std::size_t depth = 0, values = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char const character = text[at];
        if (character == '"') {
            for (++at;; ++at) {
                auto const* const end = static_cast<char const*>(
                    at < text.size() ? std::memchr(text.data() + at, '"', text.size() - at) : nullptr);
                if (end == nullptr)
                    return false;
                at = static_cast<std::size_t>(end - text.data());
                std::size_t slashes = 0;
                while (text[at - 1 - slashes] == '\\')
                    ++slashes;
                if (slashes % 2 == 0)
                    break;
            }
        } else if (character == '[' || character == '{') {
            if (++depth > c_maximumDepth || ++values > c_maximumValues)
                return false;
        } else if (character == ']' || character == '}') {
            if (depth-- == 0)
                return false;
        } else if (character == ',' && ++values > c_maximumValues) {
            return false;
        }
    }
    return depth == 0;
}

} // namespace

struct ServiceJson::State {
    simdjson::dom::parser parser;
    simdjson::dom::element root;

    simdjson::simdjson_result<simdjson::dom::element> Find(std::string_view path) const {
        return path.empty() ? simdjson::simdjson_result<simdjson::dom::element>(simdjson::dom::element(root))
                            : root.at_pointer(path);
    }
};

ServiceJson::ServiceJson(std::unique_ptr<State> state) : m_state(std::move(state)) {}
ServiceJson::ServiceJson(ServiceJson&&) noexcept = default;
ServiceJson& ServiceJson::operator=(ServiceJson&&) noexcept = default;
ServiceJson::~ServiceJson() = default;

std::optional<ServiceJson> ServiceJson::Parse(std::string text) {
    if (!HasModestShape(text))
        return std::nullopt;
    auto state = std::make_unique<State>();
    // With this room behind it the text need not be copied.
    text.reserve(text.size() + simdjson::SIMDJSON_PADDING);
    if (state->parser.parse(text.data(), text.size(), false).get(state->root) != simdjson::SUCCESS)
        return std::nullopt;
    return ServiceJson(std::move(state));
}

std::optional<std::string_view> ServiceJson::GetText(std::string_view path) const {
    std::string_view text;
    if (m_state->Find(path).get(text) != simdjson::SUCCESS)
        return std::nullopt;
    return text;
}

std::optional<double> ServiceJson::GetNumber(std::string_view path) const {
    double number = 0;
    if (m_state->Find(path).get(number) != simdjson::SUCCESS)
        return std::nullopt;
    return number;
}

std::optional<std::vector<std::string_view>> ServiceJson::GetTexts(std::string_view path, std::string_view name) const {
    simdjson::dom::array array;
    if (m_state->Find(path).get(array) != simdjson::SUCCESS)
        return std::nullopt;
    std::vector<std::string_view> texts;
    for (auto const element : array) {
        std::string_view text;
        auto const failure = name.empty() ? element.get(text) : element.at_key(name).get(text);
        texts.push_back(failure == simdjson::SUCCESS ? text : std::string_view());
    }
    return texts;
}

RemoteInference::Result FailFor(HttpSession const& session, int code, std::string_view text) {
    return {code, Kernel::String(session.GetOrigin() + ": " + std::string(text))};
}

RemoteInference::Result NameService(RemoteInference::Result result, HttpSession const& session) {
    bool const isNamed = result.code == RemoteInference::Answered || result.code == RemoteInference::Cancelled;
    return isNamed ? result : FailFor(session, result.code, result.detail.view());
}

RemoteInference::Result CheckStatus(HttpAnswer const& answer, HttpSession const& session) {
    if (answer.status == 200)
        return {};
    auto const status = "status " + std::to_string(answer.status);
    std::optional<std::string_view> reason;
    auto const json = ServiceJson::Parse(answer.body);
    for (char const* const path : {"/error/message", "/error", "/detail", "/detail/0/msg", "/message", "/errors"}) {
        if (json && (!reason || reason->empty()))
            reason = json->GetText(path);
    }
    auto const line = reason ? CleanLine(*reason, session.GetOptions().token) : Kernel::String();
    if (!line.empty())
        return FailFor(session, RemoteInference::Refused, line.view());
    if (answer.status == 401 || answer.status == 403)
        return FailFor(session, RemoteInference::Refused,
                       "a token is needed, or the one given is not taken (" + status + ")");
    if (answer.status == 404 || answer.status == 405)
        return FailFor(session, RemoteInference::Refused,
                       "the service does not speak this protocol at this address (" + status + ")");
    if (answer.status == 429)
        return FailFor(session, RemoteInference::Refused, "too many requests at this time (" + status + ")");
    return FailFor(session, RemoteInference::Refused, "the service refused the request (" + status + ")");
}

} // namespace Learning
