// SPDX-License-Identifier: Apache-2.0
#include "formats/text/markdown_import.h"

#include "formats/text/markdown_notes.h"
#include "formats/text/text_styles.h"
#include "platform/document/pinned_node.h"
#include "platform/kernel/exception.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"

#include <algorithm>
#include <array>
#include <cmark.h>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <utility>

namespace Formats {

namespace {

using Story::GlyphAtt;
using Story::ParagraphAtt;

// Lengths in document units. What stands deep inside others stays in its column.
constexpr double c_pictureGap = 7;
constexpr double c_quoteIndent = 18, c_itemIndent = 22, c_codeIndent = 8, c_mostIndent = 120;
// Above a picture and below it a line of text has room in its column.
constexpr double c_mostOfColumn = 0.85;
// Longer code blocks become several paragraphs.
constexpr std::size_t c_codeParagraph = 10'000;

using NodePtr = std::unique_ptr<cmark_node, decltype(&cmark_node_free)>;

// Text without what takes the parser time that grows with the square of its length: rows of blank lines inside lists,
// of which it looks at all that are open at each, and very many brackets in one paragraph. Blank lines beyond the limit
// are left out, brackets are refused.
std::string Tame(std::u32string_view text) {
    constexpr std::size_t c_mostBlankLines = 16, c_mostBrackets = 10'000;
    std::u32string tamed;
    tamed.reserve(text.size());
    std::size_t blankLines = 0, brackets = 0;
    while (!text.empty()) {
        auto const end = std::min(text.find_first_of(U"\n\r"), text.size());
        auto line = text.substr(0, end);
        bool const isPair = end + 1 < text.size() && text[end] == U'\r' && text[end + 1] == U'\n';
        text.remove_prefix(std::min(end + (isPair ? 2 : 1), text.size()));
        if (line.find_first_not_of(U" \t") == line.npos) {
            brackets = 0;
            if (++blankLines > c_mostBlankLines)
                continue;
        } else {
            blankLines = 0;
            brackets += static_cast<std::size_t>(std::count(line.begin(), line.end(), U'['));
            if (brackets > c_mostBrackets)
                throw Kernel::Exception("has more than " + std::to_string(c_mostBrackets) +
                                        " brackets in one paragraph");
        }
        tamed += line;
        tamed += U'\n';
    }
    return Story::EncodeUtf8(tamed);
}

// How far a line of size 1 reaches above its baseline and below.
struct LineReach {
    double above = 0;
    double below = 0;
};

LineReach MeasureLine(Story::GlyphAttsRef const& atts) {
    constexpr double c_size = 100;
    auto sized = atts->Clone();
    sized->Set(GlyphAtt::Double::Size, c_size);
    auto const node = Kernel::MakeCounted<ArtTextNode>(Kernel::MakeCounted<Story::Story>(), Kernel::PointT<double>());
    node->SetText(std::u32string_view(U"\u00A0"), sized, Story::ParagraphAtts::GetDefault());
    auto const composed = node->MakeComposedText();
    for (auto const& column : *composed) {
        for (auto const& line : *column)
            return {std::max(line.GetAscent() / c_size, 0.1), std::max(line.GetDescent() / c_size, 0.0)};
    }
    return {1, 0};
}

NodePtr Parse(std::string const& markdown) {
    NodePtr root(cmark_parse_document(markdown.data(), markdown.size(), CMARK_OPT_DEFAULT), &cmark_node_free);
    if (!root)
        throw std::bad_alloc();
    // Brackets are nodes of their own at first.
    cmark_consolidate_text_nodes(root.get());
    return root;
}

// Walks the parser's tree and writes the story.
class MarkdownReader {
public:
    MarkdownReader(MarkdownOptions const& options, std::map<std::string, std::string, std::less<>> const& notes)
        : m_options(options), m_notes(notes), m_story(Kernel::MakeCounted<Story::Story>()), m_sink(m_story) {
        m_result.text.headings = 0;
    }

