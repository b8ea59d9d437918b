// SPDX-License-Identifier: Apache-2.0
// Commands that set one property of each selected object, as an own library of commands writes them.
#include "frame/persistence/registered_class.h"
#include "frame/selection/property_command.h"
#include "platform/document/document_controller.h"
#include "tests/support/documents.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

using namespace Support;

class SetVisibleCommand final : public PropertyCommand<SetVisibleCommand, VisibilityInterface, bool> {
public:
    using PropertyCommand::PropertyCommand;
    Kernel::LocalisedString GetDescription() const override { return {"Set visibility", "Command description"}; }
    static void Set(VisibilityInterface& object, bool visible) { object.SetVisible(visible); }
    static constexpr auto Fields() { return Kernel::FieldList{Value("Visi").As("visible", "false hides the objects")}; }
};

class SlideOpacityCommand final : public PropertyCommand<SlideOpacityCommand, TransparencyInterface, double> {
public:
    static constexpr bool c_merges = true;
    using PropertyCommand::PropertyCommand;
    Kernel::LocalisedString GetDescription() const override { return {"Slide opacity", "Command description"}; }
    static void Set(TransparencyInterface& object, double opacity) { object.SetOpacity(opacity); }
    static constexpr auto Fields() { return Kernel::FieldList{Value("Opac").As("opacity", "from 0 to 1")}; }
};

RegisteredClass<SetVisibleCommand> const s_visible{"TsSV", 1, SelectionCommandBase::GetTypeClassProperties(),
                                                   Coverage::No};
RegisteredClass<SlideOpacityCommand> const s_opacity{"TsSO", 1, SelectionCommandBase::GetTypeClassProperties(),
                                                     Coverage::No};

Kernel::Counted<Selection const> Of(std::vector<Kernel::Counted<Node>> const& nodes) {
    return Kernel::MakeCounted<Selection>(nodes);
}

double OpacityOf(Kernel::Counted<Node> const& node) {
    return Kernel::CastPointer<TransparencyInterface>(node.get())->GetOpacity();
}

struct TwoShapes {
    TwoShapes() {
        ExampleDocuments::Append(*controller->GetCurrentSpread(), a);
        ExampleDocuments::Append(*controller->GetCurrentSpread(), b);
        Kernel::CastPointer<TransparencyInterface>(a.get())->SetOpacity(0.5);
    }
    void Slide(double opacity, std::vector<Kernel::Counted<Node>> const& nodes) const {
        controller->Run(Kernel::MakeCounted<SlideOpacityCommand>(opacity, Of(nodes)));
    }
    std::size_t CountSteps() const { return controller->GetHistory()->GetCount(); }

    Kernel::Counted<DocumentController> controller = NewDocument();
    Kernel::Counted<Node> a = ExampleDocuments::MakeRectangle({10, 10, 60, 60}, 1, 0, 0);
    Kernel::Counted<Node> b = ExampleDocuments::MakeRectangle({100, 100, 160, 160}, 0, 0, 1);
};

TEST(PropertyCommand, GivesEachObjectItsOwnValueBackAlsoInAnotherDocument) {
    TwoShapes const scene;
    scene.controller->SetMergingEnabled(false);
    auto const before = scene.controller->GetHash(false);
    scene.Slide(0.25, {scene.a, scene.b});
    EXPECT_EQ(0.25, OpacityOf(scene.a));
    EXPECT_EQ(0.25, OpacityOf(scene.b));
    auto const after = scene.controller->GetHash(false);
    auto const path = (std::filesystem::temp_directory_path() / "property_command_test.redraft").string();
    scene.controller->Save(path);

    auto const loaded = DocumentController::Open(path, true);
    EXPECT_EQ(after, loaded->GetHash(false));
    loaded->Undo();
    EXPECT_EQ(before, loaded->GetHash(false));
    loaded->Redo();
    EXPECT_EQ(after, loaded->GetHash(false));
    std::filesystem::remove(path);
}

TEST(PropertyCommand, ThatFindsNothingToChangeIsNoStep) {
    TwoShapes const scene;
    scene.Slide(0.5, {scene.a});
    EXPECT_FALSE(scene.controller->GetLastResult().stacked);
    scene.Slide(0.5, {scene.a, scene.b});
    EXPECT_TRUE(scene.controller->GetLastResult().stacked);
    EXPECT_EQ(1u, scene.CountSteps());
}

