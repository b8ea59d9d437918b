// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/pipeline/hardware_stages.h"
#include "raster/pipeline/shaders.h"

namespace Commands {

// An effect as the pipeline sees it; it is copied, and a copy may outlive the command:
//   GetHardwareStages()               its share in kernels, which the effect or the process owns
//   GetLeastScale()                   the least scale of its own transform, 1 without one
//   WithShader<SourceTraits, Traits>(source, level, use)
//                                     makes what a run needs, tables and the shader, calls use(shader), and lets it go.
//                                     With level > 0 the source is that mipmap level.
// or, in place of WithShader, for an effect that finds its way for any pair of formats when it runs:
//   RunFrom(source, level, destination, run)
//                                     writes the run's rectangle of the destination
// or, for an effect that cannot be split into tiles, and that no device can do:
//   RunWhole(destination, run, options)
//                                     works on the destination, which is the source as well.

// The share in kernels of an effect that changes each pixel by itself: the rule's text.
template <class Rule>
class PointStages final : public HardwareStages {
public:
    char const* GetProcess(int language) const override { return Rule::GetHardwareFragment(language); }
};

// A rule for each pixel: Rule::ForFormat<Traits> is what shaders.h calls a rule, and
// Rule::GetHardwareFragment(language) the same for kernels. Source and destination are of one
// format.
template <class Rule>
struct PointEffect {
    HardwareStages const& GetHardwareStages() const {
        static PointStages<Rule> const s_stages;
        return s_stages;
    }
    double GetLeastScale() const { return 1; }
    template <class SourceTraits, class Traits, class F>
    void WithShader(Raster::BitmapBase const& source, int level, F const& use) const {
        static_assert(std::is_same_v<SourceTraits, Traits>);
        using ForFormat = typename Rule::template ForFormat<Traits>;
        ForFormat const rule;
        if (level == 0)
            use(PointShader<Traits, ForFormat>(source, rule));
        else
            use(LevelPointShader<Traits, ForFormat>(source, level, rule));
    }
};

// The pixel itself in the destination's format, by the plain rules of conversion.
struct ConversionEffect {
    HardwareStages const& GetHardwareStages() const {
        static PointStages<CopyRule> const s_stages;
        return s_stages;
    }
    double GetLeastScale() const { return 1; }
    template <class SourceTraits, class Traits, class F>
    void WithShader(Raster::BitmapBase const& source, int level, F const& use) const {
        auto const converter = Raster::PixelConverter::MakePlain(SourceTraits::c_format, Traits::c_format);
        if (level == 0)
            use(ConversionShader<SourceTraits, Traits>(source, *converter));
        else
            use(LevelConversionShader<SourceTraits, Traits>(source, level, *converter));
    }
};

} // namespace Commands
