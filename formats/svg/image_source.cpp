// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/image_source.h"

#include "formats/svg/scanner.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>

namespace Formats::Svg {

namespace {

// The values of the digits of RFC 4648, section 4, and of its URL form, section 5.
constexpr std::array<std::int8_t, 256> c_base64Values = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::size_t i = 0; i < 26; ++i) {
        values['A' + i] = static_cast<std::int8_t>(i);
        values['a' + i] = static_cast<std::int8_t>(26 + i);
    }
    for (std::size_t i = 0; i < 10; ++i)
        values['0' + i] = static_cast<std::int8_t>(52 + i);
    values['+'] = values['-'] = 62;
    values['/'] = values['_'] = 63;
    return values;
}();

} // namespace

bool HasScheme(std::string_view reference) {
    auto const colon = reference.find(':');
    return colon != std::string_view::npos && reference.substr(0, colon).find_first_of("/?#") == std::string_view::npos;
}

std::filesystem::path FindBelow(std::filesystem::path const& folder, std::string const& relative) {
    std::error_code error;
    std::filesystem::path const path(relative);
    if (path.is_absolute() || path.has_root_path())
        return {};
    auto const base = std::filesystem::canonical(folder, error);
    auto const file = error ? base : std::filesystem::canonical(base / path, error);
    if (error)
        return {};
    auto const [baseEnd, fileAt] = std::mismatch(base.begin(), base.end(), file.begin(), file.end());
    bool const isBelow = baseEnd == base.end() && fileAt != file.end();
    return isBelow && std::filesystem::is_regular_file(file, error) ? file : std::filesystem::path();
}

std::string DecodePercent(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const high = text[i] == '%' && i + 2 < text.size() ? HexDigit(text[i + 1]) : std::nullopt;
        auto const low = high ? HexDigit(text[i + 2]) : std::nullopt;
        if (low) {
            out += static_cast<char>(*high * 16 + *low);
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::optional<std::string> DecodeBase64(std::string_view text) {
    std::string out;
    out.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    int count = 0;
    std::size_t padding = 0;
    for (char const c : text) {
        if (IsSpace(c))
            continue;
        if (c == '=') {
            ++padding;
            continue;
        }
        int const value = c_base64Values[static_cast<unsigned char>(c)];
        if (value < 0 || padding != 0)
            return std::nullopt;
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        if (++count == 4) {
            out += static_cast<char>(bits >> 16);
            out += static_cast<char>(bits >> 8);
            out += static_cast<char>(bits);
            bits = 0;
            count = 0;
        }
    }
    if (count == 1 || padding > 2)
        return std::nullopt;
    if (count >= 2)
        out += static_cast<char>(bits >> (count == 2 ? 4 : 10));
    if (count == 3)
        out += static_cast<char>(bits >> 2);
    return out;
}

std::string EncodeBase64(std::string_view bytes) {
    constexpr std::string_view c_digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::size_t const count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            out += k <= count ? c_digits[bits >> (18 - 6 * k) & 63] : '=';
    }
    return out;
}

std::optional<ImageBytes> DecodeDataUri(std::string_view uri, std::size_t maxBytes) {
    uri = Trimmed(uri);
    auto const comma = uri.find(',');
    if (uri.size() < 5 || !EqualsIgnoringCase(uri.substr(0, 5), "data:") || comma == std::string_view::npos)
        return std::nullopt;
    std::string_view const header = uri.substr(5, comma - 5), data = uri.substr(comma + 1);
    if (data.size() / 4 * 3 > maxBytes)
        return std::nullopt;
    ImageBytes image;
    image.mediaType = LowerCase(Trimmed(header.substr(0, header.find(';'))));
    auto const parameter = header.rfind(';');
    bool const isBase64 =
        parameter != std::string_view::npos && EqualsIgnoringCase(Trimmed(header.substr(parameter + 1)), "base64");
    if (!isBase64) {
        image.bytes = DecodePercent(data);
        return image;
    }
    auto decoded = DecodeBase64(data.find('%') == std::string_view::npos ? std::string(data) : DecodePercent(data));
    if (!decoded)
        return std::nullopt;
    image.bytes = std::move(*decoded);
    return image;
}

std::optional<ImageBytes> LoadImage(Element const& image) {
    Report& report = image.GetDrawing().GetReport();
    ReadOptions const& options = image.GetDrawing().GetOptions();
    std::string_view const href = Trimmed(image.Find(Name::Href).value_or(std::string_view()));
    if (href.empty())
        return std::nullopt;
    if (EqualsIgnoringCase(href.substr(0, 5), "data:")) {
        auto decoded = DecodeDataUri(href, options.limits.imageBytes);
        if (!decoded)
            report.Add("broken image data", image.Describe());
        return decoded;
    }
    if (HasScheme(href) || options.folder.empty()) {
        report.Add("external reference", image.Describe());
        return std::nullopt;
    }
    ImageBytes result;
    result.file = DecodePercent(href.substr(0, href.find_first_of("?#")));
    std::filesystem::path const path =
        result.file.find('\0') == std::string::npos ? FindBelow(options.folder, result.file) : std::filesystem::path();
    std::error_code error;
    auto const size = path.empty() ? 0 : std::filesystem::file_size(path, error);
    if (path.empty() || error || size > options.limits.imageBytes) {
        report.Add("missing image file", image.Describe());
        return std::nullopt;
    }
    result.bytes.resize(static_cast<std::size_t>(size));
    std::ifstream stream(path, std::ios::binary);
    if (!stream.read(result.bytes.data(), static_cast<std::streamsize>(result.bytes.size()))) {
        report.Add("missing image file", image.Describe());
        return std::nullopt;
    }
    image.GetDrawing().AddFile((options.folder / result.file).lexically_normal());
    return result;
}

} // namespace Formats::Svg
