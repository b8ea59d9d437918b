// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/source_text.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <zlib.h>

namespace Formats::Svg {

namespace {

struct InflateStream {
    InflateStream() {
        // 15 bits of window, and 16 for a gzip header.
        if (inflateInit2(&stream, 15 + 16) != Z_OK)
            throw Kernel::Exception("no memory to decompress");
    }
    InflateStream(InflateStream const&) = delete;
    InflateStream& operator=(InflateStream const&) = delete;
    ~InflateStream() { inflateEnd(&stream); }
    z_stream stream{};
};

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

enum class Encoding { Utf8, Utf16Little, Utf16Big, Latin1 };

struct DetectedEncoding {
    Encoding encoding = Encoding::Utf8;
    std::size_t markLength = 0;
};

std::string AsciiLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return lower;
}

// The encoding named in an XML declaration of ASCII bytes; empty where none is.
std::string DeclaredEncoding(std::string_view bytes) {
    if (!bytes.starts_with("<?xml"))
        return {};
    std::string_view const declaration = bytes.substr(0, std::min<std::size_t>(bytes.find("?>"), 400));
    auto const name = declaration.find("encoding");
    if (name == std::string_view::npos)
        return {};
    auto const open = declaration.find_first_of("\"'", name);
    if (open == std::string_view::npos)
        return {};
    auto const close = declaration.find(declaration[open], open + 1);
    if (close == std::string_view::npos)
        return {};
    return AsciiLower(declaration.substr(open + 1, close - open - 1));
}

DetectedEncoding Detect(std::string_view bytes) {
    if (bytes.starts_with("\xEF\xBB\xBF"))
        return {Encoding::Utf8, 3};
    if (bytes.starts_with("\xFF\xFE"))
        return {Encoding::Utf16Little, 2};
    if (bytes.starts_with("\xFE\xFF"))
        return {Encoding::Utf16Big, 2};
    using namespace std::string_view_literals;
    if (bytes.starts_with("<\0"sv))
        return {Encoding::Utf16Little, 0};
    if (bytes.starts_with("\0<"sv))
        return {Encoding::Utf16Big, 0};
    std::string const declared = DeclaredEncoding(bytes);
    // A source that could be read so far and names UTF-16 is not in UTF-16: the name is wrong.
    static constexpr std::array<std::string_view, 4> c_asUtf8 = {"", "utf-8", "utf8", "utf-16"};
    if (std::find(c_asUtf8.begin(), c_asUtf8.end(), declared) != c_asUtf8.end())
        return {};
    static constexpr std::array<std::string_view, 9> c_asLatin1 = {
        "iso-8859-1", "iso8859-1", "iso_8859-1", "latin1", "latin-1", "windows-1252", "cp1252", "us-ascii", "ascii"};
    if (std::find(c_asLatin1.begin(), c_asLatin1.end(), declared) != c_asLatin1.end())
        return {Encoding::Latin1, 0};
    throw Kernel::Exception("the encoding " + Printable(declared, 40) + " is not supported");
}

std::string FromUtf16(std::string_view bytes, bool bigEndian, std::size_t& malformed) {
    std::string out;
    out.reserve(bytes.size() / 2 + bytes.size() / 8);
    auto unitAt = [&](std::size_t i) {
        auto const first = static_cast<unsigned char>(bytes[i]), second = static_cast<unsigned char>(bytes[i + 1]);
        return static_cast<char32_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        char32_t c = unitAt(i);
        if (c >= 0xD800 && c < 0xE000) {
            char32_t const low = c < 0xDC00 && i + 3 < bytes.size() ? unitAt(i + 2) : 0;
            if (low >= 0xDC00 && low < 0xE000) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            } else {
                c = 0xFFFD;
                ++malformed;
            }
        }
        AppendUtf8(out, c);
    }
    malformed += i < bytes.size() ? 1 : 0;
    return out;
}

std::string FromLatin1(std::string_view bytes) {
    // The characters of Windows-1252 from 80 to 9F; ISO 8859-1 has control characters there that XML text does not use.
    static constexpr std::array<char16_t, 32> c_upper = {
        0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 8);
    for (char const c : bytes) {
        auto const byte = static_cast<unsigned char>(c);
        AppendUtf8(out, byte >= 0x80 && byte < 0xA0 ? char32_t{c_upper[byte - 0x80]} : char32_t{byte});
    }
    return out;
}

