// SPDX-License-Identifier: Apache-2.0
// Typing, deleting and formatting text, and the objects in it.
#include "shell/inner_commands.h"
#include "shell/text_objects.h"
#include "shell/values.h"

#include "index/insert_index_mark_with_new_topic_command.h"
#include "platform/document/text_commands.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/kernel/cast.h"
#include "platform/story/cross_reference.h"

#include <algorithm>
#include <optional>

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::String;
using Kernel::Unstored;
using Command = Kernel::Counted<DocumentCommand>;
using Fill = Kernel::Counted<Renderer::FillDescriptor const>;

struct InsertText {
    static constexpr char c_name[] = "insert-text", c_class[] = "InsertTextCommand";
    static constexpr bool c_takesSelection = true;
    String text;
    static constexpr auto Fields() {
        return FieldList{Unstored{&InsertText::text}.As("text", "the new text, in place of the selected one")};
    }
    Command Make(ValueContext const& context) const {
        return Kernel::MakeCounted<InsertTextCommand>(text, context.selection);
    }
};

struct DeleteText {
    static constexpr char c_name[] = "delete-text", c_class[] = "DeleteTextCommand";
    static constexpr bool c_takesSelection = true;
    Command Make(ValueContext const& context) const {
        return Kernel::MakeCounted<DeleteTextCommand>(context.selection);
    }
};

constexpr std::string_view c_alignmentNames[] = {"start", "centre", "end", "justify", "left", "right"};

int ParseAlignment(std::string_view name) {
    for (std::size_t i = 0; i != std::size(c_alignmentNames); ++i) {
        if (c_alignmentNames[i] == name)
            return static_cast<int>(i);
    }
    throw ValueError("alignment is one of start, centre, end, justify, left, right, not " + Quote(name));
}

struct FormatText {
    static constexpr char c_name[] = "format-text", c_class[] = "FormatTextCommand";
    static constexpr bool c_takesSelection = true;
    std::optional<double> size, weight, tracking, leftIndent, rightIndent, firstIndent, spaceBefore, spaceAfter;
    std::optional<String> font, language, alignment;
    std::optional<bool> bold, italic, underline, strikethrough, smallCaps, hyphenate;
    std::optional<Fill> colour;
    static constexpr auto Fields() {
        using This = FormatText;
        return FieldList{
            Unstored{&This::size}.As("size", "of the letters, in px (1/96 inch)", std::nullopt),
            Unstored{&This::font}.As("font", "families, with commas between", std::nullopt),
            Unstored{&This::bold}.As("bold", "a weight of 700, or of 400", std::nullopt),
            Unstored{&This::weight}.As("weight", "from 1 to 1000; 400 is plain", std::nullopt),
            Unstored{&This::italic}.As("italic", "slanted letters", std::nullopt),
            Unstored{&This::underline}.As("underline", "a line below the words", std::nullopt),
            Unstored{&This::strikethrough}.As("strikethrough", "a line through the words", std::nullopt),
            Unstored{&This::smallCaps}.As("smallCaps", "small capitals", std::nullopt),
            Unstored{&This::tracking}.As("tracking", "added between letters, in em", std::nullopt),
            Unstored{&This::colour}.As("colour", "of the letters", std::nullopt),
            Unstored{&This::language}.As("language", "as en or pt-BR", std::nullopt),
            Unstored{&This::alignment}.As("alignment", "of whole paragraphs: start, centre, end, justify, left, right",
                                          std::nullopt),
            Unstored{&This::hyphenate}.As("hyphenate", "of whole paragraphs", std::nullopt),
            Unstored{&This::leftIndent}.As("leftIndent", "of whole paragraphs, in px (1/96 inch)", std::nullopt),
            Unstored{&This::rightIndent}.As("rightIndent", "of whole paragraphs, in px (1/96 inch)", std::nullopt),
            Unstored{&This::firstIndent}.As("firstIndent", "of first lines, beyond the left indent", std::nullopt),
            Unstored{&This::spaceBefore}.As("spaceBefore", "above paragraphs, in px (1/96 inch)", std::nullopt),
            Unstored{&This::spaceAfter}.As("spaceAfter", "below paragraphs, in px (1/96 inch)", std::nullopt)};
    }
    Command Make(ValueContext const& context) const {
        using Glyph = Story::GlyphAtt;
        using Paragraph = Story::ParagraphAtt;
        auto glyphs = Kernel::MakeCounted<Story::GlyphAtts>();
        auto paragraphs = Kernel::MakeCounted<Story::ParagraphAtts>();
        auto const set = [](auto& atts, auto att, auto const& value) {
            if (value)
                atts->Set(att, *value);
        };
        if ((size && !(*size > 0)) || (weight && !(*weight >= 1 && *weight <= 1000)))
            throw ValueError("needs a size above 0 and a weight from 1 to 1000");
        set(glyphs, Glyph::Double::Size, size);
        set(glyphs, Glyph::Double::Weight, bold ? std::optional(*bold ? 700.0 : 400.0) : weight);
        set(glyphs, Glyph::Double::Tracking, tracking);
        set(glyphs, Glyph::String::FontFamily, font);
        set(glyphs, Glyph::String::Language, language);
        set(glyphs, Glyph::Enum::Italic, italic);
        set(glyphs, Glyph::Enum::Underline, underline);
        set(glyphs, Glyph::Enum::Strikethrough, strikethrough);
        set(glyphs, Glyph::Enum::SmallCaps, smallCaps);
        if (colour) {
            auto const fill = *colour ? *colour : Kernel::MakeCounted<Renderer::FillDescriptor const>();
            glyphs->Set(Glyph::Object::Fill, Kernel::Counted<Kernel::Serialisable const>(fill.get()));
        }
        if (alignment)
            paragraphs->Set(Paragraph::Enum::Alignment, ParseAlignment(alignment->view()));
        set(paragraphs, Paragraph::Enum::Hyphenate, hyphenate);
        set(paragraphs, Paragraph::Double::LeftIndent, leftIndent);
        set(paragraphs, Paragraph::Double::RightIndent, rightIndent);
        set(paragraphs, Paragraph::Double::FirstIndent, firstIndent);
        set(paragraphs, Paragraph::Double::SpaceBefore, spaceBefore);
        set(paragraphs, Paragraph::Double::SpaceAfter, spaceAfter);
        if (glyphs->empty() && paragraphs->empty())
            throw ValueError("needs something to set; `redraft commands format-text` lists it");
        Story::Delta::Values values;
        if (!glyphs->empty())
            values.glyphAtts = glyphs;
        if (!paragraphs->empty())
            values.paragraphAtts = paragraphs;
        return Kernel::MakeCounted<FormatTextCommand>(Kernel::MakeCounted<Story::Delta>(values), context.selection);
    }
};

