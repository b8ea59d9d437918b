// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/filter_source.h"

#include "engine/renderer/band_renderer.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <numeric>
#include <utility>

namespace Renderer::Detail {

namespace {

constexpr double c_maximumReach = 512;
constexpr double c_maximumSampledPixels = 1 << 22;
// Of all results together that one part of a filter's result is made of.
constexpr double c_maximumNeededPixels = 1 << 24;
constexpr int c_blockWidth = 1024;
constexpr int c_smallestBlockRows = 64, c_largestBlockRows = 1024;
// Pixels of the blocks that all filters of a picture keep together, about.
constexpr std::size_t c_keptPixels = std::size_t{1} << 24;

RectDbl ToDouble(RectInt const& r) {
    return {static_cast<double>(r.left), static_cast<double>(r.top), static_cast<double>(r.right),
            static_cast<double>(r.bottom)};
}

// Its axes are those of the picture, but for rounding.
bool IsUpright(Transform const& t) {
    constexpr double c_rounding = 1e-9;
    auto const& m = t.GetParams();
    double const along = std::fabs(m.a) + std::fabs(m.d), across = std::fabs(m.b) + std::fabs(m.c);
    return across <= along * c_rounding || along <= across * c_rounding;
}

// The pixels of all results together that a rectangle of the last one is made of, where there is content everywhere.
double CountNeeds(FilterGraph const& graph, RectInt const& wanted) {
    double pixels = 0;
    for (RectInt const& need : graph.FindNeeds(wanted, graph.FindBounds(graph.GetRegion())))
        pixels += static_cast<double>(need.GetWidth()) * need.GetHeight();
    return pixels;
}

// A block at the corner of a rectangle.
RectInt CornerBlock(RectInt const& r, int rows) {
    return {r.left, r.top, std::min(r.right, r.left + c_blockWidth), std::min(r.bottom, r.top + rows)};
}

int FloorDivide(int value, int by) { return value >= 0 ? value / by : -((-value + by - 1) / by); }

} // namespace

// The recorded source graphic and what makes the filter's pixels of it. One for all threads, once it is recorded.
struct FilterRecording::Drawing {
    Drawing(Kernel::Counted<Filter const> const& filter, Transform const& filterToGrid, RectInt const& area,
            double scalar, FilterPlace const& place, PatternScope const& scope)
        : space(place.space),
          evaluator(filter, filterToGrid, place.space, place.documentProfiles),
          recorder(area, scalar, place.space, scope),
          store(scope.store),
          abort(scope.abort) {}

    // Where the source graphic paints.
    RectDbl FindContent() const {
        RectInt painted;
        for (Command const& command : recorder.GetList().commands)
            if (command.kind == CommandKind::Draw)
                painted = painted.United(command.bounds);
        return ToDouble(painted);
    }

    std::shared_ptr<Surface const> Evaluate(RectInt const& rect) const {
        return evaluator.Evaluate(
            rect, content, [this](RectInt const& part) { return Draw(part); }, abort);
    }

    std::shared_ptr<Surface const> Draw(RectInt const& rect) const {
        DisplayList const& list = recorder.GetList();
        std::vector<std::unique_ptr<ItemOutlines const>> const outlines(list.draws.size());
        std::vector<std::uint32_t> commands(list.commands.size());
        std::iota(commands.begin(), commands.end(), 0u);
        int const planes = space.GetColourCount() + 1;
        Canvas canvas(rect, planes);
        BandRenderer(list, space, outlines).Draw(canvas, commands, abort);
        auto pixels = std::make_shared<Surface>(rect, planes);
        for (int y = rect.top; y != rect.bottom; ++y) {
            canvas.ForEachRun(y, [&](int left, int right, float const* pixel) {
                for (int plane = 0; plane != planes; ++plane) {
                    if (pixel == nullptr)
                        std::copy_n(canvas.At(plane, left, y), right - left, pixels->At(plane, left, y));
                    else if (pixel[plane] != 0)
                        std::fill_n(pixels->At(plane, left, y), right - left, pixel[plane]);
                }
            });
        }
        return pixels;
    }