    ImportedMarkdown Read(cmark_node& root) {
        m_anchors = FindLinkedHeadings(root);
        std::unique_ptr<cmark_iter, decltype(&cmark_iter_free)> const walk(cmark_iter_new(&root), &cmark_iter_free);
        if (!walk)
            throw std::bad_alloc();
        std::size_t count = 0;
        for (auto event = cmark_iter_next(walk.get()); event != CMARK_EVENT_DONE; event = cmark_iter_next(walk.get())) {
            constexpr std::size_t c_betweenLooks = 4096;
            if (++count % c_betweenLooks == 0)
                m_options.work.CheckAbort();
            auto& node = *cmark_iter_get_node(walk.get());
            if (event == CMARK_EVENT_ENTER)
                Enter(node);
            else
                Leave(node);
        }
        m_sink.Flush();
        m_result.text.story = m_story;
        m_result.text.styles = GetMarkupStyles();
        return std::move(m_result);
    }

private:
    struct List {
        bool isOrdered = false;
        bool isTight = false;
        // Of the item that was begun last.
        int number = 0;
        char delimiter = '.';
        int bulletDepth = 0;
        Kernel::Counted<Story::NumberingAtt const> numbering;
    };
    using LinkRef = Kernel::Counted<Story::HyperlinkAtt const>;
    enum class Words { Emphasis, Strong, Code };

    void Enter(cmark_node& node) {
        switch (cmark_node_get_type(&node)) {
        case CMARK_NODE_BLOCK_QUOTE:
            ++m_quotes;
            m_goesOn = false;
            break;
        case CMARK_NODE_LIST:
            EnterList(node);
            break;
        case CMARK_NODE_ITEM:
            m_hasMarker = true;
            ++m_lists.back().number;
            break;
        // Made with their first word: a picture that is alone in one needs none.
        case CMARK_NODE_HEADING:
            m_headingLevel = cmark_node_get_heading_level(&node);
            m_isParagraphDue = true;
            break;
        case CMARK_NODE_PARAGRAPH:
            m_isParagraphDue = true;
            break;
        case CMARK_NODE_CODE_BLOCK:
            AddCodeBlock(GetLiteral(node));
            break;
        case CMARK_NODE_THEMATIC_BREAK:
            BeginParagraph(TextStyle::c_rule);
            AddText(U"*\u2003*\u2003*");
            m_goesOn = false;
            break;
        case CMARK_NODE_TEXT:
            AddWords(GetLiteral(node));
            break;
        case CMARK_NODE_SOFTBREAK:
            AddText(U" ");
            break;
        case CMARK_NODE_LINEBREAK:
            AddText({Story::c_lineSeparator});
            break;
        case CMARK_NODE_CODE:
            BeginWords(Words::Code);
            AddText(Story::DecodeUtf8(GetLiteral(node)).text);
            EndWords();
            break;
        case CMARK_NODE_EMPH:
            BeginWords(Words::Emphasis);
            break;
        case CMARK_NODE_STRONG:
            BeginWords(Words::Strong);
            break;
        case CMARK_NODE_LINK:
            m_links.push_back(MakeLink(GetText(cmark_node_get_url(&node))));
            m_hasLinkText = false;
            break;
        case CMARK_NODE_IMAGE:
            EnterImage(node);
            break;
        case CMARK_NODE_HTML_BLOCK:
        case CMARK_NODE_HTML_INLINE:
            AddHtml(GetLiteral(node));
            break;
        default:
            break;
        }
    }

    void Leave(cmark_node& node) {
        switch (cmark_node_get_type(&node)) {
        case CMARK_NODE_BLOCK_QUOTE:
            --m_quotes;
            m_goesOn = false;
            break;
        case CMARK_NODE_LIST:
            m_lists.pop_back();
            m_goesOn = false;
            break;
        case CMARK_NODE_ITEM:
            // An empty item shows its mark.
            if (m_hasMarker)
                BeginParagraph(TextStyle::c_list);
            break;
        case CMARK_NODE_HEADING:
            if (!m_isParagraphDue)
                AddAnchor(GetHeadingName(node));
            m_headingLevel = 0;
            m_isParagraphDue = false;
            m_goesOn = false;
            break;
        case CMARK_NODE_PARAGRAPH:
            m_isParagraphDue = false;
            break;
        case CMARK_NODE_EMPH:
        case CMARK_NODE_STRONG:
            EndWords();
            break;
        case CMARK_NODE_LINK:
            LeaveLink();
            break;
        case CMARK_NODE_IMAGE:
            LeaveImage();
            break;
        default:
            break;
        }
    }

