// SPDX-License-Identifier: Apache-2.0
#include "shapes/edit_wrap_shape_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/text_documents.h"

namespace Commands {

namespace {

auto const MakeEditWrapShape = Constructs<EditWrapShapeCommand>();

} // namespace

// An ellipse that text runs through as yet.
static ExampleRegistration const s_editWrapShapeExample({
    .className = "EditWrapShapeCommand",
    .prepare = [](DocumentController& controller) { ExampleDocuments::TextAroundShapes(controller, false); },
    .make = MakeEditWrapShape,
});

// The wrap shape is not the object's outline any more, and it is selected.
static ExampleRegistration const s_leaveWrapShapeExample({
    .className = "EditWrapShapeCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::TextAroundShapes(controller, true);
            auto const shape = Kernel::MakeCounted<PolyCurveNode>();
            shape->SetCurves(Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{-90, -90, 90, 0}));
            auto const object = controller.GetCurrentSelection()->GetNodes().front();
            object->InsertChild(NodeChildListType::WrapShape, shape, nullptr);
            ExampleDocuments::Select(controller, {shape});
        },
    .make = MakeEditWrapShape,
});

} // namespace Commands
