// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/host_process.h"
#include "engine/learning/guided_upsampling.h"
#include "engine/learning/model_protocol.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Learning {

namespace {

using namespace ModelProtocol;
using Result = RemoteInference::Result;
using HostClock = Kernel::HostProcess::Clock;

// For all of one picture.
constexpr std::chrono::seconds c_hostTime{180};

// The talk ends here: with a code and a text for the user.
struct TalkEnd {
    Result result;
};

[[noreturn]] void EndTalk(int code, char const* text) { throw TalkEnd{{code, Kernel::String(text)}}; }

// The process with the model, in steps that end when the call is cancelled, when time is over, or when it died.
class ModelTalk {
public:
    explicit ModelTalk(InferenceCall const& call) : m_call(call) {}

    void Send(void const* bytes, std::size_t count) {
        auto const* from = static_cast<char const*>(bytes);
        while (count != 0) {
            ssize_t const put = send(m_host.GetSocket(), from, count, MSG_NOSIGNAL);
            if (put < 0 && (errno == EAGAIN || errno == EINTR)) {
                Wait(POLLOUT);
                continue;
            }
            // It may have said why it reads no more.
            if (put <= 0)
                return;
            from += put;
            count -= static_cast<std::size_t>(put);
        }
    }
    void Receive(void* bytes, std::size_t count) {
        auto* to = static_cast<char*>(bytes);
        while (count != 0) {
            ssize_t const got = recv(m_host.GetSocket(), to, count, 0);
            if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
                Wait(POLLIN);
                continue;
            }
            if (got <= 0)
                EndTalk(RemoteInference::BadModel, "the model cannot be run: its process died");
            to += got;
            count -= static_cast<std::size_t>(got);
        }
    }
    Answer ReceiveAnswer() {
        Answer answer{};
        Receive(&answer, sizeof answer);
        if (answer.magic != c_magic)
            EndTalk(RemoteInference::BadModel, "the model cannot be run: its process does not answer as it should");
        switch (answer.status) {
        case ModelStatus::Done:
            break;
        case ModelStatus::NoModel:
            EndTalk(RemoteInference::BadModel, "the model's file is not a model in ONNX");
        case ModelStatus::OtherNumbers:
            EndTalk(RemoteInference::BadModel, "the model takes other numbers than floats of 32 bits");
        case ModelStatus::OtherInputs:
            EndTalk(RemoteInference::BadModel,
                    "the model does not take one picture of three planes of 16 to 1024 pixels a side");
        case ModelStatus::CannotRun:
            EndTalk(RemoteInference::BadModel, "the model has operations that cannot be run here, or is damaged");
        default:
            EndTalk(RemoteInference::BadModel, "the model's first output is not a matte");
        }
        if (answer.width == 0 || answer.height == 0 || answer.width > c_maximumSide || answer.height > c_maximumSide)
            EndTalk(RemoteInference::BadModel, "the model cannot be run: its process does not answer as it should");
        return answer;
    }
    void Check() const {
        if (m_call.IsCancelled())
            EndTalk(RemoteInference::Cancelled, "cancelled");
        if (HostClock::now() >= m_end)
            EndTalk(RemoteInference::TimedOut, "the model took longer than three minutes");
    }

private:
    void Wait(short events) const {
        Check();
        pollfd waiting{m_host.GetSocket(), events, 0};
        poll(&waiting, 1, 20);
    }

    InferenceCall const& m_call;
    HostClock::time_point m_end = HostClock::now() + c_hostTime;
    Kernel::HostProcess m_host{"redraft-model-host", "models cannot be run", {}};
};