    static std::string GetText(char const* text) { return text == nullptr ? std::string() : text; }
    static std::string GetLiteral(cmark_node& node) { return GetText(cmark_node_get_literal(&node)); }

    void BeginWords(Words words) {
        m_words.push_back(words);
        ++m_open[static_cast<std::size_t>(words)];
    }
    void EndWords() {
        --m_open[static_cast<std::size_t>(m_words.back())];
        m_words.pop_back();
    }

    // Adds text of the paragraph that is open.
    void Put(std::u32string_view text) {
        m_sink.Add(text);
        m_length += text.size();
    }

    void EnterList(cmark_node& node) {
        List list;
        list.isOrdered = cmark_node_get_list_type(&node) == CMARK_ORDERED_LIST;
        list.isTight = cmark_node_get_list_tight(&node) != 0;
        list.number = cmark_node_get_list_start(&node) - 1;
        list.delimiter = cmark_node_get_list_delim(&node) == CMARK_PAREN_DELIM ? ')' : '.';
        list.bulletDepth = m_lists.empty() ? 0 : m_lists.back().bulletDepth + 1;
        m_lists.push_back(list);
        BeginNumbers(list.number + 1);
    }

    // Numbers of the innermost list, from that item on.
    void BeginNumbers(int start) {
        constexpr char const* c_bullets[] = {"\u2022", "\u2013", "\u00B7"};
        auto& list = m_lists.back();
        Story::NumberingAtt::Values values;
        values.list = Kernel::String("list " + std::to_string(++m_listCount));
        values.level =
            static_cast<std::uint32_t>(std::min<std::size_t>(m_lists.size(), Story::NumberingAtt::c_levelCount) - 1);
        values.style = list.isOrdered ? Story::NumberStyle::Decimal : Story::NumberStyle::Bullet;
        values.format = list.isOrdered ? Kernel::String("{" + std::to_string(values.level + 1) + "}" + list.delimiter)
                                       : Kernel::String(c_bullets[std::min(list.bulletDepth, 2)]);
        values.start = start;
        // All bullets of one depth are alike, whatever list they belong to.
        if (!list.isOrdered)
            values.list = {};
        list.numbering = Kernel::MakeCounted<Story::NumberingAtt>(std::move(values));
    }

    // Attributes of a paragraph where it stands: equal ones are one object.
    Story::ParagraphAttsRef GetParagraphAtts(Kernel::String const& style, double leftIndent, double firstIndent,
                                             double rightIndent, bool isTight,
                                             Kernel::Counted<Story::NumberingAtt const> const& numbering) {
        auto& atts = m_paragraphAtts[std::tuple(style.ToStdString(), leftIndent, firstIndent, rightIndent, isTight,
                                                numbering.get())];
        if (atts)
            return atts;
        auto made = Kernel::MakeCounted<Story::ParagraphAtts>();
        made->Set(ParagraphAtt::String::StyleName, style);
        if (leftIndent != 0)
            made->Set(ParagraphAtt::Double::LeftIndent, leftIndent);
        if (rightIndent != 0)
            made->Set(ParagraphAtt::Double::RightIndent, rightIndent);
        if (firstIndent != 0) {
            made->Set(ParagraphAtt::Double::FirstIndent, firstIndent);
            made->Set(ParagraphAtt::Object::TabStops,
                      Kernel::Counted<Kernel::Serialisable const>(
                          Kernel::MakeCounted<Story::TabStops>(std::vector<Story::TabStop>{{leftIndent}})));
        }
        if (!isTight)
            made->Set(ParagraphAtt::Double::SpaceAfter, c_looseSpace);
        if (numbering)
            made->Set(ParagraphAtt::Object::Numbering, Kernel::Counted<Kernel::Serialisable const>(numbering.get()));
        atts = made;
        return atts;
    }