    WorkingSpace const& space;
    FilterEvaluator evaluator;
    Recorder recorder;
    std::shared_ptr<PatternStore> store;
    bool const* abort;
    RectDbl content;
};

namespace {

// Blocks of a filter's result, made when they are asked for and kept while there is room.
template <class D>
class BlockSource final : public FillSource {
public:
    BlockSource(std::shared_ptr<D const> drawing, RectInt const& bounds)
        : m_drawing(std::move(drawing)), m_bounds(bounds) {
        m_drawing->store->filteredColumns += static_cast<std::size_t>(bounds.GetWidth());
    }
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<BlockPainter>(*this); }

private:
    using Place = std::pair<int, int>;
    struct Block {
        enum class State { Empty, Claimed, Made } state = State::Empty;
        // Null: clear.
        std::shared_ptr<Surface const> pixels;
        std::uint64_t lastUse = 0;
    };

    class BlockPainter final : public Painter {
    public:
        explicit BlockPainter(BlockSource const& source) : m_source(source) {}
        void Begin(RectInt const& area) override { m_blocks = m_source.Get(area); }
        void GetRow(int x, int y, int count, float* const* planes) override {
            int const planeCount = m_source.m_drawing->space.GetColourCount() + 1;
            for (int plane = 0; plane != planeCount; ++plane)
                std::fill_n(planes[plane], count, 0.0f);
            for (auto const& block : m_blocks) {
                RectInt const& r = block->GetBounds();
                int const left = std::max(x, r.left), right = std::min(x + count, r.right);
                if (y < r.top || y >= r.bottom || left >= right)
                    continue;
                for (int plane = 0; plane != planeCount; ++plane)
                    std::copy_n(block->At(plane, left, y), right - left, planes[plane] + (left - x));
            }
        }

    private:
        BlockSource const& m_source;
        std::vector<std::shared_ptr<Surface const>> m_blocks;
    };

    // The blocks that an area touches, but for clear ones. A thread makes those that nobody else is making and then
    // waits for the others.
    std::vector<std::shared_ptr<Surface const>> Get(RectInt const& area) const {
        std::vector<std::shared_ptr<Surface const>> found;
        RectInt const wanted = area.Intersected(m_bounds);
        if (wanted.IsEmpty())
            return found;
        std::unique_lock lock(m_mutex);
        if (m_rows == 0) {
            // All recording has been done. Bands ask for all filters of their rows: blocks of so many rows stay until
            // the next band asks.
            std::size_t const columns = std::max<std::size_t>(m_drawing->store->filteredColumns, 1);
            m_rows = static_cast<int>(
                std::clamp<std::size_t>(c_keptPixels / columns, c_smallestBlockRows, c_largestBlockRows));
        }
        std::vector<std::pair<Place, std::shared_ptr<Block>>> blocks;
        for (int row = FloorDivide(wanted.top, m_rows); row <= FloorDivide(wanted.bottom - 1, m_rows); ++row) {
            for (int column = FloorDivide(wanted.left, c_blockWidth);
                 column <= FloorDivide(wanted.right - 1, c_blockWidth); ++column) {
                auto& block = m_blocks[{column, row}];
                if (!block)
                    block = std::make_shared<Block>();
                block->lastUse = ++m_uses;
                blocks.emplace_back(Place{column, row}, block);
            }
        }
        for (auto const& [place, block] : blocks)
            if (block->state == Block::State::Empty)
                Make(*block, place, lock);
        for (auto const& [place, block] : blocks) {
            m_made.wait(lock, [&made = *block] { return made.state != Block::State::Claimed; });
            // Empty again where the thread that made it gave up.
            if (block->state == Block::State::Empty)
                Make(*block, place, lock);
            if (block->pixels)
                found.push_back(block->pixels);
        }
        DropOldest(blocks.size());
        return found;
    }

    void Make(Block& block, Place const& place, std::unique_lock<std::mutex>& lock) const {
        block.state = Block::State::Claimed;
        RectInt const rect = RectInt{place.first * c_blockWidth, place.second * m_rows,
                                     (place.first + 1) * c_blockWidth, (place.second + 1) * m_rows}
                                 .Intersected(m_bounds);
        lock.unlock();
        try {
            auto pixels = m_drawing->Evaluate(rect);
            lock.lock();
            block.pixels = std::move(pixels);
            block.state = Block::State::Made;
        } catch (...) {
            lock.lock();
            block.state = Block::State::Empty;
            m_made.notify_all();
            throw;
        }
        m_made.notify_all();
    }

