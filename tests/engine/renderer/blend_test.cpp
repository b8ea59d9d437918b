// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/blend.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace {

using namespace Renderer;
using namespace Renderer::Detail;

constexpr int c_colours = 3;
using Planes = std::array<std::vector<float>, c_colours + 1>;

// Colours multiplied by alpha; some pixels clear, some opaque.
Planes RandomPixels(std::mt19937& random, std::size_t count) {
    std::uniform_real_distribution<float> unit(0, 1);
    Planes planes;
    for (auto& plane : planes)
        plane.resize(count);
    for (std::size_t i = 0; i != count; ++i) {
        float const kind = unit(random), alpha = kind < 0.2f ? 0 : kind < 0.4f ? 1 : unit(random);
        for (int c = 0; c != c_colours; ++c) {
            float const component = kind > 0.9f ? std::round(unit(random)) : unit(random);
            planes[static_cast<std::size_t>(c)][i] = component * alpha;
        }
        planes[c_colours][i] = alpha;
    }
    return planes;
}

float Unit(float v) { return v > 0 ? (v < 1 ? v : 1.0f) : 0.0f; }

// W3C Compositing and Blending Level 1, 5.1, one pixel after the other.
void CompositeByTheRule(BlendMode mode, Planes& target, Planes const& source, std::vector<float> const& coverage) {
    for (std::size_t i = 0; i != coverage.size(); ++i) {
        float const as = source[c_colours][i] * coverage[i], ab = target[c_colours][i];
        if (!(as > 0))
            continue;
        for (std::size_t c = 0; c != c_colours; ++c) {
            float const s = Unit(source[c][i] / source[c_colours][i]), b = ab > 0 ? Unit(target[c][i] / ab) : 0;
            float& d = target[c][i];
            d = source[c][i] * coverage[i] * (1 - ab) + BlendComponent(mode, b, s) * as * ab + d * (1 - as);
        }
        target[c_colours][i] = as + ab - as * ab;
    }
}

TEST(Blend, RunsOfPixelsAreTheRuleToTheBit) {
    WorkingSpace const space(Raster::FormatRGBA8, {}, BlendSpace::Encoded);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(0, 1);
    for (BlendMode const mode :
         {BlendMode::Multiply, BlendMode::Screen, BlendMode::Overlay, BlendMode::Darken, BlendMode::Lighten,
          BlendMode::ColourDodge, BlendMode::ColourBurn, BlendMode::HardLight, BlendMode::SoftLight,
          BlendMode::Difference, BlendMode::Exclusion, BlendMode::Add, BlendMode::Subtract, BlendMode::LinearBurn,
          BlendMode::VividLight, BlendMode::LinearLight, BlendMode::PinLight, BlendMode::HardMix, BlendMode::Divide}) {
        for (std::size_t const count : {1u, 3u, 4u, 7u, 64u, 1001u}) {
            SCOPED_TRACE(static_cast<int>(mode));
            Planes target = RandomPixels(random, count);
            Planes const source = RandomPixels(random, count);
            std::vector<float> coverage(count);
            for (float& value : coverage)
                value = unit(random) < 0.2f ? 0 : unit(random) < 0.5f ? 1 : unit(random);
            Planes expected = target;
            CompositeByTheRule(mode, expected, source, coverage);
            BlendTarget to{};
            BlendSource from{};
            for (std::size_t c = 0; c <= c_colours; ++c) {
                to.planes[c] = target[c].data();
                from.planes[c] = source[c].data();
            }
            Composite(space, mode, to, from, coverage.data(), count);
            for (std::size_t c = 0; c <= c_colours; ++c)
                EXPECT_EQ(expected[c], target[c]) << count << " pixels, plane " << c;
        }
    }
}

} // namespace
