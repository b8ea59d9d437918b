// SPDX-License-Identifier: Apache-2.0
#include "engine/records/column_names.h"

namespace Records {

namespace {

// Line breaks, tabs and other control characters become spaces, of which one is left.
std::string MakeOneLine(std::string_view given) {
    std::string name;
    for (auto const c : given) {
        bool const isSpace = static_cast<unsigned char>(c) <= ' ' || c == '\x7f';
        if (!isSpace)
            name.push_back(c);
        else if (!name.empty() && name.back() != ' ')
            name.push_back(' ');
    }
    if (!name.empty() && name.back() == ' ')
        name.pop_back();
    return name;
}

void Shorten(std::string& name) {
    if (name.size() <= ColumnNames::c_longestName)
        return;
    auto size = ColumnNames::c_longestName;
    while (size != 0 && (static_cast<unsigned char>(name[size]) & 0xc0) == 0x80)
        --size;
    name.resize(size);
}

} // namespace

Kernel::String ColumnNames::Keep(std::string name) {
    auto unique = name;
    for (int number = 2; !m_names.insert(unique).second; ++number)
        unique = name + " (" + std::to_string(number) + ")";
    ++m_count;
    return Kernel::String(unique);
}

Kernel::String ColumnNames::Add(std::string_view given, WarningList& warnings) {
    auto name = MakeOneLine(given);
    if (name.empty()) {
        auto numbered = AddNumbered();
        warnings.Add(Warning::c_noRow, numbered, "the column has no name and is called by its number");
        return numbered;
    }
    auto const size = name.size();
    Shorten(name);
    bool const isCut = name.size() != size;
    auto const wanted = Kernel::String(name);
    auto kept = Keep(std::move(name));
    if (isCut)
        warnings.Add(Warning::c_noRow, kept, "the name of the column is too long and was cut");
    if (kept != wanted)
        warnings.Add(Warning::c_noRow, kept, "another column has the name \"" + wanted.ToStdString() + "\"");
    return kept;
}

Kernel::String ColumnNames::AddNumbered() { return Keep("Column " + std::to_string(m_count + 1)); }

} // namespace Records
