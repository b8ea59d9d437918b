// SPDX-License-Identifier: Apache-2.0
// Opaque fills without lines look after a divide as they did before, but along the edges that pieces share.
#include "platform/document/document_renderer.h"
#include "platform/geometry/curve_operations.h"
#include "shapes/divide_shapes_command.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

constexpr int c_side = 200;

// In units of 1/255, the largest of the channels.
using Picture = Kernel::Counted<Raster::BufferRGBA8>;

Picture Render(Scene const& scene) {
    SpreadPictureOptions options;
    options.area = {0, 0, c_side, c_side};
    auto const target = MakeSpreadPicture(*scene.spread, options);
    return Kernel::Cast<Raster::BufferRGBA8>(target->Render({0, 0, c_side, c_side}));
}

int DifferenceAt(Picture const& a, Picture const& b, int x, int y) {
    int difference = 0;
    for (int channel = 0; channel != 4; ++channel) {
        auto const of = [&](Picture const& picture) {
            return static_cast<int>(std::as_const(*picture).GetRow(channel, y)[x]);
        };
        difference = std::max(difference, std::abs(of(a) - of(b)));
    }
    return difference;
}

// Pixels that an outline passes through or by.
class EdgeMask final : public Geometry::FlattenSink {
public:
    void Begin(Geometry::PointDbl start, bool closed) override {
        m_start = m_last = start;
        m_closed = closed;
    }
    void Vertex(Geometry::PointDbl p, bool) override { MarkLine(p); }
    void End() override {
        if (m_closed)
            MarkLine(m_start);
    }
    bool IsMarked(int x, int y) const { return m_marked[static_cast<std::size_t>(y * c_side + x)]; }

private:
    void MarkLine(Geometry::PointDbl to) {
        double const length = std::hypot(to.x - m_last.x, to.y - m_last.y);
        int const steps = static_cast<int>(length / 0.25) + 1;
        for (int i = 0; i <= steps; ++i) {
            double const t = static_cast<double>(i) / steps;
            MarkAround(m_last.x + t * (to.x - m_last.x), m_last.y + t * (to.y - m_last.y));
        }
        m_last = to;
    }
    void MarkAround(double x, double y) {
        for (double const dx : {-0.3, 0.3}) {
            for (double const dy : {-0.3, 0.3}) {
                double const column = std::floor(x + dx), row = std::floor(y + dy);
                if (column >= 0 && row >= 0 && column < c_side && row < c_side)
                    m_marked[static_cast<std::size_t>(row * c_side + column)] = true;
            }
        }
    }
    Geometry::PointDbl m_start, m_last;
    bool m_closed = false;
    std::vector<bool> m_marked = std::vector<bool>(static_cast<std::size_t>(c_side * c_side));
};

void MarkOutline(CurvesNode const& node, EdgeMask& mask) {
    Geometry::Flatten(*node.GetOutline(), Geometry::Transform(node.GetBaseToSpreadTransform()), 0.05, {}, mask);
}

void MarkPieces(Node const& parent, EdgeMask& mask) {
    for (auto const& child : ChildrenOf(parent)) {
        if (auto const* piece = Kernel::CastPointer<PolyCurveNode const>(child.get()))
            MarkOutline(*piece, mask);
        else
            MarkPieces(*child, mask);
    }
}

// Clips are coverages: where the edges of a shape and of its clip pass a pixel side by side, something of the shape is
// seen there, though the two have nothing in common.
void MarkClippedShapes(Node const& parent, bool isClipped, EdgeMask& mask) {
    for (auto const& child : ChildrenOf(parent)) {
        auto const* const clip =
            Kernel::CastPointer<CurvesNode const>(child->GetFirstChild(NodeChildListType::Clipping));
        if (clip != nullptr)
            MarkOutline(*clip, mask);
        auto const* const curves = Kernel::CastPointer<CurvesNode const>(child.get());
        if (curves != nullptr && (isClipped || clip != nullptr))
            MarkOutline(*curves, mask);
        MarkClippedShapes(*child, isClipped || clip != nullptr, mask);
    }
}

// Random drawings of opaque things, the same for one seed.
class Drawing {
public:
    explicit Drawing(unsigned seed) : m_random(seed) {}

