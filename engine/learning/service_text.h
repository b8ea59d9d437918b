// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/remote_inference.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Learning {

// A text that comes from elsewhere, made fit for a message: one line of at most 300 bytes without control characters,
// characters that change the direction of writing, or a full stop at its end. `secret`, where it is not empty, is
// replaced wherever it stands.
Kernel::String CleanLine(std::string_view text, std::string_view secret);
// A prompt that comes from elsewhere: the same but for line breaks, which stay, and of at most 64 KB.
Kernel::String CleanPrompt(std::string_view text, std::string_view secret);

// The text with the words that ask for the style.
std::string AddStyle(std::string_view prompt, RemoteInference::GenerationStyle style);

// A JSON string (RFC 8259, section 7) of valid UTF-8.
void AppendJsonString(std::string& json, std::string_view text);

// RFC 4648, section 4. Decoding is strict: no white space, whole groups, padding, zero bits below the last byte.
std::string EncodeBase64(std::string_view bytes);
std::optional<std::vector<std::byte>> DecodeBase64(std::string_view text);

} // namespace Learning
