// SPDX-License-Identifier: Apache-2.0
#include "shell/verbs.h"

#include "shell/devices.h"
#include "shell/help.h"
#include "shell/model_requests.h"
#include "shell/nearest.h"

#include <algorithm>

namespace Shell {

namespace {

constexpr OptionSpec c_forcedDocument{"--force", "", "replaces a document that has a history, or another file"};
// Those of the verbs that run commands.
std::vector<OptionSpec> WithRunOptions(std::vector<OptionSpec> options) {
    auto const more = GetModelOptions();
    options.insert(options.end(), more.begin(), more.end());
    options.push_back(GetDeviceOption());
    return options;
}

constexpr OptionSpec c_forcedFile{"--force", "", "replaces a document of that name"};

} // namespace

std::vector<Verb> const& GetVerbs() {
    using Times = PositionalSpec::Times;
    using InScript = Verb::InScript;
    static std::vector<Verb> const s_verbs{
        {{.verb = "new",
          .summary = "Makes a document of empty pages, each a spread of its own.",
          .positionals = {{"OUT.redraft"}},
          .options = {{"--size", "WxH", "of a page, in units of 1/96 inch or with mm, cm, in, pt (210x297mm)"},
                      {"--format", "FORMAT", "pixel format: RGBA8, RGBA16, RGBAF, IA8, IA16, CMYKA8 or LABA16 (RGBA8)"},
                      {"--profile", "FILE", "ICC profile that colours are meant in; the format follows it"},
                      {"--pages", "N", "how many (1)"},
                      c_forcedDocument}},
         &RunNew,
         InScript::No},
        {{.verb = "import",
          .summary =
              "Makes a document of .svg, .svgz, .png, .jpg, .tif, .txt and .md files; all but the text on one spread.",
          .positionals = {{"IN", Times::OnceOrMore}},
          .options = {{"-o", "OUT.redraft", "the document to make", true},
                      {"--profile", "FILE", "the document's ICC profile (that of a first picture, or sRGB)"},
                      {"--encoding", "NAME",
                       "of texts: utf-8, utf-16, latin-1 or windows-1252 (by the byte order mark, else by its bytes)"},
                      {"--language", "TAG", "of texts, as en or pt-BR (en)"},
                      {"--keep-lines", "", "makes each line of a text a paragraph, also where lines look broken"},
                      {"--join-lines", "", "makes the lines between blank lines one paragraph, also of verse"},
                      {"--headings", "REGEX",
                       "of .txt files: paragraphs that are headings, by groups named h1 to h6 or all h1"},
                      {"--vertical", "", "of .txt files: lines run from top to bottom, as in Japanese books"},
                      {"--link", "", "texts remember the file that they came from"},
                      c_forcedDocument}},
         &RunImport,
         InScript::No},
        {{.verb = "link",
          .summary = "Links a table (.csv, .tsv, .json, .xlsx) to a document, and turns {{Column}} in it into fields.",
          .onDocument = true,
          .positionals = {{"DATA"}},
          .options = {{"--name", "NAME", "of the source (that of the file)"},
                      {"--sheet", "NAME", "of a spreadsheet (the first)"},
                      {"--embed", "", "keeps the data in the document; for text in UTF-8"}}},
         &RunLink},
        {{.verb = "merge",
          .summary = "Makes the pages that the records of a document's sources fill.",
          .onDocument = true,
          .positionals = {},
          .options = {{"-o", "OUT.redraft", "one document of all pages"},
                      {"--each", "PATTERN", "files of one copy each, as card-%d.png or letter-%03d.svg"},
                      {"--scale", "NUMBER", "of pictures: pixels a document unit (1)"},
                      {"--background", "COLOUR", "of pictures (white)"},
                      c_forcedDocument}},
         &RunMerge},
        {{.verb = "info",
          .summary = "Tells what a document holds, or with --devices what this machine has to work on pixels with.",
          .onDocument = true,
          .insteadOfDocument = "--devices",
          .positionals = {},
          .options = {{"--devices", "", "in place of DOC: lists the graphics and OpenCL devices"}}},
         &RunInfo},
        {{.verb = "tree", .summary = "Lists the node tree.", .onDocument = true, .positionals = {}, .options = {}},
         &RunTree},
        {{.verb = "text",
          .summary = "Prints the text of a document: each text whole, or what each page shows of it.",
          .onDocument = true,
          .positionals = {},
          .options = {{"--composed", "", "with what fields show in their places; without it fields are left out"},
                      {"--pages", "", "page by page, each line behind its page's number and a tab"},
                      {"--spread", "N", "only what this spread shows, from 0"}}},
         &RunText},
        {{.verb = "fields",
          .summary = "Lists the document's own fields, with their values and where texts show them.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunFields},
        {{.verb = "anchors",
          .summary = "Lists the anchors in the texts, with their pages and the names that commands take.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunAnchors},
        {{.verb = "topics",
          .summary = "Lists the topics of the index, each below the one that it belongs to, with their marks.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunTopics},
        {{.verb = "marks",
          .summary = "Lists the index marks in the texts, with their topics and pages.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunMarks},
        {{.verb = "articles",
          .summary = "Lists the reading order: articles with their members, and single objects, by their numbers;\n"
                     "behind them those that have no number. Commands take an entry as article:NUMBER or #ID.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunArticles},
        {{.verb = "tags",
          .summary = "Lists the objects that have a place in the reading order, metadata or the mark of a decoration.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunTags},
        {{.verb = "slices",
          .summary = "Lists the slices, one of each spread: the name of its file, and whether exports take it along.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunSlices},
        {{.verb = "index-words",
          .summary =
              "Puts an index mark in front of each of the words of a list, wherever a text has it, as one step.\n"
              "FILE has a word a line, in the letters of the text, and perhaps a tab and the path of its topic,\n"
              "such as Animals/Whales; otherwise the topic is called like the word.",
          .onDocument = true,
          .positionals = {{"FILE"}},
          .options = {}},
         &RunIndexWords},
        {{.verb = "contents",
          .summary =
              "Lists the tables of contents in the texts, with their lines and the selectors that commands take.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunContents},
        {{.verb = "mask",
          .summary = "Selects the pixels and channels that effects on layers may change, or tells which are.\nSHAPE:\n"
                     "  none                  no selection: effects change whole layers\n"
                     "  all                   every pixel\n"
                     "  rectangle:l,t,r,b     in the spread's units, as tree lists them; so is ellipse:l,t,r,b\n"
                     "  path:DATA             SVG path data, in the same units\n"
                     "  #ID, type:..., name:...  what these nodes cover\n"
                     "  @FILE                 a picture laid over the layer: white selects, black does not",
          .onDocument = true,
          .positionals = {{"SHAPE", Times::Optional}},
          .options = {{"--feather", "R", "fades the edge over R units to each side (0)"},
                      {"--pixels", "", "numbers are in the layer's pixels"},
                      {"--invert", "", "selects what SHAPE does not"},
                      {"--channels", "LIST", "only these may change: red,green or cyan,alpha and the like, all, none"},
                      {"--layer", "SELECTOR", "whose pixels the mask is made of (the first layer of the spread)"},
                      {"-o", "OUT.redraft", "saves there and leaves DOC as it is"},
                      c_forcedDocument}},
         &RunMask},
        {{.verb = "artboard",
          .summary = "Adds an artboard, an area of a spread that is a picture of its own, as one step of the history.",
          .onDocument = true,
          .positionals = {{"add"}, {"l,t,r,b"}},
          .options = {{"--name", "A", "the artboard's name", true},
                      {"--fill", "COLOUR", "of the artboard, or none (white)"},
                      {"--spread", "N", "makes this the current spread first, from 0"}}},
         &RunArtboard},
        {{.verb = "do",
          .summary = "Runs a command as one step of the document's history.",
          .onDocument = true,
          .positionals = {{"COMMAND"}, {"name=value", Times::Any}},
          .options = WithRunOptions(
              {{"--select", "SELECTOR",
                "what it runs on: #ID, #ID[from:to], #ID[/regex/], type:CLASS, name:TEXT, all, none"},
               {"--set-selection", "", "stores the selection in the document first, whatever the command takes"},
               {"--spread", "N", "makes this the current spread first, from 0"},
               {"-o", "OUT.redraft", "saves there and leaves DOC as it is"},
               c_forcedDocument})},
         &RunDo},
        {{.verb = "undo",
          .summary = "Takes the newest step back, or the newest N.",
          .onDocument = true,
          .positionals = {{"N", Times::Optional}},
          .options = {}},
         &RunUndo},
        {{.verb = "redo",
          .summary = "Does the next step again, or the next N.",
          .onDocument = true,
          .positionals = {{"N", Times::Optional}},
          .options = {}},
         &RunRedo},
        {{.verb = "goto",
          .summary = "Goes to the state after POSITION steps of the history; 0 is the first state.",
          .onDocument = true,
          .positionals = {{"POSITION"}},
          .options = {}},
         &RunGoTo},
        {{.verb = "history",
          .summary = "Lists the steps of the history.",
          .onDocument = true,
          .positionals = {},
          .options = {{"--html", "DIR", "writes a page with a picture of every state there"}, c_forcedFile}},
         &RunHistory},
        {{.verb = "render",
          .summary = "Makes a picture of a spread.",
          .onDocument = true,
          .positionals = {},
          .options = {{"-o", "OUT.png", "the picture to write", true},
                      {"--spread", "N", "which spread, from 0 (the current one)"},
                      {"--artboard", "NAME", "only this artboard of the spread, as large as it is"},
                      {"--scale", "S", "pixels a unit of 1/96 inch (1)"},
                      {"--background", "COLOUR", "below everything, or none (white)"},
                      {"--position", "P", "the state after P steps of the history (the current one)"},
                      c_forcedFile}},
         &RunRender},
        {{.verb = "export",
          .summary = "Writes a spread, or a text, in a format of other programs, chosen by the file's ending;\n"
                     "or with --slices several spreads into a folder.",
          .onDocument = true,
          .positionals = {},
          .options = {{"-o", "OUT",
                       "the file: .svg, .png, .jpg, .tif; of a text .epub, .htm, .rtf or .txt; or a folder", true},
                      {"--select", "SELECTOR", "only these nodes; the text of the first frame among them"},
                      {"--spread", "N", "which spread, from 0 (the current one)"},
                      {"--articles", "", "all texts and pictures in the reading order: .epub, .htm, .rtf or .txt"},
                      {"--slices", "", "each spread whose slice is included, to the slice's file in the folder OUT"},
                      {"--format", "FORMAT", "of slices: png, jpeg, tiff or svg (png)"},
                      {"--title", "TEXT", "the title of an e-book or of HTML (the file's name)"},
                      {"--author", "TEXT", "the author of an e-book or of HTML"},
                      {"--scale", "S", "pixels a unit of 1/96 inch (those of the pictures in it, or else 1)"},
                      {"--background", "COLOUR", "below everything, or none (white, or none with --select)"},
                      {"--quality", "N", "of .jpg, 1 to 100 (90)"},
                      c_forcedFile}},
         &RunExport},
        {{.verb = "hash",
          .summary = "Prints the canonical hash of the document's state.",
          .onDocument = true,
          .positionals = {},
          .options = {{"--with-history", "", "counts the history in"}}},
         &RunHash},
        {{.verb = "check",
          .summary = "Verifies the whole file: checksums, objects, the tree's rules.",
          .onDocument = true,
          .positionals = {},
          .options = {}},
         &RunCheck},
        {{.verb = "commands",
          .summary = "Lists the commands with their parameters, or tells about one.",
          .positionals = {{"NAME", Times::Optional}},
          .options = {{"--all", "", "lists the engine's own inner commands too"}}},
         &RunCommands},
        {{.verb = "run",
          .summary = "Runs the lines of a script, each a call without DOC, on one document; saves once at the end.",
          .onDocument = true,
          .positionals = {{"SCRIPT"}},
          .options =
              WithRunOptions({{"--merge", "", "lets commands merge into the step before them, as in interactive work"},
                              {"-o", "OUT.redraft", "saves there and leaves DOC as it is"},
                              c_forcedDocument})},
         &RunScript,
         InScript::No},
        {{.verb = "help",
          .summary = "Tells how a verb is called, or about a command.",
          .positionals = {{"NAME", Times::Optional}},
          .options = {}},
         &RunHelp},
        {{.verb = "completion",
          .summary = "Prints a script that completes verbs, options and commands in bash, zsh or fish.",
          .positionals = {{"SHELL"}},
          .options = {}},
         &RunCompletion,
         InScript::No},
        {{.verb = "man", .summary = "Prints the manual page, for man -l.", .positionals = {}, .options = {}},
         &RunManPage,
         InScript::No},
    };
    return s_verbs;
}

Verb const* FindVerb(std::string_view name) {
    auto const& verbs = GetVerbs();
    auto const found =
        std::find_if(verbs.begin(), verbs.end(), [&](Verb const& verb) { return verb.usage.verb == name; });
    return found == verbs.end() ? nullptr : &*found;
}

namespace {

[[noreturn]] void ThrowForVerb(std::string const& name) {
    std::vector<std::string_view> names;
    for (auto const& verb : GetVerbs())
        names.push_back(verb.usage.verb);
    auto const nearest = SuggestNearest(name, names);
    throw Failure(ExitStatus::Usage, name,
                  "no such verb" + (nearest.empty() ? std::string("; `redraft --help` lists them") : nearest));
}

} // namespace

ExitStatus RunHelp(Session& session, Arguments const& arguments) {
    auto const name = arguments.Find("NAME");
    auto const* const verb = name ? FindVerb(*name) : nullptr;
    if (name && verb == nullptr)
        return RunCommands(session, arguments);
    session.Print(verb == nullptr ? FormatProgramHelp() : FormatHelp(verb->usage));
    return ExitStatus::Done;
}

ExitStatus RunCompletion(Session& session, Arguments const& arguments) {
    session.Print(FormatCompletion(arguments.Get("SHELL")));
    return ExitStatus::Done;
}

ExitStatus RunManPage(Session& session, Arguments const&) {
    session.Print(FormatManPage());
    return ExitStatus::Done;
}

ExitStatus RunVerb(Session& session, std::span<std::string const> words) {
    auto const* const verb = FindVerb(words.front());
    if (verb == nullptr)
        ThrowForVerb(words.front());
    bool const inScript = session.IsInScript();
    if (inScript && verb->inScript == Verb::InScript::No)
        throw Failure(ExitStatus::Usage, words.front(), "cannot stand in a script");
    Arguments const arguments(verb->usage, words.subspan(1), inScript);
    if (arguments.Has("--help")) {
        session.Print(FormatHelp(verb->usage));
        return ExitStatus::Done;
    }
    return verb->run(session, arguments);
}

} // namespace Shell
