// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/exception.h"
#include "tests/engine/learning/services.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace Learning {
namespace {

using namespace std::chrono_literals;

// Gone at the end of the tests.
struct ProgramFolder {
    std::string path = testing::TempDir() + "learning-programs-" + std::to_string(getpid());
    ProgramFolder() {
        std::filesystem::create_directory(path);
        std::ofstream(path + "/made.png", std::ios::binary) << Encode(MakePicture(40, 30, 2));
    }
    ~ProgramFolder() { std::filesystem::remove_all(path); }
};

std::string const& GetFolder() {
    static ProgramFolder const s_folder;
    return s_folder.path;
}

std::string ReadFile(std::string const& name) {
    std::ostringstream text;
    text << std::ifstream(GetFolder() + "/" + name, std::ios::binary).rdbuf();
    return text.str();
}

// Run in the folder.
Kernel::Counted<ImageGenerator> MakeGenerator(std::string const& command) {
    return MakeProgramGenerator("cd '" + GetFolder() + "' || exit 9\n" + command);
}

RemoteInference::Result RunShell(std::string const& command, ImageGenerator::Request const& request = Ask("fox")) {
    ImageGenerator::Answer answer;
    return Generate(*MakeGenerator(command), request, answer);
}

TEST(ProgramGenerator, GivesThePromptAndTakesAPictureForEachRun) {
    auto request = Ask("a fox; touch pwned\n$(touch pwned)", 2);
    request.secondaryPrompt = "dogs";
    request.aspect = RemoteInference::TextToImageAspect::Tall;
    request.model.side = 320;
    ImageGenerator::Answer answer;
    auto const result =
        Generate(*MakeGenerator("cat > in$REDRAFT_INDEX; printf %s \"$REDRAFT_PROMPT|$REDRAFT_NEGATIVE_PROMPT|"
                                "$REDRAFT_WIDTH|$REDRAFT_HEIGHT|$REDRAFT_COUNT|${REDRAFT_GUIDANCE-none}\" > "
                                "variables; cat made.png"),
                 request, answer);
    ASSERT_EQ(result.code, 0) << result.detail.view();
    ASSERT_EQ(answer.images.size(), 2u);
    EXPECT_TRUE(ShowsPicture(*answer.images[1], *MakePicture(40, 30, 2)));
    EXPECT_EQ(ReadFile("in0"), request.prompt.view());
    EXPECT_EQ(ReadFile("in1"), request.prompt.view());
    EXPECT_EQ(ReadFile("variables"), request.prompt.ToStdString() + "|dogs|184|320|2|none");
    EXPECT_FALSE(std::ifstream(GetFolder() + "/pwned"));
    EXPECT_EQ(answer.prompt, request.prompt);
}

TEST(ProgramGenerator, GivesTheGuidancePictureAsAFile) {
    auto request = Ask("fox");
    auto const guidance = MakePicture(20, 10, 4);
    guidance->GetRow(3, 2)[3] = 17;
    request.guidanceImage = guidance;
    request.guidanceMode = RemoteInference::TextToImageGuidanceMode::Close;
    ImageGenerator::Answer answer;
    auto const result =
        Generate(*MakeGenerator("echo \"$REDRAFT_GUIDANCE $REDRAFT_GUIDANCE_MODE\" > path; cat \"$REDRAFT_GUIDANCE\""),
                 request, answer);
    ASSERT_EQ(result.code, 0) << result.detail.view();
    EXPECT_TRUE(ShowsPicture(*answer.images.at(0), *guidance));
    std::istringstream words(ReadFile("path"));
    std::string path, mode;
    words >> path >> mode;
    EXPECT_EQ(mode, "close");
    EXPECT_FALSE(std::ifstream(path)) << path;
}

TEST(ProgramGenerator, TellsTheLastLineOfErrors) {
    EXPECT_EQ(RunShell("echo one >&2; printf 'no \\033[31mmodel.\\n\\n' >&2; exit 3").detail,
              Kernel::String("the command that makes pictures: no [31mmodel"));
    EXPECT_EQ(RunShell("exit 3").detail, Kernel::String("the command that makes pictures: it ended with status 3"));
    EXPECT_EQ(RunShell("kill -9 $$").detail,
              Kernel::String("the command that makes pictures: it was ended by signal 9"));
    EXPECT_EQ(RunShell("exit 3").code, RemoteInference::Refused);
    EXPECT_EQ(RunShell("no-such-command-here").code, RemoteInference::Refused);
}

TEST(ProgramGenerator, RefusesOutputThatIsNoPicture) {
    EXPECT_EQ(RunShell("true").code, RemoteInference::BadAnswer);
    EXPECT_EQ(RunShell("echo hello").code, RemoteInference::BadAnswer);
    EXPECT_EQ(RunShell("head -c 60 made.png").code, RemoteInference::BadAnswer);
    EXPECT_EQ(RunShell("cat /dev/zero").code, RemoteInference::TooLarge);
    EXPECT_THROW(MakeProgramGenerator(""), Kernel::Exception);
}

TEST(ProgramGenerator, NeedNotReadItsInput) {
    // More than a pipe holds.
    EXPECT_EQ(RunShell("exec < /dev/null; cat made.png", Ask(std::string(1 << 20, 'x'))).code, 0);
    EXPECT_EQ(
        RunShell("test -z \"${REDRAFT_PROMPT+x}\" && wc -c > size && cat made.png", Ask(std::string(1 << 20, 'x')))
            .code,
        0);
    EXPECT_EQ(std::stoul(ReadFile("size")), 1u << 20);
}

TEST(ProgramGenerator, FindsNoDescriptorsOpen) {
    EXPECT_EQ(RunShell("ls /proc/self/fd > open; cat made.png").code, 0);
    // ls has the folder open, as the fourth.
    EXPECT_EQ(ReadFile("open"), "0\n1\n2\n3\n");
}

bool IsAlive(std::string const& pid) { return kill(std::stoi(pid), 0) == 0; }

void ExpectGone(std::string const& file) {
    auto const pid = ReadFile(file);
    ASSERT_FALSE(pid.empty());
    for (int i = 0; i != 200 && IsAlive(pid); ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(IsAlive(pid));
}

TEST(ProgramGenerator, EndsWithAllItsProcessesWhenCancelled) {
    Canceller canceller(300ms);
    auto const result = RunShell("trap '' TERM INT; sleep 100 & echo $! > child; echo $$ > shell; wait; sleep 100");
    EXPECT_LT(canceller.Finish(), 300ms);
    EXPECT_EQ(result.code, RemoteInference::Cancelled);
    ExpectGone("child");
    ExpectGone("shell");
}

TEST(ProgramGenerator, DoesNotWaitForProcessesThatItLeavesBehind) {
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(RunShell("sleep 100 & echo $! > left; cat made.png").code, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    ExpectGone("left");
}

} // namespace
} // namespace Learning
