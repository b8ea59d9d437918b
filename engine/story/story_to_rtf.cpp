// SPDX-License-Identifier: Apache-2.0
#include "platform/story/story_to_rtf.h"

#include "engine/story/paragraph_numbers.h"
#include "engine/story/rtf_tables.h"
#include "engine/story/rtf_text.h"
#include "platform/kernel/cast.h"
#include "platform/story/hyperlink.h"
#include "platform/story/note.h"
#include "platform/story/reading_direction.h"
#include "platform/story/story_visitor.h"

#include <cmath>
#include <optional>
#include <unicode/uchar.h>
#include <unordered_map>

namespace Story {

namespace {

using AnchorNames = std::unordered_map<AnchorData const*, std::string>;

// Names of bookmarks for the anchors of a story, by the order in which they stand in it. Names that users give could be
// equal, or too long.
void FindAnchors(AnchorNames& names, Story const& story) {
    story.VisitObjects(story.GetAll(), [&](std::uint32_t, Kernel::Counted<Glyph const> const& glyph) {
        if (auto const* const note = Kernel::CastPointer<NoteGlyph const>(glyph.get()))
            FindAnchors(names, *note->GetStory());
        else if (auto const* const anchor = Kernel::CastPointer<AnchorGlyph const>(glyph.get()))
            names.try_emplace(anchor->GetAnchorData().get(), "anchor" + std::to_string(names.size() + 1));
        return true;
    });
}

enum class RunDirection { None, LeftToRight, RightToLeft };

RunDirection GetRunDirection(char32_t c) {
    if (c < 0x590)
        return c < 0x80 && ((c | 0x20) < U'a' || (c | 0x20) > U'z') ? RunDirection::None : RunDirection::LeftToRight;
    switch (u_charDirection(static_cast<UChar32>(c))) {
    case U_LEFT_TO_RIGHT:
        return RunDirection::LeftToRight;
    case U_RIGHT_TO_LEFT:
    case U_RIGHT_TO_LEFT_ARABIC:
        return RunDirection::RightToLeft;
    default:
        return RunDirection::None;
    }
}

bool HasRightToLeft(std::u32string_view text) {
    for (char32_t const c : text) {
        if (c >= 0x590 && GetRunDirection(c) == RunDirection::RightToLeft)
            return true;
    }
    return false;
}

class RtfWriter final : public StoryVisitor {
public:
    struct Shared {
        StyleSheet const& styles;
        FieldDataSource const* fields;
        Rtf::Tables& tables;
        AnchorNames const& anchors;
        // Those that have their bookmark.
        std::unordered_map<AnchorData const*, bool> marked;
        bool withNumbers;
    };
    // Null `numberer`: without numbers. `isNote`: the text begins with the note's mark.
    RtfWriter(Shared& shared, Kernel::Counted<Numberer> numberer, bool isNote)
        : m_shared(shared), m_numberer(std::move(numberer)), m_resolved(shared.styles), m_isNote(isNote) {}
    std::string const& GetText() const { return m_out; }

protected:
    void BeginParagraph(StoryPos const&, Paragraph const& paragraph, bool) override {
        m_paragraphAtts = paragraph.GetAtts();
        auto const& resolved = m_resolved.Resolve(m_paragraphAtts);
        auto const direction = static_cast<ParagraphDirection>(resolved->Get(ParagraphAtt::Enum::Direction));
        m_isRightToLeft = direction == ParagraphDirection::Automatic ? BeginsRightToLeft(paragraph.GetText())
                                                                     : direction == ParagraphDirection::RightToLeft;
        m_isMixed = m_isRightToLeft || HasRightToLeft(paragraph.GetText());
        auto& known = m_controls[m_isRightToLeft ? 1 : 0];
        if (known.first != resolved)
            known = {resolved, "\\pard\\plain" +
                                   m_shared.tables.GetParagraphStyle(resolved->Get(ParagraphAtt::String::StyleName)) +
                                   m_shared.tables.GetParagraphControls(*resolved, m_isRightToLeft)};
        m_out += known.second;
        m_out += ' ';
        if (m_isNote && !m_hasBegun)
            m_out += "{\\super\\chftn} ";
        m_hasBegun = true;
        auto const number = m_numberer ? m_numberer->Next(*resolved) : Kernel::String();
        if (!number.empty())
            WriteRun(DecodeUtf8(number.view()).text + U'\t', paragraph.GetRuns().front().atts);
    }
    void ReceiveText(StoryPos const&, std::u32string_view text, GlyphAttsRef const& atts) override {
        WriteLinked(text, atts);
    }
    void ReceiveObject(StoryPos const&, Kernel::Counted<Glyph const> const& glyph, GlyphAttsRef const& atts) override {
        if (auto const* const note = Kernel::CastPointer<NoteGlyph const>(glyph.get())) {
            WriteNote(*note, atts);
        } else if (auto const* const anchor = Kernel::CastPointer<AnchorGlyph const>(glyph.get())) {
            WriteBookmark(anchor->GetAnchorData().get());
        } else {
            auto const text = ExpandGlyph(*glyph, {m_shared.fields});
            auto const* const reference = Kernel::CastPointer<CrossReferenceGlyph const>(glyph.get());
            auto const target = reference == nullptr ? std::string() : GetTarget(reference->GetAnchorData().get());
            if (target.empty()) {
                WriteLinked(text, atts);
            } else {
                // A field within the field of a link would be none.
                SetLink(target);
                WriteRun(text, atts);
                SetLink({});
            }
        }
    }
    void EndParagraph(StoryPos const&, Paragraph const&, bool hasSeparator) override {
        SetLink({});
        if (hasSeparator)
            m_out += "\\par\n";
    }

private:
    // The instruction of a field without its name; empty for an anchor that has no bookmark here.
    std::string GetTarget(AnchorData const* anchor) const {
        auto const known = m_shared.anchors.find(anchor);
        return known == m_shared.anchors.end() ? std::string() : "\\\\l \"" + known->second + "\"";
    }
    void SetLink(std::string target) {
        if (target == m_link)
            return;
        if (!m_link.empty())
            m_out += "}}";
        m_link = std::move(target);
        if (!m_link.empty())
            ((m_out += "{\\field{\\*\\fldinst{HYPERLINK ") += m_link) += "}}{\\fldrslt ";
    }
    void WriteLinked(std::u32string_view text, GlyphAttsRef const& atts) {
        auto const resolved = m_shared.styles.Resolve(atts, m_paragraphAtts);
        auto const link = HyperlinkAtt::Of(*resolved);
        std::string target;
        if (link && link->GetAnchorData())
            target = GetTarget(link->GetAnchorData().get());
        else if (link)
            Rtf::AppendAddress(target, link->GetUrl().view());
        SetLink(std::move(target));
        WriteRun(text, atts);
    }
    void WriteRun(std::u32string_view text, GlyphAttsRef const& atts) {
        if (text.empty())
            return;
        auto const resolved = m_shared.styles.Resolve(atts, m_paragraphAtts);
        auto const style = resolved->Get(GlyphAtt::String::StyleName);
        auto const begin = [&] {
            m_out += '{';
            if (!style.empty())
                m_out += m_shared.tables.GetCharacterStyle(style);
        };
        if (!m_isMixed) {
            begin();
            (m_out += m_shared.tables.GetLetterControls(resolved)) += ' ';
            Rtf::AppendText(m_out, text);
            m_out += '}';
            return;
        }
        // Letters without a direction go with those in front of them.
        for (std::size_t at = 0; at != text.size();) {
            auto direction = RunDirection::None;
            std::size_t end = at;
            for (; end != text.size(); ++end) {
                auto const next = GetRunDirection(text[end]);
                if (next != RunDirection::None && direction != RunDirection::None && next != direction)
                    break;
                direction = next == RunDirection::None ? direction : next;
            }
            bool const isRightToLeft =
                direction == RunDirection::None ? m_isRightToLeft : direction == RunDirection::RightToLeft;
            begin();
            (m_out += m_shared.tables.GetDirectedControls(resolved, isRightToLeft)) += ' ';
            Rtf::AppendText(m_out, text.substr(at, end - at));
            m_out += '}';
            at = end;
        }
    }
    void WriteBookmark(AnchorData const* anchor) {
        auto const known = m_shared.anchors.find(anchor);
        if (known == m_shared.anchors.end() || !m_shared.marked.try_emplace(anchor, true).second)
            return;
        (m_out += "{\\*\\bkmkstart ") += known->second;
        ((m_out += "}{\\*\\bkmkend ") += known->second) += "}";
    }
    void WriteNote(NoteGlyph const& note, GlyphAttsRef const& atts) {
        SetLink({});
        auto const resolved = m_shared.styles.Resolve(atts, m_paragraphAtts);
        ((m_out += '{') += m_shared.tables.GetLetterControls(resolved)) += "\\super\\chftn}{\\footnote";
        if (note.GetKind() == NoteGlyph::Kind::Endnote)
            m_out += "\\ftnalt";
        m_out += ' ';
        auto const story = note.GetStory();
        RtfWriter writer(m_shared, m_shared.withNumbers ? Kernel::MakeCounted<Numberer>() : nullptr, true);
        writer.Visit(story->Bind(story->GetClientAll()));
        // A note without text still shows its mark.
        m_out += writer.m_hasBegun ? writer.m_out : "\\pard\\plain{\\super\\chftn} ";
        m_out += '}';
    }

