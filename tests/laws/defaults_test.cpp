// SPDX-License-Identifier: Apache-2.0
// The values that a stored command has for fields that are missing in it, as in documents of older programs.

#include "tests/frame/registry_table.h"
#include "tests/laws/example_run.h"
#include "tests/support/records.h"
#include "tests/support/stored_graph.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace {

using Kernel::Counted;
using Support::StoredField;

// Nearly all are false, 0, empty or null; these are not. Numbers are given as their bytes, or as the id of an object.
std::map<std::string, std::string> const c_otherValues{
    {"AddExportArticleCommand idx.", "255 255 255 255"},
    {"ChangeCrossReferenceCommand NTrg", "None"},
    {"CreateCustomFieldFromTextCommand SelT", "1 0 0 0"},
    {"DeleteExportArticleCommand idx.", "255 255 255 255"},
    {"DeleteSymbolCommand OlIn", "255 255 255 255"},
    {"DivideShapesCommand Vali", "1"},
    {"EmbedLinkedTextCommand Dlta", "object"},
    {"FillHolesCommand Vali", "1"},
    {"LocateTextResourceCommand EnsV", "1 0 0 0"},
    {"LocateTextResourceCommand Stck", "1 0 0 0"},
    {"SetArtboardPropertiesCommand anct", "TopLeft"},
    {"SetArtboardPropertiesCommand nwpt", "object"},
    {"SetDataMergeProcessFilterActionCommand olvl", "Warn"},
    {"SetDataMergeProcessFilterActionCommand valu", "Warn"},
    {"SetDataMergeValueFilterClauseCombineCommand olvl", "All"},
    {"SetDataMergeValueFilterClauseCombineCommand valu", "All"},
    {"SetDataMergeValueFilterOperatorCommand olvl", "Equal"},
    {"SetDataMergeValueFilterOperatorCommand valu", "Equal"},
    {"SetDataMergeValueFilterRuleCombineCommand olvl", "All"},
    {"SetDataMergeValueFilterRuleCombineCommand valu", "All"},
    {"SetLineDescriptorCommand CanM", "1"},
    {"SetLineDescriptorCommand Cont", "Object"},
    {"SetReflowPagesSettingCommand CCtx", "Command description"},
    {"SetReflowPagesSettingCommand CDsc", "Compound Command"},
    {"SetReflowPagesSettingCommand CNot", "1"},
    {"SetReflowPagesSettingCommand COne", "1"},
    {"SetReflowPagesSettingCommand nwvl", "1"},
    {"SetReflowPagesSettingCommand olvl", "1"},
    {"SetScaleLineStyleCommand CanM", "1"},
    {"SetScaleLineStyleCommand Cont", "Object"},
};

bool IsOfLibrary(std::string_view className) {
    return std::ranges::any_of(c_registryTable, [&](auto const& row) { return className == row.name; });
}

bool IsEmpty(StoredField const& field) {
    return std::ranges::all_of(field.value, [](auto byte) { return byte == std::byte{}; }) &&
           std::ranges::all_of(field.objects, [](auto id) { return id == 0; }) &&
           (!field.IsArray() || field.elements.empty());
}

std::string Describe(StoredField const& field) {
    if (!field.objects.empty())
        return "object";
    auto const form = field.DescribeForm();
    std::string text;
    for (auto const byte : field.value) {
        if (form == "text" || form == "enum name")
            text += static_cast<char>(byte);
        else
            text += (text.empty() ? "" : " ") + std::to_string(std::to_integer<int>(byte));
    }
    return text;
}

// The value that a command has for the field when it was loaded without it; empty for those that are.
std::string DescribeMissing(Kernel::MemoryChunkStorage storage, Support::SavedField const& field) {
    Support::HideField(storage, field);
    auto const loaded = Support::LoadFromMemory(storage);
    auto graph = Support::ReadGraph(Support::SaveToMemory({Counted<Kernel::Serialisable const>(loaded.at(0))}));
    for (auto const& now : graph.objects.at(graph.roots.at(0) - 1).fields) {
        if (now.tag == field.tag && !IsEmpty(now))
            return Describe(now);
    }
    return {};
}

TEST(Defaults, OfMissingFieldsAreEmptyButForTheNamed) {
    std::set<std::string> met;
    for (auto const& example : AllExamples()) {
        if (!IsOfLibrary(example.className))
            continue;
        ExampleRun run(example);
        run.Do();
        auto const whole = Support::SaveToMemory({Counted<Kernel::Serialisable const>(run.command)});
        auto const classTag = run.command->GetObjectClassProperties()->GetClassUID().ToString();
        for (auto const& field : Support::ListFields(whole)) {
            auto const name = example.className + " " + field.tag;
            if (field.classTag != classTag || !met.insert(name).second)
                continue;
            auto const found = c_otherValues.find(name);
            EXPECT_EQ(DescribeMissing(whole, field), found == c_otherValues.end() ? "" : found->second) << name;
        }
    }
    for (auto const& [name, value] : c_otherValues)
        EXPECT_TRUE(met.contains(name)) << "no example stores " << name;
}

} // namespace
