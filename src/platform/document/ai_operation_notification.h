// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_notification.h"
#include "platform/kernel/string.h"

#include <cstdint>
#include <optional>

namespace Learning {

// The values that go to and come from a remote model. The service gives them their meaning.
class REDRAFT_ENGINE RemoteInference {
public:
    enum class TextToImageAspect : std::uint32_t {};
    enum class TextToImageGuidanceMode : std::uint32_t {};
    enum class GenerationStyle : std::uint32_t { Vector = 8 };

    // How a request ended.
    struct Result {
        // 0: it was answered.
        int code = 0;
        // For the user, when it was not.
        Kernel::String detail;
    };

    // A model that the service offers.
    struct TextToImageModel {
        Kernel::String texts[4];
        std::uint32_t numbers[2] = {};
        std::uint8_t options[7] = {};
        friend bool operator==(TextToImageModel const&, TextToImageModel const&) = default;
    };
};

} // namespace Learning

// Where in the user interface a request to a remote model came from; 0 when nobody told. Stored and handed on only.
enum class OstraAICommandSource : std::uint32_t { Unknown = 0 };

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
