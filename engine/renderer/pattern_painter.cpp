// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/pattern_painter.h"

#include "engine/renderer/band_renderer.h"
#include "engine/renderer/canvas.h"
#include "engine/renderer/recorder.h"
#include "platform/renderer/recorded_drawing.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace Renderer::Detail {

namespace {

// Patterns within patterns.
constexpr int c_maximumDepth = 8;
// Tiles beyond so many pixels of the picture are drawn repeat by repeat.
constexpr double c_largeTilePixels = 1 << 20;
// Where that would be more drawing than this, or the store has less room left, tiles are coarser than the picture.
constexpr double c_maximumSteps = 1 << 16;
constexpr int c_largestTileSide = 2048;
constexpr int c_smallestTileSide = 32;
// Samples along a side of a tile that is smaller than a pixel, of which the mean is taken.
constexpr int c_meanSamples = 16;

// Draws the steps of a drawing.
void Replay(Recorder& recorder, std::vector<DrawingStep> const& steps, Transform const& toPixels,
            Raster::ICCProfileSet const& profiles) {
    for (auto const& step : steps) {
        Recorder::Outline const outline{step.curves, toPixels * Transform(step.transform), step.winding};
        switch (step.kind) {
        case DrawingStepKind::Draw:
            if (step.curves)
                recorder.Draw(outline, step.GetPaint(), profiles);
            break;
        case DrawingStepKind::PushClip:
            recorder.PushClip(outline);
            break;
        case DrawingStepKind::PopClip:
            recorder.PopClip();
            break;
        case DrawingStepKind::BeginMask:
            recorder.BeginMask(step.maskKind);
            break;
        case DrawingStepKind::EndMask:
            recorder.EndMask();
            break;
        case DrawingStepKind::PushLayer:
            recorder.PushLayer({step.opacity, step.blendMode, step.isIsolated});
            break;
        case DrawingStepKind::PopLayer:
            recorder.PopLayer();
            break;
        case DrawingStepKind::PushFilter:
            recorder.PushFilter(step.filter, outline.toPixels, profiles);
            break;
        case DrawingStepKind::PopFilter:
            recorder.PopFilter();
            break;
        }
    }
}

// A recording with the space that its paints need. One for all threads.
class DrawnArea {
public:
    DrawnArea(RectInt const& area, double scalar, PatternPlace const& place, PatternScope const& scope)
        : recorder(area, scalar, place.space, {scope.store, scope.depth + 1, scope.filterDepth, scope.abort}),
          m_space(place.space),
          m_abort(scope.abort) {}
    // Draws a part of the area over what the canvas shows.
    void Draw(Canvas& canvas) const {
        DisplayList const& list = recorder.GetList();
        std::vector<std::unique_ptr<ItemOutlines const>> const outlines(list.draws.size());
        std::vector<std::uint32_t> commands(list.commands.size());
        std::iota(commands.begin(), commands.end(), 0u);
        BandRenderer(list, m_space, outlines).Draw(canvas, commands, m_abort);
    }

    Recorder recorder;

private:
    WorkingSpace const& m_space;
    bool const* m_abort;
};

// Repeats that are drawn one by one.
class RepeatsSource final : public FillSource {
public:
    RepeatsSource(std::shared_ptr<DrawnArea const> area, double opacity, int planes)
        : m_area(std::move(area)), m_opacity(static_cast<float>(opacity)), m_planes(planes) {}
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<RepeatsPainter>(*this); }

private:
    class RepeatsPainter final : public Painter {
    public:
        explicit RepeatsPainter(RepeatsSource const& source) : m_source(source) {}
        void Begin(RectInt const& area) override {
            m_canvas.emplace(area, m_source.m_planes);
            m_source.m_area->Draw(*m_canvas);
        }
        void GetRow(int x, int y, int count, float* const* planes) override {
            m_canvas->Open(y, x, x + count);
            for (int plane = 0; plane != m_source.m_planes; ++plane) {
                float const* const row = m_canvas->At(plane, x, y);
                for (int i = 0; i != count; ++i)
                    planes[plane][i] = row[i] * m_source.m_opacity;
            }
        }

