// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/class_properties.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_value.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

// Small stand-ins for what an application and a command library bring.
namespace Doubles {

inline Kernel::Counted<DocumentController> MakeDocument(int pages = 1) {
    return DocumentController::CreateNew({100, 200}, static_cast<Raster::Format>(0), pages);
}

inline std::string Log(std::vector<std::string> const& lines) {
    std::string all;
    for (auto const& line : lines)
        all += (all.empty() ? "" : " ") + line;
    return all;
}

// Time that goes on when a test says so.
class ManualClock final : public DomainClock {
public:
    std::int64_t GetMilliseconds() const override { return now.load(); }
    std::atomic<std::int64_t> now{1000};
};

class PlainNotification final : public Kernel::Notification {
public:
    explicit PlainNotification(int value, int dedupeId = 0) : m_value(value), m_dedupeId(dedupeId) {}
    int GetDedupeId() const override { return m_dedupeId; }
    // Values of one sign merge into their sum.
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override {
        auto const newer = Kernel::Cast<PlainNotification>(other);
        if (!newer || (newer->m_value < 0) != (m_value < 0))
            return {};
        return Kernel::MakeCounted<PlainNotification>(m_value + newer->m_value, m_dedupeId);
    }
    int GetValue() const { return m_value; }

private:
    int m_value;
    int m_dedupeId;
};

// Keeps the values of what it hears.
class Listener final : public NotificationListener {
public:
    explicit Listener(DomainController& controller) : m_controller(&controller) { controller.AddListener(this); }
    ~Listener() override { m_controller->RemoveListener(this); }
    void Receive(Kernel::NonCounted<Kernel::Notification> notification) override {
        if (onReceive)
            onReceive(*notification);
        std::lock_guard const lock(m_mutex);
        ++m_count;
        if (auto const* plain = Kernel::CastPointer<PlainNotification>(notification.get()))
            m_values.push_back(plain->GetValue());
    }
    std::vector<int> GetValues() const {
        std::lock_guard const lock(m_mutex);
        return m_values;
    }
    std::size_t GetCount() const {
        std::lock_guard const lock(m_mutex);
        return m_count;
    }
    std::function<void(Kernel::Notification&)> onReceive;

private:
    DomainController* m_controller;
    mutable std::mutex m_mutex;
    std::vector<int> m_values;
    std::size_t m_count = 0;
};

// Sets the document's scale flags, which are part of its hash, and can be told how to behave.
class SetFlags : public DocumentCommand {
public:
    SetFlags() = default;
    explicit SetFlags(int newValue) : value(newValue) {}

    Kernel::LocalisedString GetDescription() const override { return {"Set Flags", "Command description"}; }
    void Do() override {
        SetDirection(Direction::Do);
        Note("do");
        if (failDo)
            throw Kernel::AbortException();
        old = m_documentController->GetScaleOverrideFlags(true);
        m_documentController->SetScaleOverrideFlags(value);
    }
    void Undo() override {
        SetDirection(Direction::Undo);
        Note("undo");
        if (failUndo)
            throw Kernel::Exception("cannot undo");
        m_documentController->SetScaleOverrideFlags(old);
    }
    void Redo() override {
        SetDirection(Direction::Redo);
        Note("redo");
        if (failUndo)
            throw Kernel::Exception("cannot redo");
        m_documentController->SetScaleOverrideFlags(value);
    }
    void Teardown() override {
        SetDirection(Direction::Teardown);
        Note("teardown");
    }
    void Notify(Kernel::NotificationList& notifications) override {
        Note("notify");
        if (notifies)
            notifications.push_back(Kernel::MakeCounted<PlainNotification>(value, dedupeId));
    }
    bool Merge(Kernel::Counted<Command const> newer) override {
        auto const other = Kernel::Cast<SetFlags const>(newer);
        if (!merges || !other)
            return false;
        value = other->value;
        return true;
    }
    void CallCompletionCallbacks() override { Note("complete"); }
    bool ShouldStackForUndo() const override { return stacks; }
    bool ClearsPreviewCommands() const override { return clearsPreview; }
    bool CanRepeat() const override { return repeats; }
    bool MakesDOMDirty() const override { return dirties; }
    bool ShouldStackForMacro() const override { return stacksForMacro; }
    bool ValidateUntrusted() override {
        Note("validate");
        return value != 666;
    }
    bool MacroMerge(Kernel::Counted<Command const> newer) override {
        auto const other = Kernel::Cast<SetFlags const>(newer);
        if (!merges || !other)
            return false;
        value = other->value;
        return true;
    }
    unsigned int MergeTimeout() const override { return mergeTimeout; }
    bool* GetProgressAbortPointer() const override { return &abort; }
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override {
        Note("load");
        DocumentCommand::PostLoad(controller);
    }
    void PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController> controller) override {
        Note("domain");
        DocumentCommand::PostDequeueWithMutableDomainController(controller);
    }
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override {
        Note(m_documentController ? "bind" : "unbound");
        DocumentCommand::PostDequeueWithMutableController(controller);
    }
    Kernel::Counted<DocumentCommand> Clone() const override {
        if (!clones)
            return {};
        auto clone = Kernel::MakeCounted<SetFlags>(value);
        clone->log = log;
        clone->merges = merges;
        return clone;
    }

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<SetFlags>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveValue(out, "Valu", value);
        Kernel::SaveValue(out, "OldV", old);
        DocumentCommand::Save(out);
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        Kernel::LoadValue(in, "Valu", value);
        Kernel::LoadValue(in, "OldV", old);
        if (value == 777)
            return false;
        return DocumentCommand::Load(in, files, version);
    }

    bool IsPreviewNow() const { return m_preview; }

    int value = 0;
    int old = 0;
    int dedupeId = 0;
    unsigned mergeTimeout = 500;
    bool merges = false;
    bool stacks = true;
    bool clearsPreview = true;
    bool dirties = true;
    bool stacksForMacro = true;
    bool clones = true;
    bool repeats = false;
    bool notifies = true;
    bool failDo = false;
    bool failUndo = false;
    mutable bool abort = false;
    // Where what happens is noted; not owned.
    std::vector<std::string>* log = nullptr;

protected:
    void Note(char const* what) const {
        if (log != nullptr)
            log->push_back(what + std::to_string(value));
    }
};

// Does whatever a test gives it, and is not kept.
class CallCommand final : public DocumentCommand {
public:
    explicit CallCommand(std::function<void(DocumentController&)> call) : m_call(std::move(call)) {}
    Kernel::LocalisedString GetDescription() const override { return {"Call", "Command description"}; }
    void Do() override { m_call(*GetDocumentController()); }
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    bool ShouldStackForUndo() const override { return false; }
    bool MakesDOMDirty() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }

private:
    std::function<void(DocumentController&)> m_call;
};

inline Kernel::Counted<SetFlags> MakeSet(int value, std::vector<std::string>* log = nullptr) {
    auto command = Kernel::MakeCounted<SetFlags>(value);
    command->log = log;
    return command;
}

} // namespace Doubles
