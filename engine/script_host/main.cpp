// SPDX-License-Identifier: Apache-2.0
// Runs one script over records for the engine: redraft-script-host MEMORY. What goes in and out is in
// script_protocol.h. A script may do here what it likes: the engine ends this process when it wants no more of it.

#include "engine/kernel/host_socket.h"
#include "engine/records/script_protocol.h"
#include "engine/script_host/confine.h"
#include "engine/script_host/script.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <signal.h>
#include <string>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace Records::ScriptProtocol;
using HostSocket::ReadAll, HostSocket::WriteAll;

bool ReadText(std::string& text) {
    std::uint32_t size = 0;
    if (!ReadAll(&size, sizeof size) || size > c_maximumBatch)
        return false;
    text.resize(size);
    return ReadAll(text.data(), size);
}

// Ends the process when one record takes too long. Its signal comes a few times in the time that a record may take, so
// that a record costs no more than a store.
class Watch {
public:
    // Handlers can be set only before the process is confined.
    static void Install() {
        struct sigaction action {};
        action.sa_handler = &OnTick;
        action.sa_flags = SA_RESTART;
        sigaction(SIGALRM, &action, nullptr);
    }
    static void SetTime(std::uint32_t milliseconds) {
        std::uint32_t const tick = milliseconds / c_ticks + 1;
        timeval const interval{static_cast<time_t>(tick / 1000), static_cast<suseconds_t>(tick % 1000 * 1000)};
        itimerval const timer{interval, interval};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
    static void Begin(std::uint32_t record) {
        s_record = static_cast<sig_atomic_t>(record);
        s_ticks = 0;
        s_isRunning = 1;
    }
    static void End() { s_isRunning = 0; }

private:
    static constexpr int c_ticks = 4;

    static void OnTick(int) {
        if (s_isRunning == 0)
            return;
        s_ticks = s_ticks + 1;
        // The first tick came at any time of the record.
        if (s_ticks <= c_ticks)
            return;
        Answer const answer{c_magic, Status::TimedOut, static_cast<std::uint32_t>(s_record)};
        WriteAll(&answer, sizeof answer);
        _exit(6);
    }

    static volatile sig_atomic_t s_record, s_ticks, s_isRunning;
};
volatile sig_atomic_t Watch::s_record = 0, Watch::s_ticks = 0, Watch::s_isRunning = 0;

void AppendNumber(std::string& to, std::uint32_t number) {
    to.append(reinterpret_cast<char const*>(&number), sizeof number);
}

std::string CutMessage(std::string message) {
    if (message.size() > c_maximumMessage)
        message.resize(c_maximumMessage);
    return message;
}

std::uint32_t TakeNumber(char const*& at) {
    std::uint32_t number = 0;
    std::memcpy(&number, at, sizeof number);
    at += sizeof number;
    return number;
}

bool AnswerBatch(Script& script, std::string const& records, std::uint32_t count) {
    std::string verdicts(count, static_cast<char>(Verdict::Drop)), messages;
    std::uint32_t messageCount = 0;
    char const* at = records.data();
    char const* const end = at + records.size();
    for (std::uint32_t record = 0; record != count; ++record) {
        if (end - at < 8)
            return false;
        auto const row = TakeNumber(at), size = TakeNumber(at);
        if (static_cast<std::size_t>(end - at) < size)
            return false;
        Watch::Begin(record);
        auto const verdict = script.Run(row, {at, size});
        verdicts[record] = static_cast<char>(verdict);
        if (verdict == Verdict::Failed && messageCount != c_maximumMessages) {
            auto const message = CutMessage(script.DescribeFailure());
            AppendNumber(messages, record);
            AppendNumber(messages, static_cast<std::uint32_t>(message.size()));
            messages += message;
            ++messageCount;
        }
        at += size;
    }
    Watch::End();
    Answer const answer{c_magic, Status::Done, messageCount};
    return WriteAll(&answer, sizeof answer) && WriteAll(verdicts.data(), verdicts.size()) &&
           WriteAll(messages.data(), messages.size());
}

int Serve(unsigned long long memory) {
    Start start{};
    if (!ReadAll(&start, sizeof start) || start.magic != c_magic)
        return 3;
    std::vector<std::string> fields(start.fieldCount);
    for (auto& field : fields) {
        if (!ReadText(field))
            return 3;
    }
    std::string source;
    if (!ReadText(source))
        return 3;
    Watch::SetTime(start.time);
    Watch::Begin(0);
    Script script(source, fields, memory);
    Watch::End();
    if (!script.IsValid()) {
        auto const message = CutMessage(script.DescribeFailure());
        Answer const answer{c_magic, Status::NoScript, 1};
        auto const size = static_cast<std::uint32_t>(message.size());
        WriteAll(&answer, sizeof answer);
        WriteAll(&size, sizeof size);
        WriteAll(message.data(), size);
        return 0;
    }
    Answer const answer{c_magic, Status::Started, 0};
    if (!WriteAll(&answer, sizeof answer))
        return 4;
    Batch batch{};
    std::string records;
    while (ReadAll(&batch, sizeof batch)) {
        if (batch.magic != c_magic || batch.size > c_maximumBatch || batch.recordCount > batch.size)
            return 3;
        records.resize(batch.size);
        if (!ReadAll(records.data(), records.size()) || !AnswerBatch(script, records, batch.recordCount))
            return 4;
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2)
        return 2;
    auto const memory = std::strtoull(arguments[1], nullptr, 10);
    // While files can still be read.
    tzset();
    Watch::Install();
    Confine(memory + c_ownMemory);
    _exit(Serve(memory));
}