    private:
        RepeatsSource const& m_source;
        std::optional<Canvas> m_canvas;
    };

    std::shared_ptr<DrawnArea const> m_area;
    float m_opacity;
    int m_planes;
};

// One tile, sampled between its four nearest pixels.
class TileSource final : public FillSource {
public:
    TileSource(std::shared_ptr<Surface const> tile, Transform const& toTile, double opacity, int planes)
        : m_tile(std::move(tile)), m_toTile(toTile), m_opacity(static_cast<float>(opacity)), m_planes(planes) {}
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<TilePainter>(*this); }

private:
    // The sample on the left of a place, wrapped, the next one, and how far between them the place is.
    struct Samples {
        int first = 0, second = 0;
        float fraction = 0;
    };
    static Samples Wrap(double at, int size) {
        at -= 0.5;
        at -= std::floor(at / size) * size;
        if (!(at >= 0 && at < size))
            at = 0;
        int const first = static_cast<int>(at);
        return {first, first + 1 == size ? 0 : first + 1, static_cast<float>(at - first)};
    }

    class TilePainter final : public Painter {
    public:
        explicit TilePainter(TileSource const& source) : m_source(source) {}
        void GetRow(int x, int y, int count, float* const* planes) override {
            Surface const& tile = *m_source.m_tile;
            int const width = tile.GetBounds().GetWidth(), height = tile.GetBounds().GetHeight();
            for (int i = 0; i != count; ++i) {
                PointDbl const p = m_source.m_toTile.Apply({x + i + 0.5, y + 0.5});
                Samples const u = Wrap(p.x, width), v = Wrap(p.y, height);
                for (int plane = 0; plane != m_source.m_planes; ++plane) {
                    float const* const s = tile.At(plane, 0, v.first);
                    float const* const t = tile.At(plane, 0, v.second);
                    float const upper = s[u.first] + (s[u.second] - s[u.first]) * u.fraction;
                    float const lower = t[u.first] + (t[u.second] - t[u.first]) * u.fraction;
                    planes[plane][i] = (upper + (lower - upper) * v.fraction) * m_source.m_opacity;
                }
            }
        }

    private:
        TileSource const& m_source;
    };

    std::shared_ptr<Surface const> m_tile;
    Transform m_toTile;
    float m_opacity;
    int m_planes;
};

double RoundedIfNear(double v) {
    double const whole = std::round(v);
    return std::fabs(v - whole) <= 1e-9 * std::max(1.0, std::fabs(v)) ? whole : v;
}

// The number of samples along one side of a tile that has `pixels` of the picture there. `offset` is where it begins.
int GetSampleCount(double pixels, double offset, bool isUpright) {
    if (pixels < 1)
        return 1;
    // On whole pixels one sample a pixel is exact; elsewhere half a pixel is how finely a repeat can be placed.
    if (isUpright && RoundedIfNear(pixels) == std::round(pixels) && RoundedIfNear(offset) == std::round(offset))
        return static_cast<int>(std::min(std::round(pixels), 1e9));
    return static_cast<int>(std::min(std::ceil(2 * pixels), 1e9));
}

// Means over `factorX` times `factorY` samples.
std::shared_ptr<Surface const> TakeMeans(Canvas& fine, int factorX, int factorY) {
    RectInt const& all = fine.GetBounds();
    for (int y = all.top; y != all.bottom; ++y)
        fine.Open(y, all.left, all.right);
    RectInt const bounds{0, 0, all.GetWidth() / factorX, all.GetHeight() / factorY};
    auto coarse = std::make_shared<Surface>(bounds, fine.GetPlaneCount());
    float const scale = 1.0f / static_cast<float>(factorX * factorY);
    for (int plane = 0; plane != fine.GetPlaneCount(); ++plane)
        for (int y = 0; y != bounds.bottom; ++y)
            for (int x = 0; x != bounds.right; ++x) {
                float sum = 0;
                for (int j = 0; j != factorY; ++j)
                    for (int i = 0; i != factorX; ++i)
                        sum += *fine.At(plane, x * factorX + i, y * factorY + j);
                *coarse->At(plane, x, y) = sum * scale;
            }
    return coarse;
}

