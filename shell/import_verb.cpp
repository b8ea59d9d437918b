// SPDX-License-Identifier: Apache-2.0
#include "formats/import.h"
#include "formats/path_ending.h"
#include "formats/text_pattern.h"
#include "platform/kernel/exception.h"
#include "shell/colour_profile.h"
#include "shell/document_target.h"
#include "shell/input_files.h"
#include "shell/interrupt.h"
#include "shell/progress.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/story/composition.h"

#include <algorithm>
#include <optional>

namespace Shell {

namespace {

void RequireTextFile(Arguments const& arguments, std::string const& option) {
    auto const& paths = arguments.GetAll("IN");
    if (std::none_of(paths.begin(), paths.end(),
                     [](std::string const& path) { return Formats::GetPathEnding(path) == ".txt"; }))
        throw Failure(ExitStatus::Usage, option, "is for .txt files, and none is imported");
}

Formats::ImportOptions ReadOptions(Arguments const& arguments) {
    Formats::ImportOptions options;
    options.encoding = arguments.Has("--encoding") ? arguments.Get("--encoding") : "";
    options.language = arguments.Has("--language") ? arguments.Get("--language") : "en";
    if (arguments.Has("--keep-lines") && arguments.Has("--join-lines"))
        throw Failure(ExitStatus::Usage, "--join-lines", "contradicts --keep-lines");
    options.profile = ReadProfile(arguments);
    options.linkTexts = arguments.Has("--link");
    options.isVertical = arguments.Has("--vertical");
    if (options.isVertical)
        RequireTextFile(arguments, "--vertical");
    if (auto const headings = arguments.Find("--headings")) {
        RequireTextFile(arguments, "--headings");
        try {
            Formats::TextPattern const pattern(*headings);
        } catch (Kernel::Exception const& failure) {
            throw Failure(ExitStatus::Usage, "--headings",
                          headings->empty() ? failure.what() : Quote(*headings) + " " + failure.what());
        }
        options.headings = *headings;
    }
    options.lines = arguments.Has("--keep-lines")   ? Formats::TextLines::Keep
                    : arguments.Has("--join-lines") ? Formats::TextLines::Join
                                                    : Formats::TextLines::Recognise;
    return options;
}

std::string_view GetAdvice(Formats::Note::Kind kind) {
    switch (kind) {
    case Formats::Note::Kind::GuessedEncoding:
        return "; --encoding names another one";
    case Formats::Note::Kind::MalformedText:
        return "; --encoding may name what the text is in";
    default:
        return {};
    }
}

void TellReport(Formats::Report const& report, std::string const& path) {
    for (auto const& file : report.files)
        InputFiles::Add(file);
    for (auto const& note : report.notes)
        Session::Note(path, Formats::Describe(note) + std::string(GetAdvice(note.kind)));
}

// Reads one file with a bar that shows how far it is; control-C stops it.
// Headings that it finds are counted.
template <class F>
auto Follow(std::string const& path, Formats::ImportOptions options, std::optional<std::size_t>& headings,
            F const& read) {
    Formats::Report report;
    bool abort = false;
    auto result = Guarded(ExitStatus::Input, path, [&] {
        try {
            Interrupt::Scope const interrupt(&abort);
            auto const ending = Formats::GetPathEnding(path);
            bool const isText = ending == ".txt" || ending == ".md" || ending == ".markdown";
            ProgressBar progress((isText ? "Lay out " : "Import ") + path);
            options.abort = &abort;
            options.progress = [&](float fraction) { progress.Update(fraction); };
            return read(options, report);
        } catch (...) {
            TellReport(report, path);
            throw;
        }
    });
    TellReport(report, path);
    if (report.headings)
        headings = headings.value_or(0) + *report.headings;
    Interrupt::Check(path);
    return result;
}

std::size_t CountContent(SpreadNode& spread) {
    std::size_t count = 0;
    for (Node* child = spread.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        ForEachNode(*child, [&](Node&) { ++count; });
    return count;
}

} // namespace

// The first input makes the page; the others are placed on it.
ExitStatus RunImport(Session& session, Arguments const& arguments) {
    auto const& target = arguments.Get("-o");
    CheckDocumentTarget(target, arguments.Has("--force"));
    auto const& paths = arguments.GetAll("IN");
    auto const options = ReadOptions(arguments);
    std::optional<std::size_t> headings;
    auto const document = Follow(paths.front(), options, headings, [&](auto const& followed, Formats::Report& report) {
        return Formats::Import(paths.front(), followed, &report);
    });
    // Effects work on what is selected: all pictures.
    auto layers = document->GetCurrentSelection()->GetNodes();
    for (std::size_t i = 1; i != paths.size(); ++i) {
        auto const placed = Follow(paths[i], options, headings, [&](auto const& followed, Formats::Report& report) {
            return Formats::Place(*document, paths[i], followed, &report);
        });
        for (auto const& node : placed) {
            if (Kernel::CastPointer<RasterNode>(node.get()) != nullptr)
                layers.push_back(node);
        }
    }
    if (!layers.empty())
        document->SetSelection(Kernel::MakeCounted<Selection>(layers), false);
    session.SetDocument(document, target);
    std::size_t count = 0;
    for (auto const& spread : document->GetDocument()->GetSpreads())
        count += CountContent(*spread);
    // Families are asked for when text is laid out, which none has been yet but that of this call.
    for (auto const& family : Story::GetMissingFonts())
        Session::Note(paths.front(), "no font " + OneLine(family) + " is installed; another font is used");
    if (session.IsJson()) {
        session.Json().BeginObject();
        session.Json().Member("file", target);
        session.Json().Member("nodes", count);
        session.Json().Member("symbols", document->GetSymbolCount());
        if (headings)
            session.Json().Member("headings", *headings);
        session.Json().EndObject();
    } else {
        session.Print(OneLine(target) + ": " + Count(count, "node", "nodes") + " from " +
                      Count(paths.size(), "file", "files") +
                      (headings ? ", " + Count(*headings, "heading", "headings") : std::string()) + "\n");
    }
    return ExitStatus::Done;
}

} // namespace Shell
