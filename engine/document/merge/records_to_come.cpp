// SPDX-License-Identifier: Apache-2.0
// Stands in until tables are read; the true operations take its place at the link.
#include "platform/kernel/exception.h"
#include "platform/records/read_table.h"

namespace Records {

__attribute__((weak)) ReadResult ReadTable(Kernel::String const&, ReadOptions const&, bool const*) {
    throw Kernel::Exception("tables are not read yet");
}
__attribute__((weak)) ReadResult ParseTable(std::string_view, Kernel::String const&, ReadOptions const&, bool const*) {
    throw Kernel::Exception("tables are not read yet");
}

} // namespace Records
