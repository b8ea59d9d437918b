// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/path_data.h"
#include "platform/geometry/shapes.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/kernel/object_graph.h"

#include <gtest/gtest.h>

namespace {

using namespace Geometry;
using Kernel::Counted;
using Kernel::Serialisable;

Counted<Serialisable> SavedAndLoaded(Serialisable const& object) {
    Kernel::MemoryChunkStorage storage;
    Counted<Serialisable const> const root(&object);
    Kernel::ObjectGraph::SaveCopy(std::span(&root, 1), storage);
    Kernel::ObjectGraph graph;
    Kernel::FileStore files;
    return graph.Load(storage, files).at(0);
}

TEST(GeometryPersistence, CurvesComeBackAsTheyWere) {
    for (char const* const path : {"M0 0L1 2", "M0 0L1 2L3 5Z", "M0 0C1 2 3 4 5 6L8 8Z", "M0 0C1 2 3 4 5 6 7 8 9 0 1 2",
                                   "M5 5Z", "M0 0L1 1ZM2 2L3 3M0 0C1 1 2 2 3 3Z"}) {
        auto const curves = ReadPathData(path).curves;
        auto const loaded = SavedAndLoaded(*curves);
        auto const* const back = dynamic_cast<PolyCurveDbl const*>(loaded.get());
        ASSERT_NE(back, nullptr) << path;
        EXPECT_EQ(*back, *curves) << path;
        Kernel::HashAccumulator before, after;
        before.AddObject(*curves);
        after.AddObject(*back);
        EXPECT_EQ(before.GetHash(), after.GetHash());
    }
}

TEST(GeometryPersistence, LongCurvesAndEmptyOnesComeBackToo) {
    for (int const size : {0, 1, 63, 64, 65, 1000}) {
        auto const longCurve = Kernel::MakeCounted<CurveDbl>();
        if (size != 0)
            longCurve->MoveTo({1, 1});
        for (int i = 1; i < size; ++i) {
            if (i % 3 == 0)
                longCurve->CubicTo({i + 0.0, 1}, {2, i + 0.0}, {i + 0.5, 3});
            else
                longCurve->LineTo({i + 0.25, -1.0 * i});
        }
        auto const loaded = SavedAndLoaded(*longCurve);
        EXPECT_EQ(*dynamic_cast<CurveDbl const*>(loaded.get()), *longCurve) << size;
    }
}

TEST(GeometryPersistence, EqualCurvesCompareEqualByWhatTheySave) {
    auto const a = MakeEllipse({0, 0, 10, 10}), b = MakeEllipse({0, 0, 10, 10}), c = MakeEllipse({0, 0, 10, 11});
    EXPECT_TRUE(a->CompareMembers(*b, Kernel::CompareContext()));
    EXPECT_FALSE(a->CompareMembers(*c, Kernel::CompareContext()));
}

} // namespace
