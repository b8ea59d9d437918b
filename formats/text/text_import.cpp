// SPDX-License-Identifier: Apache-2.0
#include "formats/text/text_import.h"

#include "formats/text/text_styles.h"
#include "formats/text_pattern.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Formats {

namespace {

// A4 in units of 1/96 inch, with two columns between margins of 35 mm and 26 mm.
constexpr Kernel::SizeT<double> c_page{793.7, 1122.5};
constexpr double c_marginX = 132.85, c_marginY = 98;
constexpr int c_columns = 2;
constexpr double c_columnGap = 24;

constexpr std::string_view c_latin1 = "latin-1", c_windows1252 = "windows-1252";

// The characters of Windows code page 1252 from 0x80 to 0x9F, where Latin-1 has control characters. Five are not
// assigned.
constexpr char32_t c_windowsLetters[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                           0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                           0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                           0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

Story::DecodedText DecodeWindows1252(std::string_view bytes) {
    auto decoded = Story::DecodeLatin1(bytes);
    for (auto& c : decoded.text) {
        if (c >= 0x80 && c < 0xA0)
            c = c_windowsLetters[c - 0x80];
    }
    return decoded;
}

// UTF-8, unless so little beyond ASCII is well-formed that it must be chance: then the encoding with a character for
// every byte, which is named.
Story::DecodedText DecodeUnnamed(std::string_view bytes, std::string& recognised) {
    constexpr std::size_t c_chance = 10;
    auto decoded = Story::DecodeUtf8(bytes);
    auto const beyondAscii = static_cast<std::size_t>(
        std::count_if(decoded.text.begin(), decoded.text.end(), [](char32_t c) { return c >= 0x80; }));
    if (decoded.replaced == 0 || (beyondAscii - decoded.replaced) * c_chance > decoded.replaced)
        return decoded;
    bool const hasWindowsLetters =
        std::any_of(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0xE0) == 0x80; });
    recognised = hasWindowsLetters ? c_windows1252 : c_latin1;
    return hasWindowsLetters ? DecodeWindows1252(bytes) : Story::DecodeLatin1(bytes);
}