struct SetTextStyle {
    static constexpr char c_name[] = "set-text-style", c_class[] = "FormatTextCommand";
    static constexpr bool c_takesSelection = true;
    String style;
    bool keep = false;
    static constexpr auto Fields() {
        using This = SetTextStyle;
        return FieldList{Unstored{&This::style}.As("style", "the name of a style of the document: of paragraphs, which "
                                                            "it changes as a whole, or of characters"),
                         Unstored{&This::keep}.As("keep", "true keeps what was formatted by hand", false)};
    }
    Command Make(ValueContext const& context) const {
        auto const found = context.document.GetDocument()->GetTextStyleSheet()->GetStyle(style);
        if (!found)
            throw ValueError("names no style of the document: " + Quote(style.view()));
        auto const delta = found->GetType() == Story::StyleType::Character
                               ? Story::MakeDelta(Story::GlyphAtt::String::StyleName, style, !keep)
                               : Story::MakeDelta(Story::ParagraphAtt::String::StyleName, style, !keep);
        return Kernel::MakeCounted<FormatTextCommand>(delta, context.selection);
    }
};

Command MakeInsertGlyph(Kernel::Counted<Story::Glyph const> const& glyph, ValueContext const& context) {
    return Kernel::MakeCounted<InsertGlyphsCommand>(glyph, context.selection);
}

struct InsertField {
    static constexpr char c_name[] = "insert-field", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    String field;
    static constexpr auto Fields() {
        return FieldList{Unstored{&InsertField::field}.As(
            "field", "the name or GUID of a field of the document, page-number or page-count")};
    }
    Command Make(ValueContext const& context) const {
        if (field.view() == "page-number")
            return MakeInsertGlyph(Kernel::MakeCounted<Story::PageNumberGlyph>(), context);
        if (field.view() == "page-count")
            return MakeInsertGlyph(Kernel::MakeCounted<Story::PageCountGlyph>(), context);
        return MakeInsertGlyph(Kernel::MakeCounted<Story::CustomFieldGlyph>(FindField(context.document, field.view())),
                               context);
    }
};