    // Keeps twice what one band asks for.
    void DropOldest(std::size_t wanted) const {
        while (m_blocks.size() > 2 * std::max<std::size_t>(wanted, 4))
            m_blocks.erase(std::min_element(m_blocks.begin(), m_blocks.end(), [](auto const& a, auto const& b) {
                return a.second->lastUse < b.second->lastUse;
            }));
    }

    std::shared_ptr<D const> m_drawing;
    RectInt m_bounds;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_made;
    mutable std::map<Place, std::shared_ptr<Block>> m_blocks;
    mutable std::uint64_t m_uses = 0;
    mutable int m_rows = 0;
};

// One surface along the filter's own axes, made when it is first asked for and sampled.
template <class D>
class SampledSource final : public FillSource {
public:
    SampledSource(std::shared_ptr<D const> drawing, RectInt const& grid, Transform const& toGrid)
        : m_drawing(std::move(drawing)), m_grid(grid), m_toGrid(toGrid) {}
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<SamplePainter>(*this); }

private:
    class SamplePainter final : public Painter {
    public:
        explicit SamplePainter(SampledSource const& source) : m_source(source) {}
        void Begin(RectInt const&) override { m_pixels = m_source.Get(); }
        void GetRow(int x, int y, int count, float* const* planes) override {
            int const planeCount = m_source.m_drawing->space.GetColourCount() + 1;
            for (int plane = 0; plane != planeCount; ++plane)
                std::fill_n(planes[plane], count, 0.0f);
            if (!m_pixels)
                return;
            RectInt const& r = m_pixels->GetBounds();
            for (int i = 0; i != count; ++i) {
                PointDbl p = m_source.m_toGrid.Apply({x + i + 0.5, y + 0.5});
                p.x -= 0.5;
                p.y -= 0.5;
                if (!(p.x > r.left - 1 && p.x < r.right && p.y > r.top - 1 && p.y < r.bottom))
                    continue;
                int const u = static_cast<int>(std::floor(p.x)), v = static_cast<int>(std::floor(p.y));
                float const fx = static_cast<float>(p.x - u), fy = static_cast<float>(p.y - v);
                for (int corner = 0; corner != 4; ++corner) {
                    int const cx = u + corner % 2, cy = v + corner / 2;
                    if (cx < r.left || cx >= r.right || cy < r.top || cy >= r.bottom)
                        continue;
                    float const weight = (corner % 2 == 0 ? 1 - fx : fx) * (corner / 2 == 0 ? 1 - fy : fy);
                    for (int plane = 0; plane != planeCount; ++plane)
                        planes[plane][i] += *m_pixels->At(plane, cx, cy) * weight;
                }
            }
        }

    private:
        SampledSource const& m_source;
        std::shared_ptr<Surface const> m_pixels;
    };

    std::shared_ptr<Surface const> Get() const {
        std::lock_guard const lock(m_mutex);
        if (!m_isMade)
            m_pixels = m_drawing->Evaluate(m_grid);
        m_isMade = true;
        return m_pixels;
    }

    std::shared_ptr<D const> m_drawing;
    RectInt m_grid;
    Transform m_toGrid;
    mutable std::mutex m_mutex;
    mutable bool m_isMade = false;
    mutable std::shared_ptr<Surface const> m_pixels;
};

} // namespace

FilterRecording::FilterRecording(Kernel::Counted<Filter const> const& filter, FilterPlace const& place,
                                 PatternScope const& scope)
    : m_picture(place.picture), m_toPixels(place.toPixels) {
    bool const canShow = place.toPixels.IsFinite() && std::fabs(place.toPixels.GetDeterminant()) > 1e-128;
    RectInt area;
    double scalar = place.scalar;
    if (canShow) {
        ChooseGrid(*filter, place);
        // As if there were content everywhere.
        FilterGraph const graph(*filter, m_filterToGrid);
        auto const bounds = graph.FindBounds(graph.GetRegion());
        auto const needs = graph.FindNeeds(TouchedPixels(m_toGrid.GetParams().Apply(ToDouble(m_picture))), bounds);
        area = needs.back();
        scalar *= m_toGrid.GetUniformScale();
    }
    m_drawing = std::make_shared<Drawing>(filter, m_filterToGrid, area, scalar, place, scope);
}

