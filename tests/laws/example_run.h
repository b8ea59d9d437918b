// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "tests/examples/command_example.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

// All examples: those of the library's commands and those of the engine's inner ones.
std::vector<CommandExample> const& AllExamples();
// For suites that have the number of an example as their parameter.
std::string ExampleName(testing::TestParamInfo<std::size_t> const& info);

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
