// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/text_renderer.h"

#include <algorithm>

namespace Formats::Svg {

namespace {

// Takes the outlines of text as nodes with a fill and a line.
class OutlineTarget final : public Renderer::NullRenderTarget {
public:
    std::vector<Kernel::Counted<PolyCurveNode>> const& GetNodes() const { return m_nodes; }

protected:
    void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves, Renderer::OpacityPair const&,
                            Renderer::BlendMode, Renderer::BlendOptions const&,
                            Renderer::FillDescriptorConst const& mainFill, Renderer::FillDescriptorConst const&,
                            Renderer::FillDescriptorConst const& lineFill,
                            Renderer::LineStyleDescriptorConst const& lineStyle,
                            Geometry::WindingOrderMode windingOrderMode) override {
        auto const placed = curves->Clone();
        placed->ApplyTransform(GetTransform());
        auto node = Kernel::MakeCounted<PolyCurveNode>();
        node->SetCurves(placed);
        node->SetWindingOrderMode(windingOrderMode);
        // Its transform leads to the space of the text, which the outline has left.
        auto const fill = Kernel::MakeCounted<Renderer::FillDescriptor>(mainFill);
        node->SetBrushFillDescriptor(fill->CloneWithNewTransform(GetTransform().GetParams() * mainFill.GetTransform()));
        if (lineStyle.IsLineStyleVisible(lineFill)) {
            node->SetLineStyleDescriptor(Kernel::MakeCounted<Renderer::LineStyleDescriptor>(lineStyle));
            node->SetPenFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(lineFill));
        }
        m_nodes.push_back(std::move(node));
    }

private:
    std::vector<Kernel::Counted<PolyCurveNode>> m_nodes;
};

// The outline of a text's frame with its fill and line; null where it shows none.
Kernel::Counted<PolyCurveNode> FindFrame(TextNode const& text) {
    auto const* const frame = Kernel::CastPointer<TextFrameInterface const>(&text);
    auto const outline = frame != nullptr ? frame->GetTextFrameAsCurves() : nullptr;
    auto const fill = text.GetBrushFillDescriptor(true);
    auto const line = text.GetLineStyleDescriptor();
    auto const pen = text.GetPenFillDescriptor();
    bool const hasFill = fill && !fill->IsFillNone(), hasLine = line && pen && line->IsLineStyleVisible(*pen);
    if (!outline || !(hasFill || hasLine))
        return {};
    auto node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(outline);
    node->SetWindingOrderMode(frame->GetTextFrameWindingOrderMode());
    if (hasFill)
        node->SetBrushFillDescriptor(fill);
    if (hasLine) {
        node->SetLineStyleDescriptor(line);
        node->SetPenFillDescriptor(pen);
    }
    return node;
}

} // namespace

// The style of a run, as far as attributes of any element can say it.
void Exporter::WriteTextLook(XmlWriter& out, Story::GlyphAtts const& atts) {
    using Story::GlyphAtt;
    double const scale = atts.Get(GlyphAtt::Double::LengthScale), size = atts.Get(GlyphAtt::Double::Size) * scale;
    if (auto const family = atts.Get(GlyphAtt::String::FontFamily); !family.empty())
        out.Attribute("font-family", family.view());
    out.Attribute("font-size", size);
    if (double const weight = atts.Get(GlyphAtt::Double::Weight); weight != 400)
        out.Attribute("font-weight", weight);
    if (atts.Get(GlyphAtt::Enum::Italic) != 0)
        out.Attribute("font-style", "italic");
    if (double const width = atts.Get(GlyphAtt::Double::Width); width != 100)
        out.Attribute("font-stretch", FormatNumber(width) + '%');
    if (atts.Get(GlyphAtt::Enum::SmallCaps) != 0)
        out.Attribute("font-variant", "small-caps");
    if (double const tracking = atts.Get(GlyphAtt::Double::Tracking); tracking != 0)
        out.Attribute("letter-spacing", FindMultiple(tracking, size));
    std::string decorations;
    for (auto const& [att, name] : {std::pair{GlyphAtt::Enum::Underline, "underline"},
                                    {GlyphAtt::Enum::Overline, "overline"},
                                    {GlyphAtt::Enum::Strikethrough, "line-through"}})
        if (atts.Get(att) != 0)
            decorations += (decorations.empty() ? "" : " ") + std::string(name);
    if (!decorations.empty())
        out.Attribute("text-decoration", decorations);
    if (atts.IsSet(GlyphAtt::String::Language))
        out.Attribute("xml:lang", atts.Get(GlyphAtt::String::Language).view());
}

// The style that needs an element of its own: properties that are no attributes, and shifts, which `text` has none of.
void Exporter::WriteSpanLook(XmlWriter& out, Story::GlyphAtts const& atts) {
    using Story::GlyphAtt;
    if (double const shift = atts.Get(GlyphAtt::Double::BaselineShift); shift != 0)
        out.Attribute("baseline-shift", shift * atts.Get(GlyphAtt::Double::LengthScale));
    std::string features = atts.Get(GlyphAtt::String::FontFeatures).ToStdString();
    if (atts.Get(GlyphAtt::Enum::Ligatures) == 0)
        features += (features.empty() ? "" : ", ") + std::string(R"("liga" 0, "clig" 0)");
    std::string style = features.empty() ? "" : "font-feature-settings:" + features;
    if (atts.Get(GlyphAtt::Enum::Kerning) == 0)
        style += (style.empty() ? "" : ";") + std::string("font-kerning:none");
    if (!style.empty())
        out.Attribute("style", style);
}

