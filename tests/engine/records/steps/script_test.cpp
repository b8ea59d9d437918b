// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"
#include "tests/engine/records/steps/step_tables.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

using namespace Records;
using namespace StepTests;

namespace {

// The process that a build has, also where the tests are linked to the objects instead of the library.
class ScriptStep : public testing::Test {
protected:
    ScriptStep() { setenv("REDRAFT_SCRIPT_HOST", SCRIPT_HOST, 1); }

    static Kernel::Counted<Result const> Run(TableRef const& table, std::string const& script,
                                             Options const& options = {}) {
        return Take(table, {RunScript{"s", Kernel::String(script)}}, options);
    }
    // The rows that a script keeps, and no warnings.
    static Rows Keep(TableRef const& table, std::string const& script) {
        auto const result = Run(table, script);
        for (auto const& warning : result->warnings)
            ADD_FAILURE() << warning.text.view() << " in " << script;
        return result->rows;
    }
    // The warning of a script that must keep all three records.
    static std::string Warn(std::string const& script, Options const& options = {}) {
        auto const result = Run(People(), script, options);
        EXPECT_EQ(result->rows.size(), 3u) << script;
        EXPECT_GE(result->warnings.size(), 1u) << script;
        return result->warnings.empty() ? std::string() : result->warnings.front().text.ToStdString();
    }
    static TableRef const& People() {
        static auto const s_people = MakeTable({"Name", "Age", "Home town"},
                                               {{"Ann", "30", "Ulm"}, {"Bob", "9", "Köln"}, {"Cat", "", "Rome 😀"}});
        return s_people;
    }
};

// A table of so many records that several processes take part.
TableRef MakeLongTable(std::uint32_t rowCount) {
    TableBuilder builder;
    builder.AddColumn("n");
    builder.AddColumn("text");
    for (std::uint32_t row = 0; row != rowCount; ++row) {
        builder.SetField(0, std::to_string(row * 7919 % 1000));
        builder.SetField(1, "text " + std::to_string(row));
        builder.EndRow();
    }
    return builder.Finish('.', false);
}

std::size_t CountEntries(char const* folder) {
    std::filesystem::directory_iterator const begin(folder);
    return static_cast<std::size_t>(std::distance(begin, {}));
}

// Our own processes that have not been waited for, or still run.
std::size_t CountChildren() {
    std::size_t count = 0;
    for (auto const& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        auto* const file = std::fopen((thread.path() / "children").c_str(), "r");
        int process = 0;
        while (file != nullptr && std::fscanf(file, "%d", &process) == 1)
            ++count;
        if (file != nullptr)
            std::fclose(file);
    }
    return count;
}

TEST_F(ScriptStep, KeepsWhatTheScriptSaysInAnyOfItsTrueValues) {
    EXPECT_EQ(Keep(People(), "return record.Name == 'Bob'"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return index != 1;"), (Rows{0, 2}));
    EXPECT_EQ(Keep(People(), "return record.Name"), (Rows{0, 1, 2}));
    EXPECT_EQ(Keep(People(), "return record.Age"), (Rows{0, 1}));
    EXPECT_EQ(Keep(People(), "return"), Rows());
    EXPECT_EQ(Keep(People(), ""), Rows());
    EXPECT_EQ(Keep(People(), "return {} // all"), (Rows{0, 1, 2}));
}

TEST_F(ScriptStep, GetsNumbersAsNumbersAndAllElseAsText) {
    EXPECT_EQ(Keep(People(), "return record.Age > 10 && typeof record.Age == 'number'"), (Rows{0}));
    EXPECT_EQ(Keep(People(), "return record.Age === '' && typeof record.Name == 'string'"), (Rows{2}));
    EXPECT_EQ(Keep(People(), "return record[\"Home town\"] == 'Köln'"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return record['Home town'] == 'Rome 😀' && record['Home town'].length == 7"), (Rows{2}));
}

TEST_F(ScriptStep, GetsTheFieldsThatItNamesAndNoOthers) {
    EXPECT_EQ(Keep(People(), "return Object.keys(record).join() == 'Name'"), (Rows{0, 1, 2}));
    EXPECT_EQ(Keep(People(), "var r = record; return r.Age == 9 && r.Name == undefined"), Rows());
    EXPECT_EQ(Keep(People(), "var r = record; return r.Age == 9 && !('Na' + 'me' in r)"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return arguments[0].Age == 9"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return eval('record.Age') == 9"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return eval('reco' + 'rd.Age') == 9"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return rec\\u006frd.Age == 9"), (Rows{1}));
    EXPECT_EQ(Keep(People(), "return record\n  . Age == 9 && record [ 'Name' ] == 'Bob'"), (Rows{1}));
    auto const result = Run(People(), "return record.Nam == undefined");
    EXPECT_EQ(result->rows.size(), 3u);
    ASSERT_EQ(result->warnings.size(), 1u);
    EXPECT_EQ(result->warnings[0].column, "Nam");
}

TEST_F(ScriptStep, TakesFieldsOfAnyName) {
    auto const table =
        MakeTable({"__proto__", "toString", "a.b", "ü", "constructor"}, {{"1x", "2x", "3x", "4x", "5x"}});
    EXPECT_EQ(Keep(table, "return record['__proto__'] == '1x' && record.toString == '2x' && record['a.b'] == '3x' && "
                          "record.ü == '4x' && record.constructor == '5x'"),
              (Rows{0}));
}

TEST_F(ScriptStep, SeesReplacedFieldsInTheOrderOfASort) {
    ProcessRecords const replace{{{MakeClause("Name", DataMergeRuleOperator::Equal, "Cat")}, {}},
                                 ProcessRecords::Action::Replace,
                                 {},
                                 "Age",
                                 "99"};
    auto const result =
        Take(People(), {replace, SortRecords{"Name", false}, RunScript{"", "return record.Age + 1 > 11"}});
    EXPECT_EQ(result->rows, (Rows{2, 0}));
}

TEST_F(ScriptStep, TellsOfAScriptThatIsNone) {
    EXPECT_EQ(Warn("return (").substr(0, 42), "script 's' is no JavaScript: SyntaxError: ");
    EXPECT_NE(Warn("var a;\nvar b;\nreturn )").find("(line 3"), std::string::npos);
    EXPECT_NE(Warn("return true; }, function () {").find("is no JavaScript"), std::string::npos);
    EXPECT_NE(Warn("} function a() {").find("is no JavaScript"), std::string::npos);
    EXPECT_NE(Warn("with (record) return Name").find("is no JavaScript"), std::string::npos);
    EXPECT_EQ(Run(People(), "return (")->warnings.size(), 1u);
}

TEST_F(ScriptStep, KeepsARecordOfWhichTheScriptThrows) {
    auto const result = Run(People(), "if (index == 1)\n  throw new Error('no ' + record.Name);\nreturn false;");
    EXPECT_EQ(result->rows, (Rows{1}));
    ASSERT_EQ(result->warnings.size(), 1u);
    EXPECT_EQ(result->warnings[0], (Warning{1, "", "script 's' failed: Error: no Bob (line 2)"}));
    EXPECT_EQ(Warn("throw 'so'"), "script 's' failed: so");
    EXPECT_EQ(Warn("throw null"), "script 's' failed: null");
    EXPECT_EQ(Warn("throw '\\n😀'"), "script 's' failed:  😀");
    EXPECT_NE(Warn("return record.Missing.length").find("field"), std::string::npos);
    EXPECT_LT(Warn("throw new Array(100000).join('x')").size(), 500u);
    // The thrown object may be hostile itself.
    EXPECT_NE(Warn("throw {toString: function () { throw this; }}").find("failed"), std::string::npos);
}

TEST_F(ScriptStep, CountsFailuresBeyondAHundred) {
    auto const table = MakeLongTable(9000);
    auto const result = Run(table, "if (index % 2) throw index; return false;");
    EXPECT_EQ(result->rows.size(), 4500u);
    ASSERT_EQ(result->warnings.size(), 100u);
    EXPECT_EQ(result->furtherWarnings, 4400u);
    for (std::size_t i = 0; i != 100; ++i)
        ASSERT_EQ(result->warnings[i].row, static_cast<std::int64_t>(2 * i + 1));
}

TEST_F(ScriptStep, TakesManyRecordsInTheirOrder) {
    auto const table = MakeLongTable(50'000);
    Rows expected;
    for (std::uint32_t row = 0; row != 50'000; ++row) {
        if (row * 7919 % 1000 < 300)
            expected.push_back(row);
    }
    EXPECT_EQ(Keep(table, "return record.n < 300 && record.text == 'text ' + index"), expected);
}

TEST_F(ScriptStep, KeepsNothingFromOneRecordToTheNext) {
    auto const table = MakeLongTable(20'000);
    for (char const* const script :
         {"this.count = 1", "count = 1", "Object.prototype.count = 1", "Array.prototype.push = null", "Math.count = 1",
          "(0, eval)('var count = 1')", "undefined = 1", "JSON.parse.x = 1",
          "Object.getPrototypeOf(function () {}).count = 1", "Date.prototype.getTime.count = 1"}) {
        auto const result = Run(table, std::string(script) + "; return false;");
        EXPECT_EQ(result->rows.size(), 20'000u) << script;
        ASSERT_FALSE(result->warnings.empty()) << script;
        EXPECT_NE(result->warnings[0].text.view().find("Error"), std::string_view::npos)
            << result->warnings[0].text.view();
    }
    // Where it is not strict it fails in silence.
    EXPECT_EQ(Keep(table, "Function('count = 1; this.more = 1')(); return typeof count + typeof more != "
                          "'undefinedundefined'"),
              Rows());
    EXPECT_EQ(Keep(table, "return typeof script + typeof anonymous != 'undefinedundefined'"), Rows());
    // A record that a script changes is its own.
    EXPECT_EQ(Keep(table, "if (record.n === 'kept1') return true; record.n = 'kept'; record['n'] += 1;"
                          "Object.freeze(record); return false")
                  .size(),
              0u);
}

TEST_F(ScriptStep, TakesTheSameChanceForARecordEachTime) {
    auto const table = MakeLongTable(20'000);
    auto const first = Keep(table, "return Math.random() < 0.5 && Math.random() < 0.5");
    EXPECT_GT(first.size(), 4500u);
    EXPECT_LT(first.size(), 5500u);
    EXPECT_EQ(Keep(table, "return Math.random() < 0.5 && Math.random() < 0.5"), first);
}

TEST_F(ScriptStep, EndsWhenOneRecordTakesTooLong) {
    Options options;
    options.scriptTime = std::chrono::milliseconds(100);
    auto const result = Run(People(), "while (index == 1); return false;", options);
    EXPECT_EQ(result->rows.size(), 3u);
    EXPECT_EQ(result->warnings, (std::vector<Warning>{{1, "", "script 's' takes too long; it is left out"}}));
    // Its answers for other records count for nothing.
    EXPECT_EQ(Run(MakeLongTable(20'000), "while (index == 19000); return false;", options)->rows.size(), 20'000u);
    // In one call of the engine's own as well.
    EXPECT_NE(Warn("return /^(a+)+$/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab')", options).find("left out"),
              std::string::npos);
    EXPECT_NE(Warn("throw {toString: function () { for (;;); }}", options).find("left out"), std::string::npos);
}

TEST_F(ScriptStep, SurvivesScriptsThatTakeAllTheyCan) {
    Options options;
    options.scriptMemory = std::size_t(32) << 20;
    options.scriptTime = std::chrono::milliseconds(400);
    for (char const* const script :
         {"var a = []; for (;;) a.push('x' + a.length)", "var s = 'x'; for (;;) s += s", "return new Uint8Array(1e9)",
          "function f() { return f() + 1; } return f()", "var a = []; a = [a]; for (;;) a = [a, a]",
          "var s = '['; while (s.length < 1e6) s += s; return JSON.parse(s)",
          "var s = '('; while (s.length < 1e6) s += s; return new RegExp(s)",
          "var s = '('; while (s.length < 1e6) s += s; return eval(s)",
          "var s = 'a'; while (s.length < 1e6) s += s; return /(a|b)*c/.test(s)", "for (;;) new Array(1e6).join('abc')",
          "var a = []; a.length = 4294967295; return a.sort()"}) {
        auto const result = Run(People(), script, options);
        EXPECT_EQ(result->rows.size(), 3u) << script;
        EXPECT_FALSE(result->warnings.empty()) << script;
    }
    EXPECT_EQ(CountChildren(), 0u);
    // The next script is not the worse for it.
    EXPECT_EQ(Keep(People(), "return index == 0"), (Rows{0}));
}

TEST_F(ScriptStep, OffersNothingOutsideTheRecord) {
    for (char const* const name : {"require", "process", "print", "console", "alert", "Duktape", "module", "load",
                                   "quit", "XMLHttpRequest", "fetch", "setTimeout", "global", "window"})
        EXPECT_EQ(Keep(People(), "return typeof " + std::string(name) + " == 'undefined'"), (Rows{0, 1, 2})) << name;
}

TEST_F(ScriptStep, LeavesNoProcessesAndNoFiles) {
    Keep(People(), "return true");
    auto const files = CountEntries("/proc/self/fd");
    Options options;
    options.scriptTime = std::chrono::milliseconds(20);
    for (int turn = 0; turn != 20; ++turn) {
        Keep(MakeLongTable(5000), "return record.n");
        Run(People(), "return (");
        Run(People(), "for (;;);", options);
    }
    EXPECT_EQ(CountEntries("/proc/self/fd"), files);
    EXPECT_EQ(CountChildren(), 0u);
}

// Of the first process of ours, or of none yet.
std::string ReadFileOfChild(char const* name) {
    std::ifstream children("/proc/self/task/" + std::to_string(gettid()) + "/children");
    int process = 0;
    if (!(children >> process))
        return {};
    std::ifstream file("/proc/" + std::to_string(process) + '/' + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

// In hundredths of a second.
int FindTimeOfChild() {
    std::istringstream fields(ReadFileOfChild("stat"));
    std::string field;
    for (int i = 0; i != 14; ++i)
        fields >> field;
    return field.empty() ? 0 : std::atoi(field.c_str());
}

// Looks at the process of an endless script until it has been busy with that for a while, and then sets the flag.
class ConfinementWatcher final : public Kernel::AbortPollObserver {
public:
    ConfinementWatcher() { Set(this); }
    ~ConfinementWatcher() override { Set(nullptr); }
    void BeforePoll(bool& flag) override {
        if (flag || FindTimeOfChild() < 10)
            return;
        auto const status = ReadFileOfChild("status");
        EXPECT_NE(status.find("Seccomp:\t2"), std::string::npos);
        EXPECT_NE(status.find("NoNewPrivs:\t1"), std::string::npos);
        m_limits = ReadFileOfChild("limits");
        m_environment = ReadFileOfChild("environ");
        std::atomic_ref<bool>(flag).store(true);
    }
    std::string m_limits, m_environment;
};

TEST_F(ScriptStep, IsConfinedBeforeItRunsAndKilledWhenTheFlagIsSet) {
    setenv("A_SECRET", "of the user", 1);
    Options options;
    // So that nothing else ends it.
    options.scriptTime = std::chrono::hours(1);
    options.scriptMemory = 50 << 20;
    bool abort = false;
    ConfinementWatcher const watcher;
    EXPECT_THROW(RunSteps(People(), {RunScript{"", "for (;;);"}}, options, &abort), Kernel::AbortException);
    EXPECT_EQ(CountChildren(), 0u);
    EXPECT_NE(watcher.m_limits.find("Max file size             0 "), std::string::npos) << watcher.m_limits;
    EXPECT_NE(watcher.m_limits.find("Max core file size        0 "), std::string::npos) << watcher.m_limits;
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_NE(watcher.m_limits.find("Max address space         " + std::to_string(306u << 20)), std::string::npos)
        << watcher.m_limits;
#endif
    EXPECT_EQ(watcher.m_environment.find("A_SECRET"), std::string::npos);
    EXPECT_NE(watcher.m_environment.find("TZ="), std::string::npos);
}

TEST_F(ScriptStep, WarnsWhereScriptsAreNotRun) {
    Options options;
    options.runScripts = false;
    EXPECT_EQ(Warn("return false", options), "scripts are not run in this document");
}

TEST_F(ScriptStep, WarnsOnceWhereItsProgramIsMissing) {
    // Beside the tests there is none; the installed one, if any, is found last.
    setenv("REDRAFT_SCRIPT_HOST", "/nowhere", 1);
    auto const result = Run(People(), "return index == 1");
    if (!result->warnings.empty()) {
        EXPECT_EQ(result->warnings,
                  (std::vector<Warning>{{Warning::c_noRow, "",
                                         "scripts cannot be run: the program redraft-script-host is not installed"}}));
        EXPECT_EQ(result->rows.size(), 3u);
    }
}

TEST_F(ScriptStep, WarnsWhereItsProgramIsAnotherOne) {
    setenv("REDRAFT_SCRIPT_HOST", "/bin/true", 1);
    EXPECT_NE(Warn("return false").find("broke its process"), std::string::npos);
    setenv("REDRAFT_SCRIPT_HOST", "/bin/sh", 1);
    EXPECT_NE(Warn("return false").find("broke its process"), std::string::npos);
}

// A program in place of ours that gives these answers, bytes as printf takes them, without having been asked.
std::string WarnOfLies(std::string const& answers) {
    auto const program = testing::TempDir() + "lying-script-host-" + std::to_string(getpid());
    std::ofstream(program) << "#!/bin/sh\nprintf '" << answers << "' >&3\ncat <&3 >/dev/null\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    setenv("REDRAFT_SCRIPT_HOST", program.c_str(), 1);
    auto const result = Take(MakeOneColumn({"x", "y", "z"}), {RunScript{"", "return false"}});
    std::filesystem::remove(program);
    EXPECT_EQ(result->rows.size(), 3u);
    EXPECT_EQ(result->warnings.size(), 1u);
    return result->warnings.empty() ? std::string() : result->warnings[0].text.ToStdString();
}

TEST_F(ScriptStep, TrustsNoAnswerThatCannotBe) {
    std::string const magic = "\\106\\123\\104\\122", none = "\\0\\0\\0\\0", one = "\\1\\0\\0\\0", two = "\\2\\0\\0\\0",
                      three = "\\3\\0\\0\\0", much = "\\377\\377\\377\\377", started = magic + none + none;
    for (auto const& answers :
         {// Another program; a beginning twice; verdicts before it.
          much + none + none, started + started, magic + two + none + "\\0\\0\\0",
          // An unknown answer; a verdict that is none; too many messages.
          started + magic + much + none, started + magic + two + none + "\\0\\7\\0", started + magic + two + much,
          // A message of a record that was not in the batch; one too long; records that were not there.
          started + magic + two + one + "\\2\\0\\0" + three + none,
          started + magic + two + one + "\\2\\0\\0" + none + much, started + magic + three + three,
          started + magic + three + much,
          // No script after a beginning; a message without end.
          started + magic + one + one + none, magic + one + one + much})
        EXPECT_NE(WarnOfLies(answers).find("broke its process"), std::string::npos) << answers;
    EXPECT_NE(WarnOfLies(started + magic + three + two).find("takes too long"), std::string::npos);
}

TEST_F(ScriptStep, GetsLongFieldsAndDoesWithoutThoseThatAreTooLong) {
    auto const table = MakeOneColumn({"short", std::string(5'000'000, 'x'), "short"});
    EXPECT_EQ(Keep(table, "return record.a.length == 5000000"), (Rows{1}));
    Options options;
    options.scriptMemory = std::size_t(4) << 20;
    auto const result = Run(table, "return record.a.length == 5000000", options);
    EXPECT_EQ(result->rows, (Rows{1}));
    ASSERT_EQ(result->warnings.size(), 1u);
    EXPECT_EQ(result->warnings[0].row, 1);
}

TEST_F(ScriptStep, TakesARecordLongerThanABatchMayBe) {
    std::string const field(std::size_t(60) << 20, 'x');
    auto const table = MakeTable({"a", "b"}, {{"1x", "2x"}, {field, field}, {"3x", "4x"}});
    auto const result = Run(table, "return record.a + record.b == '3x4x'");
    EXPECT_EQ(result->rows, (Rows{1, 2}));
    EXPECT_EQ(result->warnings,
              (std::vector<Warning>{{1, "", "script 's' failed: the fields are too long for a script"}}));
}

TEST_F(ScriptStep, KnowsTheLocalTimeOfTheUser) {
    setenv("TZ", "Asia/Tokyo", 1);
    EXPECT_EQ(Keep(People(), "return new Date(2024, 0, 1).getTimezoneOffset() == -540"), (Rows{0, 1, 2}));
    unsetenv("TZ");
}

} // namespace
