// SPDX-License-Identifier: Apache-2.0
// Commands that are made of commands of their own making, beside compounds.
#include "frame/persistence/registered_class.h"
#include "platform/document/document_controller.h"
#include "platform/document/inner_commands.h"
#include "platform/kernel/exception.h"
#include "tests/support/documents.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace {

using namespace Support;

// Appends a digit to the document's scale flags, or takes it away; fails when a test says so.
class AddCommand final : public Persisted<AddCommand, DocumentCommand> {
public:
    explicit AddCommand(int value) : m_value(value) {}
    Kernel::LocalisedString GetDescription() const override { return {"Add", "Command description"}; }
    void Do() override { Change(DomainCommand::Direction::Do, m_value); }
    void Undo() override { Change(DomainCommand::Direction::Undo, -m_value); }
    void Redo() override { Change(DomainCommand::Direction::Redo, m_value); }
    void Notify(Kernel::NotificationList& notifications) override { notifications.push_back({}); }
    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<AddCommand>(m_value); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        return Persisted::Load(in, files, version) && m_value != c_unreadable;
    }

    static constexpr int c_unreadable = 777;
    static inline std::vector<int> s_fails;

private:
    friend struct Kernel::FieldAccess;
    AddCommand() = default;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Valu", &AddCommand::m_value}}; }
    void Change(DomainCommand::Direction direction, int by) {
        SetDirection(direction);
        if (std::find(s_fails.begin(), s_fails.end(), by) != s_fails.end())
            throw Kernel::Exception("cannot");
        int const flags = m_documentController->GetScaleOverrideFlags(true);
        m_documentController->SetScaleOverrideFlags(direction == Direction::Undo ? (flags - m_value) / 10
                                                                                 : flags * 10 + m_value);
    }

    int m_value = 0;
};

class OwnerCommand : public Persisted<OwnerCommand, DocumentCommand> {
public:
    OwnerCommand(int one, std::vector<int> const& many) : m_oneValue(one), m_manyValues(many) {}
    Kernel::LocalisedString GetDescription() const override { return {"Own", "Command description"}; }
    void Do() override {
        SetDirection(Direction::Do);
        m_one = Kernel::MakeCounted<AddCommand>(m_oneValue);
        InnerCommands::DoOne(*this, *m_one);
        for (int const value : m_manyValues)
            m_many.DoAndAppend(*this, Kernel::MakeCounted<AddCommand>(value));
    }
    void Undo() override {
        SetDirection(Direction::Undo);
        m_many.Undo();
        InnerCommands::UndoOne(*m_one);
    }
    void Redo() override {
        SetDirection(Direction::Redo);
        InnerCommands::RedoOne(*m_one);
        m_many.Redo();
    }
    void Notify(Kernel::NotificationList& notifications) override { m_many.Notify(notifications); }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override {
        DocumentCommand::PostLoad(controller);
        m_one->PostLoad(controller);
        if (m_many.PostLoad(controller))
            MarkChanged();
    }
    InnerCommands const& GetMany() const { return m_many; }
    Kernel::Counted<DocumentCommand> const& GetOne() const { return m_one; }

private:
    friend struct Kernel::FieldAccess;
    OwnerCommand() = default;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"OneC", &OwnerCommand::m_one},
                                 Kernel::Field{"Many", &OwnerCommand::m_many}};
    }

    int m_oneValue = 0;
    std::vector<int> m_manyValues;
    Kernel::Counted<DocumentCommand> m_one;
    InnerCommands m_many;
};

// One that says nothing of its own: its parts are its base's.
class DerivedOwnerCommand final : public Persisted<DerivedOwnerCommand, OwnerCommand> {
public:
    DerivedOwnerCommand(int one, std::vector<int> const& many) : Persisted(one, many) {}

private:
    friend struct Kernel::FieldAccess;
    DerivedOwnerCommand() : Persisted(0, std::vector<int>()) {}
};

using AddClass = RegisteredClass<AddCommand>;
std::unique_ptr<AddClass> MakeAddClass() {
    return std::unique_ptr<AddClass>(new AddClass("TsAd", 1, DocumentCommand::GetTypeClassProperties(), Coverage::No));
}
RegisteredClass<DerivedOwnerCommand> const s_derivedOwner{"TsDO", 1, DocumentCommand::GetTypeClassProperties(),
                                                          Coverage::No};
RegisteredClass<OwnerCommand> const s_owner{"TsOw", 1, DocumentCommand::GetTypeClassProperties(), Coverage::No};

struct InnerCommandsTest : testing::Test {
    void TearDown() override {
        AddCommand::s_fails.clear();
        std::filesystem::remove(path);
    }
    int GetFlags(DocumentController& of) const { return of.GetScaleOverrideFlags(true); }