FilterRecording::~FilterRecording() = default;

void FilterRecording::ChooseGrid(Filter const& filter, FilterPlace const& place) {
    m_filterToGrid = place.toPixels;
    m_isSampled = !IsUpright(place.toPixels);
    if (!m_isSampled) {
        FilterGraph const graph(filter, place.toPixels);
        RectInt const seen = TouchedPixels(graph.GetRegion()).Intersected(m_picture);
        m_isSampled = graph.GetReach() > c_maximumReach ||
                      CountNeeds(graph, CornerBlock(seen, c_smallestBlockRows)) > c_maximumNeededPixels;
    }
    if (!m_isSampled)
        return;
    auto const& m = place.toPixels.GetParams();
    double scaleX = std::hypot(m.a, m.c), scaleY = std::hypot(m.b, m.d);
    RectDbl const seen = place.toPixels.GetInverse().GetParams().Apply(ToDouble(m_picture));
    // A grid as fine as the picture, or as coarse as the limits ask.
    for (int i = 0; i != 256; ++i) {
        m_filterToGrid = Transform::Scale(scaleX, scaleY);
        FilterGraph const graph(filter, m_filterToGrid);
        auto const needs =
            graph.FindNeeds(TouchedPixels(m_filterToGrid.GetParams().Apply(seen)), graph.FindBounds(graph.GetRegion()));
        double pixels = 0;
        for (RectInt const& need : needs)
            pixels = std::max(pixels, static_cast<double>(need.GetWidth()) * need.GetHeight());
        double const all = std::accumulate(needs.begin(), needs.end(), 0.0, [](double sum, RectInt const& need) {
            return sum + static_cast<double>(need.GetWidth()) * need.GetHeight();
        });
        if (pixels <= c_maximumSampledPixels && all <= c_maximumNeededPixels && graph.GetReach() <= c_maximumReach)
            break;
        scaleX *= 0.75;
        scaleY *= 0.75;
    }
    m_toGrid = m_filterToGrid * place.toPixels.GetInverse();
}

Recorder& FilterRecording::GetRecorder() { return m_drawing->recorder; }

Recorder::Outline FilterRecording::Place(Recorder::Outline const& outline) const {
    return {outline.curves, m_isSampled ? m_toGrid * outline.toPixels : outline.toPixels, outline.winding};
}

void FilterRecording::PushInner(Kernel::Counted<Filter const> const& filter, Transform const& toPixels,
                                Raster::ICCProfileSet const& profiles) {
    ++m_openInside;
    m_drawing->recorder.PushFilter(filter, m_isSampled ? m_toGrid * toPixels : toPixels, profiles);
}

bool FilterRecording::PopInner() {
    if (m_openInside == 0)
        return false;
    --m_openInside;
    m_drawing->recorder.PopFilter();
    return true;
}

FilterRecording::Painted FilterRecording::Finish() {
    m_drawing->content = m_drawing->FindContent();
    RectDbl const bounds = m_drawing->evaluator.GetBounds(m_drawing->content);
    std::shared_ptr<Drawing const> drawing = m_drawing;
    if (!m_isSampled) {
        RectInt const pixels = TouchedPixels(bounds).Intersected(m_picture);
        if (pixels.IsEmpty())
            return {};
        return {std::make_shared<BlockSource<Drawing>>(drawing, pixels), pixels};
    }
    RectInt const seen = TouchedPixels(m_toGrid.GetParams().Apply(ToDouble(m_picture)));
    RectInt const grid =
        TouchedPixels(bounds).Intersected({seen.left - 1, seen.top - 1, seen.right + 1, seen.bottom + 1});
    if (grid.IsEmpty())
        return {};
    RectDbl const touched{grid.left - 1.0, grid.top - 1.0, grid.right + 1.0, grid.bottom + 1.0};
    RectInt const pixels = TouchedPixels(m_toGrid.GetInverse().GetParams().Apply(touched)).Intersected(m_picture);
    if (pixels.IsEmpty())
        return {};
    return {std::make_shared<SampledSource<Drawing>>(drawing, grid, m_toGrid), pixels};
}

} // namespace Renderer::Detail