    void BeginParagraph(Kernel::String const& style) {
        if (!std::exchange(m_isFirst, false))
            Put(std::u32string(1, Story::c_paragraphSeparator));
        m_isParagraphDue = false;
        bool const isCode = style.view() == TextStyle::c_code;
        double left = c_quoteIndent * static_cast<double>(m_quotes) + (isCode ? c_codeIndent : 0.0);
        left = std::min(left + c_itemIndent * static_cast<double>(m_lists.size()), c_mostIndent);
        double const right = std::min(c_quoteIndent * static_cast<double>(m_quotes), c_mostIndent / 4);
        bool const isTight = m_lists.empty() || m_lists.back().isTight || style.view() != TextStyle::c_list;
        auto const numbering =
            std::exchange(m_hasMarker, false) ? m_lists.back().numbering : Kernel::Counted<Story::NumberingAtt const>();
        m_sink.SetParagraphAtts(
            GetParagraphAtts(style, left, numbering ? -c_itemIndent : 0.0, right, isTight, numbering));
        if (numbering)
            m_sink.SetGlyphAtts(GetGlyphAtts());
    }

    // The style of plain words here.
    Kernel::String GetBodyStyle() {
        if (!m_lists.empty())
            return TextStyle::c_list;
        if (m_quotes != 0)
            return TextStyle::c_quote;
        return m_goesOn ? TextStyle::c_body : TextStyle::c_first;
    }

    // The look of words by themselves: the innermost kind by its style, those around it by hand, since a glyph has one
    // style.
    Story::GlyphAttsRef GetGlyphAtts() {
        unsigned around = 0;
        for (unsigned words = 0; words != m_open.size(); ++words)
            around |= (m_open[words] != 0 ? 1u : 0u) << words;
        int const innermost = m_words.empty() ? -1 : static_cast<int>(m_words.back());
        auto const link = m_links.empty() ? LinkRef() : m_links.back();
        auto& atts = m_glyphAtts[std::tuple(around, innermost, link.get())];
        if (atts)
            return atts;
        constexpr char const* c_styles[] = {TextStyle::c_emphasis, TextStyle::c_strong, TextStyle::c_codeWords};
        constexpr double c_bold = 700;
        auto made = Kernel::MakeCounted<Story::GlyphAtts>();
        made->Set(GlyphAtt::String::Language, Kernel::String(m_options.language));
        auto const isAround = [&](Words words) {
            return innermost != static_cast<int>(words) && (around >> static_cast<unsigned>(words) & 1) != 0;
        };
        if (innermost >= 0)
            made->Set(GlyphAtt::String::StyleName, Kernel::String(c_styles[innermost]));
        else if (link)
            made->Set(GlyphAtt::String::StyleName, Kernel::String(TextStyle::c_link));
        if (link) {
            made->Set(GlyphAtt::Object::Hyperlink, Kernel::Counted<Kernel::Serialisable const>(link.get()));
            if (innermost >= 0)
                made->Set(GlyphAtt::Enum::Underline, 1);
        }
        if (isAround(Words::Emphasis))
            made->Set(GlyphAtt::Enum::Italic, 1);
        if (isAround(Words::Strong))
            made->Set(GlyphAtt::Double::Weight, c_bold);
        atts = made;
        return atts;
    }

    void AddText(std::u32string text) {
        // References may stand for characters that would part paragraphs.
        std::replace_if(
            text.begin(), text.end(),
            [](char32_t c) { return (c < 0x20 && c != U'\t') || c == 0x85 || c == Story::c_paragraphSeparator; }, U' ');
        if (m_images != 0) {
            m_imageText += text;
            return;
        }
        // Spaces at a paragraph's begin, as behind a picture, show nothing.
        if (m_isParagraphDue)
            text.erase(0, std::min(text.find_first_not_of(U" \t\u2028"), text.size()));
        if (text.empty())
            return;
        BeginDueParagraph();
        m_hasLinkText = true;
        m_sink.SetGlyphAtts(GetGlyphAtts());
        Put(text);
    }

    void BeginDueParagraph() {
        if (!m_isParagraphDue)
            return;
        if (m_headingLevel != 0) {
            BeginParagraph(GetHeadingStyleName(m_headingLevel));
            ++*m_result.text.headings;
        } else {
            BeginParagraph(GetBodyStyle());
            m_goesOn = true;
        }
    }

