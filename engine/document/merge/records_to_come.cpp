// SPDX-License-Identifier: Apache-2.0
// Stands in until tables are read and steps are run; the true operations take its place at the link.
#include "platform/kernel/exception.h"
#include "platform/records/pipeline.h"
#include "platform/records/read_table.h"

namespace Records {

__attribute__((weak)) Result::~Result() = default;
__attribute__((weak)) std::string_view Result::GetText(std::size_t, std::string_view) const { return {}; }
__attribute__((weak)) ReadResult ReadTable(Kernel::String const&, ReadOptions const&, bool const*) {
    throw Kernel::Exception("tables are not read yet");
}
__attribute__((weak)) ReadResult ParseTable(std::string_view, Kernel::String const&, ReadOptions const&, bool const*) {
    throw Kernel::Exception("tables are not read yet");
}
__attribute__((weak)) Kernel::Counted<Result const> RunSteps(TableRef, std::vector<Step> const&, Options const&,
                                                             bool const*) {
    throw Kernel::Exception("steps are not run yet");
}

} // namespace Records
