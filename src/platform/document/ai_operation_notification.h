// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_notification.h"
#include "platform/document/ostra_ai_command.h"
#include "platform/kernel/string.h"
#include "platform/learning/remote_inference.h"

#include <cstdint>
#include <optional>

// A request to a remote model has ended, well or not. Whoever made it sets what it knows.
class REDRAFT_ENGINE AIOperationCompletedNotification : public Kernel::Notification {
public:
    enum class Operation : int { Generate = 0, RemoveBackground = 2 };

    std::optional<Operation> operation;
    std::optional<int> reserved;
    std::optional<Learning::RemoteInference::TextToImageModel> model;
    std::optional<Learning::RemoteInference::GenerationStyle> style;
    std::optional<Learning::RemoteInference::TextToImageAspect> aspect;
    std::optional<Learning::RemoteInference::TextToImageGuidanceMode> guidanceMode;
    // As it was given, before the service rewrote it.
    std::optional<Kernel::String> prompt;
    std::optional<Kernel::String> secondaryPrompt;
    std::optional<bool> enhancesPrompt;
    std::optional<Kernel::String> enhancedPrompt;
    std::optional<int> requestedCount;
    std::optional<int> returnedCount;
    std::optional<Kernel::String> resultDetail;
    std::optional<int> resultCode;
    std::optional<std::int64_t> durationMilliseconds;
};

// A request to a remote model was not answered: `title` is for the user, beside the result's detail.
class REDRAFT_ENGINE AIOperationFailedNotification : public DocumentNotification {
public:
    AIOperationFailedNotification(Kernel::Counted<DocumentController const> const& controller,
                                  Learning::RemoteInference::Result result, Kernel::LocalisedString title,
                                  OstraAICommandSource source);
    Learning::RemoteInference::Result const& GetResult() const { return m_result; }
    Kernel::LocalisedString const& GetTitle() const { return m_title; }
    OstraAICommandSource GetSource() const { return m_source; }

private:
    Learning::RemoteInference::Result m_result;
    Kernel::LocalisedString m_title;
    OstraAICommandSource m_source;
};
