// SPDX-License-Identifier: Apache-2.0
#include "formats/path_ending.h"
#include "shell/document_target.h"
#include "shell/export.h"
#include "shell/input_files.h"
#include "shell/interrupt.h"
#include "shell/merge_sources.h"
#include "shell/progress.h"
#include "shell/user_seal.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/data_merge_output.h"
#include "platform/document/place_merge_fields_command.h"
#include "platform/kernel/files.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace Shell {

namespace {

constexpr std::uint64_t c_largestEmbedded = std::uint64_t(64) << 20;

Kernel::String MakeGuid(DocumentNode const& document) {
    for (std::size_t number = document.GetDataMergeSettings().size() + 1;; ++number) {
        Kernel::String guid("source-" + std::to_string(number));
        if (!FindDataMergeSource(document, guid))
            return guid;
    }
}

Kernel::Counted<DataMergeFetcher> MakeFetcher(std::string const& path, bool isEmbedded) {
    auto const absolute = std::filesystem::absolute(path).lexically_normal();
    if (!isEmbedded)
        return Kernel::MakeCounted<DataMergeFetcher>(Kernel::String(absolute.string()));
    auto const bytes = Kernel::ReadWholeFile(Kernel::String(path), c_largestEmbedded);
    std::string const text(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    if (!Kernel::IsValidUtf8(text))
        throw Kernel::Exception("is no text in UTF-8, which --embed is for");
    return DataMergeFetcher::MakeWithContent(Kernel::String(absolute.filename().string()), Kernel::String(text));
}

// Reads the data and refuses those that are none.
void ReadData(DataMergeSource& source, std::string const& path) {
    bool abort = false;
    Interrupt::Scope const interrupt(&abort);
    ProgressBar const progress("Read " + path);
    auto const payload = source.PrepareFilterUpdate(&abort);
    Interrupt::Check(path);
    auto const& warnings = payload->GetWarnings()->GetWarnings();
    if (!payload->GetResult()->table) {
        auto reason = warnings.empty() ? "holds no data" : warnings.front().text.ToStdString();
        // The line begins with the path in any case.
        auto const named = source.GetDataPath().ToStdString() + ": ";
        if (reason.starts_with(named))
            reason.erase(0, named.size());
        throw Failure(ExitStatus::Input, path, reason);
    }
    source.CommitUpdate(payload);
    TellMergeWarnings(path, warnings, payload->GetWarnings()->GetFurtherWarnings());
}

} // namespace

// Only the source stands outside of the history; the fields are a step.
ExitStatus RunLink(Session& session, Arguments const& arguments) {
    auto const& path = arguments.Get("DATA");
    auto& document = session.Open(arguments);
    auto& node = *document.GetDocument();
    InputFiles::Add(path);
    auto const fetcher = Guarded(ExitStatus::Input, path, [&] { return MakeFetcher(path, arguments.Has("--embed")); });
    Records::ReadOptions options;
    options.sheet = Kernel::String(arguments.Find("--sheet").value_or(""));
    auto const name = arguments.Find("--name").value_or(std::filesystem::path(path).stem().string());
    if (!Kernel::IsValidUtf8(name))
        throw Failure(ExitStatus::Usage, "--name", "needs text in UTF-8");
    auto const source = Kernel::MakeCounted<DataMergeSource>(
        MakeGuid(node), Kernel::String(name), fetcher, Kernel::MakeCounted<DataMergeParser>(options, Kernel::String()));
    std::error_code error;
    source->SetFolder(
        Kernel::String(std::filesystem::absolute(session.GetDocumentPath(), error).parent_path().string()));
    if (arguments.Has("--trusted"))
        source->AllowPicturesAnywhere();
    Guarded(ExitStatus::Input, path, [&] { ReadData(*source, path); });
    source->SetPreviewEnabled(true);
    node.GetDataMergeSettings().push_back(source);
    auto const command = Kernel::MakeCounted<PlaceMergeFieldsCommand>(source);
    document.Run(command);
    session.MarkChanged();
    auto const& table = *source->GetResult()->table;
    auto const number = std::as_const(node).GetDataMergeSettings().size() - 1;
    if (command->GetFieldCount() + command->GetPictureCount() == 0)
        Session::Note(session.GetDocumentPath(),
                      "has no field for the data: {{Column}} in a text stands for one, and an object of such a name "
                      "shows a picture");
    if (session.IsJson()) {
        auto& json = session.Json();
        json.BeginObject();
        json.Member("source", "source:" + std::to_string(number));
        json.Member("records", table.GetRowCount());
        json.Member("columns", table.GetColumnCount());
        json.Member("fields", command->GetFieldCount());
        json.Member("pictures", command->GetPictureCount());
        json.Member("position", document.GetHistory()->GetPosition());
        json.EndObject();
    } else {
        session.Print(OneLine(session.GetDocumentPath()) + ": " + Count(table.GetRowCount(), "record", "records") +
                      " of " + Count(table.GetColumnCount(), "column", "columns") + " as source:" +
                      std::to_string(number) + "; " + Count(command->GetFieldCount(), "field", "fields") + " and " +
                      Count(command->GetPictureCount(), "picture", "pictures") + " placed\n");
    }
    return ExitStatus::Done;
}

namespace {

// The names of files with a number in them.
class NumberedPath {
public:
    explicit NumberedPath(std::string const& pattern) {
        auto const refuse = [&] {
            throw Failure(ExitStatus::Usage, "--each",
                          "needs one %d, or %03d for three digits, in the name: " + Quote(pattern));
        };
        auto const begin = pattern.find('%');
        if (begin == pattern.npos || pattern.find('/', begin) != pattern.npos)
            refuse();
        auto end = begin + 1;
        bool const isPadded = end != pattern.size() && pattern[end] == '0';
        while (end != pattern.size() && pattern[end] >= '0' && pattern[end] <= '9')
            m_digits = std::min<std::size_t>(20, m_digits * 10 + static_cast<std::size_t>(pattern[end++] - '0'));
        if (end == pattern.size() || pattern[end] != 'd' || (m_digits != 0 && !isPadded) ||
            pattern.find('%', end) != pattern.npos)
            refuse();
        m_front = pattern.substr(0, begin);
        m_back = pattern.substr(end + 1);
    }
    std::string Make(std::size_t number) const {
        auto digits = std::to_string(number);
        if (digits.size() < m_digits)
            digits.insert(0, m_digits - digits.size(), '0');
        return m_front + digits + m_back;
    }

private:
    std::string m_front, m_back;
    std::size_t m_digits = 0;
};

// Writes one copy after the other in the format that the ending tells.
class CopyWriter {
public:
    CopyWriter(Session& session, Arguments const& arguments, std::string const& pattern)
        : m_session(session), m_paths(pattern), m_isForced(arguments.Has("--force")) {
        auto const example = m_paths.Make(1);
        m_isDocument = Formats::GetPathEnding(example) == ".redraft";
        m_text = Formats::FindTextFormat(example);
        if (!m_isDocument && !m_text)
            m_picture = FindExportFormat(example);
        m_options.scale = ParseOption("--scale", [&] {
            return ParseNumber(arguments.Find("--scale").value_or("1"), {1e-4, 1e4});
        });
        if (auto const colour = arguments.Find("--background"))
            m_options.background = ParseOption("--background", [&] { return ParseColour(*colour); });
        session.Files().SetForced(m_isForced);
    }