    // Words with references to notes among them.
    void AddWords(std::string_view words) {
        while (auto const reference = FindNoteReference(words)) {
            auto const note = m_notes.find(reference->label);
            auto const end = note == m_notes.end() ? reference->end : reference->begin;
            AddText(Story::DecodeUtf8(words.substr(0, end)).text);
            if (note != m_notes.end())
                AddNote(note->first, note->second);
            words.remove_prefix(reference->end);
        }
        AddText(Story::DecodeUtf8(words).text);
    }

    // A note that is referred to more than once is there as often.
    void AddNote(std::string const& label, std::string const& text) {
        constexpr std::size_t c_mostNoteBytes = std::size_t{64} << 20;
        if (m_images != 0)
            return;
        m_noteBytes += text.size() + 1;
        if (m_noteBytes > c_mostNoteBytes)
            throw Kernel::Exception("refers too often to its notes, such as " + label);
        m_result.usedNotes.insert(label);
        MarkdownOptions options = m_options;
        // A picture needs a place on a page, which a note has not.
        options.loadPicture = {};
        auto const note = Parse(text);
        std::map<std::string, std::string, std::less<>> const none;
        auto read = MarkdownReader(options, none).Read(*note);
        if (m_result.html == 0)
            m_result.firstHtml = read.firstHtml;
        m_result.html += read.html;
        BeginDueParagraph();
        m_hasLinkText = true;
        m_sink.SetGlyphAtts(GetGlyphAtts());
        m_sink.Add(Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::NoteGlyph>(
            Story::NoteGlyph::Kind::Footnote, Kernel::Counted<Story::Story const>(read.text.story))));
        ++m_length;
    }

    void AddCodeBlock(std::string const& literal) {
        auto code = Story::DecodeUtf8(literal).text;
        while (!code.empty() && code.back() == U'\n')
            code.pop_back();
        std::u32string_view rest = code;
        do {
            auto end = rest.size();
            if (end > c_codeParagraph) {
                auto const line = rest.rfind(U'\n', c_codeParagraph);
                end = line != rest.npos ? line : std::min(rest.find(U'\n'), rest.size());
            }
            std::u32string part;
            bool isLineBegin = true;
            for (char32_t const c : rest.substr(0, end)) {
                // Spaces at the begin of a line are part of the code.
                bool const isIndent = c == U' ' && isLineBegin, parts = c == 0x85 || c == Story::c_paragraphSeparator;
                part += c == U'\n' ? Story::c_lineSeparator : isIndent ? U'\u00A0' : parts ? U' ' : c;
                isLineBegin = c == U'\n' || (isLineBegin && c == U' ');
            }
            BeginParagraph(TextStyle::c_code);
            m_sink.SetGlyphAtts(GetGlyphAtts());
            Put(part);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        } while (!rest.empty());
        m_goesOn = false;
    }

    // Equal links are one object. Null for one that leads nowhere.
    LinkRef MakeLink(std::string const& target) {
        auto& link = m_knownLinks[target];
        if (link || target.empty())
            return link;
        if (target.front() != '#')
            link = Kernel::MakeCounted<Story::HyperlinkAtt>(Kernel::String(target));
        else if (auto const anchor = m_anchors.find(target.substr(1)); anchor != m_anchors.end())
            link = Kernel::MakeCounted<Story::HyperlinkAtt>(anchor->second);
        return link;
    }
    // A link without words shows its address.
    void LeaveLink() {
        if (!m_hasLinkText && m_links.back())
            AddText(Story::DecodeUtf8(m_links.back()->GetUrl().view()).text);
        m_links.pop_back();
    }