struct InsertMetadata {
    static constexpr char c_name[] = "insert-metadata", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    String key;
    static constexpr auto Fields() {
        return FieldList{Unstored{&InsertMetadata::key}.As("key", "a key of metadata, as title or description")};
    }
    Command Make(ValueContext const& context) const {
        if (key.empty())
            throw ValueError("needs a key of metadata, as title or description");
        return MakeInsertGlyph(Kernel::MakeCounted<Story::MetadataGlyph>(key), context);
    }
};

struct InsertCaptionNumber {
    static constexpr char c_name[] = "insert-caption-number", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    Command Make(ValueContext const& context) const {
        return MakeInsertGlyph(Kernel::MakeCounted<Story::CaptionNumberGlyph>(), context);
    }
};

struct ExpandField {
    static constexpr char c_name[] = "expand-field", c_class[] = "ExpandFieldGlyphCommand";
    static constexpr bool c_takesSelection = true;
    Command Make(ValueContext const& context) const {
        return Kernel::MakeCounted<ExpandFieldGlyphCommand>(context.selection);
    }
};

struct SetFieldValue {
    static constexpr char c_name[] = "set-field-value", c_class[] = "SetCustomFieldValueCommand";
    static constexpr bool c_takesSelection = false;
    String field, value;
    static constexpr auto Fields() {
        using This = SetFieldValue;
        return FieldList{Unstored{&This::field}.As("field", "the name or GUID of a field of the document"),
                         Unstored{&This::value}.As("value", "the text that it shows from now on")};
    }
    Command Make(ValueContext const& context) const {
        return Kernel::MakeCounted<SetCustomFieldValueCommand>(FindField(context.document, field.view()), value);
    }
};

