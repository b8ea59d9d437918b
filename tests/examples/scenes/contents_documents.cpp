// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/contents_documents.h"

#include "platform/document/toc_visitor.h"
#include "platform/story/generated_text.h"

#include <algorithm>

namespace ExampleDocuments {

namespace {

Kernel::Counted<Story::Style const> MakeParagraphStyle(char const* name, double size, double indent) {
    auto const glyphs = Kernel::MakeCounted<Story::GlyphAtts>();
    glyphs->Set(Story::GlyphAtt::Double::Size, size);
    auto const paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
    paragraph->Set(Story::ParagraphAtt::Double::LeftIndent, indent);
    Story::Delta::Values values;
    values.glyphAtts = glyphs;
    values.paragraphAtts = paragraph;
    return Kernel::MakeCounted<Story::Style>(name, Story::StyleType::Paragraph, Kernel::String(),
                                             Kernel::MakeCounted<Story::Delta>(values));
}

Story::TocEntry MakeEntry(char const* listed, std::uint32_t level) {
    Story::TocEntry entry;
    entry.listedStyle = listed;
    entry.level = level;
    entry.paragraphStyle = Story::GetTocLineStyleName(level);
    return entry;
}

Story::ParagraphAttsRef MakeAtts(char const* style, Story::TocAttRef const& toc) {
    auto const atts = Kernel::MakeCounted<Story::ParagraphAtts>();
    if (*style != '\0')
        atts->Set(Story::ParagraphAtt::String::StyleName, style);
    if (toc)
        atts->Set(Story::ParagraphAtt::Object::Toc, Kernel::Counted<Kernel::Serialisable const>(toc.get()));
    return atts;
}

void AddStyles(DocumentController& controller, std::vector<Kernel::String> const& tables) {
    auto sheet = controller.GetDocument()->GetTextStyleSheet();
    // Several of these scenes may stand in one document.
    if (sheet->GetStyle(c_tocStyle))
        return;
    sheet = sheet->With(MakeParagraphStyle("Heading 1", 16, 0))
                ->With(MakeParagraphStyle("Heading 2", 12, 0))
                ->With(MakeParagraphStyle("Contents 1", 9, 0))
                ->With(MakeParagraphStyle("Contents 2", 9, 12));
    auto const addTocStyle = [&](Kernel::String const& name, char const* title) {
        sheet = sheet->With(Kernel::MakeCounted<Story::TocStyle const>(name, MakeTocDefinition(title)));
    };
    addTocStyle(c_tocStyle, "What is in it");
    for (auto const& [name, entry] :
         {std::pair("Book: 1", MakeEntry("Heading 1", 1)), std::pair("Book: 2", MakeEntry("Heading 2", 2))})
        sheet = sheet->With(Kernel::MakeCounted<Story::TocEntryStyle const>(name, c_tocStyle, entry));
    auto const defaultName = Story::TocAtt::GetDefaultTocStyleName().GetText();
    if (std::find(tables.begin(), tables.end(), defaultName) != tables.end())
        addTocStyle(defaultName, "Contents");
    controller.GetDocument()->SetTextStyleSheet(sheet);
}

} // namespace

Kernel::Counted<Story::TocStyleDelta const> MakeTocDefinition(char const* title) {
    auto const toc = Kernel::MakeCounted<Story::TocAtt>();
    toc->SetTitle(title);
    return Kernel::MakeCounted<Story::TocStyleDelta>(toc);
}

ContentsTexts TextsWithContents(DocumentController& controller, std::vector<Kernel::String> const& styles) {
    AddStyles(controller, styles);
    std::vector<Story::GeneratedParagraph> paragraphs;
    auto const add = [&](char const* style, char32_t const* text, Story::TocAttRef const& toc = {}) {
        paragraphs.push_back({Story::GlyphString(text), MakeAtts(style, toc), {}});
    };
    for (std::size_t i = 0; i != styles.size(); ++i)
        add("Contents 1", U"not made yet", Kernel::MakeCounted<Story::TocAtt>(styles[i], static_cast<unsigned>(i) + 1));
    add("Heading 1", U"The first chapter");
    add("", U"Some words that stand in a chapter, which go on for a line or two, as words do.");
    add("Heading 2", U"A section");
    add("", U"More words.");
    add("Heading 1", U"The second chapter");
    add("", U"The last words.");
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::ReplaceWithParagraphs(*story, story->GetAll(), paragraphs);
    ContentsTexts texts;
    texts.head = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 350, 260});
    texts.head->SetStory(story);
    texts.second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 300, 350, 600});
    Append(*controller.GetCurrentSpread(), texts.head);
    Append(*controller.GetCurrentSpread(), texts.second);
    texts.second->LinkBehind(*texts.head);
    return texts;
}

Kernel::Counted<Selection const> MakeCaretInTable(DocumentController& controller, std::size_t table) {
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(controller.GetDocument().get()), {});
    auto const& found = visitor.GetTables()[table];
    auto const place = static_cast<int>(found.range.begin) + 2;
    return Kernel::MakeCounted<Selection const>(found.text, Kernel::MakeCounted<TextSelection>(place, place));
}

} // namespace ExampleDocuments