void Exporter::WriteTextPaints(Story::GlyphAtts const& atts, Node const& node) {
    using Story::GlyphAtt;
    auto const find = [&](GlyphAtt::Object att) {
        return Kernel::CastPointer<Renderer::FillDescriptor const>(atts.Get(att).get());
    };
    auto const* const fill = find(GlyphAtt::Object::Fill);
    Renderer::FillDescriptorConst const black{Renderer::Colour()};
    WritePaint("fill", fill != nullptr ? *fill : black, node);
    auto const* const line =
        Kernel::CastPointer<Renderer::LineStyleDescriptor const>(atts.Get(GlyphAtt::Object::LineStyle).get());
    auto const* const lineFill = find(GlyphAtt::Object::LineFill);
    if (line == nullptr || lineFill == nullptr)
        return;
    auto const paints = Kernel::MakeCounted<PolyCurveNode>();
    paints->SetLineStyleDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor const>(line));
    paints->SetPenFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const>(lineFill));
    WriteLine(*paints, node);
}

// Rows of one direction as one element, whose start tag is open. With a title where the id does not say the name.
void Exporter::WriteTextRows(XmlWriter& out, std::span<TextRow const> rows, Node const& node,
                             std::optional<std::string_view> title, bool hasPaints) {
    using Story::GlyphAtt;
    bool const isOneRow = rows.size() == 1;
    auto const isPlain = [](Story::GlyphAtts const& atts) {
        XmlWriter span;
        WriteSpanLook(span, atts);
        return span.GetText().empty();
    };
    auto const place = [&](TextRow const& row) {
        out.Attribute("x", row.place.x);
        out.Attribute("y", row.place.y);
        if (row.anchor != TextRow::Anchor::Start)
            out.Attribute("text-anchor", row.anchor == TextRow::Anchor::Middle ? "middle" : "end");
        if (row.wordSpacing != 0)
            out.Attribute("word-spacing", row.wordSpacing);
    };
    auto const look = [&](Story::GlyphAtts const& atts) {
        WriteTextLook(out, atts);
        if (hasPaints)
            WriteTextPaints(atts, node);
    };
    // White space counts, and nothing may stand between the tags.
    auto const span = [&](auto const& attributes, auto const& content) {
        out.Raw("<tspan");
        attributes();
        out.Raw(">");
        content();
        out.Raw("</tspan>");
    };
    bool const isOneRun = isOneRow && rows.front().runs.size() == 1 && isPlain(*rows.front().runs.front().atts);
    if (isOneRow)
        place(rows.front());
    if (rows.front().isRightToLeft)
        out.Attribute("direction", "rtl");
    auto const* const text = Kernel::CastPointer<TextNode const>(&node);
    if (text != nullptr && text->GetStory()->GetWritingMode() == Story::WritingMode::Vertical)
        out.Attribute("writing-mode", "vertical-rl");
    out.Attribute("xml:space", "preserve");
    if (isOneRun)
        look(*rows.front().runs.front().atts);
    out.Raw(">");
    if (title) {
        out.Raw("<title>");
        out.Text(*title);
        out.Raw("</title>");
    }
    for (TextRow const& row : rows) {
        auto const runs = [&] {
            for (TextRun const& run : row.runs) {
                if (isOneRun) {
                    out.Text(run.text);
                    continue;
                }
                span(
                    [&] {
                        look(*run.atts);
                        WriteSpanLook(out, *run.atts);
                    },
                    [&] { out.Text(run.text); });
            }
        };
        if (isOneRow)
            runs();
        else
            span([&] { place(row); }, runs);
    }
    out.Close("text");
}

// As text, in the order of its rows, a text element for each change of direction.
void Exporter::WriteText(TextNode const& text, Step const& step) {
    TextRows const found = FindTextRows(text);
    auto const& rows = found.rows;
    auto const frame = FindFrame(text);
    bool const isOneDirection = std::all_of(
        rows.begin(), rows.end(), [&](TextRow const& row) { return row.isRightToLeft == rows.front().isRightToLeft; });
    if (found.obstacle.empty() && isOneDirection && !rows.empty() && !frame && found.toNode.IsIdentity()) {
        m_out.Open("text");
        WriteCommon(text, step);
        auto const name = text.GetDescription(false);
        bool const isNamed = name.view() == FindId(text, step);
        return WriteTextRows(m_out, rows, text, isNamed ? std::nullopt : std::optional(name.view()), true);
    }
    m_out.Open("g");
    WriteCommon(text, step);
    m_out.EndStart();
    WriteTitle(m_out, text, FindId(text, step));
    if (frame)
        WriteOutline(*frame);
    if (!found.obstacle.empty()) {
        m_report.Add("text (exported as outlines) with " + std::string(found.obstacle), Describe(text));
        WriteTextOutlines(text);
    } else {
        for (std::size_t begin = 0; begin != rows.size();) {
            std::size_t end = begin + 1;
            while (end != rows.size() && rows[end].isRightToLeft == rows[begin].isRightToLeft)
                ++end;
            m_out.Open("text");
            if (!found.toNode.IsIdentity())
                m_out.Attribute("transform", found.toNode);
            WriteTextRows(m_out, std::span(rows).subspan(begin, end - begin), text, std::nullopt, true);
            begin = end;
        }
    }
    m_out.Close("g");
}

void Exporter::WriteOutline(PolyCurveNode const& node) {
    m_out.Open("path");
    WritePaints(node);
    WriteGeometry(m_out, node, "path", "fill-rule");
    m_out.EndEmpty();
}

void Exporter::WriteTextOutlines(TextNode const& text) {
    auto const target = Kernel::MakeCounted<OutlineTarget>();
    target->SetColourFormatAndProfiles(target->GetColourFormat(), m_profiles);
    Story::TextRenderer(target, text.MakeComposedText()).Render(Story::DrawMode::All, false);
    for (auto const& node : target->GetNodes())
        WriteOutline(*node);
}

} // namespace Formats::Svg
