// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_settings.h"
#include "platform/document/domain_controller.h"
#include "platform/document/history.h"
#include "platform/document/nodes.h"
#include "platform/document/selection.h"
#include "platform/document/selection_raster_node.h"
#include "platform/kernel/file_store.h"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

class DocumentSeal;
class ExportArticleCollector;
namespace Kernel {
class ChunkStorage;
}
class Macro;

// The canonical hash of a document's state: 16 bytes, most significant first.
using DocumentHash = std::array<std::byte, 16>;

// The controller of one document: its tree, settings, selection and history, and the queue that its commands run
// through.
class REDRAFT_ENGINE DocumentController final : public DomainController {
public:
    // A document with `pageCount` spreads of one page each.
    static Kernel::Counted<DocumentController> CreateNew(Kernel::SizeT<double> pageSize, Raster::Format format,
                                                         int pageCount);
    // Reads a document file. A seal trusts what it has sealed, and each save renews it; commands of other documents are
    // validated before their first Redo. Throws Kernel::Exception when the file cannot be read,
    // Kernel::DamagedDataException when it is damaged, Kernel::FutureVersionException when a newer version wrote it.
    static Kernel::Counted<DocumentController> Open(std::string const& path, bool trusted,
                                                    std::shared_ptr<DocumentSeal> seal = {});
    // A document of its own in the same state, with the same history, to look at others of its states.
    Kernel::Counted<DocumentController> MakeCopy() const;
    // The same without the history.
    Kernel::Counted<DocumentController> MakeCopyWithoutHistory() const;
    ~DocumentController() override;

    // Writes the document, whole or, to the file that it was read from or last saved to, what changed. Atomic.
    void Save(std::string const& path);
    bool IsChangedSinceSave() const;
    // The seal of all saves from now on; empty for none.
    void SetSeal(std::shared_ptr<DocumentSeal> seal);
    // Reads all tiles and profiles that the document's objects, of the history too, have put into its file, then every
    // page of the file. Throws Kernel::DamagedDataException for what is missing or damaged.
    void CheckStoredValues() const;

    // The tree.
    Kernel::JailCounted<DocumentNode> const& GetDocument() const { return m_document; }
    Kernel::JailCounted<SpreadNode> GetCurrentSpread() const;
    void SetCurrentSpread(Kernel::JailCounted<SpreadNode> spread);
    // Whether any spread has an enabled artboard.
    bool HasArtboards() const;
    // Of the enabled artboards of the current spread.
    int GetArtboardCount() const;
    Kernel::Counted<Selection const> GetCurrentSelection() const { return m_selection; }
    // All that is selected, also where a tool keeps its user to a part of it; the same wherever no tool does.
    Kernel::Counted<Selection const> GetUnrestrictedSelection() const { return m_selection; }
    // The styles of the document's texts; never null.
    Kernel::Counted<Story::StyleSheet const> GetTextStyleSheet() const { return m_document->GetTextStyleSheet(); }
    // Pixel format and colour profiles of the document.
    Raster::Format GetFormat() const { return m_document->GetFormat(); }
    Raster::ICCProfileSet GetProfiles() const { return m_document->GetProfiles(); }
    // Composes text now: of all spreads, or only of the current one. Returns early when *abort becomes true.
    void EnsureTextComposed(bool allSpreads, bool* abort) const;
    // Replaces the document's selection. With `notify` listeners are told at once to paint the marks of the selection
    // again; commands pass false and notify themselves.
    void SetSelection(Kernel::Counted<Selection const> selection, bool notify);

    // Which pixels commands on bitmaps may change; never empty. It is saved with the document and belongs to no step.
    Kernel::Counted<SelectionRasterNode> GetRasterSelection() const { return m_rasterSelection; }
    // An empty one selects nothing.
    void SetRasterSelection(Kernel::Counted<SelectionRasterNode> selection);
    // The channels that commands on bitmaps may change, as bits in the order of the bitmap's channels; all bits at
    // first. Saved with the document.
    int GetChannelMask() const { return m_channelMask; }
    void SetChannelMask(int channels);
    // The channels of those that a layer's format has.
    int MergeChannelMask(Kernel::NonCounted<MutableRasterInterface const> layer) const;

    // The reading order for export: articles and single objects by their numbers, then those without a number, articles
    // first, objects in the order of the tree. Objects without a number are in it where they are included; frames of
    // one text are one entry. It is made anew when nodes have come or gone since, and after UpdateExportArticles; the
    // reference is good until then.
    std::vector<Kernel::Counted<ExportArticleCollector>> const& GetExportArticles() const;
    // To be called after a change of numbers. True, and `wasRead` set, when anyone has asked for the order since the
    // last call; the entries that were given out then are no longer current.
    bool UpdateExportArticles(bool& wasRead);

