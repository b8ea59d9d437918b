// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/command_example.h"

#include <algorithm>

namespace {

std::vector<CommandExample>& Examples() {
    static std::vector<CommandExample> s_examples;
    return s_examples;
}

} // namespace

// In the order of the classes' names: the order in which a linker puts their sources together is none to rely on.
void CommandExample::Register(CommandExample example) {
    auto& examples = Examples();
    auto const position =
        std::upper_bound(examples.begin(), examples.end(), example.className,
                         [](std::string const& name, CommandExample const& other) { return name < other.className; });
    examples.insert(position, std::move(example));
}

std::vector<CommandExample> const& CommandExample::GetAll() { return Examples(); }
