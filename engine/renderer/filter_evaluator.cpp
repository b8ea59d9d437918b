// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/filter_evaluator.h"

#include "engine/raster/exact_math.h"
#include "engine/renderer/blend.h"
#include "engine/renderer/gaussian_blur.h"
#include "engine/renderer/wide_loop.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>
#include <utility>

namespace Renderer::Detail {

namespace {

using SurfacePointer = std::shared_ptr<Surface const>;

bool MustStop(bool const* flag) {
    return flag != nullptr && std::atomic_ref<bool>(*const_cast<bool*>(flag)).load(std::memory_order_relaxed);
}

float Unit(float v) { return v > 0 ? std::min(v, 1.0f) : 0.0f; }

// Colours multiplied by alpha, through the curve of sRGB in one direction or the other.
REDRAFT_WIDE_LOOP void DecodeRow(float* values, float const* alpha, int count) {
    for (int i = 0; i != count; ++i) {
        float const a = alpha[i];
        float const v = a > 0 ? values[i] / a : 0.0f;
        values[i] = static_cast<float>(Raster::DecodeSrgb(v)) * a;
    }
}
REDRAFT_WIDE_LOOP void EncodeRow(float* values, float const* alpha, int count) {
    for (int i = 0; i != count; ++i) {
        float const a = alpha[i];
        float const v = a > 0 ? values[i] / a : 0.0f;
        values[i] = static_cast<float>(Raster::EncodeSrgb(v)) * a;
    }
}

// sum = x * fx + y * fy, each a row of factors that a rule of Porter and Duff gives.
REDRAFT_WIDE_LOOP void CombineRow(CompositeOperator op, float const* x, float const* ax, float const* y,
                                  float const* ay, float* out, int count) {
    switch (op) {
    case CompositeOperator::In:
        for (int i = 0; i != count; ++i)
            out[i] = x[i] * ay[i];
        break;
    case CompositeOperator::Out:
        for (int i = 0; i != count; ++i)
            out[i] = x[i] * (1 - ay[i]);
        break;
    case CompositeOperator::Atop:
        for (int i = 0; i != count; ++i)
            out[i] = x[i] * ay[i] + y[i] * (1 - ax[i]);
        break;
    case CompositeOperator::Xor:
        for (int i = 0; i != count; ++i)
            out[i] = x[i] * (1 - ay[i]) + y[i] * (1 - ax[i]);
        break;
    case CompositeOperator::Lighter:
        for (int i = 0; i != count; ++i)
            out[i] = std::min(x[i] + y[i], 1.0f);
        break;
    default:
        for (int i = 0; i != count; ++i)
            out[i] = x[i] + y[i] * (1 - ax[i]);
        break;
    }
}

// One component of a transfer, for values from 0 to 1.
double Transfer(TransferFunction const& f, double v) {
    std::size_t const n = f.values.size();
    switch (f.kind) {
    case TransferKind::Table: {
        if (n == 0)
            return v;
        if (n == 1)
            return f.values[0];
        double const at = v * static_cast<double>(n - 1);
        std::size_t const k = std::min(static_cast<std::size_t>(at), n - 2);
        return f.values[k] + (at - static_cast<double>(k)) * (f.values[k + 1] - f.values[k]);
    }
    case TransferKind::Discrete:
        return n == 0 ? v : f.values[std::min(static_cast<std::size_t>(v * static_cast<double>(n)), n - 1)];
    case TransferKind::Linear:
        return n == 2 ? f.values[0] * v + f.values[1] : v;
    case TransferKind::Gamma:
        return n == 3 ? f.values[0] * std::pow(v, f.values[1]) + f.values[2] : v;
    case TransferKind::Identity:
        break;
    }
    return v;
}

// Red, green and blue, encoded as sRGB, of the colours of a working space that are not multiplied by alpha, and back.
class RGBConverter {
public:
    explicit RGBConverter(Raster::ColourModel model) : m_model(model) {}

    std::array<float, 3> ToRGB(float const* colour) {
        using Raster::ColourModel;
        switch (m_model) {
        case ColourModel::RGB:
            return {colour[0], colour[1], colour[2]};
        case ColourModel::Grey:
            return {colour[0], colour[0], colour[0]};
        case ColourModel::CMYK: {
            auto const c = Colour::FromCMYK(1 - colour[0], 1 - colour[1], 1 - colour[2], 1 - colour[3])
                               .Converted(ColourFormat::RGB);
            return {c.GetComponents()[0], c.GetComponents()[1], c.GetComponents()[2]};
        }
        case ColourModel::Lab: {
            auto const c =
                Colour(ColourFormat::Lab, {colour[0], colour[1], colour[2], 0}, 1).Converted(ColourFormat::RGB);
            return {c.GetComponents()[0], c.GetComponents()[1], c.GetComponents()[2]};
        }
        case ColourModel::AlphaOnly:
            break;
        }
        return {};
    }