class ModelFile {
public:
    // Pipes and devices are no models, and would be waited for.
    explicit ModelFile(std::string const& path) : m_file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        struct stat state {};
        if (m_file < 0 || fstat(m_file, &state) != 0 || !S_ISREG(state.st_mode)) {
            Close();
            EndTalk(RemoteInference::BadModel, "the model's file cannot be read");
        }
        m_size = static_cast<std::uint64_t>(state.st_size);
        if (m_size > c_maximumModel) {
            Close();
            EndTalk(RemoteInference::BadModel, "the model's file has more than 1 GB");
        }
    }
    ModelFile(ModelFile const&) = delete;
    ModelFile& operator=(ModelFile const&) = delete;
    ~ModelFile() { Close(); }

    void SendTo(ModelTalk& talk) const {
        Start const start{c_magic, 0, m_size};
        talk.Send(&start, sizeof start);
        std::vector<char> bytes(1 << 20);
        for (auto left = m_size; left != 0;) {
            talk.Check();
            ssize_t const got = read(m_file, bytes.data(), std::min<std::uint64_t>(left, bytes.size()));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                EndTalk(RemoteInference::BadModel, "the model's file cannot be read");
            talk.Send(bytes.data(), static_cast<std::size_t>(got));
            left -= static_cast<std::uint64_t>(got);
        }
    }

private:
    void Close() {
        if (m_file >= 0)
            close(m_file);
    }
    int m_file;
    std::uint64_t m_size = 0;
};

// As these networks were trained: by the picture's brightest value, then by the mean and the deviation of ImageNet.
std::vector<float> NormalisePicture(SmallPicture const& picture) {
    constexpr float c_mean[] = {0.485f, 0.456f, 0.406f}, c_deviation[] = {0.229f, 0.224f, 0.225f};
    float brightest = 1e-6f;
    for (auto const& plane : picture.planes)
        brightest = std::max(brightest, *std::max_element(plane.begin(), plane.end()));
    std::vector<float> values;
    for (int channel = 0; channel != 3; ++channel) {
        for (float const colour : picture.planes[channel])
            values.push_back((colour / brightest - c_mean[channel]) / c_deviation[channel]);
    }
    return values;
}

// To 0 to 1 at the ends, but where all is one value, which only is brought into that range.
void StretchMatte(std::vector<float>& matte) {
    if (!std::all_of(matte.begin(), matte.end(), [](float share) { return std::isfinite(share); }))
        EndTalk(RemoteInference::BadModel, "the model's first output is not a matte");
    auto const [least, most] = std::minmax_element(matte.begin(), matte.end());
    float const offset = *least, range = *most - *least;
    for (float& share : matte)
        share = range > 1e-6f ? (share - offset) / range : std::clamp(share, 0.0f, 1.0f);
}

// Networks for salient objects, such as U^2-Net (Qin et al. 2020): one picture in, whose first output is a matte.
class ModelRemover final : public MatteRemover {
public:
    explicit ModelRemover(std::string path) : m_path(std::move(path)) {}

protected:
    Result FindMatte(Raster::BufferRGBA8 const& picture, Matte& matte, InferenceCall const& call) override {
        try {
            ModelFile const file(m_path);
            ModelTalk talk(call);
            file.SendTo(talk);
            auto const input = talk.ReceiveAnswer();
            call.Report(0.2f);
            SmallPicture guide;
            Shrink(picture, input, guide, call);
            auto const values = NormalisePicture(guide);
            talk.Send(values.data(), values.size() * sizeof(float));
            auto const output = talk.ReceiveAnswer();
            std::vector<float> small(std::size_t{output.width} * output.height);
            talk.Receive(small.data(), small.size() * sizeof(float));
            call.Report(0.8f);
            StretchMatte(small);
            if (output.width != input.width || output.height != input.height)
                Shrink(picture, output, guide, call);
            if (!UpsampleMatte(small, guide, picture, matte, call))
                EndTalk(RemoteInference::Cancelled, "cancelled");
            call.Report(1);
            return {};
        } catch (TalkEnd const& end) {
            return end.result;
        } catch (Kernel::Exception const& failure) {
            return {RemoteInference::BadModel, failure.GetMessage()};
        }
    }

private:
    static void Shrink(Raster::BufferRGBA8 const& picture, Answer const& size, SmallPicture& small,
                       InferenceCall const& call) {
        if (!ShrinkPicture(picture, static_cast<int>(size.width), static_cast<int>(size.height), small, call))
            EndTalk(RemoteInference::Cancelled, "cancelled");
    }

    std::string m_path;
};

} // namespace

Kernel::Counted<BackgroundRemover> MakeModelBackgroundRemover(std::string path) {
    return Kernel::Counted<BackgroundRemover>(new ModelRemover(std::move(path)));
}

} // namespace Learning
