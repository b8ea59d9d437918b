// SPDX-License-Identifier: Apache-2.0
#include "lines/artboard_placing.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Commands;
using Rect = Kernel::RectT<double>;
using Boards = std::vector<ArtboardToPlace>;

ArtboardToPlace Kept(Rect box) { return {box, {}}; }
ArtboardToPlace Resized(Rect box, double width, double height) {
    return {box, ArtboardToPlace::Resize{{width, height}, {width, height}}};
}

bool IsLeft(Rect const& a, Rect const& b) { return a.right <= b.left && a.top < b.bottom && b.top < a.bottom; }
bool IsAbove(Rect const& a, Rect const& b) { return a.bottom <= b.top && a.left < b.right && b.left < a.right; }

// The same search without counters: the boards are looked through from the first for each place.
std::vector<Rect> PlaceBySearching(Boards const& boards) {
    auto const count = boards.size();
    std::vector<std::vector<bool>> left(count, std::vector<bool>(count)), above = left;
    for (std::size_t i = 0; i != count; ++i) {
        auto const& box = boards[i].box;
        Rect wanted = box;
        if (boards[i].resize)
            wanted = {box.left, box.top, box.left + boards[i].resize->diagonal.x,
                      box.top + boards[i].resize->diagonal.y};
        bool const grows = wanted.GetWidth() > box.GetWidth() && wanted.GetHeight() > box.GetHeight();
        for (std::size_t j = 0; j != count; ++j) {
            left[i][j] = i != j && (IsLeft(boards[j].box, box) || (grows && IsLeft(boards[j].box, wanted)));
            above[i][j] = i != j && (IsAbove(boards[j].box, box) || (grows && IsAbove(boards[j].box, wanted)));
        }
    }
    std::vector<std::optional<Rect>> places(count);
    for (std::size_t placed = 0; placed != count; ++placed) {
        auto const isReady = [&](std::size_t i) {
            for (std::size_t j = 0; j != count; ++j) {
                if ((left[i][j] || above[i][j]) && !places[j])
                    return false;
            }
            return true;
        };
        std::size_t chosen = count;
        for (std::size_t i = 0; i != count && chosen == count; ++i)
            chosen = !places[i] && isReady(i) ? i : count;
        for (std::size_t i = 0; i != count && chosen == count; ++i)
            chosen = !places[i] ? i : count;
        std::optional<double> x, y;
        for (std::size_t j = 0; j != count; ++j) {
            if (left[chosen][j] && places[j])
                x = std::max(x.value_or(-HUGE_VAL), places[j]->right - boards[j].box.right);
            if (above[chosen][j] && places[j])
                y = std::max(y.value_or(-HUGE_VAL), places[j]->bottom - boards[j].box.bottom);
        }
        Rect place = boards[chosen].box;
        place = {place.left + x.value_or(0), place.top + y.value_or(0), place.right + x.value_or(0),
                 place.bottom + y.value_or(0)};
        if (auto const& resize = boards[chosen].resize) {
            place.right = place.left + resize->boxSize.width;
            place.bottom = place.top + resize->boxSize.height;
        }
        places[chosen] = place;
    }
    std::vector<Rect> result;
    for (auto const& place : places)
        result.push_back(*place);
    return result;
}

TEST(ArtboardPlacing, AGrownBoardPushesTheOnesBesideIt) {
    Boards const boards{Resized({0, 0, 100, 100}, 150, 100), Kept({120, 0, 220, 100}), Kept({250, 20, 300, 60})};
    EXPECT_EQ((std::vector<Rect>{{0, 0, 150, 100}, {170, 0, 270, 100}, {300, 20, 350, 60}}), PlaceArtboards(boards));
}

TEST(ArtboardPlacing, AShrunkBoardPullsTheOnesBelowIt) {
    Boards const boards{Kept({0, 120, 100, 200}), Resized({0, 0, 100, 100}, 100, 40)};
    EXPECT_EQ((std::vector<Rect>{{0, 60, 100, 140}, {0, 0, 100, 40}}), PlaceArtboards(boards));
}

TEST(ArtboardPlacing, BoardsThatShareNeitherRowNorColumnStay) {
    Boards const boards{Resized({0, 0, 100, 100}, 300, 300), Kept({110, 110, 200, 200})};
    EXPECT_EQ(boards[1].box, PlaceArtboards(boards)[1]);
}

TEST(ArtboardPlacing, BoardsWithAnEdgeInCommonLieBesideEachOther) {
    Boards const boards{Resized({0, 0, 100, 100}, 130, 100), Kept({100, 0, 200, 100}), Kept({0, 100, 90, 200})};
    EXPECT_EQ((std::vector<Rect>{{0, 0, 130, 100}, {130, 0, 230, 100}, {0, 100, 90, 200}}), PlaceArtboards(boards));
}

