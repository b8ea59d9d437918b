// SPDX-License-Identifier: Apache-2.0
#include "engine/records/spreadsheet_reader.h"

#include "platform/kernel/exception.h"

namespace Records {

ReadResult ReadSpreadsheet(DataSource const&, ReadOptions const&, bool const*) {
    throw Kernel::Exception("spreadsheets are not read yet");
}

} // namespace Records