    void Write(DocumentController& copy) {
        if (m_picture) {
            for (auto const& spread : copy.GetDocument()->GetSpreads()) {
                m_options.spread = spread;
                WriteExport(m_session, copy, Next(), *m_picture, m_options);
            }
        } else if (m_text) {
            WriteTextExport(m_session, copy, Next(), *m_text, {});
        } else {
            auto const path = Next();
            InputFiles::Refuse(path);
            CheckDocumentTarget(path, m_isForced);
            Guarded(ExitStatus::Output, path, [&] { copy.MakeCopyWithoutHistory()->Save(path); });
        }
        // The files that are not in their places yet are open.
        if (m_written - m_placed >= c_mostWaiting)
            Place();
    }
    void Place() {
        m_session.Files().RefuseInputs();
        m_session.Files().Commit();
        m_placed = m_written;
    }
    std::size_t GetCount() const { return m_written; }
    std::string GetFirst() const { return m_paths.Make(1); }
    std::string GetLast() const { return m_paths.Make(std::max<std::size_t>(1, m_written)); }

private:
    static constexpr std::size_t c_mostWaiting = 256;
    std::string Next() { return m_paths.Make(++m_written); }

    Session& m_session;
    NumberedPath m_paths;
    bool m_isForced, m_isDocument = false;
    std::optional<Formats::TextFormat> m_text;
    std::optional<Formats::ExportFormat> m_picture;
    Formats::ExportOptions m_options;
    std::size_t m_written = 0, m_placed = 0;
};

void AnswerMerge(Session& session, std::string const& written, std::size_t copies, std::size_t files) {
    if (session.IsJson()) {
        auto& json = session.Json();
        json.BeginObject();
        json.Member("copies", copies);
        json.Member("files", files);
        json.Member("written", written);
        json.EndObject();
    } else {
        session.Print(OneLine(written) + ": " + Count(copies, "copy", "copies") + "\n");
    }
}

} // namespace

ExitStatus RunMerge(Session& session, Arguments const& arguments) {
    auto const target = arguments.Find("-o");
    auto const each = arguments.Find("--each");
    if (target.has_value() == each.has_value())
        throw Failure(ExitStatus::Usage, "merge", "needs either -o or --each");
    if (target && (arguments.Has("--scale") || arguments.Has("--background")))
        throw Failure(ExitStatus::Usage, "--scale", "and --background are for the pictures of --each");
    if (target)
        CheckDocumentTarget(*target, arguments.Has("--force"));
    std::optional<CopyWriter> writer;
    if (each)
        writer.emplace(session, arguments, *each);
    auto& document = session.Open(arguments);
    auto const subject = session.GetDocumentPath();
    bool abort = false;
    Kernel::Counted<DocumentController> made;
    std::size_t copies = 0;
    std::optional<DataMergeOutput> output;
    Guarded(ExitStatus::Input, subject, [&] {
        Interrupt::Scope const interrupt(&abort);
        output.emplace(Kernel::Counted<DocumentController const>(&document), &abort);
        copies = output->GetCopyCount();
        for (auto const& path : output->GetPicturePaths())
            InputFiles::Add(path.ToStdString());
        if (target) {
            ProgressBar progress("Merge " + subject);
            made = output->MakeDocument([&](std::size_t done) {
                progress.Update(static_cast<float>(done) / static_cast<float>(std::max<std::size_t>(1, copies)));
            });
        }
    });
    if (writer) {
        if (copies == 0)
            throw Failure(ExitStatus::NothingToDo, subject, "no record comes through the filters");
        ProgressBar progress("Merge " + subject);
        for (std::size_t copy = 0; copy != copies; ++copy) {
            auto const shown = Guarded(ExitStatus::Input, subject, [&] {
                Interrupt::Scope const interrupt(&abort);
                return output->ShowCopy(copy);
            });
            writer->Write(*shown);
            Interrupt::Check(subject);
            progress.Update(static_cast<float>(copy + 1) / static_cast<float>(copies));
        }
        writer->Place();
    }
    TellMergeWarnings(subject, output->GetWarnings(), output->GetFurtherWarnings());
    if (made) {
        session.SetDocument(made, *target);
        AnswerMerge(session, *target, copies, 1);
    } else {
        AnswerMerge(session,
                    writer->GetCount() == 1 ? writer->GetFirst() : writer->GetFirst() + " to " + writer->GetLast(),
                    copies, writer->GetCount());
    }
    return ExitStatus::Done;
}

} // namespace Shell