    Shared& m_shared;
    Kernel::Counted<Numberer> m_numberer;
    ResolvedParagraphs m_resolved;
    bool m_isNote;
    bool m_hasBegun = false;
    bool m_isRightToLeft = false;
    // Letters of both directions, or of the other one than most readers have.
    bool m_isMixed = false;
    ParagraphAttsRef m_paragraphAtts;
    // Of the last paragraph of each direction.
    std::pair<ParagraphAttsRef, std::string> m_controls[2];
    std::string m_link;
    std::string m_out;
};

double GetPoints(double scale, double resolutionScale) {
    auto const isUsable = [](double value) { return std::isfinite(value) && value > 0; };
    constexpr double c_pointsPerUnit = 0.75;
    return isUsable(scale) ? 1 / scale : isUsable(resolutionScale) ? 1 / resolutionScale : c_pointsPerUnit;
}

constexpr double c_twipsPerPoint = 20;

Rtf::Scale GetScale(RtfPart const& part, double resolutionScale) {
    return {GetPoints(part.scaleX, resolutionScale), GetPoints(part.scaleY, resolutionScale)};
}

// Big-endian, as PNG has its numbers.
long ReadNumber(std::span<std::byte const> bytes) {
    long number = 0;
    for (std::byte const byte : bytes)
        number = number << 8 | std::to_integer<long>(byte);
    return number;
}

// A paragraph of its own.
void AppendPicture(std::string& out, RtfPart const& part) {
    // Of the file: the signature, the length and name of its first chunk, and in this the width and the height.
    constexpr std::size_t c_sizeAt = 16;
    constexpr double c_pageWidth = 6 * 72, c_pageHeight = 9 * 72;
    if (part.png.size() < c_sizeAt + 8 || !(part.width > 0) || !(part.height > 0))
        return;
    double const shrink = std::min({1.0, c_pageWidth / part.width, c_pageHeight / part.height});
    out += "\\pard\\plain{\\pict";
    if (!part.description.empty()) {
        out += "{\\*\\picprop{\\sp{\\sn wzDescription}{\\sv ";
        Rtf::AppendText(out, DecodeUtf8(part.description.view()).text);
        out += "}}}";
    }
    out += "\\pngblip";
    Rtf::AppendControl(out, "\\picw", ReadNumber(part.png.subspan(c_sizeAt, 4)));
    Rtf::AppendControl(out, "\\pich", ReadNumber(part.png.subspan(c_sizeAt + 4, 4)));
    Rtf::AppendControl(out, "\\picwgoal", std::lround(part.width * shrink * c_twipsPerPoint));
    Rtf::AppendControl(out, "\\pichgoal", std::lround(part.height * shrink * c_twipsPerPoint));
    out += '\n';
    constexpr std::size_t c_lineBytes = 64;
    for (std::size_t i = 0; i != part.png.size(); ++i) {
        auto const byte = std::to_integer<unsigned>(part.png[i]);
        out += "0123456789abcdef"[byte >> 4];
        out += "0123456789abcdef"[byte & 15];
        if (i % c_lineBytes == c_lineBytes - 1)
            out += '\n';
    }
    out += '}';
}

std::vector<char> WriteRtf(std::span<RtfPart const> parts, StyleSheet const& sheet,
                           Kernel::Counted<Numberer const> const& numberer, double resolutionScale, bool withNumbers) {
    AnchorNames anchors;
    bool hasNotes = false;
    RtfPart const* first = nullptr;
    for (auto const& part : parts) {
        if (!part.story)
            continue;
        FindAnchors(anchors, *part.story);
        hasNotes = hasNotes || part.story->CountNotes(part.story->GetAll()) != 0;
        first = first == nullptr ? &part : first;
    }
    auto const scale = first == nullptr ? Rtf::Scale() : GetScale(*first, resolutionScale);
    Rtf::Tables tables(sheet, scale);
    RtfWriter::Shared shared{sheet, nullptr, tables, anchors, {}, withNumbers};
    std::string body;
    for (auto const& part : parts) {
        if (!body.empty())
            body += "\\par\n";
        if (!part.story) {
            AppendPicture(body, part);
            continue;
        }
        shared.fields = part.fields.get();
        tables.SetScale(GetScale(part, resolutionScale));
        Kernel::Counted<Numberer> ownNumberer;
        if (withNumbers)
            ownNumberer = numberer ? numberer->Clone() : Kernel::MakeCounted<Numberer>();
        RtfWriter writer(shared, std::move(ownNumberer), false);
        writer.Visit(part.story->Bind(part.story->GetClientAll()));
        body += writer.GetText();
    }
    std::string head = "{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1\n" + tables.Print();
    if (first != nullptr) {
        double const tab =
            first->story->GetParagraphAtts(0)->Get(ParagraphAtt::Double::TabInterval) * scale.x * c_twipsPerPoint;
        Rtf::AppendControl(head, "\\deftab", std::lround(std::fmin(std::fmax(tab, 1), 31680)));
    }
    // Notes of both kinds, those at the end behind the document, in Arabic numerals.
    if (hasNotes)
        head += "\\fet2\\aenddoc\\ftnnar\\aftnnar";
    head += '\n';
    std::vector<char> rtf;
    rtf.reserve(head.size() + body.size() + 2);
    rtf.insert(rtf.end(), head.begin(), head.end());
    rtf.insert(rtf.end(), body.begin(), body.end());
    rtf.push_back('}');
    rtf.push_back('\n');
    return rtf;
}

} // namespace

std::vector<char> StoryToRtf(Kernel::Counted<Story const> const& story, Kernel::Counted<Table const> const&,
                             Kernel::Counted<StyleSheet const> const& styles,
                             Kernel::Counted<Numberer const> const& numberer, FieldDataSourceRef const& fields,
                             double scaleX, double scaleY, double resolutionScale, bool withNumbers) {
    RtfPart const part{.story = story, .fields = fields, .scaleX = scaleX, .scaleY = scaleY};
    return WriteRtf({&part, 1}, styles ? *styles : *StyleSheet::GetEmpty(), numberer, resolutionScale, withNumbers);
}

std::vector<char> StoriesToRtf(std::span<RtfPart const> parts, Kernel::Counted<StyleSheet const> const& styles,
                               double resolutionScale, bool withNumbers) {
    return WriteRtf(parts, styles ? *styles : *StyleSheet::GetEmpty(), {}, resolutionScale, withNumbers);
}

} // namespace Story