    void FromRGB(std::array<float, 3> const& rgb, float* colour) {
        using Raster::ColourModel;
        switch (m_model) {
        case ColourModel::RGB:
            std::copy(rgb.begin(), rgb.end(), colour);
            break;
        case ColourModel::Grey:
            colour[0] = Colour::FromRGB(rgb[0], rgb[1], rgb[2]).Converted(ColourFormat::Grey).GetComponents()[0];
            break;
        case ColourModel::CMYK: {
            auto const c = Colour::FromRGB(rgb[0], rgb[1], rgb[2]).Converted(ColourFormat::CMYK).GetComponents();
            for (int i = 0; i != 4; ++i)
                colour[i] = 1 - c[static_cast<std::size_t>(i)];
            break;
        }
        case ColourModel::Lab: {
            auto const c = Colour::FromRGB(rgb[0], rgb[1], rgb[2]).Converted(ColourFormat::Lab).GetComponents();
            std::copy_n(c.begin(), 3, colour);
            break;
        }
        case ColourModel::AlphaOnly:
            break;
        }
    }

private:
    Raster::ColourModel m_model;
};

} // namespace

// One evaluation.
class FilterEvaluator::Run {
public:
    Run(FilterEvaluator const& owner, RectDbl const& content, DrawSource const& draw, bool const* abort)
        : m_owner(owner),
          m_space(owner.m_space),
          m_steps(owner.m_graph.GetSteps()),
          m_content(content),
          m_draw(draw),
          m_abort(abort),
          m_colours(owner.m_space.GetColourCount()) {}

    SurfacePointer GetPixels(RectInt const& rect) {
        auto const bounds = m_owner.m_graph.FindBounds(m_content);
        m_needs = m_owner.m_graph.FindNeeds(rect, bounds);
        if (m_steps.empty() || m_needs[m_steps.size() - 1].IsEmpty())
            return nullptr;
        m_results.resize(m_steps.size() + 1);
        std::vector<std::size_t> lastUse(m_steps.size() + 1, 0);
        for (std::size_t i = 0; i != m_steps.size(); ++i)
            for (int const input : m_steps[i].inputs)
                lastUse[input < 0 ? m_steps.size() : static_cast<std::size_t>(input)] = i;
        DrawSourceGraphic();
        for (std::size_t i = 0; i != m_steps.size(); ++i) {
            if (m_needs[i].IsEmpty())
                continue;
            if (MustStop(m_abort))
                throw Kernel::AbortException();
            m_results[i] = Make(m_steps[i], m_needs[i]);
            for (std::size_t old = 0; old <= m_steps.size(); ++old)
                if (lastUse[old] == i && old != m_steps.size() - 1)
                    m_results[old].pixels = nullptr;
        }
        FilterImage const& last = m_results[m_steps.size() - 1];
        return Converted(last, IsNativelyLinear()).pixels;
    }

private:
    bool HasLight() const {
        auto const model = m_space.GetModel();
        return model == Raster::ColourModel::RGB || model == Raster::ColourModel::Grey;
    }
    bool IsNativelyLinear() const { return m_space.IsLinear(); }

    void DrawSourceGraphic() {
        RectInt const need = m_needs.back();
        FilterImage& source = m_results.back();
        source.isLinear = IsNativelyLinear();
        if (need.IsEmpty())
            return;
        source.pixels = m_draw(need);
        RectInt const region = TouchedPixels(m_owner.m_graph.GetRegion());
        if (source.pixels && region.Intersected(need) != need)
            source.pixels = Cut(*source.pixels, region.Intersected(need));
    }

    std::shared_ptr<Surface> MakeSurface(RectInt const& rect) const {
        return std::make_shared<Surface>(rect, m_colours + 1);
    }

    // The part of a surface in a rectangle.
    SurfacePointer Cut(Surface const& in, RectInt const& rect) const {
        RectInt const common = in.GetBounds().Intersected(rect);
        if (common.IsEmpty())
            return nullptr;
        auto out = MakeSurface(common);
        Copy(in, *out, 0, 0);
        return out;
    }

