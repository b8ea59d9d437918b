// SPDX-License-Identifier: Apache-2.0
#include "engine/records/script_process.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace Records {

using namespace ScriptProtocol;

namespace {

template <class T>
void Append(std::string& to, T const& value) {
    to.append(reinterpret_cast<char const*>(&value), sizeof value);
}

void AppendSizedText(std::string& to, std::string_view text) {
    Append(to, static_cast<std::uint32_t>(text.size()));
    to += text;
}

template <class T>
std::optional<T> Take(std::string_view& from) {
    if (from.size() < sizeof(T))
        return std::nullopt;
    T value{};
    std::memcpy(&value, from.data(), sizeof value);
    from.remove_prefix(sizeof value);
    return value;
}

} // namespace

ScriptProcess::ScriptProcess(RunScript const& step, std::vector<std::string_view> const& fields, Options const& options)
    : m_host("redraft-script-host", "scripts cannot be run", {std::to_string(options.scriptMemory)}) {
    auto const time = std::clamp<std::int64_t>(options.scriptTime.count(), 1, 3'600'000);
    Append(m_out, Start{c_magic, static_cast<std::uint32_t>(fields.size()), static_cast<std::uint32_t>(time)});
    for (auto const field : fields)
        AppendSizedText(m_out, field);
    AppendSizedText(m_out, step.script.view());
}

void ScriptProcess::AddBatch(std::uint32_t firstPlace, std::uint32_t count, std::string_view records) {
    Append(m_out, Batch{c_magic, count, records.size()});
    m_out += records;
    m_batches.push_back({firstPlace, count});
}

bool ScriptProcess::SendSome() {
    while (HasToSend()) {
        ssize_t const put = send(GetSocket(), m_out.data() + m_sent, m_out.size() - m_sent, MSG_NOSIGNAL);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return put < 0 && errno == EAGAIN;
        m_sent += static_cast<std::size_t>(put);
    }
    m_out.clear();
    m_sent = 0;
    return true;
}

bool ScriptProcess::ReceiveSome() {
    for (;;) {
        char bytes[16'384];
        ssize_t const got = recv(GetSocket(), bytes, sizeof bytes, 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got < 0 && errno == EAGAIN;
        m_in.append(bytes, static_cast<std::size_t>(got));
    }
}

ScriptProcess::State ScriptProcess::Exchange(Listener& listener) {
    bool const isAlive = SendSome();
    // Its answers before its end count.
    bool const hasMore = ReceiveSome();
    while (auto const state = TakeAnswer(listener)) {
        if (*state != State::Working)
            return *state;
    }
    return isAlive && hasMore ? State::Working : State::Died;
}

std::optional<ScriptProcess::State> ScriptProcess::TakeAnswer(Listener& listener) {
    std::string_view rest = m_in;
    auto const answer = Take<Answer>(rest);
    if (!answer)
        return std::nullopt;
    // A script may have got hold of its process: nothing that comes from there is trusted.
    if (answer->magic != c_magic)
        return State::Died;
    switch (answer->status) {
    case Status::Started:
        m_in.erase(0, sizeof *answer);
        return std::exchange(m_hasStarted, true) ? State::Died : State::Working;
    case Status::NoScript: {
        auto const size = Take<std::uint32_t>(rest);
        if (m_hasStarted || (size && *size > c_maximumMessage))
            return State::Died;
        if (!size || rest.size() < *size)
            return std::nullopt;
        m_message = rest.substr(0, *size);
        return State::NoScript;
    }
    case Status::TimedOut:
        if (!m_batches.empty() && answer->count >= m_batches.front().count)
            return State::Died;
        m_place = m_batches.empty() ? 0 : m_batches.front().firstPlace + answer->count;
        return State::TimedOut;
    case Status::Done:
        return m_hasStarted && !m_batches.empty() && answer->count <= c_maximumMessages
                   ? TakeVerdicts(rest, answer->count, listener)
                   : State::Died;
    }
    return State::Died;
}

std::optional<ScriptProcess::State> ScriptProcess::TakeVerdicts(std::string_view rest, std::uint32_t messageCount,
                                                                Listener& listener) {
    auto const [firstPlace, count] = m_batches.front();
    if (rest.size() < count)
        return std::nullopt;
    auto const verdicts = rest.substr(0, count);
    rest.remove_prefix(count);
    auto const isVerdict = [](char verdict) {
        return static_cast<unsigned char>(verdict) <= static_cast<unsigned char>(Verdict::Failed);
    };
    if (!std::all_of(verdicts.begin(), verdicts.end(), isVerdict))
        return State::Died;
    std::vector<std::pair<std::uint32_t, std::string_view>> messages;
    for (std::uint32_t i = 0; i != messageCount; ++i) {
        auto const record = Take<std::uint32_t>(rest), size = Take<std::uint32_t>(rest);
        if (size && (*record >= count || *size > c_maximumMessage))
            return State::Died;
        if (!size || rest.size() < *size)
            return std::nullopt;
        messages.emplace_back(*record, rest.substr(0, *size));
        rest.remove_prefix(*size);
    }
    listener.OnVerdicts(firstPlace, verdicts);
    for (auto const& [record, message] : messages)
        listener.OnFailedRecord(firstPlace + record, message);
    m_batches.pop_front();
    m_in.erase(0, m_in.size() - rest.size());
    return State::Working;
}

} // namespace Records