TEST(ArtboardPlacing, TheLargestShiftCounts) {
    Boards const boards{Resized({0, 0, 100, 40}, 110, 40), Resized({0, 50, 100, 90}, 160, 40), Kept({120, 0, 200, 90})};
    EXPECT_EQ((Rect{180, 0, 260, 90}), PlaceArtboards(boards)[2]);
}

TEST(ArtboardPlacing, BoardsThatOverlapWhollyAreNoNeighbours) {
    Boards const boards{Resized({0, 0, 100, 100}, 200, 200), Kept({0, 0, 100, 100}), Kept({10, 10, 90, 90})};
    EXPECT_EQ((std::vector<Rect>{{0, 0, 200, 200}, {0, 0, 100, 100}, {10, 10, 90, 90}}), PlaceArtboards(boards));
}

// Each of the two would be reached by the other.
TEST(ArtboardPlacing, TwoGrownBoardsOnADiagonalWaitForEachOtherAndTheFirstIsPlaced) {
    Boards const boards{Resized({0, 100, 50, 150}, 200, 200), Resized({60, 0, 110, 50}, 200, 200)};
    EXPECT_EQ((std::vector<Rect>{{0, 100, 200, 300}, {210, 0, 410, 200}}), PlaceArtboards(boards));
}

TEST(ArtboardPlacing, BoardsOfNoWidthAtOneEdgeWaitForEachOtherAndTheFirstIsPlaced) {
    Boards const boards{Kept({10, 0, 10, 50}), Kept({10, 10, 10, 60}), Resized({0, 0, 10, 50}, 30, 50)};
    EXPECT_EQ((std::vector<Rect>{{30, 0, 30, 50}, {30, 10, 30, 60}, {0, 0, 30, 50}}), PlaceArtboards(boards));
}

TEST(ArtboardPlacing, SizesOfNothingAndLessPullAndNoNumbersMoveNothing) {
    for (double const width : {0.0, -50.0}) {
        Boards const boards{Resized({0, 0, 100, 100}, width, 100), Kept({120, 0, 200, 100})};
        EXPECT_EQ(20 + width, PlaceArtboards(boards)[1].left);
    }
    Boards const boards{Resized({0, 0, 100, 100}, std::nan(""), 100), Kept({120, 0, 200, 100})};
    EXPECT_EQ(boards[1].box, PlaceArtboards(boards)[1]);
    EXPECT_TRUE(PlaceArtboards({}).empty());
}

Boards MakeRandomRows(std::mt19937& random, bool mayOverlap) {
    auto const number = [&](int limit) { return static_cast<double>(random() % static_cast<unsigned>(limit)); };
    Boards boards;
    for (auto left = 1 + random() % 12; left != 0; --left) {
        Rect box{number(30) * 10, number(30) * 10, 0, 0};
        box.right = box.left + (mayOverlap ? number(12) : 1 + number(11)) * 10;
        box.bottom = box.top + (mayOverlap ? number(12) : 1 + number(11)) * 10;
        bool const isFree = std::none_of(boards.begin(), boards.end(),
                                         [&](auto const& other) { return !other.box.Intersected(box).IsEmpty(); });
        if (!isFree && !mayOverlap)
            continue;
        boards.push_back(random() % 3 != 0 ? Kept(box) : Resized(box, number(25) * 10, number(25) * 10));
    }
    return boards;
}

TEST(ArtboardPlacing, CountersFindWhatASearchFinds) {
    std::mt19937 random(7);
    for (int round = 0; round != 3000; ++round) {
        auto const boards = MakeRandomRows(random, round % 2 == 0);
        ASSERT_EQ(PlaceBySearching(boards), PlaceArtboards(boards)) << round;
    }
}

// Of boards that do not overlap and do not grow into others: no gap between neighbours gets smaller, and one of the
// gaps in front of each board stays as it is.
TEST(ArtboardPlacing, GapsAreKept) {
    std::mt19937 random(11);
    int checked = 0;
    for (int round = 0; round != 3000; ++round) {
        auto boards = MakeRandomRows(random, false);
        for (auto& board : boards) {
            if (board.resize)
                board.resize->diagonal.y = board.resize->boxSize.height = board.box.GetHeight();
        }
        auto const places = PlaceArtboards(boards);
        for (std::size_t i = 0; i != boards.size(); ++i) {
            double smallestGrowth = HUGE_VAL;
            for (std::size_t j = 0; j != boards.size(); ++j) {
                if (IsLeft(boards[j].box, boards[i].box))
                    smallestGrowth = std::min(smallestGrowth, places[i].left - places[j].right -
                                                                  (boards[i].box.left - boards[j].box.right));
            }
            if (smallestGrowth == HUGE_VAL) {
                EXPECT_EQ(boards[i].box.left, places[i].left);
                continue;
            }
            EXPECT_NEAR(0, smallestGrowth, 1e-9);
            ++checked;
        }
    }
    EXPECT_GT(checked, 1000);
}

} // namespace