    // Copies what lies inside `out` when it is moved.
    static void Copy(Surface const& in, Surface& out, int dx, int dy) {
        RectInt const &from = in.GetBounds(), &to = out.GetBounds();
        RectInt const common =
            RectInt{from.left + dx, from.top + dy, from.right + dx, from.bottom + dy}.Intersected(to);
        for (int plane = 0; plane != in.GetPlaneCount() && !common.IsEmpty(); ++plane)
            for (int y = common.top; y != common.bottom; ++y)
                std::copy_n(in.At(plane, common.left - dx, y - dy), common.GetWidth(), out.At(plane, common.left, y));
    }

    // Over the whole rectangle.
    SurfacePointer Over(FilterImage const& image, RectInt const& rect) const {
        if (image.pixels && image.pixels->GetBounds() == rect)
            return image.pixels;
        auto out = MakeSurface(rect);
        if (image.pixels)
            Copy(*image.pixels, *out, 0, 0);
        return out;
    }

    FilterImage Converted(FilterImage const& image, bool wantsLinear) const {
        FilterImage result = image;
        result.isLinear = wantsLinear;
        if (image.isLinear == wantsLinear || !image.pixels || image.isAlphaOnly || !HasLight())
            return result;
        auto const out = std::make_shared<Surface>(image.pixels->GetBounds(), m_colours + 1);
        Copy(*image.pixels, *out, 0, 0);
        RectInt const& r = out->GetBounds();
        for (int c = 0; c != m_colours; ++c)
            for (int y = r.top; y != r.bottom; ++y)
                (wantsLinear ? DecodeRow : EncodeRow)(out->At(c, r.left, y), out->At(m_colours, r.left, y),
                                                      r.GetWidth());
        result.pixels = out;
        return result;
    }

    // An input in the colours that a step mixes.
    FilterImage Get(FilterStep const& step, std::size_t number) {
        int const input = step.inputs[number];
        bool const wantsLinear = step.primitive->isLinear;
        if (input == c_sourceAlpha)
            return {AlphaOf(m_results.back()), wantsLinear, true};
        std::size_t const at = input < 0 ? m_steps.size() : static_cast<std::size_t>(input);
        FilterImage& kept = m_results[at];
        if (kept.isLinear != wantsLinear)
            kept = Converted(kept, wantsLinear);
        return kept;
    }
    SurfacePointer AlphaOf(FilterImage const& image) const {
        if (!image.pixels || image.isAlphaOnly)
            return image.pixels;
        auto const out = std::make_shared<Surface>(image.pixels->GetBounds(), m_colours + 1);
        RectInt const& r = out->GetBounds();
        for (int y = r.top; y != r.bottom; ++y)
            std::copy_n(image.pixels->At(m_colours, r.left, y), r.GetWidth(), out->At(m_colours, r.left, y));
        return out;
    }

    FilterImage Make(FilterStep const& step, RectInt const& rect) {
        FilterImage result = MakeWhole(step, rect);
        // Nothing lies outside of the subregion's pixels.
        RectInt const inside = TouchedPixels(step.subregion).Intersected(rect);
        if (result.pixels && result.pixels->GetBounds().Intersected(inside) != result.pixels->GetBounds())
            result.pixels = Cut(*result.pixels, inside);
        return result;
    }

    FilterImage MakeWhole(FilterStep const& step, RectInt const& rect) {
        switch (step.primitive->kind) {
        case FilterPrimitiveKind::GaussianBlur:
            return Blur(Get(step, 0), step, rect);
        case FilterPrimitiveKind::Offset:
            return Move(Get(step, 0), step, rect);
        case FilterPrimitiveKind::Flood:
            return Flood(step, rect);
        case FilterPrimitiveKind::Blend:
            return Blend(Get(step, 0), Get(step, 1), step, rect);
        case FilterPrimitiveKind::Merge:
            return Merge(step, rect);
        case FilterPrimitiveKind::ColourMatrix:
            return MapColours(Get(step, 0), step, rect);
        case FilterPrimitiveKind::Composite:
            return Compose(Get(step, 0), Get(step, 1), step, rect);
        case FilterPrimitiveKind::DropShadow:
            return DropShadow(step, rect);
        case FilterPrimitiveKind::ComponentTransfer:
            return MapColours(Get(step, 0), step, rect);
        }
        return {};
    }

