// SPDX-License-Identifier: Apache-2.0
#include "frame/view/add_view_point_command.h"
#include "frame/view/flip_canvas_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

namespace {

ExampleRegistration const s_addViewPointExample({
    .className = "AddViewPointCommand",
    .prepare =
        [](DocumentController& controller) {
            controller.GetDocument()->SetViewPoints({{"Overview", 0, {0, 0, 800, 1100}}});
        },
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<AddViewPointCommand>(ViewPointData{"Detail", 0, {100, 100, 300, 250}});
    },
});

ExampleRegistration const s_addViewPointEqualExample({
    .className = "AddViewPointCommand",
    .prepare =
        [](DocumentController& controller) {
            controller.GetDocument()->SetViewPoints(
                {{"Detail", 0, {100, 100, 300, 250}}, {"Overview", 0, {0, 0, 800, 1100}}});
        },
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<AddViewPointCommand>(ViewPointData{"Detail", 0, {100, 100, 300, 250}});
    },
    .keptByContract = AddViewPointCommand::c_keptByUndo,
    .keptInDocument = true,
});

ExampleRegistration const s_flipCanvasExample({
    .className = "FlipCanvasCommand",
    .prepare = ExampleDocuments::NestedGroups,
    .make = Constructs<FlipCanvasCommand>(true),
    .tellsWholeDocument = true,
});

} // namespace

} // namespace Commands
