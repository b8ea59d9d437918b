// SPDX-License-Identifier: Apache-2.0
#include "engine/records/script_fields.h"
#include "engine/records/script_process.h"
#include "engine/records/steps.h"
#include "platform/kernel/dispatch.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <poll.h>

namespace Records {

using namespace ScriptProtocol;

namespace {

// Codes records for a script, as the protocol has them.
class RecordCoder {
public:
    RecordCoder(WorkingRecords const& records, std::vector<std::size_t> const& columns) : m_table(records.GetTable()) {
        for (auto const column : columns) {
            m_columns.push_back({column, FieldReader(records, column), {}});
            if (m_table.GetColumn(column).type == ColumnType::Number)
                m_columns.back().numbers = m_table.GetNumbers(column, records.GetAbortFlag());
        }
    }

    // False, and nothing is appended: the record is longer than a batch may be.
    bool Append(std::uint32_t row, std::string& to) {
        auto const begin = to.size();
        AppendBytes(to, row);
        AppendBytes(to, std::uint32_t(0));
        for (auto& column : m_columns) {
            if (auto const number = FindNumber(column, row); !std::isnan(number)) {
                AppendBytes(to, FieldKind::Number);
                AppendBytes(to, number);
                continue;
            }
            auto const text = column.reader.Get(row);
            if (text.size() > c_maximumBatch || to.size() - begin + text.size() + 64 > c_maximumBatch) {
                to.resize(begin);
                return false;
            }
            AppendBytes(to, FieldKind::Text);
            AppendBytes(to, static_cast<std::uint32_t>(text.size()));
            to += text;
        }
        auto const size = static_cast<std::uint32_t>(to.size() - begin - 2 * sizeof(std::uint32_t));
        std::copy_n(reinterpret_cast<char const*>(&size), sizeof size, to.data() + begin + sizeof row);
        return true;
    }

private:
    struct CodedColumn {
        std::size_t column;
        FieldReader reader;
        // Empty where the column is not one of numbers.
        std::span<double const> numbers;
    };
    template <class T>
    static void AppendBytes(std::string& to, T const& value) {
        to.append(reinterpret_cast<char const*>(&value), sizeof value);
    }
    double FindNumber(CodedColumn& column, std::uint32_t row) const {
        if (column.numbers.empty())
            return std::numeric_limits<double>::quiet_NaN();
        return column.reader.IsReplaced(row) ? m_table.ParseField(column.reader.Get(row), column.column)
                                             : column.numbers[row];
    }

    Table const& m_table;
    std::vector<CodedColumn> m_columns;
};

// Puts records to a script in as many processes as there are threads.
class ScriptRun final : ScriptProcess::Listener {
public:
    ScriptRun(WorkingRecords& records, RunScript const& step)
        : m_records(records),
          m_step(step),
          m_rows(records.ListRows()),
          m_verdicts(m_rows.size(), static_cast<char>(Verdict::Keep)) {}

    void Run() {
        if (m_rows.empty())
            return;
        AbortLook look(m_records.GetAbortFlag());
        auto const fields = FindScriptFields(m_step.script.view(), m_records.GetTable(), look);
        for (auto const& name : fields.unknown)
            m_records.FindColumn(name);
        RecordCoder coder(m_records, fields.columns);
        if (Ask(coder, fields.columns))
            TakeOver();
    }

private:
    static constexpr std::size_t c_batchBytes = 128 << 10, c_batchRecords = 2048, c_batchesAhead = 2;

    std::size_t CountProcesses() const {
        return std::clamp<std::size_t>(m_rows.size() / c_batchRecords, 1, Kernel::Dispatch::GetThreadCount());
    }

    // False: the script did not answer of all records.
    bool Ask(RecordCoder& coder, std::vector<std::size_t> const& columns) {
        std::vector<std::string_view> names;
        for (auto const column : columns)
            names.push_back(m_records.GetTable().GetColumn(column).name.view());
        std::deque<ScriptProcess> processes;
        for (auto count = CountProcesses(); count != 0; --count)
            processes.emplace_back(m_step, names, m_records.GetOptions());
        for (;;) {
            bool isWaiting = false;
            for (auto& process : processes) {
                while (process.GetBatchCount() < c_batchesAhead && m_next != m_rows.size())
                    AddBatch(process, coder, processes.size());
                switch (process.Exchange(*this)) {
                case ScriptProcess::State::Working:
                    break;
                case ScriptProcess::State::NoScript:
                    Warn(Warning::c_noRow, " is no JavaScript: " + process.GetMessage());
                    return false;
                case ScriptProcess::State::TimedOut:
                    Warn(m_rows[process.GetPlace()], " takes too long; it is left out");
                    return false;
                case ScriptProcess::State::Died:
                    Warn(Warning::c_noRow, " broke its process, as when it needs too much memory; it is left out");
                    return false;
                }
                isWaiting = isWaiting || process.GetBatchCount() != 0;
            }
            if (!isWaiting && m_next == m_rows.size())
                return true;
            Wait(processes);
        }
    }