// The length of the well-formed sequence at a place, or 0 with the length of its maximal malformed part.
std::size_t SequenceLength(std::string_view bytes, std::size_t at, std::size_t& malformedLength) {
    auto byteAt = [&](std::size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u; };
    unsigned const lead = byteAt(at);
    if (lead < 0x80)
        return 1;
    std::size_t length = lead >= 0xC2 && lead < 0xE0   ? 2
                         : lead >= 0xE0 && lead < 0xF0 ? 3
                         : lead >= 0xF0 && lead < 0xF5 ? 4
                                                       : 0;
    malformedLength = 1;
    if (length == 0)
        return 0;
    unsigned const low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned const high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (byteAt(at + 1) < low || byteAt(at + 1) > high)
        return 0;
    for (malformedLength = 2; malformedLength < length; ++malformedLength)
        if (byteAt(at + malformedLength) < 0x80 || byteAt(at + malformedLength) > 0xBF)
            return 0;
    return length;
}

// The length of the ASCII bytes at the start, found eight at a time.
std::size_t AsciiLength(std::string_view bytes) {
    constexpr std::uint64_t c_highBits = 0x8080808080808080;
    std::size_t i = 0;
    for (std::uint64_t word = 0; i + sizeof word <= bytes.size(); i += sizeof word) {
        std::memcpy(&word, bytes.data() + i, sizeof word);
        if ((word & c_highBits) != 0)
            break;
    }
    while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) < 0x80)
        ++i;
    return i;
}

std::string RepairUtf8(std::string_view bytes, std::size_t& malformed) {
    std::string out;
    out.reserve(bytes.size());
    std::size_t i = 0;
    while (i < bytes.size()) {
        std::size_t malformedLength = 0;
        std::size_t length = AsciiLength(bytes.substr(i));
        if (length == 0)
            length = SequenceLength(bytes, i, malformedLength);
        if (length != 0) {
            out.append(bytes, i, length);
            i += length;
        } else {
            out += "\xEF\xBF\xBD";
            ++malformed;
            i += malformedLength;
        }
    }
    return out;
}

} // namespace

bool IsGzip(std::string_view bytes) { return bytes.starts_with("\x1F\x8B"); }

std::string Inflate(std::string_view bytes, DrawingLimits const& limits) {
    InflateStream inflater;
    z_stream& stream = inflater.stream;
    std::string out;
    std::array<char, 1 << 16> buffer;
    std::size_t const allowed =
        std::min(limits.sourceBytes, std::max(limits.inflateFreeBytes, bytes.size() * limits.inflateRatio));
    std::size_t taken = 0;
    int status = Z_OK;
    while (status != Z_STREAM_END) {
        if (stream.avail_in == 0) {
            std::size_t const piece = std::min<std::size_t>(bytes.size() - taken, 1 << 20);
            if (piece == 0)
                throw Kernel::Exception("the compressed data ends too early");
            stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data() + taken));
            stream.avail_in = static_cast<uInt>(piece);
            taken += piece;
        }
        stream.next_out = reinterpret_cast<Bytef*>(buffer.data());
        stream.avail_out = static_cast<uInt>(buffer.size());
        status = inflate(&stream, Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR)
            throw Kernel::Exception("the compressed data is damaged");
        std::size_t const made = buffer.size() - stream.avail_out;
        if (out.size() + made > allowed)
            throw Kernel::Exception("the compressed data grows beyond " + std::to_string(allowed) + " bytes");
        out.append(buffer.data(), made);
    }
    return out;
}

std::string DecodeToUtf8(std::string_view bytes, DrawingLimits const& limits, Report& report) {
    if (bytes.size() > limits.sourceBytes)
        throw Kernel::Exception("the source is larger than " + std::to_string(limits.sourceBytes) + " bytes");
    DetectedEncoding const detected = Detect(bytes);
    bytes.remove_prefix(detected.markLength);
    std::size_t malformed = 0;
    std::string text;
    switch (detected.encoding) {
    case Encoding::Utf16Little:
    case Encoding::Utf16Big:
        text = FromUtf16(bytes, detected.encoding == Encoding::Utf16Big, malformed);
        break;
    case Encoding::Latin1:
        text = FromLatin1(bytes);
        break;
    case Encoding::Utf8:
        text = RepairUtf8(bytes, malformed);
        break;
    }
    if (malformed != 0)
        report.Add("malformed characters", {}, malformed);
    // XML has no zero character, and the parser would take it for the end.
    if (text.find('\0') != std::string::npos)
        throw Kernel::Exception("the source holds zero bytes: it is not XML");
    return text;
}

std::string ReadSourceText(std::string_view bytes, DrawingLimits const& limits, Report& report) {
    std::string inflated;
    if (IsGzip(bytes)) {
        inflated = Inflate(bytes, limits);
        bytes = inflated;
    }
    return ExpandEntities(DecodeToUtf8(bytes, limits, report), limits, report);
}

} // namespace Formats::Svg
