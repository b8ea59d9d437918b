// SPDX-License-Identifier: Apache-2.0
#include "shell/input_files.h"

#include "platform/kernel/files.h"
#include "shell/failure.h"

#include <algorithm>
#include <sys/stat.h>

namespace Shell::InputFiles {

namespace {

struct Input {
    std::string path;
    dev_t device;
    ino_t number;
};

std::vector<Input>& GetInputs() {
    static std::vector<Input> s_inputs;
    return s_inputs;
}

} // namespace

void Add(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        GetInputs().push_back({path, status.st_dev, status.st_ino});
}

void Refuse(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return;
    auto const& inputs = GetInputs();
    auto const same = std::find_if(inputs.begin(), inputs.end(), [&](Input const& input) {
        return input.device == status.st_dev && input.number == status.st_ino;
    });
    if (same == inputs.end())
        return;
    auto const name = same->path == path ? "" : " as " + Quote(same->path);
    throw Failure(ExitStatus::Output, path, "is not replaced: this call reads it" + name);
}

std::vector<std::byte> Read(std::string const& path, std::uint64_t maximumBytes) {
    auto bytes = Guarded(ExitStatus::Input, path, [&] { return Kernel::ReadWholeFile(path, maximumBytes); });
    Add(path);
    return bytes;
}

} // namespace Shell::InputFiles
