// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace Shell {

// The status that the program ends with. Scripts rely on the numbers.
enum class ExitStatus : int {
    Done = 0,
    // The command found nothing to do, and the document was not written.
    NothingToDo = 1,
    // Wrong usage: an unknown command or parameter, a value out of range.
    Usage = 2,
    // An input cannot be read, or is refused.
    Input = 3,
    // An output cannot be written.
    Output = 4,
    Interrupted = 130
};

// The reason why a call fails. It becomes one line, `redraft: SUBJECT: REASON`, and the program's status.
class Failure final : public std::exception {
public:
    Failure(ExitStatus status, std::string subject, std::string reason);
    ~Failure() override;
    char const* what() const noexcept override { return m_line.c_str(); }
    ExitStatus GetStatus() const { return m_status; }
    // The same failure with where it happened in front.
    Failure WithPlace(std::string_view place) const;

private:
    ExitStatus m_status;
    std::string m_line;
};

// To be called while an exception is being handled: throws the failure for it. Failures go on as they are;
// an abort becomes Interrupted.
[[noreturn]] void RethrowAsFailure(ExitStatus status, std::string const& subject);

// Runs work that reads or writes `subject`; whatever it throws ends the call with this status.
template <class F>
decltype(auto) Guarded(ExitStatus status, std::string const& subject, F&& work) {
    try {
        return std::forward<F>(work)();
    } catch (...) {
        RethrowAsFailure(status, subject);
    }
}

// The text on one line: control characters and malformed UTF-8 are replaced, and what is longer than `maxBytes` is cut.
std::string OneLine(std::string_view text, std::size_t maxBytes = 400);
// A piece of the user's input for a message: on one line, short, in quotation marks.
std::string Quote(std::string_view text);

} // namespace Shell
