// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include "engine/document/file/document_file.h"
#include "engine/store/container.h"
#include "platform/document/compound_command.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

using namespace Doubles;

namespace {

class DocumentFile : public testing::Test {
protected:
    void SetUp() override {
        std::random_device random;
        m_folder = std::filesystem::temp_directory_path() / ("redraft-document-" + std::to_string(random()));
        std::filesystem::create_directory(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string Path(char const* name) const { return (m_folder / name).string(); }
    static std::string Read(std::string const& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static void Write(std::string const& path, std::string const& bytes) {
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    std::filesystem::path m_folder;
};

Kernel::Counted<SetFlags> GetSet(DocumentController const& document, std::size_t index) {
    return Kernel::Cast<SetFlags>(document.GetHistory()->GetCommand(index));
}

// Notes which spread is current whenever it works.
class SpreadWatching final : public SetFlags {
public:
    using SetFlags::SetFlags;
    void Do() override {
        SetFlags::Do();
        See();
    }
    void Undo() override {
        SetFlags::Undo();
        See();
    }
    void Redo() override {
        SetFlags::Redo();
        See();
    }
    std::vector<NodeId> seen;

private:
    void See() { seen.push_back(GetDocumentController()->GetCurrentSpread()->GetId()); }
};

// Stands in history where its replacement ought to.
class Outdated final : public DocumentCommand {
public:
    Kernel::LocalisedString GetDescription() const override { return {"Outdated", "Command description"}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::Counted<DocumentCommand> GetReplacementCommand() override { return MakeSet(0); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Outdated>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties() {
        static Kernel::ClassProperties const s_properties("TsOd", &Outdated::CreateObject, 1, nullptr,
                                                          DocumentCommand::GetTypeClassProperties(), "Outdated");
        static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
        return &s_properties;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
};

// Known while this object lives, as a class of a newer program is not.
class Passing final : public SetFlags {
public:
    using SetFlags::SetFlags;
    static Kernel::Counted<Kernel::Serialisable> Create() { return Kernel::MakeCounted<Passing>(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return s_properties; }
    static Kernel::ClassProperties const* s_properties;

    struct Registration {
        Registration() { s_properties = &properties; }
        Kernel::ClassProperties properties{"TsPa", &Passing::Create, 1, nullptr, nullptr, "Passing"};
        Kernel::ClassPropertiesBase::Init init{&properties};
    };
};
Kernel::ClassProperties const* Passing::s_properties = nullptr;

} // namespace

TEST_F(DocumentFile, AReloadedHistoryUndoesAndRedoesTheSame) {
    auto const path = Path("history.redraft");
    std::vector<DocumentHash> states, histories;
    {
        auto const document = MakeDocument(2);
        states.push_back(document->GetHash(false));
        for (int i = 1; i <= 4; ++i) {
            document->Run(MakeSet(i * 3));
            states.push_back(document->GetHash(false));
        }
        document->GoTo(3);
        histories.push_back(document->GetHash(true));
        document->Save(path);
        EXPECT_FALSE(document->IsChangedSinceSave());
    }
    auto const document = DocumentController::Open(path, true);
    EXPECT_EQ(document->GetHash(true), histories[0]);
    EXPECT_EQ(document->GetHistory()->GetCount(), 4u);
    EXPECT_EQ(document->GetHistory()->GetPosition(), 3u);
    EXPECT_EQ(document->GetHistory()->GetDescription(0), Kernel::LocalisedString("Set Flags", "Command description"));
    for (std::size_t const position : {0u, 4u, 1u, 3u}) {
        document->GoTo(position);
        EXPECT_EQ(document->GetHash(false), states[position]);
    }
    EXPECT_EQ(document->GetHash(true), histories[0]);
}

TEST_F(DocumentFile, SelectionSpreadAndDefaultsComeBack) {
    auto const path = Path("state.redraft");
    {
        auto const document = MakeDocument(3);
        auto const spread = document->GetDocument()->GetSpreads()[1];
        document->SetCurrentSpread(spread);
        document->SetSelection(
            Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{Kernel::Counted<Node>(spread)}), false);
        document->Save(path);
    }
    auto const document = DocumentController::Open(path, true);
    auto const spread = document->GetDocument()->GetSpreads()[1];
    EXPECT_EQ(document->GetCurrentSpread(), spread);
    ASSERT_EQ(document->GetCurrentSelection()->size(), 1u);
    EXPECT_EQ(document->GetCurrentSelection()->GetNodes()[0], Kernel::Counted<Node>(spread));
}

TEST_F(DocumentFile, ASaveOfAnUnchangedDocumentWritesNothing) {
    auto const path = Path("same.redraft");
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    document->Save(path);
    auto const time = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(path, time);
    auto const bytes = Read(path);
    document->Save(path);
    EXPECT_EQ(std::filesystem::last_write_time(path), time);
    EXPECT_EQ(Read(path), bytes);
    // Neither does one after a reload.
    auto const reloaded = DocumentController::Open(Path("same.redraft"), true);
    EXPECT_FALSE(reloaded->IsChangedSinceSave());
}

TEST_F(DocumentFile, EachChangeIsInTheNextSave) {
    auto const path = Path("steps.redraft");
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    document->Save(path);
    auto const check = [&] {
        EXPECT_TRUE(document->IsChangedSinceSave());
        document->Save(path);
        auto const copy = Path("copy.redraft");
        std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
        EXPECT_EQ(DocumentController::Open(copy, true)->GetHash(true), document->GetHash(true));
    };
    document->Run(MakeSet(1));
    check();
    document->Run(MakeSet(2));
    check();
    document->Undo();
    check();
    document->Redo();
    check();
    document->SetMergingEnabled(true);
    ManualClock const clock;
    document->SetClock(&clock);
    auto const merging = MakeSet(3);
    merging->merges = true;
    document->Run(merging);
    check();
    document->Run(MakeSet(4));
    EXPECT_TRUE(document->GetLastResult().merged);
    check();
    auto const compound = Kernel::MakeCounted<CompoundCommand>(true, true, true);
    compound->AppendCommand(MakeSet(5));
    document->Run(compound);
    check();
    document->Undo();
    document->Undo();
    document->Run(MakeSet(6));
    check();
    document->SetClock(nullptr);
}

TEST_F(DocumentFile, SavingElsewhereLeavesTheOldFile) {
    auto const first = Path("first.redraft"), second = Path("second.redraft");
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    document->Save(first);
    auto const bytes = Read(first);
    document->Run(MakeSet(2));
    document->Save(second);
    EXPECT_EQ(Read(first), bytes);
    document->Run(MakeSet(3));
    document->Save(second);
    EXPECT_EQ(Read(first), bytes);
    EXPECT_EQ(DocumentController::Open(first, true)->GetScaleOverrideFlags(true), 1);
    auto const hash = document->GetHash(true);
    std::filesystem::copy_file(second, Path("third.redraft"));
    EXPECT_EQ(DocumentController::Open(Path("third.redraft"), true)->GetHash(true), hash);
}

TEST_F(DocumentFile, ASaveThatFailsLeavesTheDocumentUsable) {
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    EXPECT_THROW(document->Save(Path("no-such-folder/x.redraft")), Kernel::Exception);
    EXPECT_TRUE(document->IsChangedSinceSave());
    document->Save(Path("fine.redraft"));
    document->Run(MakeSet(2));
    EXPECT_THROW(document->Save(Path("no-such-folder/x.redraft")), Kernel::Exception);
    document->Save(Path("fine.redraft"));
    auto const hash = document->GetHash(true);
    std::filesystem::copy_file(Path("fine.redraft"), Path("copy.redraft"));
    EXPECT_EQ(DocumentController::Open(Path("copy.redraft"), true)->GetHash(true), hash);
}

TEST_F(DocumentFile, APreviewIsNotSaved) {
    auto const path = Path("preview.redraft");
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    auto const hash = document->GetHash(true);
    document->RunPreview(MakeSet(2));
    document->Save(path);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
    document->EndPreview(true);
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 1);
    std::filesystem::copy_file(path, Path("copy.redraft"));
    EXPECT_EQ(DocumentController::Open(Path("copy.redraft"), true)->GetHash(true), hash);
}

TEST_F(DocumentFile, LoadedCommandsAreBoundInOrderAndNeverMerge) {
    auto const path = Path("bound.redraft");
    {
        auto const document = MakeDocument();
        document->SetMergingEnabled(false);
        document->Run(MakeSet(1));
        document->Run(MakeSet(2));
        document->Save(path);
    }
    auto const document = DocumentController::Open(path, true);
    for (std::size_t i = 0; i != 2; ++i)
        EXPECT_EQ(document->GetHistory()->GetCommand(i)->GetDocumentController(), document);
    GetSet(*document, 1)->merges = true;
    document->Run(MakeSet(3));
    EXPECT_EQ(document->GetHistory()->GetCount(), 3u);
}

TEST_F(DocumentFile, CommandsOfAnUntrustedDocumentAreTriedBeforeTheirFirstRedoOnly) {
    auto const path = Path("untrusted.redraft");
    {
        auto const document = MakeDocument();
        document->SetMergingEnabled(false);
        document->Run(MakeSet(1));
        document->Run(MakeSet(666));
        document->Save(path);
    }
    {
        std::vector<std::string> log;
        auto const document = DocumentController::Open(path, false);
        GetSet(*document, 0)->log = GetSet(*document, 1)->log = &log;
        document->GoTo(0);
        EXPECT_EQ(Log(log), "undo666 notify666 undo1 notify1");
        log.clear();
        auto const before = document->GetHash(true);
        document->Redo();
        EXPECT_EQ(Log(log), "validate1 redo1 notify1");
        log.clear();
        auto const done = document->GetHash(true);
        EXPECT_NE(before, done);
        try {
            document->Redo();
            ADD_FAILURE();
        } catch (Kernel::Exception const& error) {
            EXPECT_STREQ(error.what(), "step 2 of the history, \"Set Flags\", is refused: the document is not trusted, "
                                       "and the step does not hold");
        }
        EXPECT_EQ(Log(log), "validate666");
        EXPECT_EQ(document->GetHash(true), done);
        log.clear();
        document->Undo();
        document->Redo();
        EXPECT_EQ(Log(log), "undo1 notify1 redo1 notify1");
    }
    auto const trusted = DocumentController::Open(path, true);
    trusted->GoTo(0);
    trusted->GoTo(2);
    EXPECT_EQ(trusted->GetScaleOverrideFlags(true), 666);
}

TEST_F(DocumentFile, ACommandMayBeReplacedWhenItIsLoaded) {
    auto const path = Path("replaced.redraft");
    {
        Outdated::GetTypeClassProperties();
        auto const document = MakeDocument();
        document->Run(Kernel::MakeCounted<Outdated>());
        document->Save(path);
    }
    {
        auto const document = DocumentController::Open(path, true);
        ASSERT_TRUE(GetSet(*document, 0));
        EXPECT_EQ(document->GetHistory()->GetDescription(0).GetText(), Kernel::String("Set Flags"));
        EXPECT_TRUE(GetSet(*document, 0)->GetDocumentController());
        document->Save(path);
    }
    EXPECT_TRUE(GetSet(*DocumentController::Open(path, true), 0));
}

TEST_F(DocumentFile, AStepOfAnUnknownClassIsKeptAndCannotBeUndone) {
    auto const path = Path("unknown.redraft");
    DocumentHash withUnknown;
    {
        Passing::Registration const known;
        auto const document = MakeDocument();
        document->SetMergingEnabled(false);
        document->Run(MakeSet(1));
        document->Run(Kernel::MakeCounted<Passing>(2));
        document->Run(MakeSet(3));
        withUnknown = document->GetHash(true);
        document->Save(path);
    }
    {
        auto const document = DocumentController::Open(path, true);
        EXPECT_EQ(document->GetHistory()->GetCount(), 3u);
        EXPECT_FALSE(document->GetHistory()->GetCommand(1));
        EXPECT_EQ(document->GetHistory()->GetDescription(1).GetText(), Kernel::String("Set Flags"));
        document->Undo();
        EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
        EXPECT_THROW(document->Undo(), Kernel::Exception);
        EXPECT_EQ(document->GetHistory()->GetPosition(), 2u);
        EXPECT_FALSE(document->RepeatLastCommand());
        document->Redo();
        document->Save(path);
    }
    Passing::Registration const known;
    auto const document = DocumentController::Open(path, true);
    EXPECT_EQ(document->GetHash(true), withUnknown);
    document->GoTo(0);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
}

TEST_F(DocumentFile, AStepThatCannotBeReadIsKeptAlsoWithinACompound) {
    auto const path = Path("unreadable.redraft");
    DocumentHash saved;
    {
        auto const document = MakeDocument();
        document->SetMergingEnabled(false);
        document->Run(MakeSet(777));
        auto const compound = Kernel::MakeCounted<CompoundCommand>(true, true, true);
        compound->AppendCommand(MakeSet(5));
        compound->AppendCommand(MakeSet(777));
        document->Run(compound);
        document->Run(MakeSet(1));
        saved = document->GetHash(true);
        document->Save(path);
    }
    for (int round = 0; round != 2; ++round) {
        auto const document = DocumentController::Open(path, true);
        EXPECT_EQ(document->GetHash(true), saved) << round;
        EXPECT_FALSE(document->GetHistory()->GetCommand(0));
        EXPECT_FALSE(document->GetHistory()->GetCommand(1));
        document->Undo();
        auto const undone = document->GetHash(true);
        EXPECT_NE(undone, saved);
        EXPECT_THROW(document->Undo(), Kernel::Exception);
        EXPECT_EQ(document->GetHistory()->GetPosition(), 2u);
        EXPECT_EQ(document->GetScaleOverrideFlags(true), 777);
        EXPECT_EQ(document->GetHash(true), undone) << "a refused step changed something";
        document->Redo();
        EXPECT_EQ(document->GetHash(true), saved) << round;
        document->Save(path);
    }
}

TEST_F(DocumentFile, AFileThatIsNoDocumentIsRefused) {
    EXPECT_THROW(DocumentController::Open(Path("missing.redraft"), true), Kernel::Exception);
    EXPECT_THROW(DocumentController::Open(m_folder.string(), true), Kernel::Exception);
    Write(Path("text.redraft"), "This is no document.");
    EXPECT_THROW(DocumentController::Open(Path("text.redraft"), true), Kernel::Exception);
    Write(Path("empty.redraft"), "");
    EXPECT_THROW(DocumentController::Open(Path("empty.redraft"), true), Kernel::Exception);
}

TEST_F(DocumentFile, AFileWithOtherObjectsOrWithoutPartsIsRefused) {
    auto const write = [&](char const* name, Kernel::Counted<Kernel::Serialisable const> root) {
        auto const container = Store::Container::Create(Path(name), Store::IfExists::Replace);
        Store::SaveTransaction transaction(*container);
        Kernel::ObjectGraph::SaveCopy(std::span(&root, root ? 1 : 0), *container, container.get());
        transaction.Commit();
    };
    write("settings.redraft", Kernel::MakeCounted<DocumentSettings>());
    EXPECT_THROW(DocumentController::Open(Path("settings.redraft"), true), Kernel::DamagedDataException);
    write("nothing.redraft", nullptr);
    EXPECT_THROW(DocumentController::Open(Path("nothing.redraft"), true), Kernel::DamagedDataException);
    auto const root = Kernel::MakeCounted<DocumentRoot>();
    write("bare.redraft", root);
    EXPECT_THROW(DocumentController::Open(Path("bare.redraft"), true), Kernel::DamagedDataException);
    root->document = Kernel::MakeCounted<DocumentNode>();
    root->settings = Kernel::MakeCounted<DocumentSettings>();
    root->defaults = Kernel::MakeCounted<DocumentDefaults>();
    root->history = Kernel::MakeCounted<History>();
    root->selection = Kernel::MakeCounted<Selection>();
    write("bare.redraft", root);
    // The tree has no spread, and its node never got an id.
    EXPECT_THROW(DocumentController::Open(Path("bare.redraft"), true), Kernel::DamagedDataException);
}

TEST_F(DocumentFile, EveryTruncationAndManyChangedBytesAreRefusedOrLoad) {
    auto const path = Path("whole.redraft");
    DocumentHash hash;
    {
        auto const document = MakeDocument();
        for (int i = 1; i <= 20; ++i)
            document->Run(MakeSet(i));
        hash = document->GetHash(true);
        document->Save(path);
    }
    auto const bytes = Read(path);
    auto const damaged = Path("damaged.redraft");
    int refused = 0;
    auto const tryOpen = [&](std::string const& content) {
        Write(damaged, content);
        try {
            EXPECT_EQ(DocumentController::Open(damaged, false)->GetHash(true), hash);
        } catch (Kernel::Exception const& error) {
            ++refused;
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
        }
    };
    int truncations = 0;
    for (std::size_t size = 0; size < bytes.size(); size += 1 + bytes.size() / 100) {
        tryOpen(bytes.substr(0, size));
        EXPECT_EQ(refused, ++truncations) << "the first " << size << " of " << bytes.size() << " bytes were taken";
    }
    std::mt19937 random(7);
    for (int i = 0; i != 200; ++i) {
        auto copy = bytes;
        auto const at = random() % copy.size();
        copy[at] = static_cast<char>(copy[at] ^ static_cast<char>(1 + random() % 255));
        tryOpen(copy);
    }
    tryOpen(bytes);
}

TEST_F(DocumentFile, TwoProgramsMayReadButOneEdits) {
    auto const path = Path("shared.redraft");
    {
        auto const document = MakeDocument();
        document->Run(MakeSet(1));
        document->Save(path);
    }
    auto const editor = DocumentController::Open(path, true);
    auto const viewer = DocumentController::Open(path, true);
    EXPECT_EQ(viewer->GetHash(true), editor->GetHash(true));
    editor->Run(MakeSet(2));
    editor->Save(path);
    viewer->Run(MakeSet(3));
    EXPECT_THROW(viewer->Save(path), Kernel::Exception);
    EXPECT_TRUE(viewer->IsChangedSinceSave());
}

TEST_F(DocumentFile, SavingWorksWhileTheDomainThreadRuns) {
    auto const path = Path("threaded.redraft");
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    document->StartThread();
    for (int i = 1; i <= 500; ++i) {
        document->Queue(MakeSet(i));
        if (i % 100 == 0)
            document->Save(path);
    }
    document->Save(path);
    document->StopThread();
    auto const hash = document->GetHash(true);
    std::filesystem::copy_file(path, Path("copy.redraft"));
    auto const copy = DocumentController::Open(Path("copy.redraft"), true);
    EXPECT_EQ(copy->GetHash(true), hash);
    EXPECT_EQ(copy->GetHistory()->GetCount(), 500u);
}

TEST_F(DocumentFile, APreviewIsNeitherSavedNorCopiedAndStaysUp) {
    auto const document = MakeDocument(2);
    auto const preview = Kernel::MakeCounted<SpreadWatching>(5);
    document->RunPreview(preview);
    auto const shown = document->GetHash(false);
    auto const spreads = document->GetDocument()->GetSpreads();
    document->SetCurrentSpread(spreads[1]);
    auto const copy = document->MakeCopy();
    EXPECT_EQ(copy->GetScaleOverrideFlags(true), 0);
    EXPECT_EQ(copy->GetCurrentSpread()->GetId(), spreads[1]->GetId()) << "the user's";
    EXPECT_FALSE(copy->GetPreview());
    document->Save(Path("saved.redraft"));
    auto const reopened = DocumentController::Open(Path("saved.redraft"), true);
    EXPECT_EQ(reopened->GetScaleOverrideFlags(true), 0);
    EXPECT_EQ(reopened->GetCurrentSpread()->GetId(), spreads[1]->GetId());
    EXPECT_EQ(document->GetHash(false), shown);
    EXPECT_EQ(document->GetPreview(), Kernel::Counted<DocumentCommand>(preview));
    EXPECT_EQ(document->GetCurrentSpread(), spreads[1]);
    EXPECT_EQ(preview->seen, std::vector<NodeId>(5, spreads[0]->GetId()))
        << "it is taken back and shown again on the spread that it was shown on";
}

TEST_F(DocumentFile, ASaveThatCannotTakeAPreviewBackFailsAndLeavesItUp) {
    auto const document = MakeDocument();
    auto const preview = MakeSet(5);
    document->RunPreview(preview);
    preview->failUndo = true;
    EXPECT_THROW(document->Save(Path("saved.redraft")), Kernel::Exception);
    EXPECT_FALSE(std::filesystem::exists(Path("saved.redraft")));
    EXPECT_EQ(document->GetPreview(), Kernel::Counted<DocumentCommand>(preview));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 5);
}
