// SPDX-License-Identifier: Apache-2.0
#include "shell/export.h"

#include "formats/path_ending.h"
#include "shell/interrupt.h"
#include "shell/progress.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace Shell {

namespace {

// A file of the session.
class SessionOutput final : public Formats::Output {
public:
    SessionOutput(OutputFiles& files, std::string const& path) : m_files(files), m_path(path) {}

    void Begin() override {
        m_files.Abandon();
        m_hasBegun = true;
        m_files.Begin(m_path);
    }
    void Write(std::span<std::byte const> bytes) override { m_files.Write(bytes); }
    bool HasBegun() const { return m_hasBegun; }

private:
    OutputFiles& m_files;
    std::string const& m_path;
    bool m_hasBegun = false;
};

void TellNotes(Formats::Report const& report, std::string const& document, std::string const& path) {
    for (auto const& note : report.notes)
        Session::Note(note.kind == Formats::Note::Kind::Damaged ? document : path, Formats::Describe(note));
}

} // namespace

Formats::ExportFormat FindExportFormat(std::string const& path) {
    if (auto const format = Formats::FindExportFormat(path))
        return *format;
    if (Formats::GetPathEnding(path) == ".html")
        throw Failure(ExitStatus::Usage, path, "HTML is written to files that end in .htm");
    throw Failure(ExitStatus::Usage, path,
                  "needs a file name extension for the format: .svg, .png, .jpg, .tif, .epub, .htm, .rtf or .txt");
}

void WriteExport(Session& session, DocumentController& document, std::string const& path, Formats::ExportFormat format,
                 Formats::ExportOptions options) {
    auto const& subject = session.GetDocumentPath();
    SessionOutput output(session.Files(), path);
    Formats::Report report;
    bool abort = false;
    try {
        Interrupt::Scope const interrupt(&abort);
        ProgressBar progress("Render");
        options.abort = &abort;
        options.progress = [&](float fraction) { progress.Update(fraction); };
        Formats::Export(document, format, output, options, &report);
    } catch (Kernel::DamagedDataException const&) {
        TellNotes(report, subject, path);
        RethrowAsFailure(ExitStatus::Input, subject);
    } catch (...) {
        TellNotes(report, subject, path);
        // Before the first byte only the document can be at fault.
        if (output.HasBegun())
            RethrowAsFailure(ExitStatus::Output, path);
        RethrowAsFailure(ExitStatus::Input, subject);
    }
    session.Files().End();
    TellNotes(report, subject, path);
}

// The time that reproducible builds name (https://reproducible-builds.org/specs/source-date-epoch/).
static std::optional<std::int64_t> GetSourceDate() {
    char const* const text = std::getenv("SOURCE_DATE_EPOCH");
    if (text == nullptr || *text == 0)
        return std::nullopt;
    std::string_view const digits(text);
    std::int64_t seconds = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
    if (error != std::errc() || end != digits.data() + digits.size() || seconds < 0)
        throw Failure(ExitStatus::Usage, "SOURCE_DATE_EPOCH", "is no number of seconds: " + std::string(digits));
    return seconds;
}

void WriteTextExport(Session& session, DocumentController& document, std::string const& path,
                     Formats::TextFormat format, Formats::TextExportOptions options) {
    options.modified = GetSourceDate();
    if (options.title.empty())
        options.title = std::filesystem::path(path).stem().string();
    SessionOutput output(session.Files(), path);
    try {
        Formats::ExportText(document, format, output, options);
    } catch (Kernel::DamagedDataException const&) {
        RethrowAsFailure(ExitStatus::Input, session.GetDocumentPath());
    } catch (...) {
        RethrowAsFailure(ExitStatus::Output, path);
    }
    session.Files().End();
}

} // namespace Shell
