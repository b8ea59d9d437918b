// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/text_documents.h"

#include "tests/examples/scenes/shape_documents.h"

namespace ExampleDocuments {

Kernel::Counted<FrameTextNode> MakeTextFrame(Kernel::RectT<double> rect, char const* text) {
    auto frame = Kernel::MakeCounted<FrameTextNode>(rect);
    frame->SetText(Story::GlyphString(Kernel::String(text)), {}, {});
    return frame;
}

void TextFrames(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    constexpr char c_text[] = "A frame of text that is long enough to need some lines, with a hard\nbreak in it, and a "
                              "word at its end that does not stand alone.";
    auto const plain = MakeTextFrame({50, 50, 200, 250}, c_text);
    auto const columns = MakeTextFrame({0, 0, 300, 60}, c_text);
    auto const first = MakeTextFrame({50, 400, 200, 440}, c_text);
    auto const second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{250, 400, 400, 700});
    auto const empty = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{450, 400, 500, 410});
    auto const shape = MakeRectangle({400, 50, 450, 100}, 0.2, 0.4, 0.8);
    for (Kernel::Counted<Node> const& node :
         std::initializer_list<Kernel::Counted<Node>>{plain, columns, first, second, empty, shape})
        Append(*spread, node);
    columns->SetColumns(2, 20);
    columns->SetTransform({0.8, -0.6, 250, 0.6, 0.8, 200}, false);
    columns->SetFrameTextScale({1.5, 0, 0, 0, 1.25, 0});
    columns->SetUserDescription("Two columns");
    Append(*columns, MakeRectangle({0, 0, 10, 10}, 1, 0, 0));
    auto const story = columns->GetMutableStory(true);
    story->FormatText({0, 10}, *Story::MakeDelta(Story::GlyphAtt::Double::Size, 12));
    story->ReplaceText({20, 20}, Story::GlyphString(Kernel::Counted<Story::Glyph const>(
                                     Kernel::MakeCounted<Story::FillerTextGlyph>(6u))));
    columns->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    second->LinkBehind(*first);
    plain->SetOpacity(0.5);
    Select(controller, {plain, columns, second, empty, shape});
}

void TextAroundShapes(DocumentController& controller, bool wraps) {
    std::string text;
    for (int i = 0; i != 30; ++i)
        text += "The words of this text go on and on, so that all lines of the frame are full of them. ";
    auto const frame = MakeTextFrame({50, 50, 350, 450}, text.c_str());
    auto const first = MakeTextFrame({400, 50, 500, 150}, text.c_str());
    auto const second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{520, 50, 620, 450});
    auto const ellipse = MakeEllipse({-70, -50, 70, 50});
    SetFill(*ellipse, 0.9, 0.6, 0.2);
    ellipse->SetTransform({1, 0, 200, 0, 1, 160}, false);
    auto const group = Kernel::MakeCounted<GroupNode>();
    Append(*group, MakeRectangle({0, 0, 40, 30}, 0.2, 0.4, 0.8));
    Append(*group, MakeRectangle({30, 20, 90, 60}, 0.8, 0.4, 0.2));
    group->SetTransform({1.5, 0, 280, 0, 1.25, 320}, false);
    for (Kernel::Counted<Node> const& node :
         std::initializer_list<Kernel::Counted<Node>>{frame, first, second, ellipse, group})
        Append(*controller.GetCurrentSpread(), node);
    second->LinkBehind(*first);
    if (wraps) {
        ellipse->SetTextWrap(Story::WrapStyle::Around, {5, 5, 5, 5});
        group->SetTextWrapStyle(Story::WrapStyle::Around);
    }
    Select(controller, {ellipse, group});
}

} // namespace ExampleDocuments