    using Anchors = std::map<std::string, Kernel::Counted<Story::AnchorData>>;
    // The name by which links within a text call a heading: its words in small letters, with hyphens for spaces and
    // without marks. Letters beyond ASCII stay as they are.
    static std::string GetHeadingName(cmark_node& heading) {
        std::string name;
        std::unique_ptr<cmark_iter, decltype(&cmark_iter_free)> const walk(cmark_iter_new(&heading), &cmark_iter_free);
        while (walk && cmark_iter_next(walk.get()) != CMARK_EVENT_DONE) {
            auto& node = *cmark_iter_get_node(walk.get());
            auto const type = cmark_node_get_type(&node);
            if (type == CMARK_NODE_SOFTBREAK)
                name += '-';
            if (type != CMARK_NODE_TEXT && type != CMARK_NODE_CODE)
                continue;
            for (char const c : GetLiteral(node)) {
                bool const isUpper = c >= 'A' && c <= 'Z', isDigit = c >= '0' && c <= '9';
                bool const isKept = (c >= 'a' && c <= 'z') || isDigit || c == '-' || c == '_' || (c & 0x80) != 0;
                if (c == ' ')
                    name += '-';
                else if (isUpper)
                    name += static_cast<char>(c - 'A' + 'a');
                else if (isKept)
                    name += c;
            }
        }
        return name;
    }
    // Anchors for the headings that links in the text lead to, by their names. The first of a name has it.
    static Anchors FindLinkedHeadings(cmark_node& root) {
        std::set<std::string> targets;
        Anchors anchors;
        std::unique_ptr<cmark_iter, decltype(&cmark_iter_free)> const walk(cmark_iter_new(&root), &cmark_iter_free);
        std::vector<std::string> names;
        for (auto event = CMARK_EVENT_NONE; walk && event != CMARK_EVENT_DONE; event = cmark_iter_next(walk.get())) {
            auto* const node = cmark_iter_get_node(walk.get());
            if (event != CMARK_EVENT_ENTER)
                continue;
            if (cmark_node_get_type(node) == CMARK_NODE_HEADING)
                names.push_back(GetHeadingName(*node));
            else if (cmark_node_get_type(node) == CMARK_NODE_LINK)
                targets.insert(GetText(cmark_node_get_url(node)));
        }
        for (auto const& name : names) {
            if (targets.contains("#" + name))
                anchors.try_emplace(name, Kernel::MakeCounted<Story::AnchorData>(Kernel::String("heading-" + name),
                                                                                 Kernel::String(name)));
        }
        return anchors;
    }
    void AddAnchor(std::string const& name) {
        auto const anchor = m_anchors.find(name);
        if (anchor == m_anchors.end() || !m_marked.insert(name).second)
            return;
        m_sink.Add(Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::AnchorGlyph>(anchor->second)));
        ++m_length;
    }

    void EnterImage(cmark_node& node) {
        if (m_images++ != 0)
            return;
        m_imageText.clear();
        m_picture = m_options.loadPicture ? m_options.loadPicture(GetText(cmark_node_get_url(&node))) : std::nullopt;
    }

    void LeaveImage() {
        if (--m_images != 0)
            return;
        auto const alternative = std::exchange(m_imageText, {});
        if (!m_picture) {
            // The words that stand for a picture that is not there.
            if (!alternative.empty())
                AddText(U"[" + alternative + U"]");
            return;
        }
        auto const picture = *std::exchange(m_picture, std::nullopt);
        auto const column = GetTextColumnSize();
        double const scale =
            std::min({1.0, column.width / picture.size.width, column.height * c_mostOfColumn / picture.size.height});
        TextPicture placed;
        placed.node = picture.node;
        placed.size = {picture.size.width * scale, picture.size.height * scale};
        placed.node->SetTransform(Raster::AffineTransform::Params{scale, 0, 0, 0, scale, 0} * placed.node->GetMatrix(),
                                  false);
        if (!alternative.empty())
            placed.node->SetUserDescription(Kernel::String(Story::EncodeUtf8(alternative)));
        AddPictureLine(placed.size.height);
        placed.place = static_cast<std::uint32_t>(m_length - 1);
        // Exports that have no pages put the picture here.
        m_sink.Add(Kernel::Counted<Story::Glyph const>(
            new Story::PinGlyph(Kernel::MakeCounted<PinnedNode>(Kernel::Counted<Node>(placed.node)))));
        ++m_length;
        m_result.text.pictures.push_back(std::move(placed));
        // The rest of the paragraph is another one.
        m_isParagraphDue = true;
        m_goesOn = false;
    }

