// SPDX-License-Identifier: Apache-2.0
// How long do a million records of twelve fields take through steps: three clauses, a sort by a text in en_US, and a
// script? In the same run: SQLite's C API on the same table in memory, plain loops over plain vectors, ICU's keys
// sorted on one thread, and the script in a loop of the same engine in this process. FirstUse is what columns of
// numbers and of few distinct fields cost once.
#include "platform/records/pipeline.h"
#include "platform/records/read_table.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <duktape.h>
#include <fstream>
#include <memory>
#include <numeric>
#include <random>
#include <sqlite3.h>
#include <unicode/coll.h>

namespace {

constexpr std::uint32_t c_rows = 1'000'000;
constexpr char const* c_script = "return record.amount > 500 && record.name.indexOf('a') >= 0;";

std::string MakeData() {
    std::mt19937 random{21};
    auto const makeWord = [&](std::size_t least, std::size_t most) {
        std::string word(1, static_cast<char>('A' + random() % 26));
        for (auto length = least + random() % (most - least); length != 0; --length)
            word.push_back("aeiounrstlmdk"[random() % 13]);
        return word;
    };
    std::vector<std::string> cities, countries, firstNames;
    for (int i = 0; i != 200; ++i)
        cities.push_back(makeWord(4, 10));
    for (int i = 0; i != 40; ++i)
        countries.push_back(makeWord(4, 9));
    for (int i = 0; i != 1000; ++i)
        firstNames.push_back(makeWord(2, 8));
    std::string data = "id,name,first,city,country,amount,quantity,date,active,email,note,photo\n";
    for (std::uint32_t row = 0; row != c_rows; ++row) {
        auto const name = makeWord(3, 14);
        auto const& first = firstNames[random() % firstNames.size()];
        data += std::to_string(100'000 + row) + ',' + name + ',' + first + ',' + cities[random() % cities.size()] +
                ',' + countries[random() % countries.size()] + ',' + std::to_string(random() % 1000) + '.' +
                std::to_string(10 + random() % 90) + ',' + std::to_string(random() % 100) + ",2024-0" +
                std::to_string(1 + random() % 9) + '-' + std::to_string(10 + random() % 18) + ',' +
                (random() % 2 == 0 ? "yes," : "no,") + name + '.' + first + "@example.com,Some words on " + name +
                ",pictures/" + std::to_string(random() % 5000) + ".jpg\n";
    }
    return data;
}

std::string const& GetData() {
    static std::string const s_data = MakeData();
    return s_data;
}

Records::TableRef ReadData() { return Records::ParseTable(GetData(), "data.csv", {}, nullptr).table; }

Records::TableRef const& GetTable() {
    static auto const s_table = ReadData();
    return s_table;
}

std::size_t ReadStatus(char const* name) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name))
            return std::strtoull(line.c_str() + std::string_view(name).size() + 1, nullptr, 10) << 10;
    }
    return 0;
}

// The most memory of this process over what it had, in MiB.
class PeakMemory {
public:
    PeakMemory() {
        std::ofstream("/proc/self/clear_refs") << '5';
        m_before = ReadStatus("VmRSS");
    }
    double Get() const { return static_cast<double>(ReadStatus("VmHWM") - m_before) / 1048576; }

private:
    std::size_t m_before;
};

void Run(benchmark::State& state, std::vector<Records::Step> const& steps) {
    auto const table = GetTable();
    Records::Options options;
    options.locale = "en_US";
    Records::RunSteps(table, steps, options, nullptr);
    PeakMemory const memory;
    std::size_t count = 0;
    for (auto _ : state) {
        auto const result = Records::RunSteps(table, steps, options, nullptr);
        count = result->rows.size();
        if (!result->warnings.empty())
            state.SkipWithError(result->warnings.front().text.c_str());
    }
    state.counters["records"] = static_cast<double>(count);
    state.counters["MiB"] = memory.Get();
}

Records::Clause MakeClause(char const* field, DataMergeRuleOperator comparison, char const* value) {
    return {field, comparison, value, true, {}};
}

std::vector<Records::Clause> ListClauses() {
    return {MakeClause("amount", DataMergeRuleOperator::Greater, "500"),
            MakeClause("quantity", DataMergeRuleOperator::LessOrEqual, "50"),
            MakeClause("city", DataMergeRuleOperator::Contains, "ar")};
}

