// SPDX-License-Identifier: Apache-2.0
#include "engine/document/file/document_file.h"

#include "engine/document/history/at_spread.h"
#include "engine/document/tree/older_line_order.h"
#include "platform/document/edit_journal.h"
#include "platform/document/inner_commands.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_value.h"
#include "platform/raster/deduplication.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace {

// Editing keeps other programs from saving the file. Where that cannot be had, the document is read all the same.
Kernel::Counted<Store::Container> OpenContainer(std::filesystem::path const& path, bool& isReadOnly) {
    isReadOnly = false;
    try {
        return Store::Container::Open(path, Store::OpenMode::Edit);
    } catch (Kernel::DamagedDataException const&) {
        throw;
    } catch (Kernel::FutureVersionException const&) {
        throw;
    } catch (Kernel::Exception const&) {
        isReadOnly = true;
    }
    return Store::Container::Open(path, Store::OpenMode::Read);
}

// Files up to this size are looked over for damaged pages: larger ones would take longer to read than to save.
constexpr std::uint64_t c_mostBytesLookedOver = std::uint64_t{64} << 20;

// A command and all that it is made of.
std::unordered_set<Kernel::Countable const*> GatherCommands(Kernel::Counted<DocumentCommand> const& command) {
    std::unordered_set<Kernel::Countable const*> all;
    InnerCommands::List pending{command};
    while (!pending.empty()) {
        auto const next = std::move(pending.back());
        pending.pop_back();
        if (next && all.insert(next.get()).second)
            AppendInnerCommands(*next, pending);
    }
    return all;
}

// A command of commands is walked by calls within calls; what a person makes is not nearly so deep.
constexpr std::size_t c_deepestCommand = 256;

// A command stands in one place of a step: one that held itself would never end, nor ever be let go of.
void CheckParts(Kernel::Counted<DocumentCommand> const& step) {
    std::unordered_set<Kernel::Countable const*> met;
    std::vector<std::pair<Kernel::Counted<DocumentCommand>, std::size_t>> pending{{step, 0}};
    while (!pending.empty()) {
        auto const [command, depth] = pending.back();
        pending.pop_back();
        if (!command)
            continue;
        if (!met.insert(command.get()).second || depth > c_deepestCommand)
            throw Kernel::DamagedDataException("the history is damaged: a command is a part of itself");
        InnerCommands::List parts;
        AppendInnerCommands(*command, parts);
        for (auto& part : parts)
            pending.emplace_back(std::move(part), depth + 1);
    }
}

// A beta's commands may lack what undo needs.
bool IsOfUnsupportedBeta(Kernel::Counted<DocumentCommand> const& command) {
    auto const parts = GatherCommands(command);
    return std::any_of(parts.begin(), parts.end(), [](auto const* part) {
        auto const* const partCommand = Kernel::CastPointer<DocumentCommand const>(part);
        return partCommand != nullptr && partCommand->IsUnsupportedBeta();
    });
}

} // namespace

Kernel::Counted<Kernel::Serialisable> DocumentRoot::CreateObject() { return Kernel::MakeCounted<DocumentRoot>(); }

Kernel::ClassProperties const* DocumentRoot::GetTypeClassProperties() {
    static Kernel::ClassProperties const s_properties("DcRt", &DocumentRoot::CreateObject, 1, nullptr, nullptr,
                                                      "DocumentRoot");
    static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
    return &s_properties;
}

namespace {

// While the engine is loaded, as all other classes.
[[maybe_unused]] auto const* const c_registered = DocumentRoot::GetTypeClassProperties();

} // namespace

void DocumentRoot::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Docu", document);
    Kernel::SaveValue(out, "Sett", settings);
    Kernel::SaveValue(out, "Defs", defaults);
    Kernel::SaveValue(out, "Hist", history);
    Kernel::SaveValue(out, "Sele", selection);
    Kernel::SaveValue(out, "Sprd", currentSpread);
    if (rasterSelection && !rasterSelection->IsSelectNone())
        Kernel::SaveValue(out, "RSel", rasterSelection);
    if (channelMask != -1)
        Kernel::SaveValue(out, "ChMk", channelMask);
}

bool DocumentRoot::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Docu", document);
    Kernel::LoadValue(in, "Sett", settings);
    Kernel::LoadValue(in, "Defs", defaults);
    Kernel::LoadValue(in, "Hist", history);
    Kernel::LoadValue(in, "Sele", selection);
    Kernel::LoadValue(in, "Sprd", currentSpread);
    Kernel::LoadValue(in, "RSel", rasterSelection);
    Kernel::LoadValue(in, "ChMk", channelMask);
    return true;
}

