// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/text_nodes.h"
#include "platform/renderer/file_export_options.h"

namespace EPub {
class ExportSettings;
class HtmlExporter;
} // namespace EPub

namespace Commands {

// Writes the story of the first selected frame to a file: RTF, plain text, an e-book or HTML, as the path's extension
// says. Changes nothing in the document.
class REDRAFT_API ExportStoryCommand final
    : public Persisted<ExportStoryCommand, SelectionCommand<ExportStoryCommand>> {
public:
    enum Result {
        // Written; also where nothing was to be done: the extension is unknown, or no frame is selected.
        Written = 0,
        // Writing failed; the file may hold a part.
        WriteFailed = 7,
        // RTF or plain text: the file cannot be opened.
        OpenFailed = 10
    };

    // `options` may be null; for e-books and HTML they are EPub::FlowingEPubOptions.
    ExportStoryCommand(Kernel::Counted<Selection const> selection, Kernel::String path,
                       Kernel::Counted<Renderer::FileExportOptions const> options);
    ~ExportStoryCommand() override;
    // Of the last Do.
    int GetResult() const { return m_result; }

    static constexpr auto c_description = Kernel::Localisable("Export story", "Command description");
    void Do() override;
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    void Teardown() override {}
    bool ShouldStackForUndo() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void DoExport(EPub::HtmlExporter& exporter, Kernel::Counted<EPub::ExportSettings> settings,
                  Kernel::JailCounted<TextNode> node, Kernel::Counted<Story::Story const> story);

private:
    friend struct Kernel::FieldAccess;
    ExportStoryCommand() = default;
    static constexpr auto Fields() { return Kernel::FieldList<>{}; }

    void WriteRtf(FrameTextNode const& frame, Kernel::Counted<Story::Story const> const& story);
    void WriteHtml(Kernel::JailCounted<FrameTextNode> const& frame, Kernel::Counted<Story::Story const> const& story,
                   bool isEPub);
    void WriteBytes(std::span<char const> bytes);

    Kernel::String m_path;
    Kernel::Counted<Renderer::FileExportOptions const> m_options;
    int m_result = Written;
};

} // namespace Commands