    void Fill(Scene& scene, int count) {
        std::vector<Kernel::Counted<Node>> parents = {scene.spread};
        for (int i = 0; i != count; ++i) {
            Node& parent = *parents[static_cast<std::size_t>(Pick(static_cast<int>(parents.size())))];
            if (Pick(6) == 0) {
                auto const group = NamedGroup("group");
                group->SetTransform(SmallMove(), false);
                if (Pick(3) == 0)
                    AddClip(*group);
                Append(parent, group);
                parents.emplace_back(group);
            } else {
                Append(parent, MakeShape());
            }
        }
        scene.Select(ChildrenOf(*scene.spread));
    }

private:
    int Pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_random); }
    double From(double low, double high) { return std::uniform_real_distribution<double>(low, high)(m_random); }
    Kernel::PointT<double> Point() { return {From(10, 190), From(10, 190)}; }

    // Turned about the page's middle, a little skewed and scaled.
    Params SmallMove() {
        double const angle = From(-0.6, 0.6), scale = From(0.7, 1.2), skew = From(-0.3, 0.3);
        double const a = scale * std::cos(angle), b = scale * (skew * std::cos(angle) - std::sin(angle));
        double const c = scale * std::sin(angle), d = scale * (skew * std::sin(angle) + std::cos(angle));
        return {a, b, 100 - 100 * (a + b), c, d, 100 - 100 * (c + d)};
    }

    void Paint(BrushFillInterface& object) {
        auto const colour = [this] {
            return Renderer::Colour::FromRGB(static_cast<float>(From(0, 1)), static_cast<float>(From(0, 1)),
                                             static_cast<float>(From(0, 1)));
        };
        if (Pick(3) != 0) {
            object.SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(colour()));
            return;
        }
        auto const gradient = Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
            Point(), Point(),
            std::vector<Renderer::GradientStop>{{0, 1, colour()}, {0.4, 1, colour()}, {1, 1, colour()}});
        object.SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
            gradient, true, SmallMove(), Renderer::BlendMode::Normal, false));
    }

    Kernel::Counted<CurvesNode> MakePlainShape() {
        auto const at = Point();
        double const width = From(10, 90), height = From(10, 90);
        switch (Pick(4)) {
        case 0:
            return Box(at.x, at.y, at.x + width, at.y + height);
        case 1:
            return MakeEllipse({at.x, at.y, at.x + width, at.y + height});
        case 2: {
            std::vector<Kernel::PointT<double>> corners;
            for (int i = 0; i != 7; ++i)
                corners.push_back(Point());
            auto const path = MakePath({corners}, Pick(2) == 0);
            if (Pick(2) == 0)
                path->SetWindingOrderMode(Geometry::WindingOrderMode::Alternating);
            return path;
        }
        default: {
            auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
            compound->SetCompoundOperation(CompoundOperation::Xor);
            Append(*compound, MakeEllipse({at.x, at.y, at.x + width, at.y + height}));
            Append(*compound, Box(at.x + width / 4, at.y + height / 4, at.x + width, at.y + height / 2));
            return compound;
        }
        }
    }

    Kernel::Counted<Node> MakeShape() {
        auto const shape = MakePlainShape();
        Paint(*shape);
        if (Pick(2) == 0)
            shape->SetTransform(SmallMove(), false);
        if (Pick(5) == 0)
            AddClip(*shape);
        return shape;
    }

    void AddClip(Node& node) {
        auto const clip = MakePlainShape();
        SetFill(*clip, 0, 0, 0);
        Clip(node, clip);
    }

    std::mt19937 m_random;
};

struct Differences {
    // Away from all edges of pieces, and beside or on one.
    int largestInside = 0, largestAtEdges = 0;
    // Of all pixels, that differ visibly.
    double share = 0;
};

Differences Compare(Picture const& before, Picture const& after, EdgeMask const& mask) {
    Differences result;
    int count = 0;
    for (int y = 0; y != c_side; ++y) {
        for (int x = 0; x != c_side; ++x) {
            int const difference = DifferenceAt(before, after, x, y);
            int& largest = mask.IsMarked(x, y) ? result.largestAtEdges : result.largestInside;
            largest = std::max(largest, difference);
            count += difference > 2;
        }
    }
    result.share = count / static_cast<double>(c_side * c_side);
    return result;
}

Differences DivideAndCompare(Scene& scene) {
    auto const before = Render(scene);
    EdgeMask mask;
    MarkClippedShapes(*scene.spread, false, mask);
    scene.controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, scene.Selected()));
    MarkPieces(*scene.spread, mask);
    return Compare(before, Render(scene), mask);
}

TEST(DividePictures, OpaqueDrawingsDifferOnlyAlongTheEdgesOfPieces) {
    double worstShare = 0;
    int changedByDivide = 0;
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        Scene scene;
        Drawing(seed).Fill(scene, 14);
        auto const count = scene.Selected()->size();
        auto const differences = DivideAndCompare(scene);
        EXPECT_LE(differences.largestInside, 1) << "only the rounding of a pixel";
        EXPECT_LE(differences.share, 0.12);
        worstShare = std::max(worstShare, differences.share);
        changedByDivide += scene.Selected()->size() > count;
    }
    EXPECT_GT(worstShare, 0) << "shared edges do show";
    EXPECT_GT(changedByDivide, 50);
}

