// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/field_documents.h"
#include "text/add_caption_command.h"
#include "text/caption_arguments.h"
#include "text/caption_counter_type_command.h"

namespace Commands {

namespace {

auto const PrepareObjects = [](DocumentController& controller) { ExampleDocuments::ObjectsToCaption(controller); };

Kernel::Counted<CaptionInfo const> MakeCaption(char const* style, CaptionPosition position) {
    CaptionInfo::Placing placing;
    placing.position = position;
    return Kernel::MakeCounted<CaptionInfo>(Story::GlyphString(U"Three objects that stand on a page"), style, placing);
}

Kernel::Counted<CaptionInfo const> MakeNumberedCaption() {
    CaptionArgument caption;
    caption.text = "Figure {number}: an object";
    caption.counter = "Figure";
    return caption;
}

} // namespace

// Below an object that is turned.
static ExampleRegistration const s_captionExample({
    .className = "AddCaptionCommand",
    .prepare = PrepareObjects,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<AddCaptionCommand>(MakeCaption("", CaptionPosition::Below), nullptr, true);
        },
});

// Text of a style that needs more room than there is.
static ExampleRegistration const s_grownCaptionExample({
    .className = "AddCaptionCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const nodes = ExampleDocuments::ObjectsToCaption(controller);
            ExampleDocuments::Select(controller, {nodes.back()});
        },
    .make =
        [](auto&) {
            return Kernel::MakeCounted<AddCaptionCommand>(MakeCaption("Caption", CaptionPosition::Above), nullptr,
                                                          true);
        },
});

// Of the first object, where the last one has a caption that counts by the same name: its number grows.
static ExampleRegistration const s_numberedCaptionExample({
    .className = "AddCaptionCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const nodes = ExampleDocuments::ObjectsToCaption(controller);
            controller.Run(Kernel::MakeCounted<AddCaptionCommand>(
                MakeNumberedCaption(), Kernel::MakeCounted<Selection const>(std::vector{nodes.back()}), false));
            ExampleDocuments::Select(controller, {nodes.front()});
        },
    .make = [](auto&) { return Kernel::MakeCounted<AddCaptionCommand>(MakeNumberedCaption(), nullptr, true); },
});

static ExampleRegistration const s_addCounterExample({
    .className = "CaptionCounterTypeCommand",
    .prepare = [](DocumentController& controller) { controller.GetDocument()->AddCustomCaptionCounterType("Map"); },
    .make = Constructs<CaptionCounterTypeCommand>("Chart", true),
});

static ExampleRegistration const s_removeCounterExample({
    .className = "CaptionCounterTypeCommand",
    .prepare =
        [](DocumentController& controller) {
            for (char const* name : {"Chart", "Map", "Plate"})
                controller.GetDocument()->AddCustomCaptionCounterType(name);
        },
    .make = Constructs<CaptionCounterTypeCommand>("Map", false),
});

} // namespace Commands