    void AddBatch(ScriptProcess& process, RecordCoder& coder, std::size_t processCount) {
        // The last batches are smaller, so that no process waits long for another one.
        auto const share = (m_rows.size() - m_next) / (4 * processCount);
        auto const end = m_next + std::min(std::clamp<std::size_t>(share, 64, c_batchRecords), m_rows.size() - m_next);
        auto const first = m_next;
        m_batch.clear();
        AbortLook look(m_records.GetAbortFlag());
        for (; m_next != end && m_batch.size() < c_batchBytes; ++m_next) {
            if (!coder.Append(m_rows[m_next], m_batch)) {
                // Alone in its batch, so that places stay in turn.
                if (m_next == first)
                    OnTooLong(m_next++);
                break;
            }
            look.Spend(100);
        }
        if (m_next != first && !m_batch.empty())
            process.AddBatch(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(m_next - first), m_batch);
    }

    void Wait(std::deque<ScriptProcess> const& processes) const {
        std::vector<pollfd> sockets;
        for (auto const& process : processes)
            sockets.push_back(
                {process.GetSocket(), static_cast<short>(process.HasToSend() ? POLLIN | POLLOUT : POLLIN), 0});
        poll(sockets.data(), sockets.size(), 1);
        AbortLook(m_records.GetAbortFlag()).Now();
    }

    void OnVerdicts(std::uint32_t firstPlace, std::string_view verdicts) override {
        std::copy(verdicts.begin(), verdicts.end(), m_verdicts.begin() + firstPlace);
    }
    void OnFailedRecord(std::uint32_t place, std::string_view message) override {
        // Of a broken process the place may have come before.
        m_messages.emplace(place, Kernel::String(message));
    }
    void OnTooLong(std::size_t place) {
        m_verdicts[place] = static_cast<char>(Verdict::Failed);
        m_messages.emplace(static_cast<std::uint32_t>(place), "the fields are too long for a script");
    }

    void Warn(std::int64_t row, std::string const& text) {
        auto const name =
            m_step.name.empty() ? std::string("the script") : "script '" + m_step.name.ToStdString() + "'";
        m_records.Warn({row, Kernel::String(), Kernel::String(name + text)});
    }

    // Failed records stay.
    void TakeOver() {
        RowSet kept = m_records.GetRows();
        std::uint64_t failed = 0;
        AbortLook look(m_records.GetAbortFlag());
        for (std::size_t place = 0; place != m_rows.size(); ++place) {
            auto const verdict = static_cast<Verdict>(m_verdicts[place]);
            if (verdict == Verdict::Drop)
                kept.Remove(m_rows[place]);
            failed += verdict == Verdict::Failed ? 1 : 0;
            look.Spend(3);
        }
        for (auto const& [place, message] : m_messages) {
            if (!m_records.HasRoomForWarnings())
                break;
            Warn(m_rows[place], " failed: " + message.ToStdString());
            --failed;
        }
        m_records.CountFurtherWarnings(failed);
        m_records.SetRows(std::move(kept));
    }

    WorkingRecords& m_records;
    RunScript const& m_step;
    std::vector<std::uint32_t> const m_rows;
    // Of each record.
    std::string m_verdicts;
    std::map<std::uint32_t, Kernel::String> m_messages;
    // The first record that has not been put to the script.
    std::size_t m_next = 0;
    std::string m_batch;
};

} // namespace

void TakeStep(WorkingRecords& records, RunScript const& step) {
    if (!records.GetOptions().runScripts) {
        records.Warn({Warning::c_noRow, {}, "scripts are not run in this document"});
        return;
    }
    try {
        ScriptRun(records, step).Run();
    } catch (Kernel::AbortException const&) {
        throw;
    } catch (Kernel::Exception const& failure) {
        records.Warn({Warning::c_noRow, {}, failure.GetMessage()});
    }
}

} // namespace Records