void DocumentRoot::Check() const {
    if (!document || !settings || !defaults || !history || !selection)
        throw Kernel::DamagedDataException("the document is damaged: a part of it is missing");
    if (rasterSelection && !rasterSelection->IsUsable())
        throw Kernel::DamagedDataException("the document is damaged: its selection of pixels is none");
    document->CheckInvariants();
    if (document->GetSpreads().empty())
        throw Kernel::DamagedDataException("the document is damaged: it has no spread");
}

void DocumentController::File::Gather(DocumentController const& controller) {
    auto const set = [this](auto& member, auto const& value) {
        if (member == value)
            return;
        member = value;
        root->MarkChanged();
    };
    set(root->document, controller.m_document);
    set(root->settings, controller.m_settings);
    set(root->defaults, controller.m_defaults);
    set(root->history, controller.m_history);
    set(root->selection, controller.m_selection);
    set(root->currentSpread, controller.m_currentSpread);
    set(root->rasterSelection, controller.m_rasterSelection);
    set(root->channelMask, controller.m_channelMask);
}

Store::SealMaker DocumentController::File::MakeSealMaker() const {
    if (!seal)
        return {};
    return [this](Store::ContentDigest const& digest) { return seal->Make(digest, root->history->CountUntrusted()); };
}

// False, and nothing was saved, when `losses` forbids what the target lacks. After a failure nothing has reached the
// file, so that no object may count as saved.
bool DocumentController::File::SaveGraph(Store::Container& target, Losses losses) {
    try {
        if (seal)
            target.KeepProofs();
        Store::SaveTransaction transaction(target);
        Kernel::Counted<Kernel::Serialisable const> const roots[] = {root};
        graph.Save(roots, target, &target, target.GetPath().string());
        bool const isAllowed = losses == Losses::Allowed || !target.HasLosses();
        if (isAllowed)
            transaction.Commit(MakeSealMaker());
        else
            graph.RequireFullSave();
        return isAllowed;
    } catch (...) {
        graph.RequireFullSave();
        throw;
    }
}

// Makes the file anew of what can be read of it. False, and nothing was saved, when `losses` forbids what that leaves
// out.
bool DocumentController::File::SaveMended(std::filesystem::path const& path, Losses losses) {
    auto target = container->CopyReadableTo(path, Store::IfExists::Replace);
    graph.RequireFullSave();
    if (!SaveGraph(*target, losses))
        return false;
    container = std::move(target);
    return true;
}

// A file with damaged pages is made anew as long as the document needs nothing that is on them. Otherwise they stay as
// they are, for whoever can restore them, unless they are in the way. The first save looks for them; the others take
// the time of what changed.
void DocumentController::File::SaveOver(std::filesystem::path const& path, std::function<void()> const& save) {
    bool const looksOver = !std::exchange(isLookedOver, true) && container->GetFileSize() <= c_mostBytesLookedOver;
    if (looksOver && container->HasDamagedPages()) {
        try {
            if (SaveMended(path, Losses::Forbidden))
                return;
        } catch (Kernel::DamagedDataException const&) {
            // The other way may be open.
        }
    }
    try {
        save();
    } catch (Kernel::DamagedDataException const&) {
        SaveMended(path, Losses::Allowed);
    }
}

void DocumentController::File::SaveChanges() {
    if (isReadOnly)
        throw Kernel::Exception("cannot be saved in its place: it is in use by another program or may only be read");
    if (graph.HasChanges())
        SaveOver(container->GetPath(), [this] { SaveGraph(*container, Losses::Allowed); });
}

// A copy of the old file is the start, because values that were never read, or cannot be, are in it only.
void DocumentController::File::SaveAs(std::filesystem::path const& path) {
    auto const save = [&] {
        auto target = container ? container->CopyTo(path, Store::IfExists::Replace)
                                : Store::Container::Create(path, Store::IfExists::Replace);
        graph.RequireFullSave();
        SaveGraph(*target, Losses::Allowed);
        container = std::move(target);
    };
    if (container)
        SaveOver(path, save);
    else
        save();
    isReadOnly = false;
}

namespace {

// Steps that hold the same pixels hold them once from now on; the file has them once in any case.
void ShareBlocks(History const& history) {
    Raster::BlockDeduplicationSupport support;
    for (std::size_t step = 0; step != history.GetCount(); ++step) {
        if (auto const command = history.GetCommand(step))
            command->Deduplicate(support, nullptr);
    }
}

} // namespace

void DocumentController::Save(std::string const& path) {
    RunExclusive([&] { SaveLocked(path); });
}

// A preview that cannot be shown again ends here.
template <class F>
void DocumentController::File::WithoutPreview(DocumentController& controller, F const& work) {
    auto const preview = controller.m_preview;
    if (!preview) {
        work();
        return;
    }
    auto const run = [&](auto const& step) {
        AtSpread const atSpread(controller, controller.m_previewSpread);
        preview->ClearAbortFlag();
        EditJournal::RunOrRollBack(step);
    };
    run([&] { preview->UndoAndUpdateCaches(); });
    controller.m_preview.reset();
    std::exception_ptr failure;
    try {
        work();
    } catch (...) {
        failure = std::current_exception();
    }
    run([&] { preview->RedoAndUpdateCaches(); });
    controller.m_preview = preview;
    if (failure != nullptr)
        std::rethrow_exception(failure);
}

