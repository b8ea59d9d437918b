// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/nodes.h"

#include <cstdint>
#include <deque>

// One step of a history as it is stored: a command that has run, with the description that it had then.
class REDRAFT_ENGINE HistoryEntry final : public Kernel::Serialisable {
public:
    HistoryEntry() = default;
    HistoryEntry(Kernel::Counted<DocumentCommand> const& command, Kernel::JailCounted<SpreadNode> spread);

    // Empty when the stored command is of an unknown class, or could not be read.
    Kernel::Counted<DocumentCommand> GetCommand() const;
    // As stored: translators' text and context.
    Kernel::LocalisedString const& GetDescription() const { return m_description; }
    // The spread that the command ran on. Empty in documents of 0.1.0, which did not keep it.
    Kernel::JailCounted<SpreadNode> const& GetSpread() const { return m_spread; }
    // The command after it was replaced or took over a newer one; the description follows.
    void SetCommand(Kernel::Counted<DocumentCommand> const& command);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Kernel::Counted<Kernel::Serialisable> m_command;
    Kernel::LocalisedString m_description;
    Kernel::JailCounted<SpreadNode> m_spread;
};

// One step of a history in memory. What is stored of it is made when it is needed first: most steps are never saved.
struct HistoryStep {
    // Empty for a step that cannot be undone, because its command is unknown here or of an unsupported beta.
    Kernel::Counted<DocumentCommand> command;
    mutable Kernel::Counted<HistoryEntry> stored;
    // The document's current spread when the command ran, which is current again while the step is undone, redone or
    // torn down. Empty when it is not known: then the user's current spread serves.
    Kernel::JailCounted<SpreadNode> spread;
    static constexpr std::int64_t c_neverMerges = INT64_MIN;
    // Until when a newer command may merge into this one, by the controller's clock.
    std::int64_t mergeUntil = c_neverMerges;
    // The bytes that the step adds to the file; 0 for not measured.
    std::size_t storedBytes = 0;
    // Of a command from a file that is not trusted, which has not been checked yet.
    bool needsValidation = false;
};

// The undo history of a document: steps in order, and how many of them are done. Changed by the document's commands
// only: a thread that reads it holds the document for reading.
class REDRAFT_ENGINE History final : public Kernel::Serialisable {
public:
    std::size_t GetCount() const noexcept { return m_steps.size(); }
    // How many steps are done: 0 is the first state.
    std::size_t GetPosition() const noexcept { return m_position; }
    // Empty for a step whose command is unknown here, and for an index beyond the end.
    Kernel::Counted<DocumentCommand> GetCommand(std::size_t index) const;
    // Translators' text and context, as they were when the command ran. Empty beyond the end.
    Kernel::LocalisedString GetDescription(std::size_t index) const;

    ~History() override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend class DocumentController;
    HistoryEntry& GetStored(HistoryStep const& step) const;
    // Between Load and its controller's first look the steps have no commands yet: the entries may not be loaded.
    void ResolveLoaded(std::uint64_t untrustedSteps);
    // How many steps lie up to the last one that is still to be checked.
    std::uint64_t CountUntrusted() const;

    std::deque<HistoryStep> m_steps;
    std::size_t m_position = 0;
};
