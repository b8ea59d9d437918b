// SPDX-License-Identifier: Apache-2.0
// Saves a document round after round until it is killed, and writes a byte for each round that is saved.
//
//   store-saver DOCUMENT
#include "platform/kernel/exception.h"
#include "tests/engine/store/content.h"

#include <cstdio>
#include <unistd.h>

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2)
        return 2;
    try {
        auto const container = Store::Container::Open(arguments[1], Store::OpenMode::Edit);
        for (std::uint32_t round = 1;; ++round) {
            Store::Testing::Save(*container, Store::Testing::MakeRound(round));
            if (::write(STDOUT_FILENO, "s", 1) != 1)
                return 1;
        }
    } catch (Kernel::Exception const& error) {
        std::fprintf(stderr, "store-saver: %s\n", error.what());
        return 3;
    }
}
