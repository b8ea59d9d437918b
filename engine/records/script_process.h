// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/host_process.h"
#include "engine/records/script_protocol.h"
#include "platform/records/pipeline.h"

#include <deque>

namespace Records {

// A process that runs a script over batches of records. Nothing waits: who has several of them looks with poll which
// can go on. One thread's.
class ScriptProcess {
public:
    // Throws Kernel::Exception when the process cannot be started.
    ScriptProcess(RunScript const& step, std::vector<std::string_view> const& fields, Options const& options);

    // A batch of records, coded as the protocol has them, from a place in the caller's order on.
    void AddBatch(std::uint32_t firstPlace, std::uint32_t count, std::string_view records);
    // Those whose answers have not come.
    std::size_t GetBatchCount() const { return m_batches.size(); }
    int GetSocket() const { return m_host.GetSocket(); }
    bool HasToSend() const { return m_sent != m_out.size(); }

    // Receives what answers come.
    class Listener {
    public:
        virtual ~Listener() = default;
        // `verdicts` begin with that of the record at the first place.
        virtual void OnVerdicts(std::uint32_t firstPlace, std::string_view verdicts) = 0;
        virtual void OnFailedRecord(std::uint32_t place, std::string_view message) = 0;
    };
    enum class State : std::uint8_t { Working, NoScript, TimedOut, Died };
    // Sends and receives as much as goes at once.
    State Exchange(Listener& listener);
    // Of NoScript; and of TimedOut the place of the record.
    std::string const& GetMessage() const { return m_message; }
    std::uint32_t GetPlace() const { return m_place; }

private:
    struct Waiting {
        std::uint32_t firstPlace, count;
    };
    bool SendSome();
    bool ReceiveSome();
    // None: the rest has yet to come.
    std::optional<State> TakeAnswer(Listener& listener);
    std::optional<State> TakeVerdicts(std::string_view rest, std::uint32_t messageCount, Listener& listener);

    Kernel::HostProcess m_host;
    std::string m_out, m_in, m_message;
    std::size_t m_sent = 0;
    std::deque<Waiting> m_batches;
    bool m_hasStarted = false;
    std::uint32_t m_place = 0;
};

} // namespace Records
