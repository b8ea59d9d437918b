// SPDX-License-Identifier: Apache-2.0
// Without OpenCV there is no host of models.
#ifdef MODEL_HOST
#include "engine/kernel/host_socket.h"
#include "engine/model_host/confine.h"
#include "tests/engine/learning/services.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace Learning {
namespace {

using namespace std::chrono_literals;

// Writers of Protocol Buffers' encoding, with the field numbers of onnx.proto.
std::string MakeVarint(std::uint64_t value) {
    std::string bytes;
    for (; value >= 0x80; value >>= 7)
        bytes.push_back(static_cast<char>(value | 0x80));
    bytes.push_back(static_cast<char>(value));
    return bytes;
}
std::string Number(unsigned field, std::uint64_t value) { return MakeVarint(field << 3) + MakeVarint(value); }
std::string Bytes(unsigned field, std::string const& bytes) {
    return MakeVarint(field << 3 | 2) + MakeVarint(bytes.size()) + bytes;
}

std::string Value(std::string const& name, unsigned type, std::vector<int> const& shape) {
    std::string dimensions;
    for (int const size : shape)
        dimensions += Bytes(1, size > 0 ? Number(1, static_cast<std::uint64_t>(size)) : Bytes(2, "free"));
    return Bytes(1, name) + Bytes(2, Bytes(1, Number(1, type) + Bytes(2, dimensions)));
}
std::string Floats(std::string const& name, std::vector<int> const& shape, std::vector<float> const& values) {
    std::string tensor;
    for (int const size : shape)
        tensor += Number(1, static_cast<std::uint64_t>(size));
    std::string const raw(reinterpret_cast<char const*>(values.data()), values.size() * sizeof(float));
    return tensor + Number(2, 1) + Bytes(8, name) + Bytes(9, raw);
}
std::string Node(std::string const& type, std::vector<std::string> const& inputs, std::string const& output,
                 std::string const& attributes = {}) {
    std::string node;
    for (auto const& input : inputs)
        node += Bytes(1, input);
    return node + Bytes(2, output) + Bytes(3, "node of " + output) + Bytes(4, type) + attributes;
}
std::string Model(std::string const& graph) { return Number(1, 6) + Bytes(8, Number(2, 11)) + Bytes(7, graph); }

struct ModelShape {
    std::vector<int> input{1, 3, 64, 64};
    unsigned type = 1;
    std::string firstOutput = "matte";
    std::string operation = "Sigmoid";
    std::string moreInputs;
};

// The matte is the brightness, with a second output that is its opposite and comes from a later node.
std::string MakeModel(ModelShape const& shape = {}) {
    std::string const kernel = Bytes(5, Bytes(1, "kernel_shape") + Number(8, 1) + Number(8, 1) + Number(20, 7));
    return Model(Bytes(1, Node("Conv", {"picture", "weights"}, "sum", kernel)) +
                 Bytes(1, Node(shape.operation, {"sum"}, "matte")) + Bytes(1, Node("Neg", {"matte"}, "opposite")) +
                 Bytes(1, Node("Sigmoid", {"picture"}, "colours")) + Bytes(2, "graph") +
                 Bytes(5, Floats("weights", {1, 3, 1, 1}, {2, 2, 2})) +
                 Bytes(11, Value("picture", shape.type, shape.input)) + shape.moreInputs +
                 Bytes(12, Value(shape.firstOutput, 1, {1, 1, 64, 64})) +
                 Bytes(12, Value("opposite", 1, {1, 1, 64, 64})));
}

class ModelRemover : public testing::Test {
protected:
    ModelRemover() : m_folder(testing::TempDir() + "learning-models-" + std::to_string(getpid())) {
        mkdir(m_folder.c_str(), 0700);
        setenv("REDRAFT_MODEL_HOST", MODEL_HOST, 1);
    }
    ~ModelRemover() override {
        setenv("REDRAFT_MODEL_HOST", MODEL_HOST, 1);
        std::filesystem::remove_all(m_folder);
        RemoteInference::ResetCancel();
    }

    std::string Write(std::string const& name, std::string const& content) const {
        std::ofstream(m_folder + "/" + name, std::ios::binary) << content;
        return m_folder + "/" + name;
    }
    void UseHost(std::string const& script) const {
        auto const path = Write("host", "#!/bin/sh\n" + script + "\n");
        chmod(path.c_str(), 0700);
        setenv("REDRAFT_MODEL_HOST", path.c_str(), 1);
    }
    RemoteInference::Result RemoveByFile(std::string const& path) {
        m_answer = {};
        return MakeModelBackgroundRemover(path)->RemoveBackground(m_image, Raster::ICCProfileSet(), m_answer,
                                                                  InferenceCall(nullptr, nullptr));
    }
    RemoteInference::Result RemoveBy(std::string const& model) { return RemoveByFile(Write("model.onnx", model)); }

