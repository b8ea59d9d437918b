// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/chance.h"

#include "platform/document/export_article.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/story_index.h"
#include "shell/command_table.h"
#include "shell/failure.h"
#include "shell/session.h"
#include "shell/text_objects.h"
#include "shell/verbs.h"
#include "tests/examples/command_example.h"
#include "tests/lives/fade_command.h"
#include "tests/lives/merge_chance.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace Lives {

namespace {

std::string Number(Random& random, int minimum, int maximum) {
    return std::to_string(minimum + static_cast<int>(random.Below(static_cast<std::size_t>(maximum - minimum + 1))));
}

std::string Rectangle(Random& random) {
    int const left = static_cast<int>(random.Below(400)), top = static_cast<int>(random.Below(400));
    return std::to_string(left) + "," + std::to_string(top) + "," + Number(random, left, left + 300) + "," +
           Number(random, top, top + 300);
}

std::vector<NodeId> NodesOfSpreads(DocumentController& document) {
    std::vector<NodeId> ids;
    for (auto const& spread : document.GetDocument()->GetSpreads())
        ForEachNode(*spread, [&](Node& node) {
            if (&node != spread.get() && Kernel::CastPointer<PageNode>(&node) == nullptr)
                ids.push_back(node.GetId());
        });
    return ids;
}

std::string SymbolId(Random& random, DocumentController& document) {
    int const count = document.GetSymbolCount();
    if (count == 0)
        return "#1";
    return "#" +
           std::to_string(
               document.GetSymbolAtIndex(static_cast<int>(random.Below(static_cast<std::size_t>(count))))->GetId());
}

std::string AnchorId(Random& random, DocumentController& document) {
    auto const anchors = Shell::FindAnchors(document);
    auto const id = anchors.empty() ? std::string() : random.Of(anchors).anchor->GetUid().ToStdString();
    return id.empty() || random.Chance(10) ? "none" : "'" + id + "'";
}

// A name that is added to the list or taken out of it. One that is there already is never added, nor one removed that
// is not: required of the command, undoing that does not lead back.
std::string CounterName(Random& random, DocumentController& document) {
    auto const& known = document.GetDocument()->GetCustomCaptionCounterTypes();
    if (!known.empty() && random.Chance(50))
        return " name='" + random.Of(known).ToStdString() + "' add=false";
    auto name = "Kind " + std::to_string(known.size());
    while (std::find(known.begin(), known.end(), Kernel::String(name)) != known.end())
        name += " and more";
    return " name='" + name + "' add=true";
}

// Topics for a command on relations. None is added that is there already, nor one taken away that is not: required of
// the commands, undoing that does not lead back.
std::string RelationArguments(Random& random, DocumentController& document, std::string const& className) {
    using Topic = Kernel::Counted<Story::IndexTopic const>;
    std::vector<std::pair<Topic, Topic>> related, others;
    auto const& index = document.GetDocument()->GetIndex();
    for (auto const& topic : index) {
        auto const known = topic->GetRelatedTo();
        for (auto const& other : index) {
            bool const isRelated = std::find(known.begin(), known.end(), Topic(other)) != known.end();
            (isRelated ? related : others).emplace_back(topic, other);
        }
    }
    auto const name = [](char const* argument, Topic const& topic) {
        return std::string(" ") + argument + "='" + topic->GetNameWithParents().ToStdString() + "'";
    };
    auto const missing = std::string(" topic=missing related=missing");
    if (className == "AddIndexCrossReferenceCommand") {
        auto const pair = others.empty() ? std::pair<Topic, Topic>() : random.Of(others);
        return pair.first ? name("topic", pair.first) + name("related", pair.second) : missing;
    }
    if (related.empty())
        return missing;
    auto const pair = random.Of(related);
    if (className == "DeleteIndexCrossReferenceCommand")
        return name("topic", pair.first) + name("related", pair.second);
    std::erase_if(others, [&](auto const& other) { return other.first != pair.first; });
    auto const target = others.empty() ? pair.second : random.Of(others).second;
    return name("topic", pair.first) + name("related", target) + name("oldRelated", pair.second);
}

// An entry of the reading order, or only an article.
std::string ArticleEntry(Random& random, DocumentController& document, bool isArticle) {
    std::vector<std::string> entries;
    for (auto const& entry : document.GetExportArticles()) {
        if (entry->GetArticle())
            entries.push_back("article:" + std::to_string(entry->GetArticle()->GetNumber().value_or(-1)));
        else if (!isArticle)
            entries.push_back("'#" + std::to_string(entry->GetMembers().front()->GetId()) + "'");
    }
    return entries.empty() ? "missing" : random.Of(entries);
}

// A part of a text; empty where the node is none, or has no text.
std::string TextRange(Random& random, DocumentController& document, NodeId id) {
    auto const text = Kernel::Cast<TextNode>(document.GetDocument()->FindNode(id));
    auto const length = text ? text->GetStory()->GetLength() - 1 : 0;
    if (length == 0)
        return {};
    auto const begin = random.Below(length), end = begin + 1 + random.Below(std::min<std::size_t>(length - begin, 12));
    return "[" + std::to_string(begin) + ":" + std::to_string(std::min<std::size_t>(end, length)) + "]";
}

// The names of "a, b or c".
std::vector<std::string> SplitNames(std::string const& notation, std::string const& last) {
    std::vector<std::string> names;
    std::size_t begin = 0;
    for (;;) {
        auto const comma = notation.find(", ", begin),
                   end = comma != notation.npos ? comma : notation.find(last, begin);
        names.push_back(notation.substr(begin, end == notation.npos ? end : end - begin));
        if (end == notation.npos)
            return names;
        begin = end + (comma != notation.npos ? 2 : last.size());
    }
}

// By what the parameter's type is called.
std::string Value(Random& random, Props const& props, DocumentController& document, Shell::ParameterInfo const& info) {
    if (info.type == "boolean")
        return random.Chance(50) ? "true" : "false";
    if (info.type == "integer")
        return Number(random, 0, info.name == "spreadIndex" || info.name == "index" ? 2 : 15);
    if (info.type == "number")
        return Number(random, -50, 50);
    if (info.type == "text")
        return "'" + Number(random, 1, 9) + " words'";
    if (info.type == "point")
        return Number(random, 0, 400) + "," + Number(random, 0, 400);
    if (info.type == "rectangle")
        return Rectangle(random);
    if (info.type == "transform")
        return random.Of<std::string>({"1,0,10,0,1,5", "0.5,0,0,0,2,0", "0,-1,100,1,0,0"});
    if (info.type == "colour")
        return random.Of<std::string>({"none", "#3366cc", "#ff000080", "cmyk(0.1,0.2,0.3,0.4)", "grey(0.5)"});
    if (info.type == "path")
        return random.Of<std::string>({"'M0 0L1 1'", "'M0 0.5C0.3 1 0.6 0 1 1'"});
    if (info.type == "picture or none")
        return random.Chance(50) ? "none" : props.picture;
    if (info.type == "texts")
        return random.Of<std::string>({"textual", "textual,visual", "'[\"textual,visual\"]'"});
    if (info.type == "picture")
        return props.picture;
    if (info.type == "plug-in")
        return props.plugins.empty() ? std::string("none") : random.Of(props.plugins);
    if (info.type == "size")
        return Number(random, 10, 500) + "x" + Number(random, 10, 500);
    if (info.type == "ratio")
        return "1:" + Number(random, 1, 200);
    // Margins come back from another size by arithmetic, which is not exact: lives leave them as they are.
    if (info.type == "edges")
        return "unchanged";
    if (info.type == "record" && info.name == "changes")
        return "'{\"size\":\"" + Number(random, 10, 500) + "x" + Number(random, 10, 500) + "\",\"anchor\":\"" +
               random.Of<std::string>({"scale-content", "top-left", "right", "centre", "leave-content"}) + "\"}'";
    if (info.type == "record" && info.name == "line")
        return "'{\"weight\":" + Number(random, 0, 12) + ",\"dash\":[" + random.Of<std::string>({"", "3,1", "0,2"}) +
               "],\"startHead\":\"" + random.Of<std::string>({"none", "arrow", "circle"}) +
               "\",\"scaleWithObject\":" + random.Of<std::string>({"true", "false"}) + "}'";
    if (info.type == "record" && info.name == "caption")
        return "'{\"text\":\"" + Number(random, 1, 9) + " words of a caption\",\"position\":\"" +
               random.Of<std::string>({"below", "above", "left", "right"}) + "\",\"width\":" + Number(random, 0, 200) +
               "}'";
    if (info.type == "record" && info.name == "style")
        return "'{\"name\":\"" + Number(random, 1, 3) + "\",\"pattern\":\"" +
               random.Of<std::string>({"{}", "page {page}", "{text}, {name}"}) + "\"}'";
    if (info.type == "anchor")
        return AnchorId(random, document);
    if (info.type == "field") {
        auto const guids = document.GetDocument()->GetCustomFieldSource().GetGuids();
        return guids.empty() ? "missing" : "'" + random.Of(guids).ToStdString() + "'";
    }
    if (info.type == "topic" || info.type == "topics" || info.type == "topic or none") {
        std::vector<std::string> paths;
        for (auto const& topic : document.GetDocument()->GetIndex())
            paths.push_back("'" + topic->GetNameWithParents().ToStdString() + "'");
        if (info.type == "topic or none" && random.Chance(30))
            return "none";
        return paths.empty() ? "missing" : random.Of(paths);
    }
    if (info.type == "article" || info.type == "entry" || info.type == "entries")
        return ArticleEntry(random, document, info.type == "article");
    if (info.type == "record" && info.name == "file")
        return "'{\"name\":\"" + Number(random, 1, 9) + ".css\",\"text\":\"p { margin: 0 }\"}'";
    if (info.type == "record" && info.name == "cover")
        return random.Of<std::string>({"'{\"kind\":\"none\"}'", "'{\"kind\":\"firstPage\"}'"});
    if (info.type == "record" && info.name == "metadata")
        return "'{\"modes\":[\"textual\"],\"summary\":\"" + Number(random, 1, 9) + " words\"}'";
    if (info.type == "record" && info.name == "definition")
        return "'{\"title\":\"" + Number(random, 1, 9) + " words\"}'";
    if (info.type == "contents style") {
        std::vector<std::string> names;
        auto const styles = document.GetDocument()->GetTextStyleSheet();
        for (auto const& style : *styles) {
            if (style && style->GetType() == Story::StyleType::Toc)
                names.push_back(style->GetName().ToStdString());
        }
        return names.empty() ? "missing" : "'" + random.Of(names) + "'";
    }
    if (info.type == "record")
        return "'{\"name\":\"" + Number(random, 1, 1'000'000) + "\",\"spreadIndex\":0,\"viewBox\":[0,0,10,10]}'";
    if (info.type == "symbol")
        return SymbolId(random, document);
    if (info.type == "numbers")
        return random.Of<std::string>({"1", "3,1", "0,0"});
    if (info.type == "name")
        return random.Of(SplitNames(info.notation, " or "));
    if (info.type == "names") {
        std::string const before = "all, or some of ", behind = ", with commas between";
        auto const names = SplitNames(
            info.notation.substr(before.size(), info.notation.size() - before.size() - behind.size()), " and ");
        return random.Chance(20) ? "all" : random.Of(names) + "," + random.Of(names);
    }
    throw std::runtime_error("no values are known for parameters of type " + std::string(info.type));
}

std::string Selector(Random& random, DocumentController& document) {
    auto const ids = NodesOfSpreads(document);
    if (ids.empty() || random.Chance(25))
        return random.Of<std::string>({"all", "all", "all", "type:GroupNode", "type:ShapeNode", "type:RasterNode"});
    std::string text;
    for (auto count = 1 + random.Below(4); count != 0; --count) {
        auto const id = random.Of(ids);
        text += (text.empty() ? "#" : ",#") + std::to_string(id);
        if (random.Chance(30))
            text += TextRange(random, document, id);
    }
    return text;
}

// Those of the engine's own name fields, anchors and styles that are there, which no chance hits.
bool IsLived(Shell::CommandEntry const& entry) {
    return !entry.forms.empty() && !entry.isInner && !IsInexact(entry.className);
}

Shell::CommandEntry const& ChooseCommand(Random& random, Props const& props) {
    if (!props.preferred.empty() && random.Chance(70)) {
        auto const* const preferred = Shell::FindCommand(random.Of(props.preferred));
        if (preferred != nullptr && IsLived(*preferred))
            return *preferred;
    }
    auto const& table = Shell::GetCommandTable();
    auto const* entry = &random.Of(table);
    while (!IsLived(*entry))
        entry = &random.Of(table);
    return *entry;
}

// For a preferred class mostly one of its own.
CommandExample const& ChooseExample(Random& random, Props const& props) {
    auto const& all = CommandExample::GetAll();
    std::vector<std::size_t> own;
    for (std::size_t i = 0; i != all.size() && !props.preferred.empty(); ++i) {
        if (std::ranges::find(props.preferred, all[i].className) != props.preferred.end())
            own.push_back(i);
    }
    return own.empty() || random.Chance(30) ? random.Of(all) : all[random.Of(own)];
}

// Mostly on the document's selection: a fade merges only into one of the same.
std::string Fade(Random& random, DocumentController& document) {
    auto const line = "fade opacity=0." + Number(random, 1, 9);
    return random.Chance(70) ? line : line + " --select '" + Selector(random, document) + "'";
}

bool IsAfterFade(History const& history) {
    auto const position = history.GetPosition();
    return position != 0 && position == history.GetCount() &&
           Kernel::CastPointer<FadeCommand>(history.GetCommand(position - 1).get()) != nullptr;
}

// Ends a preview, or says how it ends.
std::string End(Random& random, DocumentController const& document) {
    return random.Chance(document.GetPreview() ? 50 : 30) ? " --up" : random.Chance(50) ? " --keep" : "";
}

std::string Call(Random& random, Props const& props, DocumentController& document, Shell::CommandEntry const& called,
                 bool isPreview) {
    auto const* const entry = &called;
    std::string line = (isPreview ? "preview " : "do ") + entry->shortName;
    if (entry->className == "CaptionCounterTypeCommand")
        return line + CounterName(random, document) + (isPreview ? End(random, document) : "");
    if (entry->className.ends_with("IndexCrossReferenceCommand"))
        return line + RelationArguments(random, document, entry->className) + (isPreview ? End(random, document) : "");
    if (IsOfDataMerge(entry->className))
        return line + MergeArguments(random, document, *entry) + (isPreview ? End(random, document) : "");
    for (auto const& info : random.Of(entry->forms).parameters) {
        if (!info.defaultValue || random.Chance(60))
            line += " " + std::string(info.name) + "=" + Value(random, props, document, info);
    }
    // The stored selection is where steps meet what earlier ones have left.
    if (random.Chance(50))
        line += " --select '" + Selector(random, document) + "'";
    auto const spreads = document.GetDocument()->GetSpreads().size();
    if (spreads > 1 && random.Chance(25))
        line += " --spread " + std::to_string(random.Below(spreads));
    return isPreview ? line + End(random, document) : line;
}

// Commands show what merging does when they follow others of their class.
std::string PreviewCall(Random& random, Props const& props, DocumentController& document) {
    auto const up = document.GetPreview();
    auto const* const entry = up ? Shell::FindCommand(up->GetObjectClassProperties()->GetName()) : nullptr;
    if (random.Chance(up && entry == nullptr ? 60 : 15))
        return "preview " + Fade(random, document) + End(random, document);
    bool const isSame = entry != nullptr && !entry->forms.empty() && random.Chance(60);
    return Call(random, props, document, isSame ? *entry : ChooseCommand(random, props), true);
}

void ImportDrawing(std::string const& drawing, std::string const& path) {
    Shell::Session session(false);
    std::vector<std::string> const words{"import", drawing, "-o", path};
    Shell::RunVerb(session, words);
    session.Finish();
}

} // namespace

