// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/domain_controller.h"
#include "platform/learning/remote_inference.h"
#include "shell/arguments.h"

#include <optional>
#include <string>
#include <vector>

namespace Shell {

// Options of the verbs that may ask a model for pictures.
std::vector<OptionSpec> GetModelOptions();

// Chooses the back ends that the options of a call name, for a command that asks a model, as long as the object lives.
// Where the call has none of the options, those of the script count whose line it is; `script` is null outside of one.
// Throws Failure with ExitStatus::Usage where an option of the call has nothing to do with the command, or one that it
// needs is missing, and with ExitStatus::Input for files that cannot be used.
class ChosenBackEnds {
public:
    ChosenBackEnds(Arguments const& call, Arguments const* script, DocumentCommand const& command,
                   std::string const& commandName);
    ChosenBackEnds(ChosenBackEnds const&) = delete;
    ChosenBackEnds& operator=(ChosenBackEnds const&) = delete;
    ~ChosenBackEnds();

private:
    bool m_asks = false;
};

// Hears how the requests of a command to a model end. Nothing for other commands.
class ModelReports final : public NotificationListener {
public:
    explicit ModelReports(DocumentCommand const& command);
    ModelReports(ModelReports const&) = delete;
    ModelReports& operator=(ModelReports const&) = delete;
    ~ModelReports() override;

    void Receive(Kernel::NonCounted<Kernel::Notification> notification) override;
    // Whether the command is one that asks a model: control-C then cancels the request.
    bool AreExpected() const { return m_asks; }
    // Throws Failure for a request that failed.
    void Check(std::string const& commandName, std::string const& documentPath) const;
    // How many pictures came; none where no model was asked for some.
    std::optional<int> GetPictureCount() const { return m_pictures; }
    // Notes the prompt that a service has made of the user's.
    void Tell(std::string const& commandName) const;

private:
    bool m_asks;
    std::optional<Learning::RemoteInference::Result> m_failure;
    std::optional<int> m_pictures;
    std::optional<Kernel::String> m_enhancedPrompt;
};

} // namespace Shell