Story::DecodedText Decode(std::string_view bytes, std::string const& encoding, std::string& recognised) {
    if (encoding == c_latin1)
        return Story::DecodeLatin1(bytes);
    if (encoding == c_windows1252)
        return DecodeWindows1252(bytes);
    if (!encoding.empty() && encoding != "utf-8" && encoding != "utf-16")
        throw Kernel::Exception(
            Kernel::String("the encoding " + encoding + " is none of utf-8, utf-16, latin-1, windows-1252"));
    if (bytes.starts_with("\xFF\xFE"))
        return Story::DecodeUtf16(bytes.substr(2), false);
    if (bytes.starts_with("\xFE\xFF"))
        return Story::DecodeUtf16(bytes.substr(2), true);
    if (encoding == "utf-16")
        return Story::DecodeUtf16(bytes, false);
    bool const hasMark = bytes.starts_with("\xEF\xBB\xBF");
    if (hasMark || encoding == "utf-8")
        return Story::DecodeUtf8(bytes.substr(hasMark ? 3 : 0));
    return DecodeUnnamed(bytes, recognised);
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

// Lines between blank lines.
using Block = std::span<std::u32string_view const>;

std::vector<Block> FindBlocks(std::vector<std::u32string_view> const& lines) {
    std::vector<Block> blocks;
    for (std::size_t begin = 0; begin != lines.size();) {
        auto const isBlank = [&](std::size_t i) { return IsBlank(lines[i]); };
        std::size_t end = begin;
        while (end != lines.size() && !isBlank(end))
            ++end;
        if (end != begin)
            blocks.emplace_back(lines.data() + begin, end - begin);
        begin = end == lines.size() ? end : end + 1;
    }
    return blocks;
}

// Tells lines that were broken because the next word had no room from those that end where their writer wanted it.
class BrokenLineFinder {
public:
    explicit BrokenLineFinder(std::vector<Block> const& blocks) {
        std::vector<std::size_t> widths, lengths;
        for (auto const& block : blocks) {
            for (auto const line : block)
                lengths.push_back(Trimmed(line).size());
            // Long enough to tell by itself.
            if (block.size() >= c_tellingLines && IsFilled(block, GetLongest(block)))
                widths.push_back(GetLongest(block));
        }
        m_width = TakeQuantile(widths.empty() ? lengths : widths, widths.empty() ? 0.9 : 0.5);
        if (!widths.empty())
            return;
        // Of short paragraphs alone all are judged together.
        std::size_t breaks = 0, forced = 0;
        for (auto const& block : blocks) {
            breaks += block.size() - 1;
            forced += CountForced(block, m_width);
        }
        if (breaks == 0 || static_cast<double>(forced) < c_filledShare * static_cast<double>(breaks))
            m_width = 0;
    }

    // Whether the block is a paragraph that was broken to a width.
    bool IsBroken(Block const& block) const {
        auto const longest = GetLongest(block);
        bool const isFilled = IsFilled(block, longest);
        if (block.size() >= c_tellingLines && isFilled)
            return true;
        if (m_width == 0)
            return false;
        bool const isNearlyAsWide = static_cast<double>(longest) >= c_nearlyAsWide * static_cast<double>(m_width);
        return IsFilled(block, m_width) || (isFilled && isNearlyAsWide);
    }

private:
    static constexpr std::size_t c_tellingLines = 6;
    // Of breaks where the next word had no room. In verse about one half of lines happen to be so long.
    static constexpr double c_filledShare = 0.8;
    // A short paragraph may have been broken to less than the others, as a quotation is.
    static constexpr double c_nearlyAsWide = 0.8;

    static std::size_t GetLongest(Block const& block) {
        // One line may stick out: a long address is not broken.
        std::size_t longest = 0, second = 0;
        for (auto const line : block) {
            auto const length = Trimmed(line).size();
            second = std::max(second, std::min(length, longest));
            longest = std::max(longest, length);
        }
        return block.size() >= c_tellingLines ? second : longest;
    }

    static std::size_t CountForced(Block const& block, std::size_t width) {
        std::size_t forced = 0;
        for (std::size_t i = 0; i + 1 < block.size(); ++i) {
            auto const next = Trimmed(block[i + 1]);
            forced += Trimmed(block[i]).size() + 1 + std::min(next.find_first_of(U" \t"), next.size()) > width ? 1 : 0;
        }
        return forced;
    }

    static bool IsFilled(Block const& block, std::size_t width) {
        return static_cast<double>(CountForced(block, width)) >= c_filledShare * static_cast<double>(block.size() - 1);
    }

    static std::size_t TakeQuantile(std::vector<std::size_t> values, double share) {
        if (values.empty())
            return 0;
        auto const at = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), at, values.end());
        return *at;
    }

    // That the text was broken to; 0 when it was not.
    std::size_t m_width = 0;
};

// Blanks before a line that are more than the least indented of its block has are part of what verse looks like.
std::size_t GetIndent(std::u32string_view line) { return std::min(line.find_first_not_of(U" \t\f"), line.size()); }

