// SPDX-License-Identifier: Apache-2.0
// Documents and pictures for the pages of commands.
//
//   command-pictures documents FOLDER       CLASS.redraft of each command's first example
//   command-pictures pictures FOLDER OUT    OUT/CLASS-before.png and -after.png, where CLASS.redraft and
//                                           CLASS-after.redraft of the folder look different
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/kernel/files.h"
#include "platform/raster/codec.h"
#include "tests/examples/command_example.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using Rect = Kernel::RectT<double>;
using Pixels = std::vector<std::byte>;

// The middle of the page is that of the layers in the examples, which effects turn about.
constexpr Kernel::SizeT<double> c_page{380, 390};
constexpr double c_margin = 10;
constexpr int c_width = 240;
// Noise compresses badly: a larger file is made again in half the width.
constexpr std::size_t c_maximumBytes = 14000;

void WriteDocuments(fs::path const& folder) {
    fs::create_directories(folder);
    std::string last;
    for (auto const& example : CommandExample::GetAll()) {
        if (example.className == last)
            continue;
        last = example.className;
        auto const document = DocumentController::CreateNew(c_page, Raster::FormatRGBA8, 1);
        example.prepare(*document);
        // Effects are shown on whole layers.
        document->SetRasterSelection(Kernel::MakeCounted<SelectionRasterNode>());
        document->Save((folder / (last + ".redraft")).string());
    }
}

// The part of the page where something stands.
Rect GetContentArea(SpreadNode& spread) {
    Rect area;
    for (Node* node = spread.GetFirstChild(NodeChildListType::Plain); node != nullptr; node = node->GetNextSibling())
        area = area.United(node->GetBounds(true));
    auto const page = spread.GetBaseBox(true);
    return {std::max(area.left - c_margin, page.left), std::max(area.top - c_margin, page.top),
            std::min(area.right + c_margin, page.right), std::min(area.bottom + c_margin, page.bottom)};
}

struct Picture {
    Raster::ImageInfo info;
    // Rows of RGB.
    Pixels samples;
};

Picture Draw(SpreadNode const& spread, Rect const& area, int width) {
    SpreadPictureOptions options;
    options.area = area;
    options.scale = width / area.GetWidth();
    auto const target = MakeSpreadPicture(spread, options);
    Picture picture;
    picture.info.width = static_cast<std::uint32_t>(target->GetOptions().width);
    picture.info.height = static_cast<std::uint32_t>(target->GetOptions().height);
    picture.info.isSrgb = true;
    auto const buffer = target->Render({0, 0, target->GetOptions().width, target->GetOptions().height});
    for (int y = 0; y != buffer->GetHeight(); ++y) {
        for (int x = 0; x != buffer->GetWidth(); ++x) {
            for (int channel = 0; channel != 3; ++channel)
                picture.samples.push_back(static_cast<std::byte const*>(buffer->GetRow(channel, y))[x]);
        }
    }
    return picture;
}

Pixels Encode(Picture const& picture) {
    Pixels file;
    auto const rowBytes = std::size_t{picture.info.width} * 3;
    Raster::EncodePng(
        picture.info,
        [&](std::uint32_t y, std::span<std::byte> row) {
            std::copy_n(picture.samples.begin() + static_cast<std::ptrdiff_t>(y * rowBytes), rowBytes, row.begin());
        },
        [&](std::span<std::byte const> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
    return file;
}

// Edges that are smoothed a little differently are nothing that a reader sees.
bool LookDifferent(Picture const& a, Picture const& b) {
    constexpr int c_visibleStep = 48;
    constexpr std::size_t c_samplesOfOneDifferent = 300;
    std::size_t different = 0;
    for (std::size_t i = 0; i != a.samples.size(); ++i)
        different +=
            std::abs(std::to_integer<int>(a.samples[i]) - std::to_integer<int>(b.samples[i])) > c_visibleStep ? 1 : 0;
    return different * c_samplesOfOneDifferent > a.samples.size();
}

void WritePictures(fs::path const& documents, std::string const& name, fs::path const& out) {
    auto const before = DocumentController::Open((documents / (name + ".redraft")).string(), true);
    auto const after = DocumentController::Open((documents / (name + "-after.redraft")).string(), true);
    auto const old = before->GetCurrentSpread(), now = after->GetCurrentSpread();
    auto const area = GetContentArea(*old).United(GetContentArea(*now));
    if (area.IsEmpty())
        return;
    for (int width = c_width; width >= c_width / 2; width /= 2) {
        auto const pictureBefore = Draw(*old, area, width), pictureAfter = Draw(*now, area, width);
        if (!LookDifferent(pictureBefore, pictureAfter))
            return;
        auto const fileBefore = Encode(pictureBefore), fileAfter = Encode(pictureAfter);
        Kernel::WriteWholeFile(Kernel::String((out / (name + "-before.png")).string()), fileBefore);
        Kernel::WriteWholeFile(Kernel::String((out / (name + "-after.png")).string()), fileAfter);
        if (std::max(fileBefore.size(), fileAfter.size()) <= c_maximumBytes)
            return;
    }
}

} // namespace

int main(int argumentCount, char** arguments) {
    std::string const mode = argumentCount > 1 ? arguments[1] : "";
    try {
        if (mode == "documents" && argumentCount == 3) {
            WriteDocuments(arguments[2]);
            return 0;
        }
        if (mode == "pictures" && argumentCount == 4) {
            fs::create_directories(arguments[3]);
            for (auto const& example : CommandExample::GetAll()) {
                if (fs::exists(fs::path(arguments[2]) / (example.className + "-after.redraft")))
                    WritePictures(arguments[2], example.className, arguments[3]);
            }
            return 0;
        }
    } catch (std::exception const& error) {
        std::fprintf(stderr, "command-pictures: %s\n", error.what());
        return 1;
    }
    std::fputs("command-pictures documents FOLDER | pictures FOLDER OUT\n", stderr);
    return 2;
}
