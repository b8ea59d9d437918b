// SPDX-License-Identifier: Apache-2.0
#include "shell/argument_values.h"

#include "articles/article_reference.h"
#include "articles/set_metadata_tag_command.h"
#include "contents/toc_style_arguments.h"
#include "frame/settings/symbol_reference.h"
#include "index/topic_reference.h"
#include "platform/document/spread_index.h"
#include "platform/geometry/path_data.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/edge_offsets.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/filter_plugin.h"
#include "publishing/epub_cover_argument.h"
#include "shell/articles.h"
#include "shell/failure.h"
#include "shell/input_files.h"
#include "shell/merge_values.h"
#include "shell/selector.h"
#include "shell/text_objects.h"
#include "shell/values.h"
#include "text/anchor_reference.h"
#include "text/field_reference.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Shell {

std::string ReadTextValue(std::string const& text) {
    if (text.starts_with("@@"))
        return text.substr(1);
    if (!text.starts_with('@'))
        return text;
    constexpr std::uint64_t c_maximumTextBytes = std::uint64_t{64} << 20;
    auto const path = text.substr(1);
    auto const bytes = InputFiles::Read(path, c_maximumTextBytes);
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

namespace {

using Fill = Kernel::Counted<Renderer::FillDescriptor const>;
using Curve = Kernel::Counted<Geometry::CurveDbl>;
using Bitmap = Kernel::Counted<Raster::DynamicBitmap>;
using Plugin = Kernel::Counted<Raster::RasterFilterPlugin>;

Kernel::String ParseText(std::string const& text, ValueContext const&) {
    auto const value = ReadTextValue(text);
    if (!Kernel::IsValidUtf8(value))
        throw ValueError("needs text in UTF-8");
    return Kernel::String(value);
}

Fill ParseFill(std::string const& text, ValueContext const&) {
    if (text == "none")
        return {};
    return Kernel::MakeCounted<Renderer::FillDescriptor const>(ParseColour(text));
}

Bitmap ParseBitmap(std::string const& path, ValueContext const&) {
    return Guarded(ExitStatus::Input, path, [&] {
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage(InputFiles::Read(path, c_maximumPictureBytes), receiver);
        return receiver.Finish();
    });
}

Commands::OptionalPicture ParseOptionalPicture(std::string const& path, ValueContext const& context) {
    return {path == "none" ? Bitmap() : ParseBitmap(path, context)};
}

std::string FormatOptionalPicture(Commands::OptionalPicture const&) { return "none"; }

Plugin ParsePlugin(std::string const& name, ValueContext const&) {
    auto const colon = name.find(':');
    std::vector<Raster::FilterPluginSetting> settings;
    if (colon != name.npos) {
        for (auto const& term : SplitTerms(std::string_view(name).substr(colon + 1))) {
            auto const equals = term.find('=');
            if (equals == term.npos)
                throw ValueError("needs NAME:PARAMETER=VALUE,..., not " + Quote(term) + " for a parameter");
            settings.push_back({Kernel::String(std::string(Trim(std::string_view(term).substr(0, equals)))),
                                Kernel::String(std::string(Trim(std::string_view(term).substr(equals + 1))))});
        }
    }
    try {
        return Raster::FindFilterPlugin(Kernel::String(name.substr(0, colon)), settings);
    } catch (Kernel::Exception const& failure) {
        throw ValueError(failure.what());
    }
}

Curve ParseCurve(std::string const& text, ValueContext const&) {
    auto const data = Geometry::ReadPathData(ReadTextValue(text));
    if (data.error) {
        throw ValueError("needs SVG path data: " + data.error->message + " at byte " +
                         std::to_string(data.error->offset));
    }
    auto const& curves = data.curves->GetCurves();
    if (curves.size() != 1 || curves.front()->GetSegmentCount() == 0)
        throw ValueError("needs SVG path data of one contour, not " + Quote(text));
    return curves.front();
}

SymbolReference ParseSymbol(std::string const& text, ValueContext const& context) {
    return {FindSymbol(context.document, text)};
}

Commands::AnchorReference ParseAnchor(std::string const& text, ValueContext const& context) {
    return text == "none" ? Commands::AnchorReference() : Commands::AnchorReference(FindAnchor(context.document, text));
}
std::string FormatAnchor(Commands::AnchorReference const&) { return "none"; }

Commands::FieldReference ParseField(std::string const& text, ValueContext const& context) {
    return {FindField(context.document, text)};
}

Commands::TopicReference ParseTopic(std::string const& text, ValueContext const& context) {
    return {FindTopic(context.document, text)};
}
Commands::OptionalTopicReference ParseOptionalTopic(std::string const& text, ValueContext const& context) {
    if (text == "none")
        return {};
    return {FindTopic(context.document, text)};
}

// Names may have commas: the whole text counts first.
Commands::TopicReferences ParseTopics(std::string const& text, ValueContext const& context) {
    try {
        return {{FindTopic(context.document, text)}};
    } catch (ValueError const&) {
        if (text.find(',') == std::string::npos)
            throw;
    }
    Commands::TopicReferences references;
    for (std::size_t at = 0; at <= text.size();) {
        auto const end = std::min(text.find(',', at), text.size());
        references.topics.push_back(FindTopic(context.document, std::string_view(text).substr(at, end - at)));
        at = end + 1;
    }
    return references;
}

Commands::ArticleNumber ParseArticleNumber(std::string const& text, ValueContext const& context) {
    return {FindArticleNumber(context.document, text)};
}
Commands::ArticleEntry ParseArticleEntry(std::string const& text, ValueContext const& context) {
    return {FindArticleEntry(context.document, text)};
}
Commands::ArticleEntries ParseArticleEntries(std::string const& text, ValueContext const& context) {
    return {FindArticleEntries(context.document, text)};
}
Commands::ArticlePlace ParseArticlePlace(std::string const& text, ValueContext const& context) {
    if (text == "start")
        return {};
    auto const entry = FindArticleEntry(context.document, text);
    int const number = entry->GetArticleIndex(Kernel::Counted<DocumentController const>(&context.document), true);
    if (number < 0)
        throw ValueError("needs an entry that has a number, not " + Quote(text));
    return Commands::ArticlePlace(number);
}
Commands::MetadataValue ParseMetadataValue(std::string const& text, ValueContext const& context) {
    return {ParseText(text, context)};
}
std::string FormatArticlePlace(Commands::ArticlePlace const&) { return "start"; }

Commands::TocStyleReference ParseTocStyle(std::string const& text, ValueContext const& context) {
    Kernel::String const name(text);
    auto const style = context.document.GetDocument()->GetTextStyleSheet()->GetStyle(name);
    if (!style || style->GetType() != Story::StyleType::Toc)
        throw ValueError("names no style of tables of contents: " + Quote(text) + "; `redraft contents` lists tables");
    return {name};
}

MergeAddress FindMergeAddress(std::string const& text, ValueContext const& context, MergeLevel wanted) {
    auto address = FindMergeObject(context.document, text, wanted);
    if (context.mergeAddresses != nullptr)
        context.mergeAddresses->Add(address);
    return address;
}
Commands::DataMergeSourceReference ParseMergeSource(std::string const& text, ValueContext const& context) {
    return {FindMergeAddress(text, context, MergeLevel::Source).source};
}
template <class T>
Kernel::JailCounted<T> FindMergePart(std::string const& text, ValueContext const& context) {
    if constexpr (std::is_same_v<T, DataMergeRuleClause>) {
        return FindMergeAddress(text, context, MergeLevel::Clause).clause;
    } else if constexpr (std::is_same_v<T, DataMergeRule>) {
        return FindMergeAddress(text, context, MergeLevel::Rule).rule;
    } else {
        auto const filter = FindMergeAddress(text, context, MergeLevel::Filter).filter;
        auto const wanted = Kernel::Cast<T>(filter);
        if (!wanted)
            throw ValueError("names a filter of the type " + std::string(GetMergeFilterType(*filter)) +
                             ", which has no such property");
        return wanted;
    }
}
template <class T>
Commands::DataMergeReference<T> ParseMergePart(std::string const& text, ValueContext const& context) {
    return {FindMergePart<T>(text, context)};
}
template <class T>
Commands::DataMergePlace<T> ParseMergePlace(std::string const& text, ValueContext const& context) {
    if (text == "end")
        return {};
    return Commands::DataMergePlace<T>(FindMergePart<T>(text, context));
}
template <class T>
std::string FormatMergePlace(Commands::DataMergePlace<T> const&) {
    return "end";
}
template <class T, auto parse>
Commands::NewDataMergeObject<T> ParseNewMergePart(std::string const& text, ValueContext const&) {
    return {parse(text)};
}

SpreadIndex ParseSpreadIndex(std::string const& text, ValueContext const& context) {
    auto const count = static_cast<std::int64_t>(context.document.GetDocument()->GetSpreads().size());
    return {static_cast<int>(ParseInteger(text, 0, count - 1))};
}

std::size_t ParseEnumName(std::string_view text, std::span<std::string_view const> names) {
    auto const found = std::find(names.begin(), names.end(), text);
    if (found != names.end())
        return static_cast<std::size_t>(found - names.begin());
    std::string message = "needs one of";
    for (auto const name : names)
        message += " " + std::string(name);
    throw ValueError(message + ", not " + Quote(text));
}

std::uint32_t ParseFlags(std::string const& text, std::span<std::string_view const> names) {
    std::uint32_t bits = 0;
    if (text == "all")
        return (std::uint32_t{1} << names.size()) - 1;
    for (auto const& name : SplitTerms(text))
        bits |= std::uint32_t{1} << ParseEnumName(name, names);
    return bits;
}

std::string FormatFlags(std::uint32_t bits, std::span<std::string_view const> names) {
    if (bits == (std::uint32_t{1} << names.size()) - 1)
        return "all";
    std::string text;
    for (std::size_t i = 0; i != names.size(); ++i) {
        if ((bits >> i & 1) != 0)
            text += (text.empty() ? "" : ",") + std::string(names[i]);
    }
    return text;
}

std::vector<double> ParseNumbers(std::string const& text, ValueContext const&) {
    std::vector<double> numbers;
    for (auto const& term : SplitTerms(text))
        numbers.push_back(ParseNumber(term));
    return numbers;
}

std::string FormatNumbers(std::vector<double> const& numbers) {
    std::string text;
    for (double const number : numbers)
        text += (text.empty() ? "" : ",") + FormatNumber(number);
    return text;
}

// A text with a comma in it needs the form of an array.
std::vector<Kernel::String> ParseTexts(std::string const& text, ValueContext const&) {
    if (text.starts_with('['))
        return ParseJsonTexts(text);
    std::vector<Kernel::String> texts;
    for (auto const& term : SplitTerms(text))
        texts.emplace_back(term);
    return texts;
}

std::string FormatTexts(std::vector<Kernel::String> const& texts) {
    std::string text;
    for (auto const& term : texts)
        text += (text.empty() ? "" : ",") + term.ToStdString();
    return text;
}

int ParseInt(std::string const& text, ValueContext const&) {
    return static_cast<int>(ParseInteger(text, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// The text form of a type of value.
struct ValueKind {
    std::type_index type;
    char const* name;
    // How values are written; empty where the name says it.
    char const* notation;
    std::any (*parse)(std::string const& text, ValueContext const& context);
    // Null for types whose values have no text of one line.
    std::string (*format)(std::any const& value) = nullptr;
};

template <class T, auto parse>
ValueKind Kind(char const* name, char const* notation = "") {
    return {typeid(T), name, notation, [](std::string const& text, ValueContext const& context) -> std::any {
                if constexpr (requires { parse(text, context); })
                    return T(parse(text, context));
                else
                    return T(parse(text));
            }};
}
template <class T, auto parse, auto format>
ValueKind Kind(char const* name, char const* notation = "") {
    auto kind = Kind<T, parse>(name, notation);
    kind.format = [](std::any const& value) { return std::string(format(std::any_cast<T>(value))); };
    return kind;
}

constexpr auto c_parseNumber = [](std::string const& text) { return ParseNumber(text); };
constexpr auto c_formatBool = [](bool value) { return value ? "true" : "false"; };
constexpr auto c_formatInt = [](int value) { return std::to_string(value); };
constexpr auto c_formatText = [](Kernel::String const& value) { return value.ToStdString(); };

Kernel::EdgeOffsetsT<double> ParseEdges(std::string const& text) {
    auto const terms = SplitTerms(text);
    if (terms.size() != 4)
        throw ValueError("needs left,top,right,bottom, not " + Quote(text));
    return {ParseNumber(terms[0]), ParseNumber(terms[1]), ParseNumber(terms[2]), ParseNumber(terms[3])};
}

// As "1:50".
Kernel::PointT<double> ParseRatio(std::string const& text) {
    auto const colon = text.find(':');
    if (colon == text.npos)
        throw ValueError("needs DRAWN:REAL, as 1:50, not " + Quote(text));
    return {ParseNumber(text.substr(0, colon)), ParseNumber(text.substr(colon + 1))};
}

// A value that may be left as it is. None of these prints another default.
template <class T, auto parse>
ValueKind OptionalKind(char const* name, char const* notation) {
    static constexpr std::string_view c_unchanged = "unchanged";
    return {typeid(std::optional<T>), name, notation,
            [](std::string const& text, ValueContext const& context) -> std::any {
                if (text == c_unchanged)
                    return std::optional<T>();
                if constexpr (requires { parse(text, context); })
                    return std::optional<T>(parse(text, context));
                else
                    return std::optional<T>(parse(text));
            },
            [](std::any const&) { return std::string(c_unchanged); }};
}

template <class T>
ValueKind MergePartKind() {
    using Value = Commands::DataMergeReference<T>;
    if constexpr (std::is_same_v<T, DataMergeRuleClause>)
        return Kind<Value, &ParseMergePart<T>>("merge clause", "source:NUMBER/filter:NUMBER/rule:NUMBER/clause:NUMBER");
    else if constexpr (std::is_same_v<T, DataMergeRule>)
        return Kind<Value, &ParseMergePart<T>>("merge rule", "source:NUMBER/filter:NUMBER/rule:NUMBER");
    else
        return Kind<Value, &ParseMergePart<T>>("merge filter", "source:NUMBER/filter:NUMBER");
}

constexpr char c_colourNotation[] = "a name of CSS such as tomato, #rgb, #rrggbb[aa], rgb(r,g,b), cmyk(c,m,y,k), "
                                    "lab(l,a,b), grey(g), or none";

std::vector<ValueKind> const& GetKinds() {
    static std::vector<ValueKind> const s_kinds{
        Kind<bool, &ParseBool, c_formatBool>("boolean", "true or false"),
        Kind<int, &ParseInt, c_formatInt>("integer"),
        Kind<double, c_parseNumber, &FormatNumber>("number"),
        Kind<std::vector<double>, &ParseNumbers, &FormatNumbers>("numbers", "numbers with commas between"),
        Kind<Kernel::String, &ParseText, c_formatText>("text", "as it is, or @FILE"),
        Kind<std::vector<Kernel::String>, &ParseTexts, &FormatTexts>(
            "texts", "texts with commas between, or a JSON array of them"),
        Kind<Kernel::PointT<double>, &ParsePoint>("point", "x,y"),
        Kind<Kernel::RectT<double>, &ParseRectangle>("rectangle", "left,top,right,bottom"),
        Kind<Raster::AffineTransform::Params, &ParseTransform>("transform", "a,b,tx,c,d,ty"),
        // As a solid fill.
        Kind<Fill, &ParseFill>("colour", c_colourNotation),
        OptionalKind<Fill, &ParseFill>("colour", c_colourNotation),
        OptionalKind<bool, &ParseBool>("boolean", "true or false"),
        OptionalKind<double, c_parseNumber>("number", ""),
        OptionalKind<Kernel::String, &ParseText>("text", "as it is, or @FILE"),
        OptionalKind<Kernel::SizeT<double>, &ParseSize>("size", "WxH, or with mm, cm, in or pt behind"),
        OptionalKind<Kernel::EdgeOffsetsT<double>, &ParseEdges>("edges", "left,top,right,bottom"),
        OptionalKind<Kernel::PointT<double>, &ParseRatio>("ratio", "DRAWN:REAL, as 1:50"),
        Kind<Curve, &ParseCurve>("path", "SVG path data of one contour, or @FILE"),
        Kind<Bitmap, &ParseBitmap>("picture", "a PNG, JPEG or TIFF file"),
        Kind<Commands::OptionalPicture, &ParseOptionalPicture, &FormatOptionalPicture>(
            "picture or none", "a PNG, JPEG or TIFF file, or none"),
        Kind<Plugin, &ParsePlugin>("plug-in", "the name of an installed filter, or NAME:PARAMETER=VALUE,..."),
        Kind<SymbolReference, &ParseSymbol>("symbol", "#ID or name:TEXT"),
        Kind<Commands::AnchorReference, &ParseAnchor, &FormatAnchor>("anchor", "an anchor's name or identity, or none"),
        Kind<Commands::FieldReference, &ParseField>("field", "a field's name or identity"),
        Kind<Commands::TopicReference, &ParseTopic>("topic", "a topic's path, as Animals/Whales, or GUID"),
        Kind<Commands::OptionalTopicReference, &ParseOptionalTopic>("topic or none", "a topic's path or GUID, or none"),
        Kind<Commands::TopicReferences, &ParseTopics>("topics", "topics' paths or GUIDs with commas between"),
        Kind<Commands::ArticleNumber, &ParseArticleNumber>("article", "article:NUMBER"),
        Kind<Commands::ArticleEntry, &ParseArticleEntry>("entry", "article:NUMBER, or #ID"),
        Kind<Commands::ArticleEntries, &ParseArticleEntries>("entries", "article:NUMBER and #ID with commas between"),
        Kind<Commands::ArticlePlace, &ParseArticlePlace, &FormatArticlePlace>("entry", "article:NUMBER, #ID, or start"),
        Kind<Commands::MetadataValue, &ParseMetadataValue>("text", "as it is, or @FILE"),
        Kind<Commands::TocStyleReference, &ParseTocStyle>("contents style",
                                                          "the name of a style of tables of contents"),
        Kind<SpreadIndex, &ParseSpreadIndex, c_formatInt>("integer"),
        Kind<Commands::DataMergeSourceReference, &ParseMergeSource>("merge source", "source:NUMBER, or NUMBER"),
        MergePartKind<DataMergeFilter>(),
        MergePartKind<DataMergeSelectedRecordsFilter>(),
        MergePartKind<DataMergeRecordValueFilter>(),
        MergePartKind<DataMergeProcessFilter>(),
        MergePartKind<DataMergeJavaScriptFilter>(),
        MergePartKind<DataMergeSortFilter>(),
        MergePartKind<DataMergeRule>(),
        MergePartKind<DataMergeRuleClause>(),
        Kind<Commands::DataMergePlace<DataMergeFilter>, &ParseMergePlace<DataMergeFilter>,
             &FormatMergePlace<DataMergeFilter>>("merge filter", "source:NUMBER/filter:NUMBER, or end"),
        Kind<Commands::DataMergePlace<DataMergeRule>, &ParseMergePlace<DataMergeRule>,
             &FormatMergePlace<DataMergeRule>>("merge rule", "source:NUMBER/filter:NUMBER/rule:NUMBER, or end"),
        Kind<Commands::DataMergePlace<DataMergeRuleClause>, &ParseMergePlace<DataMergeRuleClause>,
             &FormatMergePlace<DataMergeRuleClause>>("merge clause",
                                                     "source:NUMBER/filter:NUMBER/rule:NUMBER/clause:NUMBER, or end"),
        Kind<Commands::NewDataMergeObject<DataMergeFilter>, &ParseNewMergePart<DataMergeFilter, &ParseMergeFilter>>(
            "new merge filter", "JSON, or @FILE, with type, which is selected, records, process, script or sort, and "
                                "more by the type; docs/data-merge.md has all of it"),
        Kind<Commands::NewDataMergeObject<DataMergeRule>, &ParseNewMergePart<DataMergeRule, &ParseMergeRule>>(
            "new merge rule", "JSON, or @FILE, with combine and clauses"),
        Kind<Commands::NewDataMergeObject<DataMergeRuleClause>,
             &ParseNewMergePart<DataMergeRuleClause, &ParseMergeClause>>(
            "new merge clause", "JSON, or @FILE, with field, operator, value, includeAll and exceptions"),
        Kind<Kernel::IndexRangeList, &ParseRows, &FormatRows>("rows", "counted from 0, as 0-9,20, or none"),
        Kind<Commands::OptionalCharacter, &ParseCharacter, &FormatCharacter>("character",
                                                                             "one ASCII character, tab, or automatic"),
    };
    return s_kinds;
}

ValueKind const& FindKind(std::type_index type) {
    auto const& kinds = GetKinds();
    auto const found =
        std::find_if(kinds.begin(), kinds.end(), [&](ValueKind const& kind) { return kind.type == type; });
    if (found == kinds.end())
        throw std::logic_error(std::string("no text stands for a value of type ") + type.name());
    return *found;
}

std::string FormatUnit(Kernel::ValueRange const& range) {
    return range.unit.empty() ? std::string() : "in " + std::string(range.unit);
}

// "0 or more", "from 0 to 1"; empty for all numbers.
std::string FormatRange(Kernel::ValueRange const& range) {
    bool const hasLeast = std::isfinite(range.least);
    bool const hasMost = std::isfinite(range.most);
    if (hasLeast && hasMost)
        return "from " + FormatNumber(range.least) + " to " + FormatNumber(range.most);
    if (hasLeast)
        return FormatNumber(range.least) + " or more";
    return hasMost ? FormatNumber(range.most) + " or less" : std::string();
}

} // namespace

std::string_view GetTypeName(ArgumentCard const& argument) {
    if (argument.record != nullptr)
        return "record";
    if (argument.flagsOf != nullptr)
        return "names";
    return argument.valueAt != nullptr ? "name" : FindKind(argument.type).name;
}

std::string GetNotation(ArgumentCard const& argument) {
    std::string names;
    if (argument.record != nullptr) {
        for (auto const& member : argument.record->members)
            names += (names.empty() ? "" : ", ") + std::string(member.name);
        return "JSON, or @FILE, with " + names;
    }
    if (argument.names.empty()) {
        std::string notation = FindKind(argument.type).notation;
        for (auto const& words : {FormatUnit(argument.range), FormatRange(argument.range)})
            notation += (notation.empty() || words.empty() ? "" : ", ") + words;
        return notation;
    }
    auto const* const last = argument.flagsOf == nullptr ? " or " : " and ";
    for (auto const& name : argument.names)
        names += (names.empty() ? "" : &name == &argument.names.back() ? last : ", ") + std::string(name);
    return argument.flagsOf == nullptr ? names : "all, or some of " + names + ", with commas between";
}

std::any ParseValue(ArgumentCard const& argument, std::string const& text, ValueContext const& context) {
    if (argument.record != nullptr)
        return ParseRecordValue(*argument.record, text, context);
    if (argument.flagsOf != nullptr)
        return argument.flagsOf(ParseFlags(text, argument.names));
    if (argument.valueAt != nullptr)
        return argument.valueAt(ParseEnumName(text, argument.names));
    auto value = FindKind(argument.type).parse(text, context);
    if (!argument.IsInRange(value))
        throw ValueError("is " + Quote(text) + ", but must be " + FormatRange(argument.range));
    return value;
}

std::optional<std::string> FormatDefault(ArgumentCard const& argument) {
    if (!argument.defaultValue.has_value())
        return std::nullopt;
    if (argument.bitsOf != nullptr)
        return FormatFlags(argument.bitsOf(argument.defaultValue), argument.names);
    if (argument.positionOf != nullptr)
        return std::string(argument.names[argument.positionOf(argument.defaultValue)]);
    if (auto const format = FindKind(argument.type).format; format != nullptr)
        return format(argument.defaultValue);
    throw std::logic_error("no text stands for the default of " + std::string(argument.name));
}

} // namespace Shell
