// SPDX-License-Identifier: Apache-2.0
// Imports a file, mirrors it with a command, and exports it: what a host program does with files of other programs.
//
//   convert IN OUT      IN: .svg .svgz .png .jpg .tif .txt; OUT: .svg .png .tif
#include "formats/export.h"
#include "formats/import.h"
#include "frame/view/flip_canvas_command.h"

#include <cstdio>

namespace {

void Tell(char const* path, Formats::Report const& report) {
    for (auto const& note : report.notes)
        std::fprintf(stderr, "%s: %s\n", path, Formats::Describe(note).c_str());
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fputs("convert IN OUT\n", stderr);
        return 2;
    }
    try {
        Formats::Report imported, exported;
        auto const document = Formats::Import(arguments[1], {}, &imported);
        Tell(arguments[1], imported);
        document->Run(Kernel::MakeCounted<Commands::FlipCanvasCommand>(true));
        Formats::Export(*document, arguments[2], {}, &exported);
        Tell(arguments[2], exported);
    } catch (Kernel::Exception const& error) {
        std::fprintf(stderr, "convert: %s\n", error.what());
        return 3;
    }
    return 0;
}
