// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/story/made_fonts.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

// A font of colours that the tests find by its name: A is a red square with a green one in its lower half, B is a
// square in the text's own fill with a half transparent blue one over its lower half. Squares are 0.8 em wide.
std::string MakeColours() {
    using namespace MadeFonts;
    auto tables = MakeTables({"", "", "", MakeRectangle(0, 0, 800, 800), MakeRectangle(0, 0, 800, 400)});
    tables["hmtx"] = Bytes().U16(1000).U16(0).Zeros(8).Get();
    tables["name"] = MakeNames("Made Colours");
    tables["COLR"] = MakeLayers({{1, {{3, 0}, {4, 1}}}, {2, {{3, 0xFFFF}, {4, 2}}}});
    tables["CPAL"] = MakePalette({0xFF0000FF, 0x00FF00FF, 0x0000FF80});
    return MakeFile(tables);
}

// The folder of made fonts, which the tests' list of fonts looks into.
class FontFolder {
public:
    FontFolder() : m_folder(std::filesystem::temp_directory_path() / ("story-fonts-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(m_folder / "made-fonts");
        auto const font = MakeColours();
        std::ofstream(m_folder / "made-fonts" / "colours.ttf", std::ios::binary)
            .write(font.data(), static_cast<std::streamsize>(font.size()));
        setenv("XDG_DATA_HOME", m_folder.c_str(), 1);
        setenv("FONTCONFIG_FILE", REDRAFT_TEST_FONTS, 1);
    }
    ~FontFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

private:
    std::filesystem::path m_folder;
};

// Before anything asks for a font.
FontFolder const c_fonts;

} // namespace
