// SPDX-License-Identifier: Apache-2.0
#include "shell/session.h"

#include "shell/devices.h"
#include "shell/document_target.h"
#include "shell/input_files.h"
#include "shell/interrupt.h"
#include "shell/user_seal.h"

#include "platform/document/data_merge_source.h"
#include "platform/raster/hardware_devices.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace Shell {

namespace {

constexpr std::size_t c_printedBytes = 1 << 20;

} // namespace

Session::Session(bool json) : m_isJson(json), m_json([this](std::string_view text) { Print(text); }) {}

Session::~Session() = default;

Kernel::Counted<Raster::HardwareDevices const> Session::GetDevices(std::string const& choice) {
    auto found = m_devices.find(choice);
    if (found == m_devices.end())
        found = m_devices.emplace(choice, MakeDevices(choice)).first;
    return found->second;
}

DocumentController& Session::Open(Arguments const& arguments) {
    if (!m_document) {
        m_path = arguments.GetDocument();
        m_document = Guarded(ExitStatus::Input, m_path, [&] {
            return DocumentController::Open(m_path, arguments.Has("--trusted"), MakeUserSeal());
        });
        // Commands of different calls are steps of their own; a script may ask for merging.
        m_document->SetMergingEnabled(false);
        m_document->SetDirectDelivery(true);
        InputFiles::Add(m_path);
        for (auto const& source : std::as_const(*m_document->GetDocument()).GetDataMergeSettings())
            InputFiles::Add(source->GetDataPath().ToStdString());
        Interrupt::Check(m_path);
    }
    return *m_document;
}

DocumentController& Session::OpenToLook(Arguments const& arguments) {
    auto& document = Open(arguments);
    if (!IsInScript())
        return document;
    m_lookedAt = Guarded(ExitStatus::Input, m_path, [&] { return document.MakeCopy(); });
    return *m_lookedAt;
}

void Session::SetDocument(Kernel::Counted<DocumentController> document, std::string const& path) {
    document->SetSeal(MakeUserSeal());
    m_document = std::move(document);
    m_path = path;
    m_isNew = true;
    m_isChanged = true;
}

void Session::SaveTo(std::string const& path, bool isForced) {
    InputFiles::Refuse(path);
    CheckDocumentTarget(path, isForced);
    m_target = path;
}

void Session::Print(std::string_view text) {
    m_printed += text;
    if (m_printed.size() >= c_printedBytes)
        Flush();
}

void Session::Note(std::string_view subject, std::string_view text) {
    std::fprintf(stderr, "redraft: %s: %s\n", OneLine(subject).c_str(), OneLine(text).c_str());
}

void Session::Flush() {
    auto const fail = [] {
        throw Failure(ExitStatus::Output, "standard output",
                      "cannot be written: " + std::generic_category().message(errno));
    };
    if (std::fwrite(m_printed.data(), 1, m_printed.size(), stdout) != m_printed.size())
        fail();
    m_printed.clear();
    if (std::fflush(stdout) != 0)
        fail();
}

void Session::Finish() {
    Interrupt::Check(m_path.empty() ? "call" : m_path);
    m_files.RefuseInputs();
    if (m_isChanged) {
        auto const& target = m_target.empty() ? m_path : m_target;
        if (m_isNew || !m_target.empty())
            InputFiles::Refuse(target);
        Guarded(ExitStatus::Output, target, [&] {
            try {
                m_document->Save(target);
            } catch (Kernel::DamagedDataException const&) {
                // The document that was opened is damaged, whatever is being written.
                RethrowAsFailure(ExitStatus::Input, m_path);
            }
        });
    }
    m_files.Commit();
    m_json.Flush();
    if (m_json.HasValue())
        Print("\n");
    Flush();
}

} // namespace Shell
