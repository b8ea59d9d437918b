// SPDX-License-Identifier: Apache-2.0
#include "shell/film_strip.h"

#include "shell/export.h"
#include "shell/failure.h"
#include "shell/history_walk.h"
#include "shell/values.h"

#include "platform/kernel/exception.h"
#include "platform/raster/codec.h"

#include <algorithm>
#include <filesystem>

namespace Shell {

namespace {

// Of a picture's longer side, in pixels.
constexpr double c_pictureSide = 720;

constexpr std::string_view c_style = R"css(
:root { color-scheme: light dark; --line: #8884; --mark: #2a7de1; }
body { font: 15px/1.4 system-ui, sans-serif; margin: 2rem; }
h1 { font-size: 1.2rem; font-weight: 600; }
ol { display: grid; grid-template-columns: repeat(auto-fill, minmax(16rem, 1fr)); gap: 1.25rem; padding: 0; list-style: none; }
figure { margin: 0; border: 1px solid var(--line); border-radius: 6px; overflow: hidden; }
figure img { display: block; width: 100%; background: #fff; }
figcaption { padding: .5rem .75rem; border-top: 1px solid var(--line); }
figcaption b { font-variant-numeric: tabular-nums; margin-right: .4rem; }
figcaption small { display: block; opacity: .65; }
figcaption img { float: right; width: auto; max-width: 5rem; max-height: 3rem; margin-left: .5rem; border: 1px solid var(--line); border-radius: 3px; }
.current figure { border-color: var(--mark); box-shadow: 0 0 0 2px var(--mark); }
.undone { opacity: .55; }
)css";

std::string EscapeHtml(std::string_view text) {
    std::string escaped;
    for (char const c : OneLine(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

// "state" shows the whole spread, "step" what the step before the state touched.
std::string MakePictureName(char const* kind, std::size_t position, std::size_t count) {
    auto const digits = std::max<std::size_t>(3, std::to_string(count).size());
    auto const number = std::to_string(position);
    return kind + std::string("-") + std::string(digits - number.size(), '0') + number + ".png";
}

// Writes pixels that are there already, as PNG.
void WritePixels(OutputFiles& files, std::string const& path, Raster::BufferRGBA8 const& pixels) {
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(pixels.GetWidth());
    info.height = static_cast<std::uint32_t>(pixels.GetHeight());
    info.hasAlpha = true;
    info.isSrgb = true;
    auto const interleave = [&](std::uint32_t y, std::span<std::byte> row) {
        for (int channel = 0; channel != 4; ++channel) {
            auto const* const samples = pixels.GetRow(channel, static_cast<int>(y));
            for (std::size_t x = 0; x != info.width; ++x)
                row[4 * x + static_cast<std::size_t>(channel)] = std::byte{samples[x]};
        }
    };
    files.Begin(path);
    Guarded(ExitStatus::Output, path, [&] {
        Raster::EncodePng(info, interleave, [&](std::span<std::byte const> bytes) { files.Write(bytes); });
    });
    files.End();
}

// Writes a close picture of what the newest step touched, as it is after it. Empty when there is nothing to show.
std::string WriteCloseUp(Session& session, DocumentController& document, std::string const& folder) {
    auto const& history = *document.GetHistory();
    auto const position = history.GetPosition();
    auto const command = position == 0 ? nullptr : history.GetCommand(position - 1);
    if (!command)
        return {};
    auto const pixels =
        Guarded(ExitStatus::Input, session.GetDocumentPath(), [&]() -> decltype(command->GenerateHistoryThumbnail({})) {
            auto const reading = document.LockForReading();
            try {
                return command->GenerateHistoryThumbnail(command->GenerateHistoryInterestingRect());
            } catch (Kernel::DamagedDataException const&) {
                // The picture of the state tells of it.
                return {};
            }
        });
    if (!pixels)
        return {};
    auto const name = MakePictureName("step", position, history.GetCount());
    WritePixels(session.Files(), (std::filesystem::path(folder) / name).string(), *pixels);
    return name;
}

std::string FormatState(History const& history, std::size_t position, std::size_t current, std::string const& picture,
                        std::string const& closeUp) {
    auto const command = position == 0 ? nullptr : history.GetCommand(position - 1);
    std::string const text =
        position == 0 ? "The beginning" : history.GetDescription(position - 1).ToString().ToStdString();
    char const* const state = position == current  ? " class=\"current\""
                              : position > current ? " class=\"undone\""
                                                   : "";
    std::string html = std::string("<li") + state + "><figure><a href=\"" + picture + "\"><img src=\"" + picture +
                       "\" alt=\"\" loading=\"lazy\"></a>\n<figcaption>";
    if (!closeUp.empty())
        html += "<img src=\"" + closeUp + "\" alt=\"\" loading=\"lazy\">";
    html += "<b>" + std::to_string(position) + "</b>" + EscapeHtml(text);
    if (command)
        html += "<small>" + EscapeHtml(command->GetObjectClassProperties()->GetName()) + "</small>";
    return html + "</figcaption></figure></li>\n";
}

} // namespace

void WriteFilmStrip(Session& session, DocumentController& document, std::string const& folder) {
    auto const& history = *document.GetHistory();
    auto const current = history.GetPosition();
    auto const name = std::filesystem::path(session.GetDocumentPath()).filename().string();
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width\">\n<title>" +
                       EscapeHtml(name) + "</title>\n<style>" + std::string(c_style) + "</style>\n<h1>" +
                       EscapeHtml(name) + ": " + Count(history.GetCount(), "step", "steps") + ", at " +
                       std::to_string(current) + "</h1>\n<ol>\n";
    auto const box = document.GetCurrentSpread()->GetBaseBox(true);
    Formats::ExportOptions options;
    options.spread = document.GetCurrentSpread();
    options.pixelFormat = Raster::FormatRGBA8;
    options.scale = c_pictureSide / std::max(box.GetWidth(), box.GetHeight());
    session.Files().MakeFolder(folder);
    std::vector<std::string> states(history.GetCount() + 1);
    auto const show = [&](std::size_t position) {
        WalkTo(document, position, session.GetDocumentPath());
        auto const picture = MakePictureName("state", position, history.GetCount());
        WriteExport(session, document, (std::filesystem::path(folder) / picture).string(), Formats::ExportFormat::Png,
                    options);
        states[position] = FormatState(history, position, current, picture, WriteCloseUp(session, document, folder));
    };
    // Forward first, so that no step is done again that was done already.
    for (std::size_t position = current; position <= history.GetCount(); ++position)
        show(position);
    for (std::size_t position = current; position-- != 0;)
        show(position);
    for (auto const& state : states)
        html += state;
    session.Files().Begin((std::filesystem::path(folder) / "index.html").string());
    session.Files().Write(html + "</ol>\n</html>\n");
    session.Files().End();
}

} // namespace Shell
