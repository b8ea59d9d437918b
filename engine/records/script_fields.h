// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/abort_look.h"
#include "platform/records/table.h"

namespace Records {

// The fields that a script is given.
struct ScriptFields {
    std::vector<std::size_t> columns;
    // Names that it uses and the table does not have.
    std::vector<Kernel::String> unknown;
};

// Those that the script names as record.Name or record["Name"], in the order of the columns. Where it uses `record` in
// any other way, or `arguments`, `eval` or escapes by which names can be hidden, also those whose names occur anywhere
// in it.
ScriptFields FindScriptFields(std::string_view script, Table const& table, AbortLook& look);

} // namespace Records
