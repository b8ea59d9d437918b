// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace Shell {

// A bar on the terminal for work that lasts over half a second; nothing where standard error is no terminal. While the
// work does not say how far it is, something moves in the bar. Safe from any thread.
class ProgressBar final : public ProgressListener {
public:
    explicit ProgressBar(std::string description = {});
    ProgressBar(ProgressBar const&) = delete;
    ProgressBar& operator=(ProgressBar const&) = delete;
    // Clears the line.
    ~ProgressBar() override;

    // 0 to 1.
    void Update(float fraction);
    void Progress(DomainCommand const& command, float fraction) override;

private:
    void Draw(float fraction);
    void DrawSign(int step);
    void Print(std::string const& bar);
    void ShowSigns();

    std::mutex m_mutex;
    std::string m_description;
    std::chrono::steady_clock::time_point m_start, m_lastDraw;
    bool m_isTerminal;
    bool m_isShown = false;
    bool m_hasFraction = false;
    bool m_isOver = false;
    std::condition_variable m_overOrKnown;
    // Only on a terminal.
    std::thread m_signs;
};

// Lets a listener hear of a document's progress while it lives.
class ListeningToProgress {
public:
    ListeningToProgress(DocumentController& document, ProgressListener& listener) : m_document(document) {
        m_document.SetProgressListener(&listener);
    }
    ListeningToProgress(ListeningToProgress const&) = delete;
    ListeningToProgress& operator=(ListeningToProgress const&) = delete;
    ~ListeningToProgress() { m_document.SetProgressListener(nullptr); }

private:
    DocumentController& m_document;
};

} // namespace Shell