class PatternMaker {
public:
    PatternMaker(PatternFill const& fill, PatternPlace const& place, PatternScope const& scope)
        : m_fill(fill),
          m_steps(fill.GetDrawing()->GetSteps()),
          m_size(fill.GetTileSize()),
          m_place(place),
          m_scope(scope),
          m_planes(place.space.GetColourCount() + 1) {
        auto const& m = place.toPixels.GetParams();
        m_isUpright = m.b == 0 && m.c == 0;
        m_width = std::sqrt(m.a * m.a + m.c * m.c) * m_size.width;
        m_height = std::sqrt(m.b * m.b + m.d * m.d) * m_size.height;
    }

    std::shared_ptr<FillSource const> Make() {
        if (m_width * m_height > c_largeTilePixels) {
            if (auto source = DrawRepeats())
                return source;
        }
        return SampleTile();
    }

private:
    // Empty where there would be too many.
    std::shared_ptr<FillSource const> DrawRepeats() {
        auto const& b = m_place.bounds;
        auto const seen = m_place.toPixels.GetInverse().GetParams().Apply(
            RectDbl{static_cast<double>(b.left), static_cast<double>(b.top), static_cast<double>(b.right),
                    static_cast<double>(b.bottom)});
        double const left = std::floor(seen.left / m_size.width), right = std::ceil(seen.right / m_size.width);
        double const top = std::floor(seen.top / m_size.height), bottom = std::ceil(seen.bottom / m_size.height);
        double const steps = (right - left) * (bottom - top) * static_cast<double>(m_steps.size() + 2);
        if (!(steps <= c_maximumSteps) || steps > static_cast<double>(m_scope.store->stepsLeft) ||
            !(std::max({-left, right, -top, bottom}) < 1e9))
            return nullptr;
        m_scope.store->stepsLeft -= static_cast<std::size_t>(steps);
        auto const area = std::make_shared<DrawnArea>(b, m_place.scalar, m_place, m_scope);
        auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(RectDbl{0, 0, m_size.width, m_size.height});
        for (double row = top; row < bottom; ++row) {
            for (double column = left; column < right; ++column) {
                Transform const toPixels = PlaceRepeat(column, row);
                area->recorder.PushClip({outline, toPixels, Geometry::WindingOrderMode::NonZero});
                Replay(area->recorder, m_steps, toPixels, m_place.documentProfiles);
                area->recorder.PopClip();
            }
        }
        return std::make_shared<RepeatsSource>(area, m_place.opacity * m_fill.GetOpacity(), m_planes);
    }

    // Upright repeats begin and end on whole pixels, so that no seam shows between them.
    Transform PlaceRepeat(double column, double row) const {
        if (!m_isUpright)
            return m_place.toPixels * Transform::Translation(column * m_size.width, row * m_size.height);
        auto const& m = m_place.toPixels.GetParams();
        double const left = std::round(m.a * column * m_size.width + m.tx);
        double const right = std::round(m.a * (column + 1) * m_size.width + m.tx);
        double const top = std::round(m.d * row * m_size.height + m.ty);
        double const bottom = std::round(m.d * (row + 1) * m_size.height + m.ty);
        return Transform({(right - left) / m_size.width, 0, left, 0, (bottom - top) / m_size.height, top});
    }