    FilterImage Blur(FilterImage const& in, FilterStep const& step, RectInt const& rect) const {
        FilterImage result = in;
        if (!in.pixels || (step.deviationX == 0 && step.deviationY == 0))
            return result;
        auto const out = MakeSurface(rect);
        for (int plane = in.isAlphaOnly ? m_colours : 0; plane <= m_colours; ++plane)
            BlurPlane(*in.pixels, plane, step.deviationX, step.deviationY, *out);
        result.pixels = out;
        return result;
    }

    // By parts of a pixel, between the four nearest.
    FilterImage Move(FilterImage const& in, FilterStep const& step, RectInt const& rect) const {
        FilterImage result = in;
        if (!in.pixels)
            return result;
        double const limit = 1e8, x = std::clamp(step.offsetX, -limit, limit),
                     y = std::clamp(step.offsetY, -limit, limit);
        auto const whole = [](double v) {
            double const nearest = std::round(v);
            return std::fabs(v - nearest) < 1e-6 ? nearest : std::floor(v);
        };
        int const dx = static_cast<int>(whole(x)), dy = static_cast<int>(whole(y));
        float const fx = std::max(0.0f, static_cast<float>(x - dx)), fy = std::max(0.0f, static_cast<float>(y - dy));
        auto const out = MakeSurface(rect);
        result.pixels = out;
        if (fx < 1e-6f && fy < 1e-6f) {
            Copy(*in.pixels, *out, dx, dy);
            return result;
        }
        // One pixel more to the left and above.
        Surface moved({rect.left - 1, rect.top - 1, rect.right, rect.bottom}, m_colours + 1);
        Copy(*in.pixels, moved, dx, dy);
        for (int plane = 0; plane <= m_colours; ++plane)
            for (int row = rect.top; row != rect.bottom; ++row) {
                float const* const above = moved.At(plane, rect.left, row - 1);
                float const* const here = moved.At(plane, rect.left, row);
                float* const to = out->At(plane, rect.left, row);
                for (int i = 0; i != rect.GetWidth(); ++i) {
                    float const upper = above[i] + (above[i - 1] - above[i]) * fx;
                    float const lower = here[i] + (here[i - 1] - here[i]) * fx;
                    to[i] = lower + (upper - lower) * fy;
                }
            }
        return result;
    }

    // The colour of a step, multiplied by its alpha, in the colours that the step mixes.
    std::array<float, c_maximumColours + 1> GetColour(FilterStep const& step) const {
        Colour const& colour = step.primitive->colour;
        auto const planes = m_space.ToWorking(colour, m_owner.m_profiles);
        std::array<float, c_maximumColours + 1> pixel{};
        float const alpha = colour.GetAlpha();
        for (int c = 0; c != m_colours; ++c) {
            float v = planes[static_cast<std::size_t>(c)];
            if (HasLight() && step.primitive->isLinear != IsNativelyLinear())
                v = static_cast<float>(step.primitive->isLinear ? Raster::DecodeSrgb(v) : Raster::EncodeSrgb(v));
            pixel[static_cast<std::size_t>(c)] = v * alpha;
        }
        pixel[static_cast<std::size_t>(m_colours)] = alpha;
        return pixel;
    }

    FilterImage Flood(FilterStep const& step, RectInt const& rect) const {
        auto const pixel = GetColour(step);
        auto const out = std::make_shared<Surface>(rect, m_colours + 1, Surface::Uninitialised());
        for (int plane = 0; plane <= m_colours; ++plane)
            for (int y = rect.top; y != rect.bottom; ++y)
                std::fill_n(out->At(plane, rect.left, y), rect.GetWidth(), pixel[static_cast<std::size_t>(plane)]);
        return {out, step.primitive->isLinear, false};
    }

    // Lays an image over one that covers the rectangle.
    void LayOver(Surface& below, FilterImage const& above, BlendMode mode) const {
        if (!above.pixels)
            return;
        RectInt const common = below.GetBounds().Intersected(above.pixels->GetBounds());
        if (common.IsEmpty())
            return;
        std::vector<float> const all(static_cast<std::size_t>(common.GetWidth()), 1.0f);
        for (int y = common.top; y != common.bottom; ++y) {
            BlendTarget target{};
            BlendSource source{};
            for (int plane = 0; plane <= m_colours; ++plane) {
                target.planes[plane] = below.At(plane, common.left, y);
                source.planes[plane] = above.pixels->At(plane, common.left, y);
            }
            Composite(m_space, mode, target, source, all.data(), all.size());
        }
    }

