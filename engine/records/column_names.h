// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/warning_list.h"

#include <unordered_set>

namespace Records {

// Makes names of columns out of what a file calls them: one line without spaces around it and of at most c_longestName
// bytes, of which no two are equal. A column without a name is called by its number. Changes are warned about.
class ColumnNames {
public:
    Kernel::String Add(std::string_view given, WarningList& warnings);
    // Of a file that gives no names.
    Kernel::String AddNumbered();

    static constexpr std::size_t c_longestName = 200;

private:
    Kernel::String Keep(std::string name);

    std::unordered_set<std::string> m_names;
    std::size_t m_count = 0;
};

} // namespace Records