    std::shared_ptr<FillSource const> SampleTile() {
        auto const& m = m_place.toPixels.GetParams();
        int width = GetSampleCount(m_width, m.tx, m_isUpright), height = GetSampleCount(m_height, m.ty, m_isUpright);
        width = std::min(width, c_largestTileSide);
        height = std::min(height, c_largestTileSide);
        auto tile = FindTile(width, height);
        if (!tile)
            tile = FindTile(std::min(width, c_smallestTileSide), std::min(height, c_smallestTileSide));
        if (!tile)
            return MakeFillSource(SolidFill(m_fill.GetRepresentativeColour()), {},
                                  m_place.opacity * m_fill.GetOpacity(), m_place.space, m_place.documentProfiles);
        auto const& bounds = tile->GetBounds();
        Transform const toTile =
            Transform::Scale(bounds.GetWidth() / m_size.width, bounds.GetHeight() / m_size.height) *
            m_place.toPixels.GetInverse();
        return std::make_shared<TileSource>(tile, toTile, m_place.opacity * m_fill.GetOpacity(), m_planes);
    }

    // Null where the store has not enough room left.
    std::shared_ptr<Surface const> FindTile(int width, int height) {
        PatternStore& store = *m_scope.store;
        if (store.profiles != m_place.documentProfiles)
            store.tiles.clear();
        store.profiles = m_place.documentProfiles;
        PatternStore::Key const key{m_fill.GetDrawing().get(), width, height, m_size.width, m_size.height};
        if (auto const found = store.tiles.find(key); found != store.tiles.end())
            return found->second;
        auto const pixels = static_cast<std::size_t>(width * GetFactor(m_width)) *
                            static_cast<std::size_t>(height * GetFactor(m_height));
        if (pixels > store.pixelsLeft || m_steps.size() > store.stepsLeft)
            return nullptr;
        store.pixelsLeft -= pixels;
        store.stepsLeft -= m_steps.size();
        store.fills.emplace_back(&m_fill);
        return store.tiles[key] = DrawTile(width, height);
    }

    // How many samples make one of the tile along a side.
    static int GetFactor(double pixels) { return pixels < 1 ? c_meanSamples : 1; }

    std::shared_ptr<Surface const> DrawTile(int width, int height) const {
        int const factorX = GetFactor(m_width), factorY = GetFactor(m_height);
        RectInt const bounds{0, 0, width * factorX, height * factorY};
        Transform const toSamples =
            Transform::Scale(bounds.GetWidth() / m_size.width, bounds.GetHeight() / m_size.height);
        // Lines that do not scale with their objects have the samples' scale here.
        double const samplesPerPixel = std::sqrt(bounds.GetWidth() / m_width * (bounds.GetHeight() / m_height));
        DrawnArea area(bounds, m_place.scalar * samplesPerPixel, m_place, m_scope);
        Replay(area.recorder, m_steps, toSamples, m_place.documentProfiles);
        Canvas canvas(bounds, m_planes);
        area.Draw(canvas);
        return TakeMeans(canvas, factorX, factorY);
    }

    PatternFill const& m_fill;
    std::vector<DrawingStep> const& m_steps;
    Kernel::SizeT<double> m_size;
    PatternPlace const& m_place;
    PatternScope const& m_scope;
    int m_planes;
    // The sides of a tile in pixels of the picture.
    double m_width = 0, m_height = 0;
    bool m_isUpright = false;
};

} // namespace

std::shared_ptr<FillSource const> MakePatternSource(Kernel::Counted<PatternFill const> const& fill,
                                                    PatternPlace const& place, PatternScope const& scope) {
    double const determinant = std::fabs(place.toPixels.GetDeterminant());
    if (!(place.opacity > 0) || !(fill->GetMaximumAlpha() > 0) || !(determinant > 1e-128) ||
        !place.toPixels.IsFinite() || scope.depth >= c_maximumDepth)
        return nullptr;
    return PatternMaker(*fill, place, scope).Make();
}

} // namespace Renderer::Detail