    FilterImage Blend(FilterImage const& above, FilterImage const& below, FilterStep const& step,
                      RectInt const& rect) const {
        auto const out = MakeSurface(rect);
        if (below.pixels)
            Copy(*below.pixels, *out, 0, 0);
        LayOver(*out, above, step.primitive->blendMode);
        return {out, step.primitive->isLinear, above.isAlphaOnly && below.isAlphaOnly};
    }

    FilterImage Merge(FilterStep const& step, RectInt const& rect) {
        auto const out = MakeSurface(rect);
        bool isAlphaOnly = true;
        for (std::size_t i = 0; i != step.inputs.size(); ++i) {
            FilterImage const in = Get(step, i);
            isAlphaOnly = isAlphaOnly && in.isAlphaOnly;
            LayOver(*out, in, BlendMode::Normal);
        }
        return {out, step.primitive->isLinear, isAlphaOnly};
    }

    FilterImage Compose(FilterImage const& first, FilterImage const& second, FilterStep const& step,
                        RectInt const& rect) const {
        auto const a = Over(first, rect), b = Over(second, rect);
        auto const out = std::make_shared<Surface>(rect, m_colours + 1, Surface::Uninitialised());
        FilterPrimitive const& p = *step.primitive;
        int const width = rect.GetWidth();
        for (int y = rect.top; y != rect.bottom; ++y) {
            if (p.compositeOperator == CompositeOperator::Arithmetic) {
                ComposeByFactors(*a, *b, p, *out, y);
                continue;
            }
            for (int plane = 0; plane <= m_colours; ++plane)
                CombineRow(p.compositeOperator, a->At(plane, rect.left, y), a->At(m_colours, rect.left, y),
                           b->At(plane, rect.left, y), b->At(m_colours, rect.left, y), out->At(plane, rect.left, y),
                           width);
        }
        bool const isAlphaOnly =
            first.isAlphaOnly && second.isAlphaOnly && p.compositeOperator != CompositeOperator::Arithmetic;
        return {out, p.isLinear, isAlphaOnly};
    }

    // k1 i1 i2 + k2 i1 + k3 i2 + k4 of colours multiplied by alpha, which none of them may exceed afterwards.
    void ComposeByFactors(Surface const& a, Surface const& b, FilterPrimitive const& p, Surface& out, int y) const {
        std::array<float, 4> k{};
        for (std::size_t i = 0; i != std::min<std::size_t>(p.numbers.size(), 4); ++i)
            k[i] = static_cast<float>(p.numbers[i]);
        RectInt const& r = out.GetBounds();
        for (int plane = m_colours; plane >= 0; --plane) {
            float const *const x = a.At(plane, r.left, y), *const z = b.At(plane, r.left, y);
            float* const to = out.At(plane, r.left, y);
            float const* const alpha = out.At(m_colours, r.left, y);
            for (int i = 0; i != r.GetWidth(); ++i) {
                float const v = Unit(k[0] * x[i] * z[i] + k[1] * x[i] + k[2] * z[i] + k[3]);
                to[i] = plane == m_colours ? v : std::min(v, alpha[i]);
            }
        }
    }

    // A colour matrix or a transfer: a function of one pixel, not multiplied by alpha.
    FilterImage MapColours(FilterImage const& in, FilterStep const& step, RectInt const& rect) const {
        FilterPrimitive const& p = *step.primitive;
        bool const isMatrix = p.kind == FilterPrimitiveKind::ColourMatrix;
        if (isMatrix ? p.numbers.size() != 20 : p.transfers.size() != 4)
            return in;
        auto const out = MakeSurface(rect);
        if (in.pixels)
            Copy(*in.pixels, *out, 0, 0);
        // Colours that have no light of their own are given it for the map alone.
        bool const decodes = p.isLinear && !HasLight();
        RGBConverter converter(m_space.GetModel());
        std::array<float, c_maximumColours + 1> before{}, after{};
        bool isKnown = false;
        for (int y = rect.top; y != rect.bottom; ++y) {
            for (int x = rect.left; x != rect.right; ++x) {
                std::array<float, c_maximumColours + 1> pixel{};
                for (int plane = 0; plane <= m_colours; ++plane)
                    pixel[static_cast<std::size_t>(plane)] = *out->At(plane, x, y);
                // Neighbours are often alike.
                if (!isKnown || pixel != before) {
                    before = pixel;
                    after = MapPixel(pixel, p, decodes, converter);
                    isKnown = true;
                }
                for (int plane = 0; plane <= m_colours; ++plane)
                    *out->At(plane, x, y) = after[static_cast<std::size_t>(plane)];
            }
        }
        return {out, p.isLinear, false};
    }

