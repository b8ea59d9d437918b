// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/data_source.h"
#include "platform/records/read_table.h"

namespace Records {

// Reads JSON (RFC 8259): an array of objects, an object with such an array, or objects one after the other, as JSON
// Lines have them. Members of objects within objects become columns such as "address.city"; arrays within objects
// become their JSON.
ReadResult ReadJson(DataSource const& source, ReadOptions const& options, bool const* abort);

} // namespace Records
