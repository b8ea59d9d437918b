// SPDX-License-Identifier: Apache-2.0
#include "frame/example.h"

namespace {

std::vector<CommandExample>& Examples() {
    static std::vector<CommandExample> s_examples;
    return s_examples;
}

} // namespace

void CommandExample::Register(CommandExample example) { Examples().push_back(std::move(example)); }

std::vector<CommandExample> const& CommandExample::GetAll() { return Examples(); }
