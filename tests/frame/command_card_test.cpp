// SPDX-License-Identifier: Apache-2.0
#include "frame/persistence/command_card.h"
#include "frame/settings/set_master_migrate_pages_setting_command.h"
#include "frame/view/add_view_point_command.h"
#include "frame/view/flip_canvas_command.h"
#include "platform/kernel/cast.h"
#include "shapes/divide_shapes_command.h"
#include "tests/frame/registry_table.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace {

CommandCard const& CardOf(std::string_view className) {
    auto const& cards = CommandCard::GetAll();
    auto const found =
        std::find_if(cards.begin(), cards.end(), [&](CommandCard const& card) { return card.className == className; });
    if (found == cards.end())
        throw std::runtime_error("no card");
    return *found;
}

TEST(CommandCards, EachRegisteredClassOfTheTableHasOneAndWhatHasNoFormSaysWhy) {
    for (auto const& row : c_registryTable) {
        if (Kernel::ClassRegistry::Find(row.tag) == nullptr)
            continue;
        auto const& card = CardOf(row.name);
        EXPECT_NE(card.forms.empty(), card.reason.empty()) << row.name;
    }
    EXPECT_TRUE(CardOf("SuspendPreviewCommand").forms.empty());
}

TEST(CommandCards, FormsMakeTheirClassFromValuesInTheOrderOfTheArguments) {
    auto const& form = CardOf("FlipCanvasCommand").forms.at(0);
    ASSERT_EQ(1u, form.arguments.size());
    EXPECT_EQ("horizontal", form.arguments[0].name);
    EXPECT_TRUE(form.arguments[0].type == typeid(bool));
    EXPECT_FALSE(form.arguments[0].defaultValue.has_value());
    EXPECT_FALSE(form.takesSelection);
    auto const command = form.make({std::any(true)}, {});
    EXPECT_NE(nullptr, Kernel::CastPointer<Commands::FlipCanvasCommand>(command.get()));
    EXPECT_THROW(form.make({std::any(1)}, {}), std::bad_any_cast);
    EXPECT_THROW(form.make({}, {}), std::out_of_range);
}

TEST(CommandCards, ASelectionComesLastWhereTheConstructorTakesOne) {
    auto const& card = CardOf("DivideShapesCommand");
    EXPECT_TRUE(card.combinesObjects);
    EXPECT_TRUE(static_cast<bool>(card.canApplyTo));
    auto const& form = card.forms.at(0);
    EXPECT_TRUE(form.takesSelection);
    ASSERT_TRUE(form.arguments.at(0).defaultValue.has_value());
    EXPECT_FALSE(std::any_cast<bool>(form.arguments[0].defaultValue));
    auto const selection = Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>());
    auto const command = form.make({form.arguments[0].defaultValue}, selection);
    auto* const divide = Kernel::CastPointer<Commands::DivideShapesCommand>(command.get());
    ASSERT_NE(nullptr, divide);
    EXPECT_EQ(selection, divide->GetOrigSelection());
}

TEST(CommandCards, ARecordIsGivenWholeOrByItsMembers) {
    auto const& card = CardOf("AddViewPointCommand");
    ASSERT_EQ(2u, card.forms.size());
    auto const* const record = card.forms[0].arguments.at(0).record;
    ASSERT_NE(nullptr, record);
    std::vector<std::any> const members{Kernel::String("door"), SpreadIndex{2}, Kernel::RectT<double>{1, 2, 3, 4}};
    auto const whole = std::any_cast<ViewPointData>(record->make(members));
    EXPECT_EQ(Kernel::String("door"), whole.name);
    EXPECT_EQ(2, whole.spreadIndex);
    EXPECT_EQ((Kernel::RectT<double>{1, 2, 3, 4}), whole.viewBox);
    auto const first = card.forms[0].make({std::any(whole)}, {});
    auto const second = card.forms[1].make(members, {});
    EXPECT_EQ(first->Clone()->GetDescription(), second->Clone()->GetDescription());
    EXPECT_NE(nullptr, Kernel::CastPointer<Commands::AddViewPointCommand>(second.get()));
}

TEST(CommandCards, AnEnumerationHasANameForEachValue) {
    auto const& argument = CardOf("SetMasterMigratePagesSettingCommand").forms.at(0).arguments.at(0);
    ASSERT_EQ(3u, argument.names.size());
    EXPECT_EQ("adapt", argument.names[1]);
    EXPECT_EQ(MasterMigrationStrategy::Adapt, std::any_cast<MasterMigrationStrategy>(argument.valueAt(1)));
    EXPECT_EQ(2u, argument.positionOf(MasterMigrationStrategy::Drop));
}

TEST(CommandCards, NumbersHaveTheirUnitAndTheValuesThatTheyMayHave) {
    auto const* const line = CardOf("SetLineDescriptorCommand").forms.at(0).arguments.at(0).record;
    ASSERT_NE(nullptr, line);
    auto const find = [&](std::string_view name) -> ArgumentCard const& {
        return *std::find_if(line->members.begin(), line->members.end(),
                             [&](ArgumentCard const& member) { return member.name == name; });
    };
    EXPECT_EQ("px (1/96 inch)", find("weight").range.unit);
    EXPECT_TRUE(find("weight").IsInRange(std::any(0.0)));
    EXPECT_FALSE(find("weight").IsInRange(std::any(-0.5)));
    EXPECT_FALSE(find("weight").IsInRange(std::any(std::nan(""))));
    EXPECT_TRUE(find("dash").IsInRange(std::any(std::vector<double>{})));
    EXPECT_FALSE(find("dash").IsInRange(std::any(std::vector<double>{3, -1})));
    EXPECT_TRUE(find("dashPhase").IsInRange(std::any(-7.0)));
    EXPECT_TRUE(find("behindFill").IsInRange(std::any(true)));
}

} // namespace
