// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/data_source.h"
#include "platform/records/read_table.h"

namespace Records {

// Reads one sheet of an Office Open XML workbook (ECMA-376 part 1, SpreadsheetML).
ReadResult ReadSpreadsheet(DataSource const& source, ReadOptions const& options, bool const* abort);

} // namespace Records
