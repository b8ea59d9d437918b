// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "shell/arguments.h"
#include "shell/failure.h"
#include "shell/json_writer.h"
#include "shell/output_files.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace Shell {

// The state that the verbs of one call share: the open document, the answer on standard output, and the files that are
// written. Nothing reaches a file before Finish.
class Session {
public:
    explicit Session(bool json);
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;
    ~Session();

    // The document of the call, opened when it is first asked for; in a script the one that all lines are about.
    DocumentController& Open(Arguments const& arguments);
    // The same document, or a copy of it where other lines of a script go on with it: whoever asks takes it to other
    // states and does not bring it back. Valid until the next time.
    DocumentController& OpenToLook(Arguments const& arguments);
    // A document that the call has made.
    void SetDocument(Kernel::Counted<DocumentController> document, std::string const& path);
    std::string const& GetDocumentPath() const { return m_path; }
    // The call whose script the lines are of; null where the verb is no script's line.
    Arguments const* GetScript() const { return m_script; }
    bool IsInScript() const { return m_script != nullptr; }
    // Not owned.
    void SetScript(Arguments const* script) { m_script = script; }

    // The document is to be saved when the call ends: in its place, or where SaveTo says.
    void MarkChanged() { m_isChanged = true; }
    bool IsChanged() const { return m_isChanged; }
    // Throws Failure where a document may not be saved there; `isForced` lets it replace any file.
    void SaveTo(std::string const& path, bool isForced);

    // The devices of a choice of --device, the same for all lines of a script; null for none.
    Kernel::Counted<Raster::HardwareDevices const> GetDevices(std::string const& choice);

    OutputFiles& Files() { return m_files; }

    bool IsJson() const { return m_isJson; }
    // For the answer where IsJson, else for nothing.
    JsonWriter& Json() { return m_json; }
    // Text of the answer, with its line ends.
    void Print(std::string_view text);
    // A line on standard error that is no failure.
    static void Note(std::string_view subject, std::string_view text);

    // Hands over what was printed.
    void Flush();
    // Saves the document if it is to be saved, and lets the files appear. Throws Failure.
    void Finish();

private:
    bool m_isJson;
    Arguments const* m_script = nullptr;
    bool m_isChanged = false;
    // The call has made the document.
    bool m_isNew = false;
    Kernel::Counted<DocumentController> m_document;
    Kernel::Counted<DocumentController> m_lookedAt;
    std::string m_path;
    std::string m_target;
    std::map<std::string, Kernel::Counted<Raster::HardwareDevices const>> m_devices;
    OutputFiles m_files;
    std::string m_printed;
    JsonWriter m_json;
};

} // namespace Shell
