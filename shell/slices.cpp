// SPDX-License-Identifier: Apache-2.0
#include "shell/slices.h"

#include "shell/failure.h"
#include "shell/verbs.h"

#include <unordered_map>

namespace Shell {

namespace {

// Of a file's name, in bytes, on the file systems that are common.
constexpr std::size_t c_longestFilename = 255;

void RequireFilename(Slice const& slice, std::string_view ending) {
    auto const subject = "spread " + std::to_string(slice.number);
    if (slice.filename.empty())
        throw Failure(ExitStatus::Input, subject, "has no name to export to; set-export-filename gives it one");
    if (!IsPlainFilename(slice.filename))
        throw Failure(ExitStatus::Input, subject,
                      "cannot be exported as " + Quote(slice.filename) +
                          ", which is no plain name of a file; set-export-filename gives "
                          "it another");
    if (slice.filename.size() + ending.size() > c_longestFilename)
        throw Failure(ExitStatus::Input, subject,
                      "cannot be exported as " + Quote(slice.filename) + ": the name is too long for a file");
}

} // namespace

std::vector<Slice> FindSlices(DocumentController& document) {
    std::vector<Slice> slices;
    std::size_t number = 0;
    for (auto const& spread : document.GetDocument()->GetSpreads()) {
        ++number;
        auto const& page = spread->GetSlicePage();
        if (!page)
            continue;
        auto const& name = page->GetExportFilename();
        slices.push_back(
            {number, spread, page, (name.empty() ? page->GenerateDefaultFilename(document) : name).ToStdString()});
    }
    return slices;
}

std::vector<Slice> FindExportedSlices(DocumentController& document, std::string_view ending) {
    auto slices = FindSlices(document);
    std::erase_if(slices, [](Slice const& slice) { return !slice.page->IsIncludedInExport(); });
    if (slices.empty())
        throw Failure(ExitStatus::NothingToDo, "--slices",
                      "no slice is included in the export; `redraft do DOC assistant-export-setup` sets up new ones, "
                      "set-export-include includes one");
    std::unordered_map<std::string_view, std::size_t> numbers;
    for (auto const& slice : slices) {
        RequireFilename(slice, ending);
        auto const [first, isNew] = numbers.try_emplace(slice.filename, slice.number);
        if (!isNew)
            throw Failure(ExitStatus::Input, "spread " + std::to_string(slice.number),
                          "would be exported to the same file as spread " + std::to_string(first->second) + ", " +
                              Quote(slice.filename + std::string(ending)) + "; set-export-filename gives it another");
    }
    return slices;
}

bool IsPlainFilename(std::string_view name) {
    if (name.empty() || name == "." || name == "..")
        return false;
    for (std::size_t i = 0; i != name.size(); ++i) {
        auto const byte = static_cast<unsigned char>(name[i]);
        // U+0080 to U+009F are control characters of terminals too; in UTF-8 they begin with the byte C2.
        bool const isLateControl =
            byte == 0xC2 && i + 1 != name.size() && static_cast<unsigned char>(name[i + 1]) < 0xA0;
        if (byte < 0x20 || byte == 0x7F || byte == '/' || isLateControl)
            return false;
    }
    return true;
}

ExitStatus RunSlices(Session& session, Arguments const& arguments) {
    auto const slices = FindSlices(session.Open(arguments));
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    for (auto const& slice : slices) {
        if (!session.IsJson()) {
            session.Print(std::to_string(slice.number) + "  " +
                          (slice.filename.empty() ? std::string("-") : Quote(slice.filename)) +
                          (slice.page->IsIncludedInExport() ? "  included" : "") +
                          (slice.page->IsAssistantSetUp() ? "  set up" : "") + "\n");
            continue;
        }
        json.BeginObject();
        json.Member("number", slice.number);
        json.Member("name", slice.filename);
        json.Member("included", slice.page->IsIncludedInExport());
        json.Member("setUp", slice.page->IsAssistantSetUp());
        json.EndObject();
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

} // namespace Shell
