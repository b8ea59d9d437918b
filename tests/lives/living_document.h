// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "shell/session.h"
#include "tests/lives/random.h"

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Lives {

// Something that must never happen, in one line. The part in front of the first colon is its kind.
class Fault final : public std::exception {
public:
    explicit Fault(std::string text) : m_text(std::move(text)) {}
    char const* what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

// A document that lives through lines of a script, each of which is checked against all that is known of its states.
//
// Lines are those of `redraft run`, and a few of a program that works on the document for longer:
//   reload [--merge]              saves the document and goes on with what was saved; newer commands may merge into
//                                 older ones from then on, or no more
//   do fade opacity=OPACITY       a command that a newer one of its class merges into
//   preview COMMAND ... [--keep]  shows a command and takes it back, or keeps it; with --up it stays up until a line
//                                 ends it, shows another one in its place, or saves the document without it
//   end [--keep]                  takes the preview back that is up, or keeps it
//   repeat                        the newest step again
//   elsewhere                     a clone of the newest step on another document, done, undone and redone there
//   record, play                  a macro of what runs in between
class LivingDocument {
public:
    // Starts with the document in the file. Files of its own go into the folder.
    LivingDocument(std::string startPath, std::string folder, std::string const& device, bool checksPictures);

    // Throws Fault.
    void Run(std::string const& line);
    DocumentController& GetController() { return *m_controller; }
    // The class of the command that the last line ran and that became a step or changed the document; empty for none.
    std::string const& GetCommandThatRan() const { return m_ran; }

private:
    struct State {
        DocumentHash hash{};
        std::optional<std::string> picture;
    };
    // The document before a line runs.
    struct Moment {
        std::size_t position = 0;
        std::size_t count = 0;
        DocumentHash hash{};
        std::vector<NodeId> selection;
        NodeId spread = 0;
    };
    enum class Outcome { Ran, Refused };
    // The time stands still: whether commands merge must not depend on how fast a life goes.
    class Clock final : public DomainClock {
    public:
        std::int64_t GetMilliseconds() const override { return 0; }
    };

    Moment Look() const;
    // The same as it will be when the preview that is up has been taken back.
    Moment LookBehindPreview() const;
    void Attach(Kernel::Counted<DocumentController> controller, bool merges);
    Outcome RunLine(std::vector<std::string> const& words);
    Outcome RunVerb(std::vector<std::string> const& words);
    Outcome RunHere(std::vector<std::string> words);
    Outcome Preview(std::vector<std::string> words);
    Outcome EndPreview(bool isKept);
    void ComparePreviewWithCopy(std::vector<std::string> const& words, std::string const& select,
                                bool isTakenOver) const;
    Outcome Repeat();
    Outcome Play();
    void Reload(bool merges);
    void RunElsewhere();
    void ExpectNothingHappened(Moment const& before, std::string const& when) const;
    void LearnFromMove(Moment const& before);
    void LearnFromCommand(Moment const& before);
    void ExpectState(std::size_t position, DocumentHash const& hash);
    void ComparePicture();
    std::string DrawPicture() const;

    std::string m_start, m_folder;
    std::vector<std::string> m_scriptWords;
    Shell::Arguments m_script;
    Kernel::Counted<Raster::HardwareDevices const> m_devices;
    bool m_checksPictures;
    Clock m_clock;
    Kernel::Counted<DocumentController> m_controller;
    std::unique_ptr<Shell::Session> m_session;
    // While a preview is up: the document without it, and the hash with the history.
    std::optional<Moment> m_behind;
    DocumentHash m_wholeBehind{};
    // By position in the history; empty where the state is not known.
    std::vector<std::optional<State>> m_states;
    std::string m_ran;
};

} // namespace Lives
