// SPDX-License-Identifier: Apache-2.0
#include "tests/frame/registry_table.h"
#include "tests/support/records.h"

#include "platform/document/compound_command.h"
#include "platform/document/selection_command_base.h"

#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <iterator>
#include <set>

namespace {

RegistryRow const* FindRow(std::string_view name) {
    auto const* const found = std::find_if(std::begin(c_registryTable), std::end(c_registryTable),
                                           [&](auto const& row) { return row.name == name; });
    return found == std::end(c_registryTable) ? nullptr : found;
}

// The library's classes that the registry has, in its order.
std::vector<Kernel::ClassProperties const*> RegisteredClasses() {
    auto classes = Kernel::ClassRegistry::GetAll();
    std::erase_if(classes, [](auto const* properties) { return FindRow(properties->GetName()) == nullptr; });
    return classes;
}

// While true, classes that leave the registry are named on standard error.
bool s_tellsOfLeaving = false;

} // namespace

// Stands before the engine's own, so that a test can watch classes leave while the library is unloaded.
Kernel::ClassPropertiesBase::Init::~Init() {
    if (s_tellsOfLeaving && FindRow(m_properties->GetName()) != nullptr)
        std::fprintf(stderr, "%s;", m_properties->GetName());
    auto* const symbol = dlsym(RTLD_NEXT, "_ZN6Kernel19ClassPropertiesBase4InitD1Ev");
    if (symbol == nullptr)
        std::abort();
    reinterpret_cast<void (*)(Init*)>(symbol)(this);
}

namespace {

TEST(ClassTable, HasNinetyNineClassesAndNoTagTwice) {
    EXPECT_EQ(99u, std::size(c_registryTable));
    std::set<Kernel::ClassUID> tags;
    std::set<std::string_view> names;
    for (auto const& row : c_registryTable) {
        EXPECT_TRUE(tags.insert(row.tag).second) << row.name;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
    }
}

TEST(ClassTable, EachRegisteredClassSaysWhatItsRowSays) {
    ASSERT_FALSE(RegisteredClasses().empty());
    for (auto const* properties : RegisteredClasses()) {
        auto const& row = *FindRow(properties->GetName());
        EXPECT_EQ(row.tag, properties->GetClassUID()) << row.name;
        EXPECT_EQ(row.version, properties->GetVersion()) << row.name;
        std::string_view const base = properties->GetBase() == nullptr ? "" : properties->GetBase()->GetName();
        EXPECT_EQ(row.base, base) << row.name;
        EXPECT_EQ(properties, Kernel::ClassRegistry::Find(row.tag)) << row.name;
        // No class of the library gives values to missing tags.
        ASSERT_NE(nullptr, properties->GetDefaults()) << row.name;
        EXPECT_EQ(Kernel::IDTag(), properties->GetDefaults()->tag) << row.name;
    }
}

TEST(ClassTable, TheFactoryMakesAnObjectOfTheClass) {
    for (auto const* properties : RegisteredClasses()) {
        auto const object = properties->Create();
        ASSERT_TRUE(object) << properties->GetName();
        EXPECT_EQ(properties, object->GetObjectClassProperties());
        EXPECT_EQ(1u, object->GetControlBlock()->GetStrongCount());
    }
}

TEST(ClassTable, ClassesAreRegisteredInTheOrderOfTheTable) {
    RegistryRow const* last = nullptr;
    for (auto const* properties : RegisteredClasses()) {
        auto const* const row = FindRow(properties->GetName());
        EXPECT_TRUE(last == nullptr || last < row) << row->name << " was registered after " << last->name;
        last = row;
    }
}

TEST(ClassTable, TheBaseOfAClassIsThereBeforeIt) {
    std::set<Kernel::ClassProperties const*> known;
    for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
        bool const hasBase = FindRow(properties->GetName()) != nullptr && properties->GetBase() != nullptr;
        EXPECT_TRUE(!hasBase || known.contains(properties->GetBase())) << properties->GetName();
        known.insert(properties);
    }
}

TEST(ClassTableDeathTest, ClassesLeaveInReverseWhenTheLibraryIsUnloaded) {
    std::string expected;
    for (auto const* properties : RegisteredClasses())
        expected = properties->GetName() + (";" + expected);
    EXPECT_EXIT(
        {
            s_tellsOfLeaving = true;
            std::exit(0);
        },
        testing::ExitedWithCode(0), expected);
}

TEST(ClassTable, CoverageKnowsThoseThatTheTableNamesByTheirPlainNames) {
    std::vector<std::string> expected, covered;
    for (auto const* properties : RegisteredClasses()) {
        if (FindRow(properties->GetName())->coverage == Coverage::Yes)
            expected.emplace_back(properties->GetName());
    }
    for (auto const& entry : CommandCoverage::Instance().GetEntries()) {
        if (FindRow(entry.name) == nullptr)
            continue;
        covered.emplace_back(entry.name);
        // The type is the class's own.
        EXPECT_NE(std::string::npos, std::string(entry.type.name()).find(entry.name)) << entry.name;
    }
    EXPECT_EQ(expected, covered);
    EXPECT_TRUE(CommandCoverage::Instance().IsRegistered("FlipCanvasCommand"));
    EXPECT_FALSE(CommandCoverage::Instance().IsRegistered("SetReflowPagesSettingCommand"));
}

// Saves from the private default constructor on: what a class writes only when it is set is met by the laws, on the
// examples.
TEST(ClassTable, NoTwoTagsOfAnObjectsWholeBaseChainCollide) {
    for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
        auto const object = properties->Create();
        if (!object)
            continue;
        auto const own = properties->GetClassUID().ToString();
        std::set<std::string> tags;
        for (auto const& field : Support::ListFields(Support::SaveToMemory({object}))) {
            bool const isNew = field.classTag != own || tags.insert(field.tag).second;
            EXPECT_TRUE(isNew) << field.tag << " of " << properties->GetName();
        }
    }
}

} // namespace
