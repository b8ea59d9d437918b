// SPDX-License-Identifier: Apache-2.0
#include "engine/records/json_reader.h"

#include "platform/kernel/exception.h"

namespace Records {

ReadResult ReadJson(DataSource const&, ReadOptions const&, bool const*) {
    throw Kernel::Exception("JSON are not read yet");
}

} // namespace Records
