// SPDX-License-Identifier: Apache-2.0
#include "shell/input_files.h"

#include "platform/kernel/files.h"
#include "shell/failure.h"

#include <map>
#include <sys/stat.h>
#include <utility>

namespace Shell::InputFiles {

namespace {

// Paths by the files that they lead to.
std::map<std::pair<dev_t, ino_t>, std::string>& GetInputs() {
    static std::map<std::pair<dev_t, ino_t>, std::string> s_inputs;
    return s_inputs;
}

} // namespace

void Add(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        GetInputs().try_emplace({status.st_dev, status.st_ino}, path);
}

void Refuse(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return;
    auto const& inputs = GetInputs();
    auto const same = inputs.find({status.st_dev, status.st_ino});
    if (same == inputs.end())
        return;
    auto const name = same->second == path ? "" : " as " + Quote(same->second);
    throw Failure(ExitStatus::Output, path, "is not replaced: this call reads it" + name);
}

std::vector<std::byte> Read(std::string const& path, std::uint64_t maximumBytes) {
    auto bytes = Guarded(ExitStatus::Input, path, [&] { return Kernel::ReadWholeFile(path, maximumBytes); });
    Add(path);
    return bytes;
}

} // namespace Shell::InputFiles
