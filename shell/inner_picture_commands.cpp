// SPDX-License-Identifier: Apache-2.0
// The engine's own commands on pictures.
#include "shell/inner_commands.h"

#include "platform/document/vectorise_object_command.h"

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

} // namespace

std::vector<CommandEntry> MakeInnerPictureEntries() { return {MakeInnerEntry<Vectorise>()}; }

} // namespace Shell
