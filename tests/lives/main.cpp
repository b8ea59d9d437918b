// SPDX-License-Identifier: Apache-2.0
// Random lives of documents: all commands in any order on any selection, with undo, redo, jumps, reloads, previews,
// macros and clones in between. After each line the tree is sound, and where the document has stood before, its hash
// and its picture are the same.

#include "shell/command_table.h"
#include "tests/lives/life.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

struct Call {
    std::uint64_t firstSeed = 1;
    std::uint64_t lives = UINT64_MAX;
    double minutes = 0;
    unsigned processes = 1;
    std::string folder = "lives";
    std::string drawings;
    std::string picture;
    std::string device = "none";
    std::vector<std::string> preferred;
    std::vector<std::string> replayed;
    bool isReplay = false;
};

constexpr char c_usage[] =
    "lives --picture FILE [--lives N | --minutes M] [--seed FIRST] [--processes N] [--folder DIR] [--drawings DIR]\n"
    "      [--device none|opencl|cuda] [--prefer CLASS,CLASS...]\n"
    "lives --picture FILE --seed SEED --replay FILE [--folder DIR] [--drawings DIR] [--device D]\n";

std::vector<std::string> ReadLines(std::string const& path);

std::vector<std::string> SplitAtCommas(std::string const& text) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, ',');)
        parts.push_back(part);
    return parts;
}

Call ReadCall(int count, char** words) {
    Call call;
    for (int i = 1; i + 1 < count; i += 2) {
        std::string const name = words[i], value = words[i + 1];
        if (name == "--lives")
            call.lives = std::stoull(value);
        else if (name == "--minutes")
            call.minutes = std::stod(value);
        else if (name == "--seed")
            call.firstSeed = std::stoull(value);
        else if (name == "--processes")
            call.processes = static_cast<unsigned>(std::stoul(value));
        else if (name == "--folder")
            call.folder = value;
        else if (name == "--drawings")
            call.drawings = value;
        else if (name == "--picture")
            call.picture = value;
        else if (name == "--device")
            call.device = value;
        else if (name == "--prefer")
            call.preferred = SplitAtCommas(value);
        else if (name == "--replay") {
            call.replayed = ReadLines(value);
            call.isReplay = true;
        } else
            throw std::runtime_error("unknown option " + name);
    }
    if (count % 2 == 0 || call.picture.empty())
        throw std::runtime_error("wrong usage");
    return call;
}

std::vector<std::string> ReadLines(std::string const& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::fopen(path.c_str(), "r"), &std::fclose);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    std::vector<std::string> lines(1);
    for (int c = 0; (c = std::fgetc(file.get())) != EOF;) {
        if (c == '\n')
            lines.emplace_back();
        else
            lines.back() += static_cast<char>(c);
    }
    return lines;
}

// Larger drawings tell little more and take long.
std::vector<std::string> ListDrawings(std::string const& folder) {
    constexpr std::uintmax_t c_largest = 40'000;
    std::vector<std::string> drawings;
    if (folder.empty())
        return drawings;
    for (auto const& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".svg" && entry.is_regular_file() && entry.file_size() < c_largest)
            drawings.push_back(entry.path().string());
    }
    std::sort(drawings.begin(), drawings.end());
    return drawings;
}

std::vector<std::string> ListPlugins() {
    std::vector<std::string> names;
    // The one of the test plug-ins that does what filters do; the others misbehave on purpose, and slowly.
    if (std::getenv("FREI0R_PATH") != nullptr)
        names = {"paint", "shift"};
    return names;
}

// Every command that can be given as text must have done something at least once.
bool TellWhatNeverRan(std::set<std::string> const& ran) {
    bool all = true;
    for (auto const& entry : Shell::GetCommandTable()) {
        if (entry.forms.empty() || entry.isInner || Lives::IsInexact(entry.className) || ran.contains(entry.className))
            continue;
        std::cout << "no life ran " << entry.className << " with success\n";
        all = false;
    }
    return all;
}

// Lives every so many seeds; what it found goes to the standard output and into the file of commands that ran.
int LiveShare(Call const& call, Lives::Conditions conditions, unsigned share) {
    conditions.folder = call.folder + "/" + std::to_string(share);
    fs::create_directories(conditions.folder);
    auto const start = std::chrono::steady_clock::now();
    auto const isOver = [&](std::uint64_t index) {
        std::chrono::duration<double> const spent = std::chrono::steady_clock::now() - start;
        return index >= call.lives || (call.minutes > 0 && spent.count() > call.minutes * 60);
    };
    std::set<std::string> ran;
    std::uint64_t lived = 0, faults = 0;
    for (std::uint64_t i = share; !isOver(i); i += call.processes, ++lived) {
        auto const seed = call.firstSeed + i;
        auto record = Lives::Live(conditions, seed);
        ran.insert(record.commands.begin(), record.commands.end());
        if (record.fault) {
            ++faults;
            std::cout << Lives::FormatReport(conditions, seed, Lives::Shrink(conditions, seed, record)) << std::flush;
        } else {
            fs::remove(conditions.folder + "/start-" + std::to_string(seed) + ".redraft");
        }
    }
    std::ofstream file(call.folder + "/" + std::to_string(share) + ".ran");
    for (auto const& name : ran)
        file << name << '\n';
    file << "lives " << lived << '\n';
    return faults == 0 ? 0 : 1;
}

int LiveAll(Call const& call, Lives::Conditions const& conditions) {
    std::vector<pid_t> children;
    for (unsigned share = 0; share != call.processes; ++share) {
        std::cout.flush();
        pid_t const child = ::fork();
        if (child == 0) {
            int const result = LiveShare(call, conditions, share);
            std::cout.flush();
            ::_exit(result);
        }
        children.push_back(child);
    }
    bool sound = true;
    for (pid_t const child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        sound = sound && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    std::set<std::string> ran;
    std::uint64_t lived = 0;
    for (unsigned share = 0; share != call.processes; ++share) {
        for (auto const& line : ReadLines(call.folder + "/" + std::to_string(share) + ".ran")) {
            if (line.starts_with("lives "))
                lived += std::stoull(line.substr(6));
            else if (!line.empty())
                ran.insert(line);
        }
    }
    // With a few preferred classes the others are not waited for.
    bool const ranAll = !call.preferred.empty() || TellWhatNeverRan(ran);
    std::cout << lived << " lives, " << ran.size() << " commands: " << (sound ? "no fault" : "FAULTS") << std::endl;
    return sound && ranAll ? 0 : 1;
}

} // namespace

int main(int count, char** words) {
    try {
        auto const call = ReadCall(count, words);
        fs::create_directories(call.folder);
        Lives::Conditions conditions;
        conditions.props = {call.picture, ListPlugins(), ListDrawings(call.drawings), call.preferred};
        conditions.folder = call.folder;
        conditions.device = call.device;
        if (!call.isReplay)
            return LiveAll(call, conditions);
        auto const record = Lives::Replay(conditions, call.firstSeed, call.replayed);
        std::cout << (record.fault ? *record.fault : std::string("no fault")) << std::endl;
        return record.fault ? 1 : 0;
    } catch (std::exception const& error) {
        std::cerr << "lives: " << error.what() << "\n" << c_usage;
        return 2;
    }
}
