// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/service_text.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace Learning {

namespace {

constexpr std::size_t c_maximumLine = 300;
constexpr std::size_t c_maximumPrompt = 64 << 10;

std::string ReplaceAll(std::string text, std::string_view what, std::string_view by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80; }

void CutAtCharacter(std::string& text, std::size_t size) {
    if (text.size() <= size)
        return;
    while (size != 0 && IsContinuation(text[size]))
        --size;
    text.resize(size);
}

// Bytes of a control character, a line separator or a character that changes the direction of writing (the Unicode
// Standard, section 23.2) at this place of valid UTF-8; 0 for others.
std::size_t GetControlBytes(std::string_view text, std::size_t at) {
    auto const byte = [&](std::size_t index) {
        return at + index < text.size() ? static_cast<unsigned char>(text[at + index]) : 0u;
    };
    if (byte(0) < 0x20 || byte(0) == 0x7F)
        return 1;
    // U+0080 to U+009F, U+061C.
    if ((byte(0) == 0xC2 && byte(1) < 0xA0) || (byte(0) == 0xD8 && byte(1) == 0x9C))
        return 2;
    // U+200E, U+200F, U+2028 to U+202E, U+2066 to U+2069.
    if (byte(0) == 0xE2 && byte(1) == 0x80 &&
        (byte(2) == 0x8E || byte(2) == 0x8F || (byte(2) >= 0xA8 && byte(2) <= 0xAE)))
        return 3;
    if (byte(0) == 0xE2 && byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9)
        return 3;
    return 0;
}

std::string Clean(std::string_view text, std::string_view secret, bool keepLines, std::size_t maximum) {
    // So long that nothing of what stays is lost, and so short that hostile texts cost nothing.
    constexpr std::size_t c_looked = 1 << 20;
    // The border that makes malformed sequences harmless.
    auto raw = Kernel::String(text.substr(0, c_looked)).ToStdString();
    if (!secret.empty())
        raw = ReplaceAll(std::move(raw), secret, "***");
    std::string result;
    for (std::size_t at = 0; at != raw.size();) {
        auto const control = GetControlBytes(raw, at);
        bool const isSpace = (control != 0 && !(keepLines && raw[at] == '\n')) || (!keepLines && raw[at] == ' ');
        if (!isSpace)
            result.push_back(raw[at]);
        else if (!result.empty() && result.back() != ' ')
            result.push_back(' ');
        at += std::max<std::size_t>(control, 1);
    }
    CutAtCharacter(result, maximum);
    return result;
}

char const* GetStyleWords(RemoteInference::GenerationStyle style) {
    using enum RemoteInference::GenerationStyle;
    switch (style) {
    case None:
        return "";
    case Photo:
        return "a photograph, natural light, realistic detail";
    case Illustration:
        return "an editorial illustration, clear shapes";
    case Painting:
        return "an oil painting, visible brush strokes";
    case Watercolour:
        return "a watercolour painting on paper, soft washes";
    case Drawing:
        return "a pencil drawing on white paper";
    case Comic:
        return "a comic drawing, ink outlines, flat colours";
    case Pixels:
        return "pixel art, few colours, no smoothing";
    case Vector:
        return "flat shapes with clear edges, few plain colours, white background, no gradients, no shadows, no "
               "texture";
    }
    return "";
}

constexpr std::string_view c_digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t c_noDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDigitValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(c_noDigit);
    for (std::size_t i = 0; i != c_digits.size(); ++i)
        values[static_cast<unsigned char>(c_digits[i])] = static_cast<std::uint8_t>(i);
    return values;
}
constexpr auto c_digitValues = MakeDigitValues();

} // namespace

Kernel::String CleanLine(std::string_view text, std::string_view secret) {
    auto line = Clean(text, secret, false, c_maximumLine);
    while (!line.empty() && (line.back() == ' ' || line.back() == '.'))
        line.pop_back();
    return Kernel::String(line);
}

Kernel::String CleanPrompt(std::string_view text, std::string_view secret) {
    return Kernel::String(Clean(text, secret, true, c_maximumPrompt));
}

std::string AddStyle(std::string_view prompt, RemoteInference::GenerationStyle style) {
    std::string result(prompt);
    std::string_view const words = GetStyleWords(style);
    if (!words.empty())
        result.append(", ").append(words);
    return result;
}

void AppendJsonString(std::string& json, std::string_view text) {
    json.push_back('"');
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        if (byte == '"' || byte == '\\') {
            json.push_back('\\');
            json.push_back(character);
        } else if (byte < 0x20) {
            constexpr char c_hex[] = "0123456789abcdef";
            json.append("\\u00").push_back(c_hex[byte >> 4]);
            json.push_back(c_hex[byte & 15]);
        } else {
            json.push_back(character);
        }
    }
    json.push_back('"');
}

std::string EncodeBase64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    auto const byte = [&](std::size_t at) {
        return at < bytes.size() ? std::uint32_t{static_cast<unsigned char>(bytes[at])} : 0u;
    };
    std::size_t to = 0;
    for (std::size_t at = 0; at < bytes.size(); at += 3, to += 4) {
        std::uint32_t const group = byte(at) << 16 | byte(at + 1) << 8 | byte(at + 2);
        std::size_t const count = std::min<std::size_t>(bytes.size() - at, 3) + 1;
        for (std::size_t i = 0; i != count; ++i)
            text[to + i] = c_digits[group >> (18 - 6 * i) & 63];
    }
    return text;
}

std::optional<std::vector<std::byte>> DecodeBase64(std::string_view text) {
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding != 2 && padding < text.size() && text[text.size() - 1 - padding] == '=')
        ++padding;
    auto const value = [&](std::size_t at) { return c_digitValues[static_cast<unsigned char>(text[at])]; };
    std::vector<std::byte> bytes(text.size() / 4 * 3);
    auto* to = bytes.data();
    std::size_t const whole = padding == 0 ? text.size() : text.size() - 4;
    // Digits have no bits above the lowest six, and what is none has.
    std::uint32_t seen = 0;
    for (std::size_t at = 0; at != whole; at += 4) {
        std::uint32_t const a = value(at), b = value(at + 1), c = value(at + 2), d = value(at + 3);
        seen |= a | b | c | d;
        std::uint32_t const group = a << 18 | b << 12 | c << 6 | d;
        *to++ = static_cast<std::byte>(group >> 16);
        *to++ = static_cast<std::byte>(group >> 8);
        *to++ = static_cast<std::byte>(group);
    }
    if (seen > 63)
        return std::nullopt;
    if (padding != 0) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i != 4 - padding; ++i) {
            if (value(whole + i) == c_noDigit)
                return std::nullopt;
            group |= std::uint32_t{value(whole + i)} << (18 - 6 * i);
        }
        std::size_t const count = 3 - padding;
        if ((group & (0xFFFFFFu >> (8 * count))) != 0)
            return std::nullopt;
        for (std::size_t i = 0; i != count; ++i)
            *to++ = static_cast<std::byte>(group >> (16 - 8 * i));
    }
    bytes.resize(static_cast<std::size_t>(to - bytes.data()));
    return bytes;
}

} // namespace Learning