void DocumentController::SaveLocked(std::string const& path) {
    if (m_file == nullptr)
        m_file = std::make_unique<File>();
    File::WithoutPreview(*this, [&] {
        ShareBlocks(*m_history);
        m_file->Gather(*this);
        auto const target = Store::FileSystem::GetNative().Resolve(path);
        if (m_file->container && m_file->container->GetPath() == target)
            m_file->SaveChanges();
        else
            m_file->SaveAs(target);
        m_changedSinceSave = false;
    });
}

namespace {

// Stands for a store that has all that the file has, and reads what it says it has.
class ReadingStore final : public Kernel::BlobSource, public Kernel::BlobSink {
public:
    explicit ReadingStore(Kernel::BlobSource const& file) : m_file(file) {}
    bool Has(Kernel::BlobKey key) const override {
        m_file.Get(key);
        return true;
    }
    std::vector<std::byte> Get(Kernel::BlobKey key) const override { return m_file.Get(key); }
    Kernel::BlobKey Put(std::span<std::byte const> bytes) override { return Kernel::ComputeBlobKey(bytes); }
    void Keep(Kernel::BlobKey const&) override {}

private:
    Kernel::BlobSource const& m_file;
};

} // namespace

void DocumentController::CheckStoredValues() const {
    if (!m_file || !m_file->container)
        return;
    Kernel::MemoryChunkStorage objects;
    ReadingStore store(*m_file->container);
    Kernel::Counted<Kernel::Serialisable const> const roots[] = {m_file->root};
    Kernel::ObjectGraph::SaveCopy(roots, objects, &store, m_file->container->GetPath().string());
    // The document is complete. Pages that are damaged all the same hold nothing that it refers to.
    auto const verification = m_file->container->Verify();
    if (verification.problems.empty())
        return;
    auto const more = verification.problems.size() - 1;
    throw Kernel::DamagedDataException(
        "is damaged where it holds nothing that the document needs: " + verification.problems.front() +
        (more == 0 ? std::string() : "; and " + std::to_string(more) + " more"));
}

void DocumentController::SetSeal(std::shared_ptr<DocumentSeal> seal) {
    RunExclusive([&] {
        if (m_file == nullptr)
            m_file = std::make_unique<File>();
        m_file->seal = std::move(seal);
    });
}

bool DocumentController::IsChangedSinceSave() const { return m_changedSinceSave; }

namespace {

// A document's large values where its file has them, and in memory where it has not.
class CopyStore final : public Kernel::BlobSource, public Kernel::BlobSink {
public:
    explicit CopyStore(Kernel::Counted<Kernel::BlobSource const> file) : m_file(std::move(file)) {}
    bool Has(Kernel::BlobKey key) const override { return m_values.contains(key) || (m_file && m_file->Has(key)); }
    std::vector<std::byte> Get(Kernel::BlobKey key) const override {
        if (auto const found = m_values.find(key); found != m_values.end())
            return found->second;
        if (!m_file)
            throw Kernel::DamagedDataException("a bitmap tile is missing");
        return m_file->Get(key);
    }
    Kernel::BlobKey Put(std::span<std::byte const> bytes) override {
        auto const key = Kernel::ComputeBlobKey(bytes);
        if (!Has(key))
            m_values.emplace(key, std::vector<std::byte>(bytes.begin(), bytes.end()));
        return key;
    }
    void Keep(Kernel::BlobKey const&) override {}

private:
    Kernel::Counted<Kernel::BlobSource const> m_file;
    std::unordered_map<Kernel::BlobKey, std::vector<std::byte>> m_values;
};

// How many steps of the document are not to be trusted by its seal: all of them when it is not right.
std::uint64_t CountUntrustedSteps(Store::Container& container, DocumentSeal& seal) {
    auto const stored = container.ReadSeal();
    auto const count = stored ? seal.Check(stored->digest, stored->seal) : std::nullopt;
    if (!count)
        return UINT64_MAX;
    container.RequireProofs();
    return *count;
}

} // namespace

Kernel::Counted<DocumentController> DocumentController::Open(std::string const& path, bool trusted,
                                                             std::shared_ptr<DocumentSeal> seal) {
    auto file = std::make_unique<File>();
    file->container = OpenContainer(path, file->isReadOnly);
    file->seal = std::move(seal);
    auto const container = file->container;
    Store::ReadSnapshot const snapshot(*container);
    auto const untrustedSteps = file->seal ? CountUntrustedSteps(*container, *file->seal) : UINT64_MAX;
    Kernel::FileStore files(container, path);
    using Trust = LoadedMergeSources::Trust;
    file->trust = trusted ? Trust::User : untrustedSteps == 0 ? Trust::Seal : Trust::None;
    return Load(std::move(file), *container, files, trusted ? 0 : untrustedSteps);
}

