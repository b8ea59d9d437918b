// SPDX-License-Identifier: Apache-2.0
// The engine's own commands on pictures.
#include "shell/inner_commands.h"

#include "platform/document/set_chosen_generation_command.h"
#include "platform/document/vectorise_object_command.h"
#include "platform/kernel/cast.h"

#include <algorithm>

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::Unstored;

struct Vectorise {
    static constexpr char c_name[] = "vectorise-object", c_class[] = "VectoriseObjectCommand";
    static constexpr bool c_takesSelection = true;
    int colours = TracingOptions().colours;
    double tolerance = TracingOptions().tolerance;
    int smallestArea = TracingOptions().smallestArea;
    static constexpr auto Fields() {
        using This = Vectorise;
        return FieldList{
            Unstored{&This::colours}
                .As("colours", "the most colours of the drawing; 0: as many as the picture needs, 64 at most", 0)
                .Between(0, TracingOptions::c_mostColours),
            Unstored{&This::tolerance}
                .As("tolerance", "how far curves may keep away from the borders of areas, in pixels", 0.4)
                .Between(0.05, 10.0),
            Unstored{&This::smallestArea}
                .As("smallest-area", "areas of fewer pixels go to a neighbour", 8)
                .Between(1, 1 << 20)};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const {
        return Kernel::MakeCounted<VectoriseObjectCommand>(TracingOptions{colours, tolerance, smallestArea},
                                                           context.selection);
    }
};

struct SetChosenGeneration {
    static constexpr char c_name[] = "set-chosen-generation", c_class[] = "SetChosenGenerationCommand";
    static constexpr bool c_takesSelection = true;
    int index = 0;
    static constexpr auto Fields() {
        return FieldList{
            Unstored{&SetChosenGeneration::index}
                .As("index", "the picture that generated objects show, among those that were made for them; from 0")
                .AtLeast(0)};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const {
        auto const wanted = static_cast<std::size_t>(index), most = CountMost(*context.selection);
        if (most != 0 && wanted >= most)
            throw ValueError("index: counts from 0, and there " +
                             (most == 1 ? std::string("is 1 picture") : "are " + std::to_string(most) + " pictures"));
        return Kernel::MakeCounted<SetChosenGenerationCommand>(static_cast<std::uint32_t>(index), context.selection);
    }

private:
    // The pictures of the object that has most of them.
    static std::size_t CountMost(Selection const& selection) {
        std::size_t most = 0;
        for (auto const& node : selection.GetNodes()) {
            if (auto const* const generated = Kernel::CastPointer<GenerativeInterface const>(node.get()))
                most = std::max(most, generated->GetGenerations().size());
        }
        return most;
    }
};

} // namespace

std::vector<CommandEntry> MakeInnerPictureEntries() {
    return {MakeInnerEntry<Vectorise>(), MakeInnerEntry<SetChosenGeneration>()};
}

} // namespace Shell