// Calls add(text, isVerse) for each paragraph.
template <class F>
void JoinLines(std::vector<std::u32string_view> const& lines, TextLines kind, F const& add) {
    auto const blocks = FindBlocks(lines);
    BrokenLineFinder const finder(blocks);
    std::u32string text;
    for (auto const& block : blocks) {
        bool const joins = kind == TextLines::Join || finder.IsBroken(block);
        std::size_t indent = GetIndent(block.front());
        for (auto const line : block)
            indent = std::min(indent, GetIndent(line));
        text.clear();
        for (auto const& line : block) {
            if (&line != block.data())
                text.push_back(joins ? U' ' : Story::c_lineSeparator);
            if (!joins)
                text.append(GetIndent(line) - indent, U'\u00A0');
            text += Trimmed(line);
        }
        add(text, !joins && block.size() != 1);
    }
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
std::size_t CountPages(ImportedText const& text, std::size_t maximumPages, Work const& work) {
    auto const rect = GetFrameRect({0, 0, c_page.width, c_page.height});
    // Columns stand one below the other where lines run from top to bottom, in the turned space.
    auto const room = text.story->GetWritingMode() == Story::WritingMode::Vertical
                          ? Kernel::RectT<double>{rect.top, -rect.right, rect.bottom, -rect.left}
                          : rect;
    double const width = (room.GetWidth() - c_columnGap) / c_columns;
    Story::FrameGeometry geometry;
    geometry.columns = {{room.left, room.top, room.left + width, room.bottom},
                        {room.right - width, room.top, room.right, room.bottom}};
    auto const count = Story::CountFrames(*text.story, text.styles, geometry, maximumPages, work.abort,
                                          [&](float fraction) { work.Update(fraction); });
    if (count > maximumPages)
        throw Kernel::Exception("the text fills more than " + std::to_string(maximumPages) + " pages");
    return count;
}

// Puts each picture over the room that its line leaves for it. Those whose line has no place in a frame are left out.
void PlacePictures(ImportedText const& text, std::vector<Kernel::Counted<FrameTextNode>> const& frames) {
    if (text.pictures.empty())
        return;
    auto const composed = frames.front()->MakeComposedStory({});
    auto picture = text.pictures.begin();
    for (std::size_t i = 0; i != frames.size(); ++i) {
        auto const frame = composed->GetFrame(i);
        for (auto const& column : *frame) {
            for (auto const& line : *column) {
                if (picture == text.pictures.end())
                    return;
                auto const range = line.GetRange();
                if (picture->place < range.begin || picture->place >= range.end)
                    continue;
                auto const& rect = column->GetRect();
                double const left = rect.left + (rect.GetWidth() - picture->size.width) / 2;
                double const top = line.GetOrigin().y - line.GetAscent();
                picture->node->SetTransform(
                    Raster::AffineTransform::Params{1, 0, left, 0, 1, top} * picture->node->GetMatrix(), false);
                frames[i]->GetSpread()->InsertChild(NodeChildListType::Plain, picture->node, nullptr);
                ++picture;
            }
        }
    }
}

// Tells headings by their text.
class HeadingFinder {
public:
    explicit HeadingFinder(std::string const& expression) {
        if (expression.empty())
            return;
        try {
            m_pattern = std::make_unique<TextPattern>(expression);
        } catch (Kernel::Exception const& failure) {
            throw Kernel::Exception("the expression for headings " + std::string(failure.what()));
        }
    }
    bool IsOn() const { return m_pattern != nullptr; }
    std::size_t GetCount() const { return m_count; }
    // 0 for a paragraph that is none: one of many lines is a list, as a table of contents.
    int FindLevel(std::u32string_view paragraph) {
        constexpr std::ptrdiff_t c_mostBreaks = 2;
        if (!m_pattern || std::count(paragraph.begin(), paragraph.end(), Story::c_lineSeparator) > c_mostBreaks)
            return 0;
        auto const group = m_pattern->FindGroup(paragraph);
        if (!group)
            return 0;
        ++m_count;
        bool const namesLevel = group->size() == 2 && group->front() == 'h' && group->back() >= '1' &&
                                group->back() < '1' + c_headingLevels;
        return namesLevel ? group->back() - '0' : 1;
    }

private:
    std::unique_ptr<TextPattern const> m_pattern;
    std::size_t m_count = 0;
};

} // namespace

DecodedFile DecodeFile(std::span<std::byte const> bytes, std::string const& encoding) {
    DecodedFile file;
    auto decoded = Decode({reinterpret_cast<char const*>(bytes.data()), bytes.size()}, encoding, file.recognised);
    file.text = std::move(decoded.text);
    file.replaced = decoded.replaced;
    return file;
}