TEST(PropertyCommand, MergesIntoOneStepFromTheFirstStateToTheLast) {
    TwoShapes const scene;
    scene.controller->SetMergingEnabled(true);
    auto const before = scene.controller->GetHash(false);
    // The first changes nothing of a, which has this opacity already: what Undo gives a back comes from the second.
    for (double const opacity : {0.5, 0.6, 0.7})
        scene.Slide(opacity, {scene.a, scene.b});
    EXPECT_EQ(1u, scene.CountSteps());
    auto const after = scene.controller->GetHash(false);
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->Redo();
    EXPECT_EQ(after, scene.controller->GetHash(false));
    EXPECT_EQ(0.7, OpacityOf(scene.a));
}

TEST(PropertyCommand, MergesOnlyOnTheSameSelectionAndWhereItsClassSaysSo) {
    TwoShapes const scene;
    scene.controller->SetMergingEnabled(true);
    scene.Slide(0.6, {scene.a});
    scene.Slide(0.7, {scene.b});
    EXPECT_EQ(2u, scene.CountSteps());
    for (bool const visible : {false, true})
        scene.controller->Run(Kernel::MakeCounted<SetVisibleCommand>(visible, Of({scene.a})));
    EXPECT_EQ(4u, scene.CountSteps());
}

TEST(PropertyCommand, ClonesTheGivenSelectionAndNotTheDocuments) {
    TwoShapes const scene;
    ExampleDocuments::Select(*scene.controller, {scene.a});
    auto const onCurrent = Kernel::MakeCounted<SetVisibleCommand>(false, Kernel::Counted<Selection const>());
    scene.controller->Run(onCurrent);
    auto const onGiven = Kernel::MakeCounted<SetVisibleCommand>(false, Of({scene.b}));
    scene.controller->Run(onGiven);
    ExampleDocuments::Select(*scene.controller, {scene.b});
    auto const selectionOfClone = [&](DocumentCommand const& command) {
        auto const clone = command.Clone();
        Bind(*scene.controller, *clone);
        return clone->GetSelection();
    };
    EXPECT_TRUE(selectionOfClone(*onCurrent)->IsEqualTo(*Of({scene.b})));
    ExampleDocuments::Select(*scene.controller, {scene.a});
    EXPECT_TRUE(selectionOfClone(*onGiven)->IsEqualTo(*Of({scene.b})));
}

Kernel::RectT<double> DamageArea(Kernel::NotificationList const& told, DocumentController& controller) {
    Kernel::RectT<double> area;
    for (auto const& notification : told) {
        if (auto const invalid = Kernel::Cast<InvalidateDocumentNotification>(notification))
            area = area.United(invalid->GetSpreadRects().GetUnion(controller.GetCurrentSpread()));
    }
    return area;
}

TEST(PropertyCommand, TellsOfAClipWhatItUncovers) {
    auto const controller = NewDocument();
    auto const group = Kernel::MakeCounted<GroupNode>();
    ExampleDocuments::Append(*controller->GetCurrentSpread(), group);
    ExampleDocuments::Append(*group, ExampleDocuments::MakeRectangle({0, 0, 200, 200}, 1, 0, 0));
    auto const clip = ExampleDocuments::MakeRectangle({50, 50, 60, 60}, 0, 0, 0);
    group->InsertChild(NodeChildListType::Clipping, clip, nullptr);
    auto const hide = Kernel::MakeCounted<SetVisibleCommand>(false, Of({clip}));
    Bind(*controller, *hide);
    auto const runAndLook = [&](void (Command::*operation)()) {
        ((*hide).*operation)();
        return DamageArea(NotificationsOf(*hide), *controller);
    };
    auto const bounds = group->GetBounds(true);
    for (auto const operation : {&Command::Do, &Command::Undo, &Command::Redo}) {
        auto const told = runAndLook(operation);
        EXPECT_EQ(told, told.United(bounds).United(group->GetBounds(true)));
    }
}

