// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// Control-C: the first one asks the work at hand to stop, the second ends the program. What was being written is left
// in a temporary file at most; documents and outputs stay as they were.
namespace Shell::Interrupt {

// Takes the signals over. Only then do the others have an effect.
void Install();
bool WasAsked() noexcept;
// Throws Failure when it was asked for.
void Check(std::string const& subject);

// The flag that stops the work at hand, for the life of the object. Null: it cannot be stopped.
class Scope {
public:
    explicit Scope(bool* abort);
    Scope(Scope const&) = delete;
    Scope& operator=(Scope const&) = delete;
    ~Scope();
};

} // namespace Shell::Interrupt
