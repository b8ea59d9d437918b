// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/picture_files.h"
#include "engine/learning/program_run.h"
#include "engine/learning/service_back_ends.h"
#include "engine/learning/service_text.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace Learning {

namespace {

using Result = RemoteInference::Result;
using Mode = RemoteInference::TextToImageGuidanceMode;

// Readable by the user alone, and gone at the end.
class TemporaryPng {
public:
    explicit TemporaryPng(std::string_view content) {
        char const* const folder = std::getenv("TMPDIR");
        m_path = std::string(folder != nullptr && *folder != 0 ? folder : "/tmp") + "/redraft-guidance-XXXXXX.png";
        int const file = mkstemps(m_path.data(), 4);
        if (file < 0)
            throw Kernel::Exception("no temporary file for the guidance picture can be written");
        while (!content.empty()) {
            ssize_t const put = write(file, content.data(), content.size());
            if (put <= 0)
                break;
            content.remove_prefix(static_cast<std::size_t>(put));
        }
        close(file);
        if (!content.empty()) {
            unlink(m_path.c_str());
            throw Kernel::Exception("no temporary file for the guidance picture can be written");
        }
    }
    TemporaryPng(TemporaryPng const&) = delete;
    TemporaryPng& operator=(TemporaryPng const&) = delete;
    ~TemporaryPng() { unlink(m_path.c_str()); }
    std::string const& GetPath() const { return m_path; }

private:
    std::string m_path;
};

// A user's own command. Prompts are not rewritten.
class ProgramGenerator final : public ImageGenerator {
public:
    explicit ProgramGenerator(std::string command) : m_command(std::move(command)) {
        if (m_command.empty() || m_command.find('\0') != std::string::npos)
            throw Kernel::Exception("the command that makes pictures is empty");
    }
    Model const& GetDefaultModel() const override { return m_default; }

    Result Generate(Request const& request, Answer& answer, InferenceCall const& call) override {
        try {
            std::unique_ptr<TemporaryPng> guidance;
            if (IsGuided(request))
                guidance =
                    std::make_unique<TemporaryPng>(EncodePicture(*request.guidanceImage, PngContent::Pixels, call));
            auto const prompt = AddStyle(request.prompt.view(), request.style);
            PictureReader reader(call);
            for (int i = 0; i != request.count; ++i) {
                ProgramRun const run{m_command, ListVariables(request, prompt, i, guidance.get()), prompt};
                std::string output;
                if (auto result = RunProgram(run, call, output); result.code != RemoteInference::Answered)
                    return result;
                if (output.empty())
                    return {RemoteInference::BadAnswer, "the command that makes pictures wrote nothing"};
                Kernel::Counted<Raster::DynamicBitmap> bitmap;
                auto result = reader.Read(std::as_bytes(std::span(output)), bitmap);
                if (result.code == RemoteInference::Cancelled)
                    return result;
                if (result.code != RemoteInference::Answered)
                    return {result.code,
                            Kernel::String("the command that makes pictures: " + result.detail.ToStdString())};
                answer.images.push_back(std::move(bitmap));
                call.Report(static_cast<float>(i + 1) / static_cast<float>(request.count));
            }
            return {};
        } catch (Kernel::AbortException const&) {
            return {RemoteInference::Cancelled, "cancelled"};
        } catch (Kernel::Exception const& failure) {
            return {RemoteInference::Refused, failure.GetMessage()};
        }
    }

private:
    static std::vector<std::string> ListVariables(Request const& request, std::string_view prompt, int index,
                                                  TemporaryPng const* guidance) {
        std::vector<std::string> variables;
        // Longer ones the system refuses; no variable can hold a zero byte.
        auto const add = [&](char const* name, std::string_view value) {
            constexpr std::size_t c_maximumVariable = 100'000;
            if (value.size() < c_maximumVariable && value.find('\0') == std::string_view::npos)
                variables.push_back("REDRAFT_" + std::string(name) + "=" + std::string(value));
        };
        constexpr int c_usualSide = 1024;
        auto const& model = request.model;
        auto const size = GetPictureSize(
            request.aspect, model.side != 0 ? static_cast<int>(std::min(model.side, 16'384u)) : c_usualSide, 8);
        add("PROMPT", prompt);
        add("NEGATIVE_PROMPT", request.secondaryPrompt.view());
        add("WIDTH", std::to_string(size.width));
        add("HEIGHT", std::to_string(size.height));
        add("INDEX", std::to_string(index));
        add("COUNT", std::to_string(request.count));
        if (!model.name.empty())
            add("MODEL", model.name.view());
        if (guidance == nullptr)
            return variables;
        add("GUIDANCE", guidance->GetPath());
        add("GUIDANCE_MODE", request.guidanceMode == Mode::Fill    ? "fill"
                             : request.guidanceMode == Mode::Close ? "close"
                                                                   : "loose");
        return variables;
    }

    std::string m_command;
    Model m_default;
};

} // namespace

Kernel::Counted<ImageGenerator> MakeProgramGenerator(std::string command) {
    return Kernel::Counted<ImageGenerator>(new ProgramGenerator(std::move(command)));
}

} // namespace Learning