    // A bright disc on a dark ground.
    static constexpr int c_width = 700, c_height = 500;
    static bool IsInDisc(int x, int y, double radius) { return std::hypot(x - 350, y - 250) < radius; }
    static Kernel::Counted<Raster::DynamicBitmap> MakeDisc() {
        Kernel::Counted<Raster::DynamicBitmap> bitmap(
            new Raster::DynamicBitmap(c_width, c_height, Raster::FormatRGBA8));
        std::vector<std::uint8_t> pixels;
        for (int y = 0; y != c_height; ++y) {
            for (int x = 0; x != c_width; ++x) {
                std::uint8_t const value = IsInDisc(x, y, 150) ? 240 : 20;
                pixels.insert(pixels.end(), {value, value, value, 255});
            }
        }
        bitmap->WritePixels(bitmap->GetBounds(), pixels.data(), c_width * 4);
        return bitmap;
    }
    void ExpectDiscIsKept(double edge = 2) const {
        ASSERT_TRUE(m_answer);
        int wrong = 0;
        for (int y = 0; y != c_height; ++y) {
            for (int x = 0; x != c_width; ++x) {
                double const alpha = m_answer->GetBase()->GetPixel(x, y).GetSample(3);
                // A pixel of the small matte is eleven of the picture's; the edge is kept to two of them.
                wrong += IsInDisc(x, y, 150 - edge) ? alpha < 240 : !IsInDisc(x, y, 150 + edge) && alpha > 15;
            }
        }
        // Along the edge, where the small matte is no line of the colours; without the guide there are ten times as
        // many.
        EXPECT_LT(wrong, c_width * c_height / 500);
    }

