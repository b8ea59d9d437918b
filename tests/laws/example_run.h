// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/example.h"
#include "platform/document/document_controller.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// All examples: those of the library's commands and those of the engine's inner ones.
std::vector<CommandExample> const& AllExamples();
// Whether what Undo leaves changed lies in the tree. What else is kept, such as defaults, is in no hash.
bool IsKeptInDocument(CommandExample const& example);

// A folder that is removed with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    std::string Path(std::string const& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

// One example, ready to run: its document with its selection, before the command.
struct ExampleRun {
    explicit ExampleRun(CommandExample const& example);
    // Runs the command through the queue.
    void Do();

    CommandExample const& example;
    Kernel::Counted<DocumentController> controller;
    Kernel::Counted<DocumentCommand> command;
    DocumentHash before{};
    Kernel::Counted<Selection const> selectionBefore;
};

std::string ReadWholeFile(std::string const& path);
// The ids of the selected nodes, in order: comparable across processes.
std::vector<NodeId> SelectedIds(DocumentController const& controller);
