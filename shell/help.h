// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

// Texts about the program as a whole. All of them are made from the verbs and the commands' cards.
namespace Shell {

// `redraft --help`: a line on each verb.
std::string FormatProgramHelp();
// A page for `man`, in troff's man macros.
std::string FormatManPage();
// A script that completes verbs, options, commands and their parameters. `shell` is bash, zsh or fish; throws Failure
// with ExitStatus::Usage for others.
std::string FormatCompletion(std::string const& shell);

} // namespace Shell