ImportedText ReadText(std::span<std::byte const> bytes, ImportOptions const& options) {
    ImportedText result;
    HeadingFinder headings(options.headings);
    auto decoded = DecodeFile(bytes, options.encoding);
    result.replaced = decoded.replaced;
    result.recognised = std::move(decoded.recognised);
    auto const language = Kernel::String(options.language);
    auto glyphAtts = Kernel::MakeCounted<Story::GlyphAtts>();
    glyphAtts->Set(Story::GlyphAtt::Double::Size, c_textSize);
    glyphAtts->Set(Story::GlyphAtt::String::FontFamily, Kernel::String("serif"));
    glyphAtts->Set(Story::GlyphAtt::String::Language, language);
    auto paragraphAtts = Kernel::MakeCounted<Story::ParagraphAtts>();
    using ParagraphEnum = Story::ParagraphAtt::Enum;
    paragraphAtts->Set(ParagraphEnum::Alignment, static_cast<int>(Story::Alignment::Justify));
    paragraphAtts->Set(ParagraphEnum::Hyphenate, 1);
    paragraphAtts->Set(Story::ParagraphAtt::Double::FirstIndent, c_firstIndent);
    auto verseAtts = Kernel::MakeCounted<Story::ParagraphAtts>();
    verseAtts->Set(Story::ParagraphAtt::Double::LeftIndent, c_firstIndent);
    // A heading looks as its style says.
    auto headingGlyphs = Kernel::MakeCounted<Story::GlyphAtts>();
    headingGlyphs->Set(Story::GlyphAtt::String::Language, language);
    Story::ParagraphAttsRef headingAtts[c_headingLevels + 1];
    for (int level = 1; level <= c_headingLevels; ++level) {
        auto atts = Kernel::MakeCounted<Story::ParagraphAtts>();
        atts->Set(Story::ParagraphAtt::String::StyleName, GetHeadingStyleName(level));
        headingAtts[level] = atts;
    }
    result.story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(result.story);
    sink.SetParagraphAtts(paragraphAtts);
    sink.SetGlyphAtts(glyphAtts);
    std::u32string_view text = decoded.text;
    while (!text.empty() && (text.back() == U'\n' || text.back() == U'\r'))
        text.remove_suffix(1);
    bool isFirst = true;
    auto const add = [&](std::u32string_view paragraph, bool isVerse) {
        if (!std::exchange(isFirst, false))
            sink.Add(U"\n");
        int const level = headings.FindLevel(paragraph);
        if (level != 0) {
            sink.SetParagraphAtts(headingAtts[level]);
            sink.SetGlyphAtts(headingGlyphs);
        } else {
            sink.SetParagraphAtts(isVerse ? Story::ParagraphAttsRef(verseAtts)
                                          : Story::ParagraphAttsRef(paragraphAtts));
            sink.SetGlyphAtts(glyphAtts);
        }
        sink.Add(paragraph);
    };
    auto const lines = SplitLines(text);
    if (options.lines == TextLines::Join || (options.lines == TextLines::Recognise && LooksBroken(lines))) {
        JoinLines(lines, options.lines, add);
    } else if (headings.IsOn()) {
        for (auto const line : lines)
            add(line, false);
    } else {
        sink.Add(text);
    }
    sink.Flush();
    if (options.isVertical)
        result.story->SetWritingMode(Story::WritingMode::Vertical);
    if (headings.IsOn()) {
        result.headings = headings.GetCount();
        result.styles = GetHeadingStyles();
    }
    return result;
}

Kernel::SizeT<double> GetTextColumnSize() {
    auto const rect = GetFrameRect({0, 0, c_page.width, c_page.height});
    return {(rect.GetWidth() - c_columnGap) / c_columns, rect.GetHeight()};
}

Kernel::Counted<DocumentController> MakeTextDocument(ImportedText const& text, std::size_t maximumPages,
                                                     Work const& work) {
    auto const pages = CountPages(text, maximumPages, work);
    auto document = DocumentController::CreateNew(c_page, Raster::FormatRGBA8, static_cast<int>(pages));
    if (text.styles)
        AddMissingStyles(*document->GetDocument(), *text.styles);
    std::vector<Kernel::Counted<FrameTextNode>> frames;
    for (auto const& spread : document->GetDocument()->GetSpreads()) {
        frames.push_back(MakeFrame(spread->GetBaseBox(false)));
        spread->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
    }
    frames.front()->SetStory(text.story);
    FrameTextNode::LinkAll(frames);
    PlacePictures(text, frames);
    return document;
}

bool PlaceText(ImportedText const& text, DocumentNode& document, SpreadNode& spread) {
    if (text.styles)
        AddMissingStyles(document, *text.styles);
    auto const frame = MakeFrame(spread.GetBaseBox(false));
    frame->SetStory(text.story);
    spread.InsertChild(NodeChildListType::Plain, frame, nullptr);
    PlacePictures(text, {frame});
    return frame->MakeComposedText()->GetRange().end == text.story->GetLength();
}

} // namespace Formats
