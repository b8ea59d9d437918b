// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/field_documents.h"

#include "platform/document/custom_field_source.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"
#include "platform/story/linked_file.h"
#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"

namespace ExampleDocuments {

namespace {

using GlyphRef = Kernel::Counted<Story::Glyph const>;

Kernel::Counted<FrameTextNode> AppendFrame(DocumentController& controller, Kernel::RectT<double> const& rect,
                                           Story::GlyphString const& text) {
    auto const frame = Kernel::MakeCounted<FrameTextNode>(rect);
    frame->SetText(text, {}, {});
    Append(*controller.GetCurrentSpread(), frame);
    return frame;
}

std::u32string MakeFiller(int sentences) {
    std::u32string text;
    for (int i = 0; i != sentences; ++i)
        text += U"The words of this text go on and on. ";
    return text;
}

} // namespace

FieldTexts TextsWithFields(DocumentController& controller) {
    auto& source = controller.GetDocument()->GetCustomFieldSource();
    // Several of these scenes may stand in one document.
    if (!source.Has(c_titleField))
        source.AddField(c_titleField, "Title", "Of Anchors");
    if (!source.Has(c_authorField))
        source.AddField(c_authorField, "Author", "R. Penman");
    GlyphRef const title = Kernel::MakeCounted<Story::CustomFieldGlyph>(c_titleField);
    GlyphRef const author = Kernel::MakeCounted<Story::CustomFieldGlyph>(c_authorField);
    Story::GlyphString text(U"This is ");
    text.Add(title);
    text.Add(U", by ");
    text.Add(author);
    text.Add(U".\n" + MakeFiller(6));
    text.Add(title);
    text.Add(U" is read here, and\n" + MakeFiller(2));
    text.Add(title);
    Story::GlyphString shown(U"Running head: ");
    shown.Add(title);
    FieldTexts texts;
    texts.head = AppendFrame(controller, {50, 50, 250, 120}, text);
    texts.second = AppendFrame(controller, {50, 140, 250, 400}, Story::GlyphString());
    texts.second->LinkBehind(*texts.head);
    texts.other = AppendFrame(controller, {300, 50, 500, 120}, shown);
    texts.plain = AppendFrame(controller, {300, 140, 500, 200}, Story::GlyphString(U"A text without any."));
    Select(controller, {texts.plain});
    return texts;
}

Kernel::Counted<Story::CrossReferenceAtt const> MakeReferenceStyle(char const* name, char const* pattern) {
    return Kernel::MakeCounted<Story::CrossReferenceAtt>(name, pattern);
}

ReferenceTexts TextsWithReferences(DocumentController& controller) {
    using Story::CrossReferenceGlyph, Story::CrossReferenceTargetType;
    ReferenceTexts texts;
    texts.anchor = Kernel::MakeCounted<Story::AnchorData>("anchor-end", "The end");
    texts.otherAnchor = Kernel::MakeCounted<Story::AnchorData>("anchor-other", "Another place");
    auto const makeReference = [&](char const* style, char const* pattern, CrossReferenceTargetType type) {
        auto const glyph =
            Kernel::MakeCounted<CrossReferenceGlyph>(MakeReferenceStyle(style, pattern), type, texts.anchor, false);
        glyph->SetText("(old)");
        return GlyphRef(glyph);
    };
    Story::GlyphString text(U"See ");
    text.Add(makeReference("Page", "page {page}", CrossReferenceTargetType::Page));
    text.Add(U" and ");
    text.Add(makeReference("Words", "\xE2\x80\x9C{text}\xE2\x80\x9D", CrossReferenceTargetType::Text));
    text.Add(U".\n" + MakeFiller(8) + U"\n");
    text.Add(GlyphRef(Kernel::MakeCounted<Story::AnchorGlyph>(texts.anchor)));
    text.Add(U"The last words");
    Story::GlyphString other(U"Elsewhere ");
    other.Add(GlyphRef(Kernel::MakeCounted<Story::AnchorGlyph>(texts.otherAnchor)));
    texts.head = AppendFrame(controller, {50, 50, 250, 110}, text);
    texts.second = AppendFrame(controller, {50, 130, 250, 190}, Story::GlyphString());
    texts.third = AppendFrame(controller, {50, 210, 250, 400}, Story::GlyphString());
    texts.second->LinkBehind(*texts.head);
    texts.third->LinkBehind(*texts.second);
    texts.other = AppendFrame(controller, {300, 50, 500, 110}, other);
    Select(controller, {texts.second});
    return texts;
}

std::vector<Kernel::Counted<Story::CrossReferenceGlyph const>> ReferencesIn(Story::Story const& story) {
    std::vector<Kernel::Counted<Story::CrossReferenceGlyph const>> references;
    for (std::uint32_t i = 0; i != story.GetLength(); ++i) {
        if (auto const reference = Kernel::Cast<Story::CrossReferenceGlyph const>(story.GetGlyph(i)))
            references.push_back(reference);
    }
    return references;
}

Kernel::Counted<FrameTextNode> LinkedText(DocumentController& controller) {
    auto const frame =
        AppendFrame(controller, {50, 50, 350, 300}, Story::GlyphString(U"From a file.\nOur own.\nMore."));
    auto const link = [](char const* path) {
        return Story::MakeDelta(Story::ParagraphAtt::Object::LinkedFile,
                                Kernel::Counted<Kernel::Serialisable const>(
                                    Kernel::MakeCounted<Story::LinkedFileAtt>(Kernel::String(path))));
    };
    auto const story = frame->GetMutableStory(true);
    story->FormatText({0, 1}, *link("one.txt"));
    story->FormatText({story->GetLength() - 2, story->GetLength() - 1}, *link("two.txt"));
    frame->OnStoryChange(nullptr, true, Story::StoryChange(true), false);
    Select(controller, {frame});
    return frame;
}

std::vector<Kernel::Counted<Node>> ObjectsToCaption(DocumentController& controller) {
    auto const look = Kernel::MakeCounted<Story::GlyphAtts>();
    look->Set(Story::GlyphAtt::Double::Size, 30.0);
    Story::Delta::Values values;
    values.glyphAtts = look;
    auto const document = controller.GetDocument();
    document->SetTextStyleSheet(document->GetTextStyleSheet()->With(Kernel::MakeCounted<Story::Style>(
        "Caption", Story::StyleType::Paragraph, Kernel::String(), Kernel::MakeCounted<Story::Delta>(values))));
    auto const box = MakeRectangle({0, 0, 200, 100}, 0.2, 0.4, 0.8);
    box->SetTransform({0.8, -0.6, 200, 0.6, 0.8, 100}, false);
    auto const ellipse = MakeEllipse({400, 100, 500, 150});
    SetFill(*ellipse, 0.9, 0.6, 0.2);
    auto const group = Kernel::MakeCounted<GroupNode>();
    Append(*group, MakeRectangle({0, 0, 40, 30}, 0.2, 0.8, 0.4));
    group->SetTransform({2, 0, 300, 0, 2, 400}, false);
    std::vector<Kernel::Counted<Node>> const nodes{box, ellipse, group};
    for (auto const& node : nodes)
        Append(*controller.GetCurrentSpread(), node);
    Select(controller, nodes);
    return nodes;
}

} // namespace ExampleDocuments