Kernel::Counted<DocumentController> DocumentController::MakeCopy() const {
    Kernel::Counted<DocumentController> copy;
    auto const make = [&] {
        File source;
        source.Gather(*this);
        auto const container = m_file ? m_file->container : nullptr;
        Kernel::String const path = container ? container->GetPath().string() : "";
        auto const values = Kernel::MakeCounted<CopyStore>(container);
        Kernel::MemoryChunkStorage objects;
        Kernel::Counted<Kernel::Serialisable const> const roots[] = {source.root};
        Kernel::ObjectGraph::SaveCopy(roots, objects, values.get(), path);
        Kernel::FileStore files(values, path);
        auto file = std::make_unique<File>();
        if (m_file)
            file->trust = m_file->trust;
        copy = Load(std::move(file), objects, files, 0);
        for (std::size_t i = 0; i != m_history->GetCount(); ++i)
            copy->m_history->m_steps[i].needsValidation = m_history->m_steps[i].needsValidation;
    };
    // Afterwards this document is as before, and no controller is const itself.
    RunExclusive([&] { File::WithoutPreview(const_cast<DocumentController&>(*this), make); });
    return copy;
}

Kernel::Counted<DocumentController> DocumentController::MakeCopyWithoutHistory() const {
    auto const copy = MakeCopy();
    copy->m_history = Kernel::MakeCounted<History>();
    return copy;
}

Kernel::Counted<DocumentController> DocumentController::Load(std::unique_ptr<File> file,
                                                             Kernel::ChunkStorage const& objects,
                                                             Kernel::FileStore& files, std::uint64_t untrustedSteps) {
    OlderLineOrder lineOrder;
    LoadedMergeSources mergeSources;
    auto const roots = file->graph.Load(objects, files, [](auto const& loaded) {
        auto const root = loaded.empty() ? nullptr : Kernel::Cast<DocumentRoot>(loaded.front());
        if (!root)
            throw Kernel::DamagedDataException("the document is damaged: it has no beginning");
        root->Check();
        for (auto const& step : root->history->m_steps)
            CheckParts(step.stored->GetCommand());
    });
    lineOrder.Migrate();
    mergeSources.Place(files.GetFilePath(), file->trust);
    file->root = Kernel::Cast<DocumentRoot>(roots.front());
    Kernel::Counted<DocumentController> controller(new DocumentController);
    auto const& root = *file->root;
    controller->m_document = root.document;
    controller->m_settings = root.settings;
    controller->m_defaults = root.defaults;
    controller->m_selection = root.selection;
    controller->m_currentSpread =
        root.currentSpread ? root.currentSpread : Kernel::Counted<SpreadNode>(root.document->GetSpreads().front());
    if (root.rasterSelection)
        controller->m_rasterSelection = root.rasterSelection;
    controller->m_channelMask = root.channelMask;
    controller->m_file = std::move(file);
    controller->PrepareLoadedHistory(root.history, untrustedSteps);
    return controller;
}

// Objects that said of themselves that they cannot be read may be commands, whose steps then stay as they are; nothing
// else of a document can be done without.
void DocumentController::PrepareLoadedHistory(Kernel::Counted<History> const& history, std::uint64_t untrustedSteps) {
    std::unordered_set<Kernel::Countable const*> unreadable;
    for (auto const& object : m_file->graph.GetUnreadable())
        unreadable.insert(object.get());
    history->ResolveLoaded(untrustedSteps);
    std::unordered_set<Kernel::Countable const*> excused;
    for (auto& step : history->m_steps) {
        std::unordered_set<Kernel::Countable const*> parts;
        if (!unreadable.empty())
            parts = GatherCommands(step.command);
        bool const isUnreadable =
            std::any_of(parts.begin(), parts.end(), [&](auto const* part) { return unreadable.contains(part); });
        if (isUnreadable) {
            excused.insert(parts.begin(), parts.end());
            step.command.reset();
        }
    }
    for (auto const* object : unreadable) {
        if (!excused.contains(object))
            throw Kernel::DamagedDataException("the document is damaged: a part of it cannot be read");
    }
    for (auto& step : history->m_steps) {
        if (!step.command)
            continue;
        // Some commands hand on the controller that they have already.
        step.command->DocumentCommand::PostLoad(this);
        step.command->PostLoad(this);
        if (IsOfUnsupportedBeta(step.command))
            step.command.reset();
    }
    // Only now: until here its commands have no controller to end with.
    m_history = history;
}