    std::array<float, c_maximumColours + 1> MapPixel(std::array<float, c_maximumColours + 1> const& pixel,
                                                     FilterPrimitive const& p, bool decodes,
                                                     RGBConverter& converter) const {
        auto const alphaAt = static_cast<std::size_t>(m_colours);
        float const alpha = pixel[alphaAt];
        float colour[c_maximumColours]{};
        for (std::size_t c = 0; c != alphaAt; ++c)
            colour[c] = alpha > 0 ? pixel[c] / alpha : 0;
        auto rgb = converter.ToRGB(colour);
        // A clear pixel is black, in every model.
        if (!(alpha > 0))
            rgb = {};
        if (decodes)
            for (float& v : rgb)
                v = static_cast<float>(Raster::DecodeSrgb(v));
        double const from[5] = {static_cast<double>(rgb[0]), static_cast<double>(rgb[1]), static_cast<double>(rgb[2]),
                                static_cast<double>(alpha), 1};
        float to[4];
        for (std::size_t i = 0; i != 4; ++i) {
            double v = 0;
            if (p.kind == FilterPrimitiveKind::ColourMatrix) {
                for (std::size_t j = 0; j != 5; ++j)
                    v += p.numbers[5 * i + j] * from[j];
            } else {
                v = Transfer(p.transfers[i], std::clamp(from[i], 0.0, 1.0));
            }
            to[i] = Unit(static_cast<float>(v));
        }
        rgb = {to[0], to[1], to[2]};
        if (decodes)
            for (float& v : rgb)
                v = static_cast<float>(Raster::EncodeSrgb(v));
        converter.FromRGB(rgb, colour);
        std::array<float, c_maximumColours + 1> result{};
        for (std::size_t c = 0; c != alphaAt; ++c)
            result[c] = colour[c] * to[3];
        result[alphaAt] = to[3];
        return result;
    }

    FilterImage DropShadow(FilterStep const& step, RectInt const& rect) {
        FilterImage const in = Get(step, 0);
        FilterImage const shape{AlphaOf(in), step.primitive->isLinear, true};
        // The blurred shape before it is moved.
        int const x = static_cast<int>(std::floor(std::clamp(step.offsetX, -1e8, 1e8)));
        int const y = static_cast<int>(std::floor(std::clamp(step.offsetY, -1e8, 1e8)));
        RectInt const unmoved{rect.left - x - 1, rect.top - y - 1, rect.right - x, rect.bottom - y};
        FilterImage const moved = Move(Blur(shape, step, unmoved), step, rect);
        auto const pixel = GetColour(step);
        auto const out = MakeSurface(rect);
        if (auto const alpha = moved.pixels ? Over(moved, rect) : nullptr) {
            for (int plane = 0; plane <= m_colours; ++plane) {
                for (int row = rect.top; row != rect.bottom; ++row) {
                    float const* const a = alpha->At(m_colours, rect.left, row);
                    float* const to = out->At(plane, rect.left, row);
                    for (int i = 0; i != rect.GetWidth(); ++i)
                        to[i] = a[i] * pixel[static_cast<std::size_t>(plane)];
                }
            }
        }
        LayOver(*out, in, BlendMode::Normal);
        return {out, step.primitive->isLinear, false};
    }

    FilterEvaluator const& m_owner;
    WorkingSpace const& m_space;
    std::vector<FilterStep> const& m_steps;
    RectDbl m_content;
    DrawSource const& m_draw;
    bool const* m_abort;
    int m_colours;
    // Of the steps, and behind them of the source graphic.
    std::vector<RectInt> m_needs;
    std::vector<FilterImage> m_results;
};

FilterEvaluator::FilterEvaluator(Kernel::Counted<Filter const> filter, Transform const& toGrid,
                                 WorkingSpace const& space, Raster::ICCProfileSet const& documentProfiles)
    : m_filter(std::move(filter)), m_graph(*m_filter, toGrid), m_space(space), m_profiles(documentProfiles) {}

RectDbl FilterEvaluator::GetBounds(RectDbl const& content) const {
    std::size_t const count = m_graph.GetSteps().size();
    return count == 0 ? RectDbl{} : m_graph.FindBounds(content)[count - 1];
}

SurfacePointer FilterEvaluator::Evaluate(RectInt const& rect, RectDbl const& content, DrawSource const& draw,
                                         bool const* abort) const {
    return Run(*this, content, draw, abort).GetPixels(rect);
}

} // namespace Renderer::Detail
