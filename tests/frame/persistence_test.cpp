// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/index_fragment_separator_enum_serialiser.h"
#include "frame/settings/set_guides_fill_command.h"
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "frame/settings/set_scale_override_flags_command.h"
#include "frame/view/flip_canvas_command.h"
#include "platform/document/selection_command_base.h"
#include "platform/kernel/hash_accumulator.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;

// The common part of all doubles of this file.
class Inert : public DocumentCommand {
public:
    Kernel::LocalisedString GetDescription() const override { return {"Double", "Command description"}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
};

// The three forms of Load: the base first and strict, the base first and lax, the base last. The base answers as it is
// told.
enum class Form { Strict, Lax, Last };

class Base : public Inert {
public:
    static inline bool s_loads = true;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        return DocumentCommand::Load(in, files, version) && s_loads;
    }
};

template <Form form>
class Formed final : public Base {
public:
    int number = 7;
    bool flag = true;
    Kernel::String text = "default";

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Formed>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties() {
        static constexpr Kernel::ClassUID c_tags[] = {"TfSt", "TfLx", "TfLa"};
        static Kernel::ClassProperties const s_properties(c_tags[static_cast<std::size_t>(form)], &Formed::CreateObject,
                                                          1, nullptr, DocumentCommand::GetTypeClassProperties(),
                                                          "Formed");
        static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
        return &s_properties;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Numb", &Formed::number}, Kernel::Field{"Flag", &Formed::flag},
                                 Kernel::Field{"Text", &Formed::text}};
    }
    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveFields(*this, out);
        Base::Save(out);
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        if constexpr (form == Form::Last) {
            Kernel::LoadFields(*this, in);
            return Base::Load(in, files, version);
        } else {
            bool const hasBase = Base::Load(in, files, version);
            if (form == Form::Strict && !hasBase)
                return false;
            Kernel::LoadFields(*this, in);
            return true;
        }
    }
};

// Takes every field of the class out of what was saved.
Kernel::MemoryChunkStorage WithoutFields(Kernel::MemoryChunkStorage storage, std::string const& classTag) {
    for (auto const& field : ListFields(storage)) {
        if (field.classTag == classTag)
            HideField(storage, field);
    }
    return storage;
}

template <class T>
Kernel::Counted<T> LoadFirst(Kernel::MemoryChunkStorage const& storage) {
    return Kernel::Cast<T>(LoadFromMemory(storage).at(0));
}

Roots RootsOf(std::initializer_list<Kernel::Counted<Kernel::Serialisable>> objects) {
    return {objects.begin(), objects.end()};
}

template <Form form>
void ExpectDefaultsWithoutTags() {
    auto const command = Kernel::MakeCounted<Formed<form>>();
    command->number = 1;
    command->flag = false;
    command->text = "set";
    auto const saved = SaveToMemory(RootsOf({command}));
    EXPECT_EQ(1, (LoadFirst<Formed<form>>(saved)->number));
    auto const tag = command->GetObjectClassProperties()->GetClassUID().ToString();
    auto const loaded = LoadFirst<Formed<form>>(WithoutFields(saved, tag));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(7, loaded->number);
    EXPECT_TRUE(loaded->flag);
    EXPECT_EQ(Kernel::String("default"), loaded->text);
}

TEST(Persistence, ACommandWithAllTagsMissingLoadsAndKeepsItsDefaultsInEachFormOfLoad) {
    ExpectDefaultsWithoutTags<Form::Strict>();
    ExpectDefaultsWithoutTags<Form::Lax>();
    ExpectDefaultsWithoutTags<Form::Last>();
}

TEST(Persistence, TheSettingsCommandsLoadWithAllTagsMissing) {
    auto const load = [](Kernel::Counted<DocumentCommand> const& command) {
        auto const tag = command->GetObjectClassProperties()->GetClassUID().ToString();
        auto const saved = SaveToMemory(RootsOf({command}));
        EXPECT_NE(saved, WithoutFields(saved, tag));
        Kernel::ObjectGraph graph;
        Kernel::FileStore files;
        auto const roots = graph.Load(WithoutFields(saved, tag), files);
        EXPECT_TRUE(graph.GetUnreadable().empty());
        return Kernel::Cast<DocumentCommand>(roots.at(0));
    };
    // The base first, lax.
    auto const fill = Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 0, 0));
    auto const guides = load(Kernel::MakeCounted<SetGuidesFillCommand>(fill));
    EXPECT_TRUE(guides->CompareMembers(*SetGuidesFillCommand::CreateObject(), Kernel::CompareContext()));
    // The base last.
    auto const flags = load(Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(6));
    EXPECT_TRUE(flags->CompareMembers(*SetScaleOverrideFlagsCommand::CreateObject(), Kernel::CompareContext()));
    auto const reflow = load(Kernel::MakeCounted<SetReflowPagesSettingCommand>(true));
    EXPECT_TRUE(reflow->CompareMembers(*SetReflowPagesSettingCommand::CreateObject(), Kernel::CompareContext()));
}