    std::unique_ptr<AddClass> addClass = MakeAddClass();
    Kernel::Counted<DocumentController> controller = NewDocument();
    std::string const path =
        (std::filesystem::temp_directory_path() / ("inner_commands_test_" + std::to_string(::getpid()) + ".redraft"))
            .string();
};

TEST_F(InnerCommandsTest, RunInOrderAndAreTakenBackInReverseAlsoAfterAReload) {
    controller->Run(Kernel::MakeCounted<OwnerCommand>(1, std::vector{2, 3}));
    EXPECT_EQ(123, GetFlags(*controller));
    controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    for (int round = 0; round != 2; ++round) {
        loaded->Undo();
        EXPECT_EQ(0, GetFlags(*loaded));
        loaded->Redo();
        EXPECT_EQ(123, GetFlags(*loaded));
    }
}

TEST_F(InnerCommandsTest, HaveTheControllerAndThePreviewOfTheirOwner) {
    auto const owner = Kernel::MakeCounted<OwnerCommand>(1, std::vector{2});
    controller->RunPreview(owner);
    for (auto const& inner : {owner->GetOne(), owner->GetMany().Get().at(0)}) {
        EXPECT_TRUE(inner->IsPreview());
        EXPECT_EQ(inner->GetDocumentController(), controller);
    }
    controller->EndPreview(false);
    EXPECT_EQ(0, GetFlags(*controller));
}

TEST_F(InnerCommandsTest, ThatFailTakeTheOthersBack) {
    auto const owner = Kernel::MakeCounted<OwnerCommand>(1, std::vector{2, 3, 4});
    AddCommand::s_fails = {3};
    EXPECT_THROW(controller->Run(owner), Kernel::Exception);
    EXPECT_EQ(0, GetFlags(*controller));
    EXPECT_EQ(0u, controller->GetHistory()->GetCount());

    AddCommand::s_fails.clear();
    InnerCommands list;
    Bind(*controller, *owner);
    for (int const value : {1, 2, 3})
        list.Append(Kernel::MakeCounted<AddCommand>(value));
    AddCommand::s_fails = {3};
    EXPECT_THROW(list.Do(*owner), Kernel::Exception);
    EXPECT_EQ(0, GetFlags(*controller));
    AddCommand::s_fails.clear();
    list.Do(*owner);
    AddCommand::s_fails = {-1};
    EXPECT_THROW(list.Undo(), Kernel::Exception);
    EXPECT_EQ(123, GetFlags(*controller)) << "those that were undone are not redone";
    AddCommand::s_fails.clear();
    list.Undo();
    AddCommand::s_fails = {3};
    EXPECT_THROW(list.Redo(), Kernel::Exception);
    EXPECT_EQ(0, GetFlags(*controller)) << "those that were redone are not undone";
}

TEST_F(InnerCommandsTest, OneThatCannotBeReadMakesItsStepUnreadableAndNotTheDocument) {
    auto const unreadable = AddCommand::c_unreadable;
    std::vector<std::function<Kernel::Counted<DocumentCommand>()>> const owners{
        [&] { return Kernel::MakeCounted<OwnerCommand>(unreadable, std::vector{2}); },
        [&] {
            return Kernel::MakeCounted<OwnerCommand>(1, std::vector{2, unreadable});
        },
        [&] {
            return Kernel::MakeCounted<DerivedOwnerCommand>(1, std::vector{2, unreadable});
        }};
    for (auto const& make : owners) {
        auto const fresh = NewDocument();
        fresh->Run(make());
        fresh->Run(Kernel::MakeCounted<AddCommand>(5));
        auto const hash = fresh->GetHash(true);
        fresh->Save(path);
        auto const loaded = DocumentController::Open(path, true);
        EXPECT_EQ(hash, loaded->GetHash(true));
        EXPECT_FALSE(loaded->GetHistory()->GetCommand(0));
        loaded->Undo();
        EXPECT_THROW(loaded->Undo(), Kernel::Exception);
    }
}

TEST_F(InnerCommandsTest, OneOfAnUnknownClassMakesItsStepUnreadableUntilTheClassIsThere) {
    controller->Run(Kernel::MakeCounted<OwnerCommand>(1, std::vector{2}));
    auto const hash = controller->GetHash(true);
    controller->Save(path);
    // It has the file open.
    controller.reset();
    addClass.reset();
    {
        auto const loaded = DocumentController::Open(path, true);
        EXPECT_FALSE(loaded->GetHistory()->GetCommand(0));
        EXPECT_THROW(loaded->Undo(), Kernel::Exception);
        loaded->Save(path);
    }
    addClass = MakeAddClass();
    auto const loaded = DocumentController::Open(path, true);
    EXPECT_EQ(hash, loaded->GetHash(true));
    loaded->Undo();
    EXPECT_EQ(0, GetFlags(*loaded));
}

} // namespace