    // Settings.
    Kernel::Counted<DocumentDefaults> GetDocumentDefaults() const { return m_defaults; }
    Kernel::Counted<PageManagementOptions> GetPageManagementOptions() { return m_settings->pageManagement; }
    bool GetShouldReflowPages() const { return m_settings->shouldReflowPages; }
    void SetShouldReflowPages(bool reflow);
    // `own` asks for the document's own flags, not those in force.
    int GetScaleOverrideFlags(bool own) const;
    void SetScaleOverrideFlags(int flags);
    bool GetScaleOverrideEnabled() const { return m_settings->scaleOverrideEnabled; }
    void SetScaleOverrideEnabled(bool enabled);
    void AddPressureProfile(Kernel::Counted<Geometry::CurveDbl> profile);
    // Removes the first profile that is this object, or else equals it.
    void RemovePressureProfile(Kernel::Counted<Geometry::CurveDbl> profile);
    std::vector<Kernel::Counted<Geometry::CurveDbl>> const& GetPressureProfiles() const;
    // How the document's publications may be read; null: nothing was said. See platform/epub/accessibility_metadata.h.
    Kernel::Counted<EPub::AccessibilityMetadata const> GetAccessibilityMetadata() const;
    void SetAccessibilityMetadata(Kernel::Counted<EPub::AccessibilityMetadata const> metadata);

    // Symbols, in the document's order.
    int GetSymbolCount() const;
    Kernel::Counted<Node> GetSymbolAtIndex(int index) const;
    void RemoveSymbolAtIndex(int index);
    // The index is clamped to the list.
    void InsertSymbolAtIndex(Kernel::Counted<Node> symbol, int index);

    // Whether this is the document that the user works on; some notifications go to the front end only then.
    bool IsActive() const noexcept { return m_active.load(std::memory_order_relaxed); }
    void SetActive(bool active) noexcept { m_active.store(active, std::memory_order_relaxed); }

    // History. Each move takes its turn in the queue and waits; a move beyond the ends goes to the end. A preview that
    // is up is taken back first.
    bool CanUndo() const { return m_history->GetPosition() > 0; }
    bool CanRedo() const { return m_history->GetPosition() < m_history->GetCount(); }
    // Throws Kernel::Exception, before anything has changed, for a step whose command is unknown here.
    void Undo();
    // As Undo; also, as UntrustedStepException, when a loaded command of an untrusted document is refused.
    void Redo();
    // To the state after `position` steps, one by one; after an exception the document stands before the step that
    // threw it.
    void GoTo(std::size_t position);
    // The same without waiting.
    void QueueUndo(Completion completion = {});
    void QueueRedo(Completion completion = {});
    Kernel::Counted<History const> GetHistory() const { return m_history; }
    // Bounds of the history; the oldest steps go first, and only steps that are done. Bytes are those that a step adds
    // to the file; large values, such as bitmap tiles, count for the first step that has them. Counting them costs
    // about as much as saving the step. The newest step stays whatever it takes.
    void SetUndoLimits(std::size_t maximumCount, std::size_t maximumBytes);
    // False: newer commands never merge into older ones.
    void SetMergingEnabled(bool enabled) { m_mergingEnabled = enabled; }
    // How the last command that was run ended.
    struct RunResult {
        // It ran to its end.
        bool ran = false;
        // It is a step of the history of its own.
        bool stacked = false;
        // The newest step took it over.
        bool merged = false;
        bool changedDocument = false;
    };
    RunResult GetLastResult() const { return m_lastResult; }

    // Runs a clone of the newest step's command. False when there is none, or it cannot be repeated.
    bool RepeatLastCommand();

    // Previews: commands that are shown and not kept. A newer preview takes the place of the one that is up: it is
    // taken back, and either takes over the newer one's values and is done again, or gives way to it.
    void RunPreview(Kernel::Counted<DocumentCommand> command);
    // Ends the preview. With `keep` its command, no preview any more, becomes a step of the history.
    void EndPreview(bool keep);
    Kernel::Counted<DocumentCommand> GetPreview() const { return m_preview; }

    // Macros.
    void StartMacroRecording(Kernel::String name);
    // Empty when no recording was on.
    Kernel::Counted<Macro> StopMacroRecording();
    // Plays clones of a macro's commands as one step. Their selection is theirs when they were built with one, the
    // current one otherwise.
    void PlayMacro(Kernel::NonCounted<Macro const> macro);