template <Form form>
bool IsReadableWithoutBase() {
    auto const command = Kernel::MakeCounted<Formed<form>>();
    command->number = 1;
    auto const saved = SaveToMemory(RootsOf({command}));
    Base::s_loads = false;
    Kernel::ObjectGraph graph;
    Kernel::FileStore files;
    auto const loaded = Kernel::Cast<Formed<form>>(graph.Load(saved, files).at(0));
    Base::s_loads = true;
    EXPECT_EQ(form == Form::Strict ? 7 : 1, loaded->number);
    return graph.GetUnreadable().empty();
}

TEST(Persistence, ABaseThatCannotBeReadEndsTheStrictFormAndTheLastAndNotTheLaxOne) {
    EXPECT_FALSE(IsReadableWithoutBase<Form::Strict>());
    EXPECT_TRUE(IsReadableWithoutBase<Form::Lax>());
    EXPECT_FALSE(IsReadableWithoutBase<Form::Last>());
}

TEST(Persistence, TwoCommandsOfOneFileWithTheSameTagsDoNotInterfere) {
    auto const first = Kernel::MakeCounted<Formed<Form::Lax>>();
    auto const second = Kernel::MakeCounted<Formed<Form::Lax>>();
    auto const third = Kernel::MakeCounted<Formed<Form::Last>>();
    first->number = 1;
    second->number = 2;
    third->number = 3;
    auto const saved = SaveToMemory(RootsOf({first, second, third}));
    auto const loaded = LoadFromMemory(saved);
    EXPECT_EQ(1, Kernel::Cast<Formed<Form::Lax>>(loaded.at(0))->number);
    EXPECT_EQ(2, Kernel::Cast<Formed<Form::Lax>>(loaded.at(1))->number);
    EXPECT_EQ(3, Kernel::Cast<Formed<Form::Last>>(loaded.at(2))->number);
    // A tag that one of them lacks is not taken from another.
    auto const partly = LoadFromMemory(WithoutFields(saved, "TfLa"));
    EXPECT_EQ(2, Kernel::Cast<Formed<Form::Lax>>(partly.at(1))->number);
    EXPECT_EQ(7, Kernel::Cast<Formed<Form::Last>>(partly.at(2))->number);
}

// Writes raw values without asking whether the pass takes them.
class Careless final : public Inert {
public:
    void Save(Kernel::OutSerialiser& out) const override {
        double const value = 1;
        out.StartNewPropTypeArrayBeginI("Raw_", Kernel::PropTraits<double>::c_type, 1);
        if (out.GetOutStream().Write(&value, sizeof value) != sizeof value)
            throw Kernel::OutSerialiser::SaveException(out.GetFilePath());
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return Formed<Form::Lax>::GetTypeClassProperties();
    }
};

TEST(Persistence, APathOnlyPassOverAFlipOfTheCanvasWritesNoTransform) {
    auto const controller = NewDocument();
    ExampleDocuments::NestedGroups(*controller);
    auto const command = Kernel::MakeCounted<FlipCanvasCommand>(true);
    controller->Run(command);
    auto const roots = RootsOf({command});
    auto const fields = ListFields(SaveToMemory(roots));
    EXPECT_GE(fields.size(), 2u) << "a full pass writes the flag and the transforms";
    // The pass refuses all that is written in it.
    EXPECT_THROW(Kernel::GatherFilePaths(RootsOf({Kernel::MakeCounted<Careless>()})),
                 Kernel::OutSerialiser::SaveException);
    EXPECT_TRUE(Kernel::GatherFilePaths(roots).empty());
}

// Registered without a base, though it is a command, as one class of the table is.
class Parentless final : public Inert {
public:
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Parentless>(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return s_properties; }
    static Kernel::ClassProperties const* s_properties;
};
Kernel::ClassProperties const* Parentless::s_properties = nullptr;

TEST(Persistence, ACommandThatIsRegisteredWithoutABaseIsNoDocumentCommandToTheRegistry) {
    Kernel::ClassProperties const properties("TfPl", &Parentless::CreateObject, 1, nullptr, nullptr, "Parentless");
    Kernel::ClassPropertiesBase::Init const registration(&properties);
    Parentless::s_properties = &properties;
    auto const* const found = Kernel::ClassRegistry::Find("TfPl");
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(nullptr, found->GetBase());
    EXPECT_FALSE(found->IsDerivedFrom(DocumentCommand::GetTypeClassProperties()));
    // A history holds it all the same: the registry's base is not the C++ one.
    auto const loaded = LoadFirst<DocumentCommand>(SaveToMemory(RootsOf({Kernel::MakeCounted<Parentless>()})));
    EXPECT_TRUE(Kernel::Cast<Parentless>(loaded));
}

