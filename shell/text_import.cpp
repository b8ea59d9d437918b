// SPDX-License-Identifier: Apache-2.0
#include "shell/text_import.h"

#include "shell/interrupt.h"

#include "platform/document/text_nodes.h"
#include "platform/kernel/exception.h"

#include <algorithm>

namespace Shell {

namespace {

// A4 in units of 1/96 inch, with two columns between margins of 35 mm and 26 mm.
constexpr Kernel::SizeT<double> c_page{793.7, 1122.5};
constexpr double c_marginX = 132.85, c_marginY = 98;
constexpr int c_columns = 2;
constexpr double c_columnGap = 24;
constexpr double c_textSize = 14;
constexpr double c_firstIndent = 16;
// No text needs more pages than this without something being wrong with it.
constexpr std::size_t c_maximumPages = 100'000;

Story::DecodedText Decode(std::string_view bytes, std::string const& encoding) {
    if (encoding == "latin-1")
        return Story::DecodeLatin1(bytes);
    if (!encoding.empty() && encoding != "utf-8" && encoding != "utf-16")
        throw Kernel::Exception(Kernel::String("the encoding " + encoding + " is none of utf-8, utf-16, latin-1"));
    if (bytes.starts_with("\xFF\xFE"))
        return Story::DecodeUtf16(bytes.substr(2), false);
    if (bytes.starts_with("\xFE\xFF"))
        return Story::DecodeUtf16(bytes.substr(2), true);
    if (encoding == "utf-16")
        return Story::DecodeUtf16(bytes, false);
    return Story::DecodeUtf8(bytes.starts_with("\xEF\xBB\xBF") ? bytes.substr(3) : bytes);
}

std::vector<std::u32string_view> SplitLines(std::u32string_view text) {
    std::vector<std::u32string_view> lines;
    while (!text.empty()) {
        auto const end = std::min(text.find_first_of(U"\n\r\u0085\u2029"), text.size());
        lines.push_back(text.substr(0, end));
        bool const isPair = end + 1 < text.size() && text[end] == U'\r' && text[end + 1] == U'\n';
        text.remove_prefix(std::min(end + (isPair ? 2 : 1), text.size()));
    }
    return lines;
}

bool IsBlank(std::u32string_view line) { return line.find_first_not_of(U" \t\f") == line.npos; }

// Lines that were broken by a program are of about one length, and blank lines stand between paragraphs.
bool LooksBroken(std::vector<std::u32string_view> const& lines) {
    constexpr std::size_t c_shortest = 40, c_longest = 100;
    std::size_t blank = 0, typical = 0, longer = 0;
    for (auto const line : lines) {
        blank += IsBlank(line);
        typical += line.size() >= c_shortest && line.size() <= c_longest;
        longer += line.size() > c_longest;
    }
    return blank > 0 && typical > (lines.size() - blank) / 2 && longer < lines.size() / 100 + 1;
}

std::u32string_view Trimmed(std::u32string_view line) {
    auto const begin = std::min(line.find_first_not_of(U" \t\f"), line.size());
    auto const end = line.find_last_not_of(U" \t\f");
    return end == line.npos ? std::u32string_view() : line.substr(begin, end + 1 - begin);
}

std::u32string JoinLines(std::vector<std::u32string_view> const& lines) {
    std::u32string text;
    bool isOpen = false;
    for (auto const line : lines) {
        if (IsBlank(line)) {
            isOpen = false;
            continue;
        }
        if (!text.empty())
            text.push_back(isOpen ? U' ' : U'\n');
        text += Trimmed(line);
        isOpen = true;
    }
    return text;
}

Kernel::RectT<double> GetFrameRect(Kernel::RectT<double> const& page) {
    double const marginX = std::min(c_marginX, page.GetWidth() / 6),
                 marginY = std::min(c_marginY, page.GetHeight() / 6);
    return {page.left + marginX, page.top + marginY, page.right - marginX, page.bottom - marginY};
}

Kernel::Counted<FrameTextNode> MakeFrame(Kernel::RectT<double> const& page) {
    auto frame = Kernel::MakeCounted<FrameTextNode>(GetFrameRect(page));
    frame->SetColumns(c_columns, c_columnGap);
    return frame;
}

// The frames of a document would say the same, but they are made when their number is known.
std::size_t CountPages(Kernel::Counted<Story::Story const> const& story) {
    auto const rect = GetFrameRect({0, 0, c_page.width, c_page.height});
    double const width = (rect.GetWidth() - c_columnGap) / c_columns;
    Story::FrameGeometry geometry;
    geometry.columns = {{rect.left, rect.top, rect.left + width, rect.bottom},
                        {rect.right - width, rect.top, rect.right, rect.bottom}};
    bool abort = false;
    Interrupt::Scope const interrupt(&abort);
    auto const count = Story::CountFrames(*story, nullptr, geometry, c_maximumPages, &abort);
    if (count > c_maximumPages)
        throw Kernel::Exception("the text fills more than 100000 pages");
    return count;
}

} // namespace

ImportedText ReadText(std::span<std::byte const> bytes, TextOptions const& options) {
    auto decoded = Decode({reinterpret_cast<char const*>(bytes.data()), bytes.size()}, options.encoding);
    ImportedText result;
    result.replaced = decoded.replaced;
    auto const lines = SplitLines(decoded.text);
    if (!options.keepLines && LooksBroken(lines))
        decoded.text = JoinLines(lines);
    auto glyphAtts = Kernel::MakeCounted<Story::GlyphAtts>();
    glyphAtts->Set(Story::GlyphAtt::Double::Size, c_textSize);
    glyphAtts->Set(Story::GlyphAtt::String::FontFamily, Kernel::String("serif"));
    glyphAtts->Set(Story::GlyphAtt::String::Language, Kernel::String(options.language));
    auto paragraphAtts = Kernel::MakeCounted<Story::ParagraphAtts>();
    using ParagraphEnum = Story::ParagraphAtt::Enum;
    paragraphAtts->Set(ParagraphEnum::Alignment, static_cast<int>(Story::Alignment::Justify));
    paragraphAtts->Set(ParagraphEnum::Hyphenate, 1);
    paragraphAtts->Set(Story::ParagraphAtt::Double::FirstIndent, c_firstIndent);
    result.story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(result.story);
    sink.SetParagraphAtts(paragraphAtts);
    sink.SetGlyphAtts(glyphAtts);
    std::u32string_view text = decoded.text;
    while (!text.empty() && (text.back() == U'\n' || text.back() == U'\r'))
        text.remove_suffix(1);
    sink.Add(text);
    sink.Flush();
    return result;
}

Kernel::Counted<DocumentController> MakeTextDocument(Kernel::Counted<Story::Story const> const& story) {
    auto const pages = CountPages(story);
    auto document = DocumentController::CreateNew(c_page, Raster::FormatRGBA8, static_cast<int>(pages));
    std::vector<Kernel::Counted<FrameTextNode>> frames;
    for (auto const& spread : document->GetDocument()->GetSpreads()) {
        frames.push_back(MakeFrame(spread->GetBaseBox(false)));
        spread->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
    }
    frames.front()->SetStory(story);
    FrameTextNode::LinkAll(frames);
    return document;
}

bool PlaceText(Kernel::Counted<Story::Story const> const& story, SpreadNode& spread) {
    auto const frame = MakeFrame(spread.GetBaseBox(false));
    frame->SetStory(story);
    spread.InsertChild(NodeChildListType::Plain, frame, nullptr);
    return frame->MakeComposedText()->GetRange().end == story->GetLength();
}

} // namespace Shell
