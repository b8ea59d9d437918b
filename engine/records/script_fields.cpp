// SPDX-License-Identifier: Apache-2.0
#include "engine/records/script_fields.h"

#include <set>

namespace Records {

namespace {

bool IsOfName(char character) {
    auto const byte = static_cast<unsigned char>(character);
    return ('0' <= byte && byte <= '9') || ('a' <= (byte | 0x20) && (byte | 0x20) <= 'z') || byte == '_' ||
           byte == '$' || byte >= 0x80;
}

bool HasWordAt(std::string_view script, std::size_t at, std::string_view word) {
    return (at == 0 || !IsOfName(script[at - 1])) &&
           (at + word.size() == script.size() || !IsOfName(script[at + word.size()]));
}

bool HasWord(std::string_view script, std::string_view word) {
    for (auto at = script.find(word); at != std::string_view::npos; at = script.find(word, at + 1)) {
        if (HasWordAt(script, at, word))
            return true;
    }
    return false;
}

void SkipSpace(std::string_view& rest) { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size())); }

// The name behind `record`: .Name or ["Name"]. None: something else is there.
std::optional<std::string_view> TakeName(std::string_view rest) {
    SkipSpace(rest);
    if (rest.empty())
        return std::nullopt;
    char const sign = rest.front();
    rest.remove_prefix(1);
    SkipSpace(rest);
    if (sign == '.') {
        std::size_t size = 0;
        while (size != rest.size() && IsOfName(rest[size]))
            ++size;
        return size == 0 ? std::nullopt : std::optional(rest.substr(0, size));
    }
    if (sign != '[' || rest.empty() || (rest.front() != '"' && rest.front() != '\''))
        return std::nullopt;
    auto const end = rest.find(rest.front(), 1);
    if (end == std::string_view::npos)
        return std::nullopt;
    auto const name = rest.substr(1, end - 1);
    rest.remove_prefix(end + 1);
    SkipSpace(rest);
    if (!rest.starts_with(']') || name.find_first_of("\\\n") != std::string_view::npos)
        return std::nullopt;
    return name;
}

} // namespace

ScriptFields FindScriptFields(std::string_view script, Table const& table, AbortLook& look) {
    constexpr std::string_view c_record = "record";
    std::set<std::size_t> columns;
    ScriptFields fields;
    bool isCertain =
        !HasWord(script, "arguments") && !HasWord(script, "eval") && script.find("\\u") == std::string_view::npos;
    for (auto at = script.find(c_record); at != std::string_view::npos; at = script.find(c_record, at + 1)) {
        if (!HasWordAt(script, at, c_record))
            continue;
        auto const name = TakeName(script.substr(at + c_record.size()));
        if (!name) {
            isCertain = false;
        } else if (auto const column = table.FindColumn(*name)) {
            columns.insert(*column);
        } else {
            fields.unknown.emplace_back(*name);
        }
        look.Spend(20);
    }
    for (std::size_t column = 0; !isCertain && column != table.GetColumnCount(); ++column) {
        if (script.find(table.GetColumn(column).name.view()) != std::string_view::npos)
            columns.insert(column);
        look.Spend(script.size());
    }
    fields.columns.assign(columns.begin(), columns.end());
    return fields;
}

} // namespace Records
