// SPDX-License-Identifier: Apache-2.0
#include "shell/model_requests.h"

#include "frame/contract/notifications.h"
#include "platform/document/ai_operation_notification.h"
#include "platform/document/ostra_ai_command.h"
#include "platform/document/quorin_controller.h"
#include "platform/document/raster_command.h"
#include "platform/kernel/cast.h"
#include "platform/learning/back_ends.h"
#include "shell/failure.h"
#include "shell/input_files.h"
#include "shell/session.h"

#include <algorithm>
#include <iterator>

namespace Shell {

namespace {

using Learning::RemoteInference;

constexpr std::uint64_t c_maximumTokenBytes = 16 << 10;

constexpr OptionSpec c_options[] = {
    {"--service", "URL", "the service that makes or changes pictures, such as http://127.0.0.1:8188"},
    {"--protocol", "P", "its protocol: openai, webui or rembg (openai, and rembg to remove backgrounds)"},
    {"--token-file", "FILE", "a file that holds the service's token and nothing else"},
    {"--generator", "COMMAND", "makes pictures: reads the prompt and writes a picture"},
    {"--model", "FILE.onnx", "a network that finds what stands in front of a background"},
};

bool AsksModel(DocumentCommand const& command) { return dynamic_cast<OstraAICommand const*>(&command) != nullptr; }

// Commands on pixels send a picture and take one; the others only take some.
bool RemovesBackgrounds(DocumentCommand const& command) {
    return Kernel::CastPointer<RasterCommand const>(&command) != nullptr;
}

void Refuse(Arguments const& arguments, std::string_view option, std::string_view why) {
    if (arguments.Has(option))
        throw Failure(ExitStatus::Usage, std::string(option), std::string(why));
}

Learning::Protocol ParseProtocol(std::string const& name) {
    if (name == "openai")
        return Learning::Protocol::OpenAI;
    if (name == "webui")
        return Learning::Protocol::WebUI;
    if (name == "rembg")
        return Learning::Protocol::Rembg;
    throw Failure(ExitStatus::Usage, "--protocol", "is none of openai, webui and rembg: " + Quote(name));
}

// Editors end a file with a line break. A message never shows any of it.
std::string ReadToken(std::string const& path) {
    auto const bytes = InputFiles::Read(path, c_maximumTokenBytes);
    std::string token(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    while (!token.empty() && (token.back() == '\n' || token.back() == '\r'))
        token.pop_back();
    auto const isPlain = [](char c) { return c > ' ' && c < 0x7F; };
    if (token.empty() || !std::all_of(token.begin(), token.end(), isPlain))
        throw Failure(ExitStatus::Input, path, "is no token: one line of letters, digits and signs");
    return token;
}

// The options of a call that have nothing to do with its command. A script's options are for several commands.
void RefuseOthers(Arguments const& call, bool asks, bool removes, std::string const& commandName) {
    if (!asks) {
        for (auto const& option : c_options)
            Refuse(call, option.name, "is for commands that ask a model; " + commandName + " does not");
        return;
    }
    if (removes)
        Refuse(call, "--generator", "makes pictures from prompts, which " + commandName + " does not");
    else
        Refuse(call, "--model", "finds the ground of a picture, which " + commandName + " does not");
    for (auto const option : {"--generator", "--model"}) {
        if (call.Has("--service"))
            Refuse(call, option, "has no place beside --service");
    }
}

Learning::ServiceOptions ReadServiceOptions(Arguments const& arguments, Learning::Protocol usual) {
    Learning::ServiceOptions options;
    options.url = arguments.Get("--service");
    auto const protocol = arguments.Find("--protocol");
    options.protocol = protocol ? ParseProtocol(*protocol) : usual;
    if (auto const file = arguments.Find("--token-file"))
        options.token = ReadToken(*file);
    return options;
}

template <class F>
auto MakeForService(F const& make) {
    return Guarded(ExitStatus::Usage, "--service", make);
}

Kernel::Counted<Learning::BackgroundRemover> MakeRemover(Arguments const& arguments) {
    if (auto const file = arguments.Find("--model")) {
        InputFiles::Add(*file);
        return Learning::MakeModelBackgroundRemover(*file);
    }
    if (!arguments.Has("--service"))
        return Learning::MakePlainGroundRemover();
    auto const options = ReadServiceOptions(arguments, Learning::Protocol::Rembg);
    return MakeForService([&] { return Learning::MakeServiceBackgroundRemover(options); });
}

Kernel::Counted<Learning::ImageGenerator> MakeGenerator(Arguments const& arguments, std::string const& commandName) {
    if (auto const command = arguments.Find("--generator"))
        return Learning::MakeProgramGenerator(*command);
    if (!arguments.Has("--service"))
        throw Failure(ExitStatus::Usage, commandName,
                      "needs a service or a program that makes pictures: give --service URL or --generator COMMAND");
    auto const options = ReadServiceOptions(arguments, Learning::Protocol::OpenAI);
    return MakeForService([&] { return Learning::MakeServiceGenerator(options); });
}

} // namespace

std::vector<OptionSpec> GetModelOptions() { return {std::begin(c_options), std::end(c_options)}; }

ChosenBackEnds::ChosenBackEnds(Arguments const& call, Arguments const* script, DocumentCommand const& command,
                               std::string const& commandName)
    : m_asks(AsksModel(command)) {
    bool const removes = m_asks && RemovesBackgrounds(command);
    RefuseOthers(call, m_asks, removes, commandName);
    if (!m_asks)
        return;
    auto const isGiven = [&](OptionSpec const& option) { return call.Has(option.name); };
    bool const isOwn = script == nullptr || std::ranges::any_of(c_options, isGiven);
    auto const& arguments = isOwn ? call : *script;
    for (auto const option : {"--protocol", "--token-file"}) {
        if (!arguments.Has("--service"))
            Refuse(arguments, option, "needs --service");
    }
    auto& inference = RemoteInference::GetInstance();
    if (removes)
        inference.SetBackgroundRemover(MakeRemover(arguments));
    else
        inference.SetImageGenerator(MakeGenerator(arguments, commandName));
}

ChosenBackEnds::~ChosenBackEnds() {
    if (!m_asks)
        return;
    auto& inference = RemoteInference::GetInstance();
    inference.SetBackgroundRemover(Learning::MakePlainGroundRemover());
    inference.SetImageGenerator({});
}

ModelReports::ModelReports(DocumentCommand const& command) : m_asks(AsksModel(command)) {
    if (m_asks)
        QuorinController::GetInstance().AddListener(this);
}

ModelReports::~ModelReports() {
    if (m_asks)
        QuorinController::GetInstance().RemoveListener(this);
}

void ModelReports::Receive(Kernel::NonCounted<Kernel::Notification> notification) {
    if (auto const* const failed = dynamic_cast<AIOperationFailedNotification const*>(notification.get()))
        m_failure = failed->GetResult();
    else if (auto const* const completed = dynamic_cast<AIOperationCompletedNotification const*>(notification.get()))
        m_pictures = completed->returnedCount;
    else if (auto const* const enhanced = dynamic_cast<PromptEnhancedNotification const*>(notification.get()))
        m_enhancedPrompt = enhanced->GetEnhancedPrompt();
}

void ModelReports::Check(std::string const& commandName, std::string const& documentPath) const {
    if (!m_failure)
        return;
    if (m_failure->code == RemoteInference::Cancelled)
        throw Failure(ExitStatus::Interrupted, documentPath, "interrupted, nothing was saved");
    auto detail = m_failure->detail.ToStdString();
    if (m_failure->code == RemoteInference::BusyGround)
        detail += ": give --model FILE.onnx or --service URL";
    throw Failure(ExitStatus::Input, commandName, std::move(detail));
}

void ModelReports::Tell(std::string const& commandName) const {
    if (m_enhancedPrompt)
        Session::Note(commandName, "the prompt became: " + OneLine(m_enhancedPrompt->view()));
}

} // namespace Shell