struct InsertAnchor {
    static constexpr char c_name[] = "insert-anchor", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    String name, id;
    static constexpr auto Fields() {
        using This = InsertAnchor;
        return FieldList{
            Unstored{&This::name}.As("name", "of the anchor, which stands in front of the selected text"),
            Unstored{&This::id}.As("id", "its identity; a new one where it is not given", std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        for (auto const& placed : FindAnchors(context.document)) {
            if (!id.empty() && placed.anchor->GetUid() == id)
                throw ValueError("has the id of another anchor: " + Quote(id.view()));
        }
        auto const anchor =
            Kernel::MakeCounted<Story::AnchorData>(id.empty() ? MakeAnchorId(context.document) : id, name);
        return Kernel::MakeCounted<InsertGlyphsCommand>(Kernel::MakeCounted<Story::AnchorGlyph>(anchor),
                                                        MakeCaret(*context.selection));
    }
};

struct InsertCrossReference {
    static constexpr char c_name[] = "insert-cross-reference", c_class[] = "InsertGlyphsCommand";
    static constexpr bool c_takesSelection = true;
    String anchor, show, style, pattern;
    static constexpr auto Fields() {
        using This = InsertCrossReference;
        return FieldList{
            Unstored{&This::anchor}.As("anchor", "the name or id of an anchor of the document"),
            Unstored{&This::show}.As("show", "page, text, name or number of the anchor's place",
                                     std::string_view("page")),
            Unstored{&This::style}.As("style", "a name for references that read alike", std::string_view()),
            Unstored{&This::pattern}.As("pattern",
                                        "how it reads: {text}, {page}, {name} and {number} stand for the anchor's, {} "
                                        "for what is shown",
                                        std::string_view("{}"))};
    }
    Command Make(ValueContext const& context) const {
        constexpr std::string_view c_shown[] = {"none", "page", "text", "name", "number"};
        auto const* const found = std::find(std::begin(c_shown), std::end(c_shown), show.view());
        if (found == std::end(c_shown))
            throw ValueError("shows page, text, name or number, not " + Quote(show.view()));
        auto const glyph = Kernel::MakeCounted<Story::CrossReferenceGlyph>(
            Kernel::MakeCounted<Story::CrossReferenceAtt>(style, pattern),
            static_cast<Story::CrossReferenceTargetType>(found - std::begin(c_shown)),
            FindAnchor(context.document, anchor.view()), false);
        return MakeInsertGlyph(glyph, context);
    }
};

struct UpdateCrossReferences {
    static constexpr char c_name[] = "update-cross-references", c_class[] = "UpdateCrossReferencesCommand";
    static constexpr bool c_takesSelection = true;
    bool selected = false;
    static constexpr auto Fields() {
        return FieldList{Unstored{&UpdateCrossReferences::selected}.As(
            "selected", "true renews only the references that are selected", false)};
    }
    Command Make(ValueContext const& context) const {
        return Kernel::MakeCounted<UpdateCrossReferencesCommand>(context.selection, selected, false);
    }
};

struct InsertIndexMark {
    static constexpr char c_name[] = "insert-index-mark", c_class[] = "InsertIndexMarkWithNewTopicCommand";
    static constexpr bool c_takesSelection = true;
    String topic, style;
    static constexpr auto Fields() {
        using This = InsertIndexMark;
        return FieldList{Unstored{&This::topic}.As("topic", "the path of the topic, such as Animals/Whales, or its "
                                                            "GUID; levels that are missing are added"),
                         Unstored{&This::style}.As("style", "the character style of the page number in the index",
                                                   std::string_view())};
    }
    Command Make(ValueContext const& context) const {
        auto const& index = context.document.GetDocument()->GetIndex();
        auto const path = topic.view();
        auto const slash = path.rfind('/');
        auto const isTop = slash == std::string_view::npos;
        auto const known = FindKnownTopic(context.document, path);
        if (!known && (path.empty() || slash + 1 == path.size()))
            throw ValueError("needs the name of a topic");
        auto const parent = isTop ? std::string_view() : path.substr(0, slash);
        // Levels above the parent would become one name: they are the business of add-index-topic.
        if (!known && parent.find('/') != std::string_view::npos && !index.FindTopicByName(String(parent), false))
            throw ValueError("names a topic below one that is not there, " + Quote(parent) +
                             "; add-index-topic adds it");
        return Commands::InsertIndexMarkWithNewTopicCommand::MakeInsertIndexMarkCommand(
            Kernel::Counted<DocumentController const>(&context.document), known, nullptr,
            String(isTop ? path : path.substr(slash + 1)), String(parent), MakeCaret(*context.selection), style, true);
    }
};

struct AddIndexTopic {
    static constexpr char c_name[] = "add-index-topic", c_class[] = "AddIndexTopicCommand";
    static constexpr bool c_takesSelection = false;
    String path;
    static constexpr auto Fields() {
        return FieldList{Unstored{&AddIndexTopic::path}.As(
            "path", "the names from the top down, such as Animals/Whales; levels that are missing are added")};
    }
    Command Make(ValueContext const& context) const {
        std::vector<String> names;
        auto const text = path.view();
        for (std::size_t at = 0; at <= text.size();) {
            auto const end = std::min(text.find('/', at), text.size());
            if (end != at)
                names.emplace_back(text.substr(at, end - at));
            at = end + 1;
        }
        if (names.empty())
            throw ValueError("needs the name of a topic");
        static_cast<void>(context);
        return Kernel::MakeCounted<AddIndexTopicCommand>(std::move(names), nullptr, true);
    }
};

} // namespace

Kernel::Counted<Selection const> MakeCaret(Selection const& selection, bool isBehind) {
    auto const refuse = [](std::size_t count) {
        throw ValueError("stands in one place, and " + std::to_string(count) + " are selected; #ID[from:to] names one");
    };
    if (selection.size() != 1)
        refuse(selection.size());
    auto const& item = **selection.begin();
    int place = 0;
    auto const* const part = Kernel::CastPointer<SubSelectionItem const>(&item);
    auto const* const text =
        part == nullptr ? nullptr : Kernel::CastPointer<TextSelection const>(part->GetSubSelection().get());
    if (text != nullptr) {
        if (text->GetRanges().size() != 1)
            refuse(text->GetRanges().size());
        auto const [first, last] = std::minmax(text->GetRanges().front().anchor, text->GetRanges().front().end);
        place = isBehind ? last : first;
    } else if (isBehind) {
        throw ValueError("stands behind a piece of text; #ID[from:to] names one");
    }
    return Kernel::MakeCounted<Selection>(Selection::Items{Kernel::MakeCounted<SubSelectionItem>(
                                              item.GetSelectable(), Kernel::MakeCounted<TextSelection>(place, place))},
                                          false);
}

std::vector<CommandEntry> MakeInnerTextEntries() {
    return {MakeInnerEntry<InsertText>(),           MakeInnerEntry<DeleteText>(),
            MakeInnerEntry<FormatText>(),           MakeInnerEntry<SetTextStyle>(),
            MakeInnerEntry<InsertField>(),          MakeInnerEntry<InsertMetadata>(),
            MakeInnerEntry<InsertCaptionNumber>(),  MakeInnerEntry<ExpandField>(),
            MakeInnerEntry<SetFieldValue>(),        MakeInnerEntry<InsertAnchor>(),
            MakeInnerEntry<InsertCrossReference>(), MakeInnerEntry<UpdateCrossReferences>(),
            MakeInnerEntry<InsertIndexMark>(),      MakeInnerEntry<AddIndexTopic>()};
}

} // namespace Shell