bool IsInexact(std::string const& className) {
    static std::set<std::string> const s_names{"GenerateImageNodeCommand",
                                               "GenerateVectorNodeCommand",

                                               "DeleteExportArticleCommand",
                                               "MoveExportArticlesCommand",
                                               "RenameExportArticleCommand",
                                               "ReparentExportArticlesCommand",
                                               "SetExportArticleIncludeUntaggedCommand"};
    return s_names.contains(className);
}

void MakeStart(Random& random, Props const& props, std::string const& path) {
    if (!props.drawings.empty() && random.Chance(30)) {
        auto const& drawing = random.Of(props.drawings);
        try {
            ImportDrawing(drawing, path);
            return;
        } catch (Shell::Failure const&) {
            // A drawing that the importer refuses is no start.
        }
    }
    auto const format = random.Of<Raster::Format>({Raster::FormatRGBA8, Raster::FormatRGBA8, Raster::FormatRGBA16,
                                                   Raster::FormatIA8, Raster::FormatCMYKA8, Raster::FormatLABA16});
    auto const controller =
        DocumentController::CreateNew({793.700787, 1122.519685}, format, 1 + static_cast<int>(random.Below(3)));
    for (auto const& spread : controller->GetDocument()->GetSpreads()) {
        controller->SetCurrentSpread(spread);
        for (auto count = random.Below(3) + (spread == controller->GetDocument()->GetSpreads().front() ? 1 : 0);
             count != 0; --count) {
            // A loaded history may leave more than undo did before, and then no known state comes back.
            auto const& example = ChooseExample(random, props);
            if (example.keptAfterReload.empty() && !example.keptInDocument)
                example.prepare(*controller);
        }
    }
    controller->Save(path);
}

