// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/image_source.h"
#include "formats/svg/paint_server.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>
#include <random>

using namespace Formats::Svg;

namespace {

constexpr std::string_view c_seed =
    "<?xml version=\"1.0\"?><!DOCTYPE svg [<!ENTITY s \"fill:#ff8800\"><!ENTITY t '&s;;stroke:red'>]>\n"
    "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"20mm\" "
    "height=\"30\" viewBox=\"0 0 20 30\" preserveAspectRatio=\"xMinYMax slice\"><style><![CDATA[g > .a[x^='1'],#b "
    "rect:first-child{fill:hsl(10,20%,30%);stroke:rgb(1,2,3)!important} @media x{a{b:c}}]]></style><defs>"
    "<linearGradient id=\"lg\" xlink:href=\"#rg\" x1=\"10%\"/><radialGradient id=\"rg\" fx=\"2\" "
    "gradientTransform=\"rotate(30 1 2)\"><stop offset=\".5\" stop-color=\"#abc\"/></radialGradient>"
    "<pattern id=\"p\" width=\"2\" height=\"3\"><circle r=\"1\" fill=\"url(#p) red\"/></pattern>"
    "<symbol id=\"s\" viewBox=\"0 0 4 4\"><use href=\"#b\"/></symbol><clipPath id=\"c\" clip-path=\"url(#c)\">"
    "<rect width=\"5\" height=\"5\"/></clipPath></defs><g id=\"b\" clip-path=\"url(#c)\" transform=\"matrix(1 0 0 1 "
    "5,6)skewX(3)\" style=\"&t;;opacity:.5\"><rect class=\"a\" x=\"1\" y=\"2%\" width=\"3em\" height=\"4\" rx=\"1\" "
    "stroke-dasharray=\"1 2 3\" fill=\"url(#lg)\"/><polygon points=\"1 2,3-4 5e1.6\" fill=\"url(#p)\"/>"
    "<switch><path systemLanguage=\"de\" d=\"M1 2\"/><image href=\"data:image/png;base64,aGVsbG8=\"/></switch></g>"
    "<use href=\"#s\" width=\"10\" height=\"50%\"/></svg>";

// Reads everything that can be read of a drawing. Returns a number that depends on it, so that nothing is left out.
std::size_t ReadAll(std::string_view bytes) {
    ReadOptions options;
    options.limits.instances = 2000;
    Drawing drawing(bytes, options);
    std::size_t sum = 0;
    std::vector<Element> row{drawing.GetRoot()};
    while (!row.empty()) {
        Element const element = row.back();
        sum += element.GetTitle().size() + element.GetPoints().size() + element.GetPathData().size();
        sum += element.GetRect().has_value() + element.GetEllipse().has_value();
        for (std::string_view const id : {element.GetStyle().fill.server, element.GetStyle().stroke.server}) {
            if (id.empty())
                continue;
            auto const gradient = FindGradient(drawing, id);
            sum += gradient ? gradient->stops.size() : FindPattern(element, id).has_value();
        }
        if (auto const& id = element.GetOwnStyle().clipPath; !id.empty())
            sum += element.Follow(id, {ElementKind::ClipPath}, "clip-path").has_value();
        if (element.GetKind() == ElementKind::Image)
            sum += LoadImage(element).has_value();
        if (auto const child = element.GetFirstChild()) {
            row.push_back(*child);
            continue;
        }
        std::optional<Element> next;
        while (!row.empty() && !next) {
            next = row.back().GetNextSibling();
            row.pop_back();
        }
        if (next)
            row.push_back(*next);
    }
    return sum + drawing.GetReport().GetLines().size();
}

// True when the bytes are read, false when they are refused with a message; anything else ends the test program.
bool IsRead(std::string_view bytes) {
    try {
        ReadAll(bytes);
        return true;
    } catch (Kernel::Exception const& refused) {
        EXPECT_FALSE(refused.GetMessage().empty());
        return false;
    }
}

} // namespace

TEST(SvgMutation, TheSeedIsRead) { EXPECT_TRUE(IsRead(c_seed)); }

TEST(SvgMutation, EveryTruncationIsRefused) {
    for (std::size_t length = 0; length < c_seed.size(); ++length)
        EXPECT_FALSE(IsRead(c_seed.substr(0, length))) << length;
}

TEST(SvgMutation, ChangedBytesAreReadOrRefused) {
    std::mt19937 random(20250101);
    std::size_t read = 0;
    for (int round = 0; round < 8000; ++round) {
        std::string mutated(c_seed);
        for (unsigned changes = 1 + random() % 4; changes > 0; --changes)
            mutated[random() % mutated.size()] = static_cast<char>(random());
        read += IsRead(mutated);
    }
    EXPECT_GT(read, 100u);
}

TEST(SvgMutation, PiecesInOtherPlacesAreReadOrRefused) {
    static constexpr std::string_view c_pieces[] = {"1e308",
                                                    "-1e-400",
                                                    "NaN",
                                                    "url(#lg)",
                                                    "url(#",
                                                    "#s",
                                                    "&s;",
                                                    "&",
                                                    "<",
                                                    ">",
                                                    "\"",
                                                    "inherit",
                                                    "100%",
                                                    "<g>",
                                                    "</g>",
                                                    "}",
                                                    "{",
                                                    "/*",
                                                    "<!--",
                                                    "]]>",
                                                    "\\",
                                                    "(",
                                                    "matrix(",
                                                    "99999999999999999999",
                                                    "\xED\xA0\x80",
                                                    ":",
                                                    "!important",
                                                    "<use href='#b'/>",
                                                    "display:none",
                                                    "0",
                                                    "-",
                                                    "<![CDATA["};
    std::mt19937 random(20250102);
    std::size_t read = 0;
    for (int round = 0; round < 12000; ++round) {
        std::string mutated(c_seed);
        for (unsigned changes = 1 + random() % 3; changes > 0; --changes) {
            std::size_t const at = random() % mutated.size(), length = random() % 8;
            switch (random() % 3) {
            case 0:
                mutated.replace(at, std::min(length, mutated.size() - at), c_pieces[random() % std::size(c_pieces)]);
                break;
            case 1:
                mutated.insert(at, c_pieces[random() % std::size(c_pieces)]);
                break;
            default:
                mutated.insert(at, mutated.substr(random() % mutated.size(), random() % 200));
                break;
            }
        }
        read += IsRead(mutated);
    }
    EXPECT_GT(read, 1000u);
}
