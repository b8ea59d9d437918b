// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/data_source.h"
#include "platform/records/read_table.h"

namespace Records {

// Reads text of which a character divides the fields. `name`: of the file, whose ending may tell the delimiter.
// Chunks of so many bytes are read at the same time: few enough that one and the fields made of it stay in the cache of
// a processor, enough that beginning one costs nothing beside.
inline constexpr std::size_t c_chunkBytes = 512 << 10;
ReadResult ReadDelimited(DataSource const& source, std::string_view name, ReadOptions const& options, bool const* abort,
                         std::size_t chunkBytes = c_chunkBytes);

} // namespace Records
