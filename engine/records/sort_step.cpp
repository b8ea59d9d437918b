// SPDX-License-Identifier: Apache-2.0
#include "engine/records/collation.h"
#include "engine/records/entry_sort.h"
#include "engine/records/field_tests.h"
#include "engine/records/steps.h"

#include <bit>
#include <cmath>

namespace Records {

namespace {

using Rows = std::vector<std::uint32_t>;

// Numbers, as whole keys.
class NumberDigits {
public:
    explicit NumberDigits(std::vector<double> const& numbers) : m_numbers(numbers) {}
    void Next(SortEntry& entry, AbortLook& look) const {
        // Zeros of both signs are one. Of negative numbers all bits are turned, of others the sign.
        auto const bits = std::bit_cast<std::uint64_t>(m_numbers[entry.item] + 0.0);
        entry.key = bits ^ (bits >> 63 != 0 ? ~std::uint64_t(0) : std::uint64_t(1) << 63);
        look.Spend(5);
    }
    static bool Continues(std::uint64_t) { return false; }

private:
    std::vector<double> const& m_numbers;
};

Rows SortNumbers(std::vector<double> const& numbers, bool const* abort) {
    return EntrySorter<NumberDigits>(NumberDigits(numbers), abort).Sort(numbers.size());
}

// Sorts rows by what `sort`, a function that sorts ascending, makes of their values, and appends them. Descending, rows
// and result are turned round, so that equal ones keep their order.
template <class Value, class Sort>
void AppendSorted(Rows& to, Rows rows, std::vector<Value> values, bool ascending, bool const* abort, Sort const& sort) {
    if (!ascending) {
        std::reverse(rows.begin(), rows.end());
        std::reverse(values.begin(), values.end());
    }
    auto places = sort(values);
    if (!ascending)
        std::reverse(places.begin(), places.end());
    auto const begin = to.size();
    to.resize(begin + places.size());
    constexpr std::size_t c_share = 16'384;
    ForShares(places.size(), c_share, abort, [&](std::size_t, std::size_t first, std::size_t last, AbortLook&) {
        for (auto i = first; i != last; ++i)
            to[begin + i] = rows[places[i]];
    });
}

// The places of distinct fields in the order of a collation; those that count as equal share one.
Rows RankValues(std::vector<std::string_view> const& values, Collation const& collation, bool const* abort) {
    auto const order = SortTexts(values, collation, abort);
    Rows ranks(values.size());
    std::uint32_t rank = 0;
    AbortLook look(abort);
    for (std::size_t i = 1; i < order.size(); ++i) {
        auto const a = CutToSortedLength(values[order[i - 1]]), b = CutToSortedLength(values[order[i]]);
        rank += collation.Compare(a, b) != 0 ? 1 : 0;
        ranks[order[i]] = rank;
        look.Spend(200 + 10 * std::min(a.size(), b.size()));
    }
    return ranks;
}

// Where few distinct fields occur, they alone are sorted, and rows are counted into their places.
Rows SortByRanks(WorkingRecords const& records, std::size_t column, Rows const& rows, bool ascending,
                 Collation const& collation) {
    auto const* const abort = records.GetAbortFlag();
    auto const& dictionary = records.GetTable().GetDictionary(column, abort);
    auto const* const replaced = records.FindReplaced(column);
    auto values = dictionary.values;
    if (replaced != nullptr) {
        for (auto const& value : replaced->values)
            values.push_back(value.view());
    }
    auto ranks = RankValues(values, collation, abort);
    auto const last = static_cast<std::uint32_t>(values.size());
    for (std::size_t i = 0; i != ranks.size(); ++i)
        ranks[i] = values[i].empty() ? last : ascending ? ranks[i] : last - 1 - ranks[i];
    auto const findRank = [&](std::uint32_t row) {
        auto const code = replaced != nullptr ? replaced->codes[row] : 0;
        return ranks[code != 0 ? dictionary.values.size() + code - 1 : dictionary.codes[row]];
    };
    Rows places(values.size() + 2), sorted(rows.size());
    AbortLook look(abort);
    for (auto const row : rows) {
        ++places[findRank(row) + 1];
        look.Spend(3);
    }
    for (std::size_t i = 1; i != places.size(); ++i)
        places[i] += places[i - 1];
    for (auto const row : rows) {
        sorted[places[findRank(row)]++] = row;
        look.Spend(5);
    }
    return sorted;
}

Rows SortRows(WorkingRecords const& records, std::size_t column, Rows const& rows, bool ascending) {
    auto const* const abort = records.GetAbortFlag();
    auto const& table = records.GetTable();
    auto const type = table.GetColumn(column).type;
    bool const isByValue = type == ColumnType::Number || type == ColumnType::Date;
    auto const& locale = records.GetOptions().locale;
    if (!isByValue && HasFewDistinctFields(table, column))
        return SortByRanks(records, column, rows, ascending, *GetCollation(locale));
    auto const columnNumbers = isByValue ? table.GetNumbers(column, abort) : std::span<double const>();
    FieldReader reader(records, column);
    Rows numberRows, textRows, emptyRows, sorted;
    std::vector<double> numbers;
    std::vector<std::string_view> texts;
    numbers.reserve(isByValue ? rows.size() : 0);
    texts.reserve(isByValue ? 0 : rows.size());
    (isByValue ? numberRows : textRows).reserve(rows.size());
    AbortLook look(abort);
    for (auto const row : rows) {
        look.Spend(10);
        if (isByValue) {
            auto const number = reader.IsReplaced(row) ? table.ParseField(reader.Get(row), column) : columnNumbers[row];
            if (!std::isnan(number)) {
                numberRows.push_back(row);
                numbers.push_back(number);
                continue;
            }
        }
        auto const text = reader.Get(row);
        if (text.empty()) {
            emptyRows.push_back(row);
        } else {
            textRows.push_back(row);
            texts.push_back(text);
        }
    }
    sorted.reserve(rows.size());
    AppendSorted(sorted, std::move(numberRows), std::move(numbers), ascending, abort,
                 [&](auto const& values) { return SortNumbers(values, abort); });
    if (!textRows.empty()) {
        auto const collation = GetCollation(locale);
        AppendSorted(sorted, std::move(textRows), std::move(texts), ascending, abort,
                     [&](auto const& values) { return SortTexts(values, *collation, abort); });
    }
    sorted.insert(sorted.end(), emptyRows.begin(), emptyRows.end());
    return sorted;
}

} // namespace

void TakeStep(WorkingRecords& records, SortRecords const& step) {
    if (auto const column = records.FindColumn(step.field)) {
        try {
            records.SetOrder(SortRows(records, *column, records.ListRows(), step.ascending));
        } catch (Kernel::AbortException const&) {
            throw;
        } catch (Kernel::Exception const& failure) {
            records.Warn({Warning::c_noRow, step.field, failure.GetMessage()});
        }
    }
}

} // namespace Records