std::string ChooseLine(Random& random, Props const& props, DocumentController& document) {
    if (document.GetPreview() && random.Chance(60))
        return random.Chance(70) ? PreviewCall(random, props, document) : random.Chance(50) ? "end" : "end --keep";
    auto const percent = random.Below(100);
    auto const steps = document.GetHistory()->GetCount();
    // A slider sends one after the other.
    if (random.Chance(IsAfterFade(*document.GetHistory()) ? 40 : 4))
        return "do " + Fade(random, document);
    if (percent < 54 || steps == 0)
        return Call(random, props, document, ChooseCommand(random, props), false);
    if (percent < 66)
        return "undo " + Number(random, 1, random.Chance(70) ? 1 : 4);
    if (percent < 76)
        return "redo " + Number(random, 1, random.Chance(70) ? 1 : 4);
    if (percent < 80)
        return "goto " + std::to_string(random.Below(steps + 1));
    if (percent < 88)
        return random.Chance(60) ? "reload" : "reload --merge";
    if (percent < 93)
        return PreviewCall(random, props, document);
    if (percent < 95)
        return "repeat";
    if (percent < 97)
        return "elsewhere";
    if (percent < 98)
        return "mask ellipse:" + Rectangle(random) + " --feather 3";
    return random.Chance(50) ? "record" : "play";
}

} // namespace Lives