Records::MatchRecords MatchAll(std::vector<Records::Clause> clauses) {
    return {{{std::move(clauses), DataMergeRuleAggregateFunction::All}}, DataMergeRuleAggregateFunction::All};
}

void Clauses(benchmark::State& state) { Run(state, {MatchAll(ListClauses())}); }
void ClauseOnDistinctTexts(benchmark::State& state) {
    Run(state, {MatchAll({MakeClause("note", DataMergeRuleOperator::Contains, "on Bar")})});
}
void SortByText(benchmark::State& state) { Run(state, {Records::SortRecords{"name", true}}); }
void SortByFewTexts(benchmark::State& state) { Run(state, {Records::SortRecords{"city", false}}); }
void SortByNumber(benchmark::State& state) { Run(state, {Records::SortRecords{"amount", true}}); }
// In a language whose texts cannot be compared character by character.
void SortByTextInCzech(benchmark::State& state) {
    auto const table = GetTable();
    Records::Options options;
    options.locale = "cs_CZ";
    PeakMemory const memory;
    for (auto _ : state)
        benchmark::DoNotOptimize(Records::RunSteps(table, {Records::SortRecords{"name", true}}, options, nullptr));
    state.counters["MiB"] = memory.Get();
}
void Script(benchmark::State& state) { Run(state, {Records::RunScript{"", c_script}}); }

void FirstUse(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto table = ReadData();
        state.ResumeTiming();
        benchmark::DoNotOptimize(Records::RunSteps(table, {MatchAll(ListClauses())}, {}, nullptr));
        state.PauseTiming();
        table.reset();
        state.ResumeTiming();
    }
}

// The columns that the comparisons below need, as plainly as can be.
struct Vectors {
    std::vector<double> amounts, quantities;
    std::vector<std::string> names, cities;
    Vectors() {
        auto const& table = *GetTable();
        for (std::uint32_t row = 0; row != c_rows; ++row) {
            amounts.push_back(
                std::strtod(std::string(table.GetText(row, *table.FindColumn("amount"))).c_str(), nullptr));
            quantities.push_back(
                std::strtod(std::string(table.GetText(row, *table.FindColumn("quantity"))).c_str(), nullptr));
            names.emplace_back(table.GetText(row, *table.FindColumn("name")));
            cities.emplace_back(table.GetText(row, *table.FindColumn("city")));
        }
    }
};
Vectors const& GetVectors() {
    static Vectors const s_vectors;
    return s_vectors;
}