TEST(PropertyCommand, TellsOneAreaASpreadForManyObjects) {
    TwoShapes const scene;
    auto const command = Kernel::MakeCounted<SlideOpacityCommand>(0.1, Of({scene.a, scene.b}));
    Bind(*scene.controller, *command);
    command->Do();
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(2u, told.size());
    auto const invalid = As<InvalidateDocumentNotification>(told[0]);
    ASSERT_TRUE(invalid);
    ASSERT_EQ(1u, invalid->GetSpreadRects().GetRects().size());
    EXPECT_EQ(invalid->GetSpreadRects().GetRects()[0].rect, scene.a->GetBounds(true).United(scene.b->GetBounds(true)));
    EXPECT_TRUE(As<NodesAttributesChangedNotification>(told[1]));
}

TEST(PropertyCommand, IsKnownToProgramsByItsFields) {
    auto const& cards = CommandCard::GetAll();
    auto const card = std::find_if(cards.begin(), cards.end(),
                                   [](CommandCard const& each) { return each.className == "SlideOpacityCommand"; });
    ASSERT_NE(card, cards.end());
    ASSERT_EQ(1u, card->forms.size());
    auto const& form = card->forms[0];
    EXPECT_TRUE(form.takesSelection);
    ASSERT_EQ(1u, form.arguments.size());
    EXPECT_EQ("opacity", form.arguments[0].name);
    TwoShapes const scene;
    scene.controller->Run(form.make({0.125}, Of({scene.a})));
    EXPECT_EQ(0.125, OpacityOf(scene.a));
}

// Field lists add up along the bases.

class BaseOfSums : public DocumentCommand {
public:
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    int b = 0;
};

class MiddleOfSums : public Persisted<MiddleOfSums, BaseOfSums> {
public:
    MiddleOfSums() = default;
    Kernel::LocalisedString GetDescription() const override { return {"Middle", "Command description"}; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"BBBB", &MiddleOfSums::middle}.As("middle", "the base's")};
    }
    int middle = 0;
};

// Without fields of its own.
class PlainOfSums final : public Persisted<PlainOfSums, MiddleOfSums> {
public:
    explicit PlainOfSums(int value) { middle = value; }

private:
    friend struct Kernel::FieldAccess;
    PlainOfSums() = default;
};

class TopOfSums final : public Persisted<TopOfSums, MiddleOfSums> {
public:
    TopOfSums(int topValue, int middleValue) : top(topValue) { middle = middleValue; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"TTTT", &TopOfSums::top}.As("top", "its own")};
    }
    int top = 0;

private:
    friend struct Kernel::FieldAccess;
    TopOfSums() = default;
};

RegisteredClass<PlainOfSums> const s_plain{"TsPS", 1, DocumentCommand::GetTypeClassProperties(), Coverage::No};
RegisteredClass<TopOfSums> const s_top{"TsTS", 1, DocumentCommand::GetTypeClassProperties(), Coverage::No};

template <class T>
Kernel::Counted<T> SaveAndLoad(Kernel::Counted<T> const& object) {
    Kernel::MemoryChunkStorage storage;
    Kernel::Counted<Kernel::Serialisable const> const roots[] = {object};
    Kernel::ObjectGraph graph;
    graph.Save(roots, storage);
    Kernel::FileStore files;
    Kernel::ObjectGraph other;
    return Kernel::Cast<T>(other.Load(storage, files).at(0));
}

TEST(FieldLists, OfBasesAreStoredOnceAndFollowThoseOfTheClass) {
    auto const top = SaveAndLoad(Kernel::MakeCounted<TopOfSums>(1, 2));
    ASSERT_TRUE(top);
    EXPECT_EQ(1, top->top);
    EXPECT_EQ(2, top->middle);
    auto const plain = SaveAndLoad(Kernel::MakeCounted<PlainOfSums>(3));
    ASSERT_TRUE(plain);
    EXPECT_EQ(3, plain->middle);
    for (auto const& card : CommandCard::GetAll()) {
        std::vector<std::string_view> names;
        if (card.className == "TopOfSums" || card.className == "PlainOfSums") {
            for (auto const& argument : card.forms.at(0).arguments)
                names.push_back(argument.name);
            EXPECT_EQ(names, card.className == "TopOfSums" ? (std::vector<std::string_view>{"top", "middle"})
                                                           : std::vector<std::string_view>{"middle"});
        }
    }
}

} // namespace
