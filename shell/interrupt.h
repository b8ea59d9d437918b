// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// Control-C: the first one asks the work at hand to stop, or ends the program where that work cannot be stopped; the
// second ends the program in any case. At most a temporary file is left behind; documents and outputs stay as
// they were.
namespace Shell::Interrupt {

// Takes the signals over. Only then do the others have an effect.
void Install();
bool WasAsked() noexcept;
// Throws Failure when it was asked for.
void Check(std::string const& subject);

// The flag, or the call, that stops the work at hand, for the life of the object. Null: nothing stops it, so that
// control-C ends the program at once, with a line about `subject`; no document or output may be in writing then.
class Scope {
public:
    // Throws Failure when there is no flag and control-C came before.
    explicit Scope(bool* abort, std::string const& subject = "call");
    // Work that is stopped by a call, which a signal handler may make, and which holds until the work has ended.
    using Cancel = void (*)() noexcept;
    explicit Scope(Cancel cancel);
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;
    ~Scope();
};

} // namespace Shell::Interrupt