void FloorClauses(benchmark::State& state) {
    auto const& vectors = GetVectors();
    std::vector<std::uint32_t> rows;
    for (auto _ : state) {
        rows.clear();
        for (std::uint32_t row = 0; row != c_rows; ++row) {
            if (vectors.amounts[row] > 500 && vectors.quantities[row] <= 50 &&
                vectors.cities[row].find("ar") != std::string::npos)
                rows.push_back(row);
        }
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["records"] = static_cast<double>(rows.size());
}

std::unique_ptr<icu::Collator> MakeCollator() {
    UErrorCode status = U_ZERO_ERROR;
    return std::unique_ptr<icu::Collator>(icu::Collator::createInstance(icu::Locale("en_US"), status));
}

void FloorSortByKeys(benchmark::State& state) {
    auto const& vectors = GetVectors();
    auto const collator = MakeCollator();
    PeakMemory const memory;
    for (auto _ : state) {
        std::vector<std::pair<std::string, std::uint32_t>> keys(c_rows);
        for (std::uint32_t row = 0; row != c_rows; ++row) {
            std::uint8_t key[256];
            auto const text = icu::UnicodeString::fromUTF8(vectors.names[row]);
            auto const size = collator->getSortKey(text, key, sizeof key);
            keys[row] = {std::string(reinterpret_cast<char const*>(key), static_cast<std::size_t>(size)), row};
        }
        std::sort(keys.begin(), keys.end());
        benchmark::DoNotOptimize(keys.data());
    }
    state.counters["MiB"] = memory.Get();
}

void FloorScript(benchmark::State& state) {
    auto const& vectors = GetVectors();
    std::size_t kept = 0;
    for (auto _ : state) {
        kept = 0;
        auto* const context = duk_create_heap_default();
        auto const program = std::string("function (record, index) {") + c_script + "}";
        duk_pcompile_lstring(context, DUK_COMPILE_FUNCTION, program.data(), program.size());
        for (std::uint32_t row = 0; row != c_rows; ++row) {
            duk_dup(context, 0);
            duk_push_object(context);
            duk_push_number(context, vectors.amounts[row]);
            duk_put_prop_literal(context, -2, "amount");
            duk_push_lstring(context, vectors.names[row].data(), vectors.names[row].size());
            duk_put_prop_literal(context, -2, "name");
            duk_push_uint(context, row);
            duk_pcall(context, 2);
            kept += static_cast<std::size_t>(duk_to_boolean(context, -1));
            duk_pop(context);
        }
        duk_destroy_heap(context);
    }
    state.counters["records"] = static_cast<double>(kept);
}

// The same table in SQLite, in memory.
class Database {
public:
    Database() {
        sqlite3_open(":memory:", &m_database);
        sqlite3_create_collation(m_database, "icu", SQLITE_UTF8, m_collator.get(),
                                 [](void* collator, int sizeA, void const* a, int sizeB, void const* b) {
                                     UErrorCode status = U_ZERO_ERROR;
                                     return int(static_cast<icu::Collator*>(collator)->compareUTF8(
                                         icu::StringPiece(static_cast<char const*>(a), sizeA),
                                         icu::StringPiece(static_cast<char const*>(b), sizeB), status));
                                 });
        auto const& table = *GetTable();
        std::string create = "create table t (", insert = "insert into t values (";
        for (std::size_t column = 0; column != table.GetColumnCount(); ++column) {
            bool const isNumber = table.GetColumn(column).type == Records::ColumnType::Number;
            create +=
                (column == 0 ? "" : ", ") + table.GetColumn(column).name.ToStdString() + (isNumber ? " real" : " text");
            insert += column == 0 ? "?" : ", ?";
        }
        Execute(create + ")");
        Execute("begin");
        auto* const statement = Prepare(insert + ")");
        for (std::uint32_t row = 0; row != c_rows; ++row) {
            for (std::size_t column = 0; column != table.GetColumnCount(); ++column) {
                auto const text = table.GetText(row, column);
                sqlite3_bind_text(statement, static_cast<int>(column) + 1, text.data(), static_cast<int>(text.size()),
                                  SQLITE_STATIC);
            }
            sqlite3_step(statement);
            sqlite3_reset(statement);
        }
        sqlite3_finalize(statement);
        Execute("commit");
    }
    sqlite3_stmt* Prepare(std::string const& text) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_database, text.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            std::fprintf(stderr, "%s\n", sqlite3_errmsg(m_database));
        return statement;
    }

private:
    void Execute(std::string const& text) { sqlite3_exec(m_database, text.c_str(), nullptr, nullptr, nullptr); }
    sqlite3* m_database = nullptr;
    std::unique_ptr<icu::Collator> m_collator = MakeCollator();
};

void Query(benchmark::State& state, std::string const& text) {
    static Database s_database;
    auto* const statement = s_database.Prepare(text);
    std::vector<std::uint32_t> rows;
    for (auto _ : state) {
        rows.clear();
        while (sqlite3_step(statement) == SQLITE_ROW)
            rows.push_back(static_cast<std::uint32_t>(sqlite3_column_int(statement, 0)));
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    state.counters["records"] = static_cast<double>(rows.size());
}
void SqliteClauses(benchmark::State& state) {
    Query(state, "select rowid from t where amount > 500 and quantity <= 50 and instr(city, 'ar') > 0");
}
void SqliteSortByText(benchmark::State& state) { Query(state, "select rowid from t order by name collate icu"); }
void SqliteSortByBytes(benchmark::State& state) { Query(state, "select rowid from t order by name"); }

BENCHMARK(Clauses)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FloorClauses)->Unit(benchmark::kMillisecond);
BENCHMARK(SqliteClauses)->Unit(benchmark::kMillisecond);
BENCHMARK(FirstUse)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(ClauseOnDistinctTexts)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SortByText)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SortByTextInCzech)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SortByFewTexts)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SortByNumber)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FloorSortByKeys)->Unit(benchmark::kMillisecond);
BENCHMARK(SqliteSortByText)->Unit(benchmark::kMillisecond);
BENCHMARK(SqliteSortByBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(Script)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FloorScript)->Unit(benchmark::kMillisecond);

} // namespace

// The program that a build has, wherever the benchmark stands.
int main(int count, char** arguments) {
    setenv("REDRAFT_SCRIPT_HOST", REDRAFT_SCRIPT_HOST, 0);
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