// Its first version wrote what its second one keeps under the same tags in another way.
class Versioned final : public Inert {
public:
    int target = 0;
    std::vector<int> list;
    bool IsUnsupportedBeta() const override { return target == 0 || list.empty(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Versioned>(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return s_properties; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Targ", &Versioned::target}, Kernel::Field{"List", &Versioned::list}};
    }
    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveFields(*this, out);
        DocumentCommand::Save(out);
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        if (!DocumentCommand::Load(in, files, version))
            return false;
        if (version == 1)
            return true;
        Kernel::LoadFields(*this, in);
        return true;
    }
    static Kernel::ClassProperties const* s_properties;

    // One version of the program.
    struct Program {
        explicit Program(unsigned short version)
            : properties("TfVe", &Versioned::CreateObject, version, nullptr, nullptr, "Versioned"), init(&properties) {
            s_properties = &properties;
        }
        Kernel::ClassProperties properties;
        Kernel::ClassPropertiesBase::Init init;
    };
};
Kernel::ClassProperties const* Versioned::s_properties = nullptr;

TEST(Persistence, ALoadedCommandOfVersionOneReadsNoneOfItsVersionTwoFields) {
    auto const save = [] {
        auto const command = Kernel::MakeCounted<Versioned>();
        command->target = 5;
        command->list = {1, 2};
        return SaveToMemory(RootsOf({command}));
    };
    Kernel::MemoryChunkStorage ofOne, ofTwo;
    {
        Versioned::Program const first(1);
        ofOne = save();
    }
    Versioned::Program const second(2);
    ofTwo = save();
    auto const old = LoadFirst<Versioned>(ofOne);
    ASSERT_TRUE(old);
    EXPECT_EQ(0, old->target);
    EXPECT_TRUE(old->list.empty());
    EXPECT_TRUE(old->IsUnsupportedBeta());
    auto const current = LoadFirst<Versioned>(ofTwo);
    EXPECT_EQ(5, current->target);
    EXPECT_EQ(2u, current->list.size());
    EXPECT_FALSE(current->IsUnsupportedBeta());
}

TEST(Persistence, AStepOfAnUnsupportedBetaIsKeptAndNotTakenBack) {
    auto const path = testing::TempDir() + "redraft-beta.redraft";
    Versioned::Program const program(2);
    DocumentHash hash{};
    {
        auto const controller = NewDocument();
        auto const good = Kernel::MakeCounted<Versioned>();
        good->target = 1;
        good->list = {1};
        controller->Run(Kernel::MakeCounted<Versioned>());
        controller->Run(good);
        EXPECT_NO_THROW(controller->GoTo(0)) << "a step of this process is no one's beta";
        controller->GoTo(2);
        hash = controller->GetHash(true);
        controller->Save(path);
    }
    auto const loaded = DocumentController::Open(path, true);
    EXPECT_EQ(hash, loaded->GetHash(true));
    EXPECT_NO_THROW(loaded->Undo());
    try {
        loaded->Undo();
        ADD_FAILURE();
    } catch (Kernel::Exception const& error) {
        EXPECT_STREQ("step 1 of the history, \"Double\", is of a kind that this version does not support, and cannot "
                     "be undone",
                     error.what());
    }
    EXPECT_EQ(1u, loaded->GetHistory()->GetPosition());
    loaded->Redo();
    EXPECT_EQ(hash, loaded->GetHash(true));
    std::remove(path.c_str());
}

// Refers to objects of several kinds under one tag.
class Holding final : public Inert {
public:
    Kernel::Counted<DocumentCommand> held;
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Holding>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties() {
        static Kernel::ClassProperties const s_properties("TfHo", &Holding::CreateObject, 1, nullptr,
                                                          DocumentCommand::GetTypeClassProperties(), "Holding");
        static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
        return &s_properties;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveValue(out, "Held", object ? object : Kernel::Counted<Kernel::Serialisable>(held));
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        held = Kernel::MakeCounted<Holding>();
        Kernel::LoadValue(in, "Held", held);
        return true;
    }
    Kernel::Counted<Kernel::Serialisable> object;
};

TEST(Persistence, AnObjectOfAnotherClassUnderATagEmptiesTheFieldAndAMissingTagLeavesIt) {
    auto const command = Kernel::MakeCounted<Holding>();
    command->object = Kernel::MakeCounted<Selection>();
    auto const saved = SaveToMemory(RootsOf({command}));
    EXPECT_FALSE(LoadFirst<Holding>(saved)->held);
    EXPECT_TRUE(LoadFirst<Holding>(WithoutFields(saved, "TfHo"))->held);
    command->object = Kernel::MakeCounted<Formed<Form::Lax>>();
    EXPECT_TRUE(Kernel::Cast<Formed<Form::Lax>>(LoadFirst<Holding>(SaveToMemory(RootsOf({command})))->held));
}

TEST(Persistence, SeparatorsOfIndexEntriesAreSevenNumbersWithoutNames) {
    auto const& serialiser = Commands::IndexFragmentSeparatorEnumSerialiser::GetInstance();
    EXPECT_EQ(&serialiser, &Commands::IndexFragmentSeparatorEnumSerialiser::GetInstance());
    ASSERT_EQ(7u, serialiser.GetEntries().size());
    for (int value = 0; value != 7; ++value) {
        EXPECT_EQ(value, serialiser.GetEntries()[static_cast<std::size_t>(value)].value);
        EXPECT_EQ(nullptr, serialiser.FindName(value));
    }
    EXPECT_FALSE(serialiser.IsRegistered(7));
    EXPECT_FALSE(serialiser.IsRegistered(-1));
}

} // namespace