    std::string m_folder;
    Kernel::Counted<Raster::DynamicBitmap> m_image = MakeDisc(), m_answer;
};

TEST_F(ModelRemover, TakesTheFirstOutputAsMatteWithThePicturesEdges) {
    auto const result = RemoveBy(MakeModel());
    ASSERT_EQ(result.code, 0) << result.detail.view();
    ExpectDiscIsKept();
}

// Wide layers are shared among threads, which are begun in the confined process.
TEST_F(ModelRemover, RunsWideLayers) {
    auto const ints = [](char const* name, std::vector<unsigned> const& values) {
        std::string attribute = Bytes(1, name) + Number(20, 7);
        for (unsigned const value : values)
            attribute += Number(8, value);
        return Bytes(5, attribute);
    };
    constexpr int c_planes = 64;
    std::vector<float> const first(c_planes * 27, 1.0f / 9), between(c_planes * c_planes * 9, 1.0f / (c_planes * 9)),
        last(c_planes, 1.0f / c_planes);
    auto const square = ints("kernel_shape", {3, 3}) + ints("pads", {1, 1, 1, 1});
    auto const model =
        Model(Bytes(1, Node("Conv", {"picture", "w1"}, "a", square)) + Bytes(1, Node("Relu", {"a"}, "b")) +
              Bytes(1, Node("Conv", {"b", "w2"}, "c", square)) + Bytes(1, Node("Relu", {"c"}, "d")) +
              Bytes(1, Node("MaxPool", {"d"}, "e", ints("kernel_shape", {2, 2}) + ints("strides", {2, 2}))) +
              Bytes(1, Node("Conv", {"e", "w3"}, "f", ints("kernel_shape", {1, 1}))) +
              Bytes(1, Node("Sigmoid", {"f"}, "matte")) + Bytes(2, "graph") +
              Bytes(5, Floats("w1", {c_planes, 3, 3, 3}, first)) +
              Bytes(5, Floats("w2", {c_planes, c_planes, 3, 3}, between)) +
              Bytes(5, Floats("w3", {1, c_planes, 1, 1}, last)) + Bytes(11, Value("picture", 1, {1, 3, 320, 320})) +
              Bytes(12, Value("matte", 1, {1, 1, 160, 160})));
    auto const result = RemoveBy(model);
    ASSERT_EQ(result.code, 0) << result.detail.view();
    // Its layers spread what is bright over a few pixels of theirs.
    ExpectDiscIsKept(14);
}

TEST_F(ModelRemover, ChoosesTheSizeWhereTheModelLeavesIt) {
    ModelShape shape;
    shape.input = {0, 3, 0, 0};
    auto const result = RemoveBy(MakeModel(shape));
    ASSERT_EQ(result.code, 0) << result.detail.view();
    ExpectDiscIsKept();
}

TEST_F(ModelRemover, RefusesModelsThatAreNotOfThisKind) {
    auto const expect = [&](std::string const& model, std::string_view words) {
        auto const result = RemoveBy(model);
        EXPECT_EQ(result.code, RemoteInference::BadModel);
        EXPECT_NE(result.detail.view().find(words), std::string_view::npos) << words << ": " << result.detail.view();
        EXPECT_FALSE(m_answer);
    };
    expect("", "not a model in ONNX");
    expect("this is a letter, and no model", "not a model in ONNX");
    expect(Number(1, 6), "not a model in ONNX");
    ModelShape shape;
    shape.type = 10;
    expect(MakeModel(shape), "floats of 32 bits");
    for (std::vector<int> const& input :
         {std::vector<int>{3, 64, 64}, {1, 4, 64, 64}, {2, 3, 64, 64}, {1, 3, 8, 64}, {1, 3, 64, 4096}, {}}) {
        shape = {};
        shape.input = input;
        expect(MakeModel(shape), "one picture of three planes");
    }
    shape = {};
    shape.moreInputs = Bytes(11, Value("more", 1, {1}));
    expect(MakeModel(shape), "one picture of three planes");
    shape = {};
    shape.firstOutput = "colours";
    expect(MakeModel(shape), "not a matte");
    shape = {};
    shape.operation = "NoSuchOperation";
    expect(MakeModel(shape), "cannot be run");
}

TEST_F(ModelRemover, RefusesFilesThatCannotBeRead) {
    EXPECT_EQ(RemoveByFile(m_folder + "/missing.onnx").code, RemoteInference::BadModel);
    EXPECT_EQ(RemoveByFile(m_folder).code, RemoteInference::BadModel);
    auto const pipe = m_folder + "/pipe-" + std::to_string(std::random_device()());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(RemoveByFile(pipe).code, RemoteInference::BadModel);
}

TEST_F(ModelRemover, SurvivesDamagedModels) {
    auto const whole = MakeModel();
    for (std::size_t part = 0; part != 8; ++part)
        EXPECT_EQ(RemoveBy(whole.substr(0, whole.size() * part / 8)).code, RemoteInference::BadModel) << part;
    std::mt19937 random(5);
    for (int i = 0; i != 12; ++i) {
        auto damaged = whole;
        for (int change = 0; change != 3; ++change)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        auto const code = RemoveBy(damaged).code;
        EXPECT_TRUE(code == 0 || code == RemoteInference::BadModel) << code;
    }
}

TEST_F(ModelRemover, SurvivesItsProcess) {
    for (char const* const script : {"exit 0", "head -c 100 /dev/zero >&3; sleep 100", "kill -9 $$", "cat <&3 >&3"}) {
        UseHost(script);
        auto const result = RemoveBy(MakeModel());
        EXPECT_EQ(result.code, RemoteInference::BadModel) << script;
        EXPECT_NE(result.detail.view().find("the model cannot be run"), std::string_view::npos) << result.detail.view();
    }
}

TEST_F(ModelRemover, EndsSoonWhenCancelled) {
    UseHost("exec sleep 100");
    Canceller canceller(200ms);
    auto const result = RemoveBy(MakeModel());
    EXPECT_LT(canceller.Finish(), 300ms);
    EXPECT_EQ(result.code, RemoteInference::Cancelled);
}

// The status of a process that does this when it is confined as the model's is.
template <class F>
int RunConfined(F const& function) {
    pid_t const child = fork();
    if (child == 0) {
        // A socket, and files that the host is not to keep.
        while (open("/dev/null", O_RDONLY) < HostSocket::c_descriptor + 2) {
        }
        Confine(0);
        _exit(function());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ModelHostConfinement, LeavesMemoryAndThreadsAndTakesTheRest) {
    EXPECT_EQ(RunConfined([] { return open("/etc/passwd", O_RDONLY) < 0 ? 0 : 1; }), 0);
    EXPECT_EQ(RunConfined([] { return fcntl(HostSocket::c_descriptor + 1, F_GETFD) < 0 ? 0 : 1; }), 0);
    EXPECT_EQ(RunConfined([] {
                  rlimit limit{};
                  return getrlimit(RLIMIT_CORE, &limit) != 0 || limit.rlim_cur == 0 ? 0 : 1;
              }),
              0);
// The sanitizers make calls of their own, so that their builds have the limits above and no rules over calls.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_EQ(RunConfined([] { return socket(AF_INET, SOCK_STREAM, 0) < 0 && errno == EPERM ? 0 : 1; }), 0);
    EXPECT_EQ(RunConfined([] { return execl("/bin/true", "true", nullptr) < 0 && errno == EPERM ? 0 : 1; }), 0);
    EXPECT_EQ(RunConfined([] { return kill(getppid(), 0) < 0 && errno == EPERM ? 0 : 1; }), 0);
    EXPECT_EQ(RunConfined([] { return fork() < 0 && errno == EPERM ? 0 : 1; }), 0);
    EXPECT_EQ(RunConfined([] {
                  void* const code =
                      mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                  return code == MAP_FAILED ? 0 : 1;
              }),
              0);
    EXPECT_EQ(RunConfined([] {
                  int sum = 0;
                  std::thread([&] { sum = static_cast<int>(std::vector<int>(1 << 20, 1).size()); }).join();
                  return sum == 1 << 20 ? 0 : 1;
              }),
              0);
#endif
}

} // namespace
} // namespace Learning
#endif