    // The canonical hash of tree and settings; with history, also of every step.
    DocumentHash GetHash(bool withHistory) const;
    // The area that a picture of the newest step should show, on the current spread, in document units.
    Kernel::RectT<double> GetHistoryInterestingRect() const;

protected:
    void Execute(Kernel::Counted<DomainCommand>&& command, Kernel::NotificationList& notifications) override;

private:
    struct File;
    DocumentController();
    static DocumentController& From(DomainController& controller) {
        return static_cast<DocumentController&>(controller);
    }

    void Bind(DocumentCommand& command);
    void Perform(Kernel::Counted<DocumentCommand>&& command, Kernel::NotificationList& notifications);
    Kernel::Counted<DocumentCommand> Finish(Kernel::Counted<DocumentCommand>&& command);
    // The command when the newest step took it over; empty when it became a step.
    Kernel::Counted<DocumentCommand> Stack(Kernel::Counted<DocumentCommand>&& command);
    bool MergeIntoNewest(Kernel::Counted<DocumentCommand> const& command, std::int64_t now);
    static std::int64_t GetMergeLimit(DocumentCommand const& command, std::int64_t now);
    static void UndoStep(DomainController& controller, std::uintptr_t, Kernel::NotificationList& notifications);
    static void RedoStep(DomainController& controller, std::uintptr_t, Kernel::NotificationList& notifications);
    void StepBack(Kernel::NotificationList& notifications);
    void StepForward(Kernel::NotificationList& notifications);
    void FinishStep(HistoryStep& step, Kernel::NotificationList& notifications);
    void StepTo(std::size_t position, Kernel::NotificationList& notifications);
    class AtSpread;
    void TearDown(HistoryStep const& step) noexcept;
    // The steps from `first` on, the newest first.
    void TearDownFrom(std::size_t first);
    void TearDownOldest();
    void TrimHistory();
    void ShowPreview(Kernel::Counted<DocumentCommand> const& command, Kernel::NotificationList& notifications);
    void DoPreview(Kernel::Counted<DocumentCommand> const& command, Kernel::NotificationList& notifications);
    void HidePreview(Kernel::NotificationList& notifications);
    void TakeBackPreview(Kernel::NotificationList& notifications);
    void ClearPreviewFor(Kernel::Counted<DocumentCommand> const& clearing, Kernel::NotificationList& notifications);
    void KeepPreview(Kernel::NotificationList& notifications);
    static Kernel::Counted<DocumentController> Load(std::unique_ptr<File> file, Kernel::ChunkStorage const& objects,
                                                    Kernel::FileStore& files, std::uint64_t untrustedSteps);
    void PrepareLoadedHistory(Kernel::Counted<History> const& history, std::uint64_t untrustedSteps);
    void SaveLocked(std::string const& path);

    struct ReadingOrderCache;

    Kernel::JailCounted<DocumentNode> m_document;
    std::unique_ptr<ReadingOrderCache> m_readingOrder;
    Kernel::Counted<DocumentSettings> m_settings;
    Kernel::Counted<DocumentDefaults> m_defaults;
    Kernel::Counted<Selection const> m_selection;
    Kernel::JailCounted<SpreadNode> m_currentSpread;
    Kernel::Counted<SelectionRasterNode> m_rasterSelection;
    int m_channelMask = -1;
    Kernel::Counted<History> m_history;
    Kernel::Counted<DocumentCommand> m_preview;
    // The current spread when the preview was done.
    Kernel::JailCounted<SpreadNode> m_previewSpread;
    Kernel::Counted<Macro> m_recording;
    RunResult m_lastResult;
    std::size_t m_maximumCount = SIZE_MAX;
    std::size_t m_maximumBytes = SIZE_MAX;
    // The large values that the measured steps have brought, while there is a bound of bytes.
    std::unordered_set<Kernel::BlobKey> m_measuredBlobs;
    bool m_mergingEnabled = true;
    bool m_changedSinceSave = false;
    std::atomic<bool> m_active{false};
    std::unique_ptr<File> m_file;
};

// A recorded run of commands, as clones that never ran.
class REDRAFT_ENGINE Macro final : public Kernel::Serialisable {
public:
    Macro() = default;
    explicit Macro(Kernel::String name) : m_name(std::move(name)) {}
    Kernel::String const& GetName() const { return m_name; }
    std::vector<Kernel::Counted<DocumentCommand>> const& GetCommands() const { return m_commands; }
    // Takes a clone of a command that ran; not of one that cannot be repeated or is not for macros. Merges into the
    // last step when that takes it.
    void Record(Kernel::NonCounted<DocumentCommand const> command);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Kernel::String m_name;
    std::vector<Kernel::Counted<DocumentCommand>> m_commands;
};