    // A line as high as the picture, which stands over it.
    void AddPictureLine(double height) {
        auto plain = Kernel::MakeCounted<Story::GlyphAtts>();
        plain->Set(GlyphAtt::String::Language, Kernel::String(m_options.language));
        plain->Set(GlyphAtt::String::FontFamily, Kernel::String("serif"));
        if (m_line.above == 0)
            m_line = MeasureLine(plain);
        double const size = height / (m_line.above + m_line.below);
        plain->Set(GlyphAtt::Double::Size, size);
        // A picture has no mark in front, and later items count it.
        if (std::exchange(m_hasMarker, false) && m_lists.back().isOrdered)
            BeginNumbers(m_lists.back().number + 1);
        BeginParagraph(TextStyle::c_figure);
        auto atts = Kernel::MakeCounted<Story::ParagraphAtts>();
        atts->Set(ParagraphAtt::String::StyleName, Kernel::String(TextStyle::c_figure));
        atts->Set(ParagraphAtt::Enum::LeadingMode, static_cast<int>(Story::LeadingMode::Exact));
        // Leading counts from the baseline above; what hangs below is room before the next paragraph.
        atts->Set(ParagraphAtt::Double::Leading, size * m_line.above + c_pictureGap / 2);
        atts->Set(ParagraphAtt::Double::SpaceAfter, size * m_line.below + c_pictureGap);
        m_sink.SetParagraphAtts(atts);
        m_sink.SetGlyphAtts(plain);
        Put(U"\u00A0");
    }

    void AddHtml(std::string const& html) {
        auto const isTag = [&](std::string_view tag) {
            return html.size() >= tag.size() && std::equal(tag.begin(), tag.end(), html.begin(), [](char a, char b) {
                       return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
                   });
        };
        if (isTag("<!--"))
            return;
        if (isTag("<br>") || isTag("<br/>") || isTag("<br />")) {
            AddText({Story::c_lineSeparator});
            return;
        }
        // An end belongs to its begin.
        if (isTag("</"))
            return;
        if (m_result.html++ == 0)
            m_result.firstHtml = html.substr(0, html.find_first_of(" \n\t>")) + ">";
    }

    static constexpr double c_looseSpace = 6;

    MarkdownOptions const& m_options;
    // Their Markdown by their labels.
    std::map<std::string, std::string, std::less<>> const& m_notes;
    // Of all notes so far.
    std::size_t m_noteBytes = 0;
    ImportedMarkdown m_result;
    Kernel::Counted<Story::Story> m_story;
    Story::GlyphSink m_sink;
    // The attributes keep alive what their keys name.
    std::map<std::tuple<std::string, double, double, double, bool, Story::NumberingAtt const*>, Story::ParagraphAttsRef>
        m_paragraphAtts;
    std::map<std::tuple<unsigned, int, Story::HyperlinkAtt const*>, Story::GlyphAttsRef> m_glyphAtts;
    std::map<std::string, LinkRef> m_knownLinks;
    Anchors m_anchors;
    // Names of headings that have their anchor.
    std::set<std::string> m_marked;
    std::size_t m_listCount = 0;
    std::size_t m_quotes = 0;
    std::vector<List> m_lists;
    std::vector<Words> m_words;
    // How many of each kind are open.
    std::array<std::size_t, 3> m_open{};
    // Of the heading that is open; 0 for none.
    int m_headingLevel = 0;
    // Characters that were put into the story.
    std::size_t m_length = 0;
    std::vector<LinkRef> m_links;
    bool m_hasLinkText = false;
    // How many pictures are open: one may stand in the words for another.
    std::size_t m_images = 0;
    std::u32string m_imageText;
    std::optional<LoadedPicture> m_picture;
    // Of the letters that leave room for pictures.
    LineReach m_line;
    bool m_isFirst = true;
    bool m_isParagraphDue = false;
    // An item has begun and its mark is not written yet.
    bool m_hasMarker = false;
    // The paragraph before was plain words, too, so that the next one is indented.
    bool m_goesOn = false;
};

} // namespace

ImportedMarkdown ReadMarkdown(std::span<std::byte const> bytes, MarkdownOptions const& options) {
    auto decoded = DecodeFile(bytes, options.encoding);
    auto const source = TakeNotes(Tame(decoded.text));
    options.work.CheckAbort();
    auto const root = Parse(source.text);
    options.work.CheckAbort();
    auto result = MarkdownReader(options, source.notes).Read(*root);
    for (auto const& [label, text] : source.notes) {
        if (!result.usedNotes.contains(label))
            result.unusedNotes.push_back(label);
    }
    result.text.replaced = decoded.replaced;
    result.text.recognised = std::move(decoded.recognised);
    return result;
}

} // namespace Formats