// Coverages of 1/2 each leave a quarter of what lies below.
TEST(DividePictures, AlongAnEdgeThatTwoPiecesShareAQuarterOfTheBackdropShowsAtMost) {
    for (double const angle : {0.0, 0.1, 0.4, 0.7, 1.3}) {
        Scene scene;
        auto const lower = MakeRectangle({20, 20, 180, 180}, 0, 0, 0),
                   upper = MakeRectangle({90, -100, 300, 300}, 0, 0, 0);
        upper->SetTransform({std::cos(angle), -std::sin(angle), 20.5, std::sin(angle), std::cos(angle), 0}, false);
        scene.PutAndSelect({lower, upper});
        auto const differences = DivideAndCompare(scene);
        EXPECT_EQ(0, differences.largestInside);
        EXPECT_GE(differences.largestAtEdges, angle == 0 ? 63 : 50);
        EXPECT_LE(differences.largestAtEdges, 64);
        EXPECT_LE(differences.share, 0.02);
    }
}

// The rest that several clips leave, hidden ones and those without a fill: pictures and pieces agree on it.
TEST(DividePictures, ClipsOfAllKinds) {
    auto const group = NamedGroup("group");
    auto const inGroup = MakeEllipse({20, 20, 120, 180});
    SetFill(*inGroup, 0, 0, 0);
    Append(*group, inGroup);
    Append(*group, Box(60, 20, 180, 60));
    auto const hidden = Box(0, 0, 30, 30), unfilled = Box(30, 30, 150, 150), tall = Box(60, 10, 110, 190),
               wide = Box(10, 60, 190, 110), clipped = Box(40, 40, 160, 160);
    hidden->SetVisible(false);
    unfilled->SetBrushFillDescriptor({});
    Clip(*clipped, MakeRectangle({20, 20, 80, 120}, 0, 0, 0));
    std::vector<std::vector<Kernel::Counted<Node>>> const cases = {
        {hidden}, {tall, wide}, {tall, group}, {group, tall}, {group, hidden, clipped}, {clipped, tall}, {unfilled}};
    for (std::size_t i = 0; i != cases.size(); ++i) {
        SCOPED_TRACE(i);
        Scene scene;
        auto const shape = MakeRectangle({5, 5, 195, 195}, 0.9, 0.2, 0.1),
                   below = MakeRectangle({0, 100, 200, 200}, 0, 0, 1);
        CloneContext context(CloneType::Copy);
        for (auto const& clip : cases[i])
            Clip(*shape, clip->Clone(context));
        scene.PutAndSelect({below, shape});
        auto const differences = DivideAndCompare(scene);
        EXPECT_LE(differences.largestInside, 1);
        EXPECT_LE(differences.share, 0.02);
        EXPECT_EQ(i + 1 == cases.size(), PiecesIn(*scene.spread).size() == 1) << "only what has no fill leaves nothing";
    }
}

TEST(DividePictures, MembersOfAClippedGroupOwnOnlyWhatIsSeenOfThem) {
    for (bool const isRound : {false, true}) {
        Scene scene;
        auto const below = MakeRectangle({10, 10, 150, 150}, 0, 0, 1),
                   member = MakeRectangle({40, 40, 190, 190}, 1, 0, 0);
        auto const group = NamedGroup("group"), inner = NamedGroup("inner");
        Kernel::Counted<CurvesNode> clip = Box(30, 30, 120, 120);
        if (isRound) {
            clip = MakeEllipse({30, 30, 120, 120});
            SetFill(*clip, 0, 0, 0);
        }
        Clip(*group, clip);
        scene.Put(*inner, {member, MakeRectangle({150, 150, 160, 160}, 0, 1, 0)});
        scene.Put(*group, {inner});
        scene.PutAndSelect({below, group});
        auto const differences = DivideAndCompare(scene);
        EXPECT_EQ(0, differences.largestInside);
        EXPECT_LE(differences.share, 0.02);
        ASSERT_EQ(1u, PiecesIn(*inner).size()) << "one member is not seen at all";
        if (!isRound) {
            EXPECT_DOUBLE_EQ(80 * 80, AreaIn(*inner));
        }
        EXPECT_EQ(clip.get(), group->GetFirstChild(NodeChildListType::Clipping));
    }
}

TEST(DividePictures, AText) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 190, 190}, "Cut these letters into pieces, please");
    SetFill(*text, 1, 0.9, 0.4);
    text->SetTransform({0.95, -0.2, 20, 0.2, 0.95, -5}, false);
    scene.PutAndSelect({text, MakeRectangle({40, 15, 90, 40}, 0.2, 0.3, 0.8)});
    auto const differences = DivideAndCompare(scene);
    EXPECT_LE(differences.largestInside, 1);
    EXPECT_LE(differences.share, 0.1);
}

} // namespace
