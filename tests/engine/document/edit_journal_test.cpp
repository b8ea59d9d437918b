// SPDX-License-Identifier: Apache-2.0
#include "platform/document/edit_journal.h"

#include "platform/document/nodes.h"
#include "platform/kernel/exception.h"

#include <array>
#include <gtest/gtest.h>
#include <vector>

namespace {

TEST(EditJournal, TakesBackTheNewestFirst) {
    std::vector<int> taken;
    EditJournal journal;
    for (int i = 0; i != 3; ++i)
        EditJournal::Note([&taken, i] { taken.push_back(i); });
    journal.RollBack();
    EXPECT_EQ((std::vector{2, 1, 0}), taken);
    journal.RollBack();
    EXPECT_EQ(3u, taken.size()) << "taken back twice";
}

TEST(EditJournal, NotesNothingUnlessOneIsOpen) {
    int taken = 0;
    EditJournal::Note([&] { ++taken; });
    EditJournal journal;
    journal.RollBack();
    EXPECT_EQ(0, taken);
}

TEST(EditJournal, GivesWhatAnInnerOneKeptToTheOuterOne) {
    std::vector<int> taken;
    EditJournal outer;
    EditJournal::Note([&] { taken.push_back(0); });
    {
        EditJournal const inner;
        EditJournal::Note([&] { taken.push_back(1); });
    }
    EXPECT_THROW(EditJournal::RunOrRollBack([&] {
                     EditJournal::Note([&] { taken.push_back(2); });
                     throw Kernel::Exception("no");
                 }),
                 Kernel::Exception);
    EXPECT_EQ((std::vector{2}), taken);
    outer.RollBack();
    EXPECT_EQ((std::vector{2, 1, 0}), taken);
}

// More than one block of memory takes, and single notes that are larger than one.
TEST(EditJournal, HoldsManyNotesAndLargeOnes) {
    std::size_t taken = 0;
    for (int round = 0; round != 3; ++round) {
        EditJournal journal;
        for (std::size_t i = 0; i != 5000; ++i) {
            EditJournal::Note([&taken, payload = std::array<std::size_t, 40>{i}] { taken += payload[0]; });
            if (i % 1000 == 0)
                EditJournal::Note([&taken, payload = std::array<std::size_t, 20000>{i}] { taken += payload[0]; });
        }
        taken = 0;
        journal.RollBack();
        EXPECT_EQ(std::size_t{4999} * 2500 + 10000, taken);
    }
}

TEST(EditJournal, PutsATreeAndItsStatesBack) {
    auto const group = Kernel::MakeCounted<GroupNode>();
    auto const first = Kernel::MakeCounted<ShapeNode>(), second = Kernel::MakeCounted<ShapeNode>();
    group->InsertChild(NodeChildListType::Plain, first, nullptr);
    group->InsertChild(NodeChildListType::Plain, second, nullptr);
    second->SetOpacity(0.5);
    EXPECT_THROW(EditJournal::RunOrRollBack([&] {
                     auto const other = Kernel::MakeCounted<GroupNode>();
                     first->RemoveFromParent();
                     other->InsertChild(NodeChildListType::Clipping, first, nullptr);
                     group->InsertChild(NodeChildListType::Plain, other, second.get());
                     second->SetOpacity(0.25);
                     second->SetTransform({2, 0, 1, 0, 2, 1}, false);
                     second->SetLinkSource(first);
                     throw Kernel::Exception("no");
                 }),
                 Kernel::Exception);
    EXPECT_EQ(group->GetFirstChild(NodeChildListType::Plain), first.get());
    EXPECT_EQ(first->GetNextSibling(), second.get());
    EXPECT_EQ(2u, group->CountChildren(NodeChildListType::Plain));
    EXPECT_EQ(0.5, second->GetOpacity());
    EXPECT_TRUE(second->GetMatrix().IsIdentity());
    EXPECT_FALSE(second->GetLinkSource());
}

TEST(NodeTree, RefusesNeighboursThatStandElsewhereAndPlacesOfAnotherKind) {
    auto const document = Kernel::MakeCounted<DocumentNode>();
    auto const spread = Kernel::MakeCounted<SpreadNode>(Kernel::RectT<double>{0, 0, 10, 10});
    auto const group = Kernel::MakeCounted<GroupNode>(), other = Kernel::MakeCounted<GroupNode>();
    auto const plain = NodeChildListType::Plain;
    EXPECT_THROW(document->InsertChild(plain, group, nullptr), Kernel::Exception);
    EXPECT_THROW(group->InsertChild(plain, spread, nullptr), Kernel::Exception);
    EXPECT_THROW(document->InsertChild(NodeChildListType::Symbols, spread, nullptr), Kernel::Exception);
    EXPECT_THROW(group->InsertChild(plain, document, nullptr), Kernel::Exception);
    document->InsertChild(plain, spread, nullptr);
    spread->InsertChild(plain, group, nullptr);
    EXPECT_THROW(spread->InsertChild(plain, other, other.get()), Kernel::Exception);
    EXPECT_THROW(spread->InsertChild(plain, other, spread.get()), Kernel::Exception);
    EXPECT_THROW(spread->InsertChild(NodeChildListType::Clipping, other, group.get()), Kernel::Exception);
    EXPECT_EQ(nullptr, other->GetParent());
    spread->InsertChild(plain, other, group.get());
    EXPECT_EQ(group->GetPreviousSibling(), other.get());
}

TEST(NodeTree, RefusesLinksAndBoxesThatWouldHoldThemselves) {
    auto const plain = NodeChildListType::Plain;
    auto const symbol = Kernel::MakeCounted<GroupNode>(), group = Kernel::MakeCounted<GroupNode>(),
               instance = Kernel::MakeCounted<GroupNode>();
    symbol->InsertChild(plain, group, nullptr);
    EXPECT_THROW(group->SetLinkSource(symbol), Kernel::Exception);
    EXPECT_THROW(group->SetLinkSource(group), Kernel::Exception);
    symbol->SetLinkSource(group);
    symbol->SetLinkSource({});
    instance->SetLinkSource(symbol);
    EXPECT_THROW(group->InsertChild(plain, instance, nullptr), Kernel::Exception);
    EXPECT_THROW(group->SetLinkSource(instance), Kernel::Exception);

    auto const box = Kernel::MakeCounted<CloudSyncedNode>(), other = Kernel::MakeCounted<CloudSyncedNode>();
    auto const contents = Kernel::MakeCounted<GroupNode>();
    box->SetBoxContents(contents);
    EXPECT_THROW(contents->InsertChild(plain, box, nullptr), Kernel::Exception);
    EXPECT_THROW(other->SetBoxContents(contents), Kernel::Exception);
    EXPECT_THROW(other->SetBoxContents(other), Kernel::Exception);
    EXPECT_FALSE(other->GetBoxContents());
    contents->InsertChild(plain, instance, nullptr);
    EXPECT_THROW(group->InsertChild(plain, box, nullptr), Kernel::Exception);
    EXPECT_THROW(symbol->SetLinkSource(box), Kernel::Exception);
    instance->SetLinkSource({});
    group->InsertChild(plain, box, nullptr);
    box->SetBoxContents({});
    other->SetBoxContents(contents);
    EXPECT_TRUE(other->Holds(*instance));
    EXPECT_FALSE(box->Holds(*contents));
}

TEST(EditJournal, PutsTheContentsOfBoxesBack) {
    auto const box = Kernel::MakeCounted<CloudSyncedNode>(), other = Kernel::MakeCounted<CloudSyncedNode>();
    auto const contents = Kernel::MakeCounted<GroupNode>();
    box->SetBoxContents(contents);
    EXPECT_THROW(EditJournal::RunOrRollBack([&] {
                     box->SetBoxContents({});
                     other->SetBoxContents(contents);
                     throw Kernel::Exception("no");
                 }),
                 Kernel::Exception);
    EXPECT_EQ(contents, box->GetBoxContents());
    EXPECT_FALSE(other->GetBoxContents());
    EXPECT_THROW(contents->InsertChild(NodeChildListType::Plain, box, nullptr), Kernel::Exception);
}

TEST(EditJournal, PutsBoxesOfConstraintsGroupsAndOperationsOfCurvesBack) {
    auto const group = Kernel::MakeCounted<ConstraintsGroupNode>();
    auto const curve = Kernel::MakeCounted<PolyCurveNode>();
    group->SetBaseBox({0, 0, 10, 10});
    EXPECT_THROW(EditJournal::RunOrRollBack([&] {
                     group->SetBaseBox({0, 0, 20, 10});
                     curve->SetCompoundOperation(CompoundOperation::Xor);
                     throw Kernel::Exception("no");
                 }),
                 Kernel::Exception);
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 10, 10}), group->GetBaseBox(true));
    EXPECT_EQ(CompoundOperation::Add, curve->GetCompoundOperation());
}

} // namespace
