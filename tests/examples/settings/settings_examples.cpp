// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/add_pressure_profile_command.h"
#include "frame/settings/delete_symbol_command.h"
#include "frame/settings/set_anchor_pages_setting_command.h"
#include "frame/settings/set_guides_fill_command.h"
#include "frame/settings/set_master_migrate_pages_setting_command.h"
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "frame/settings/set_scale_override_flags_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/example_documents.h"

namespace Commands {

namespace {

ExampleRegistration const s_addPressureProfileExample({
    .className = "AddPressureProfileCommand",
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        auto const profile = Kernel::MakeCounted<Geometry::CurveDbl>();
        profile->MoveTo({0, 0});
        profile->CubicTo({0.3, 1}, {0.7, 1}, {1, 0.2});
        return Kernel::MakeCounted<AddPressureProfileCommand>(profile);
    },
    .untold = {CommandExample::Untold::Setting},
});

ExampleRegistration const s_deleteSymbolExample({
    .className = "DeleteSymbolCommand",
    .prepare = ExampleDocuments::SymbolWithInstances,
    .make = [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<DeleteSymbolCommand>(controller.GetSymbolAtIndex(0));
    },
});

ExampleRegistration const s_setAnchorPagesSettingExample({
    .className = "SetAnchorPagesSettingCommand",
    .make = Constructs<SetAnchorPagesSettingCommand>(false),
    .keptByContract = SetAnchorPagesSettingCommand::c_keptByUndo,
    .untold = {CommandExample::Untold::Setting},
});

ExampleRegistration const s_setGuidesFillExample({
    .className = "SetGuidesFillCommand",
    .make =
        [](auto&) {
            return Kernel::MakeCounted<SetGuidesFillCommand>(
                Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(0.2, 0.6, 1.0)));
        },
    .keptByContract = SetGuidesFillCommand::c_keptByUndo,
});

ExampleRegistration const s_setMasterMigratePagesSettingExample({
    .className = "SetMasterMigratePagesSettingCommand",
    .make = Constructs<SetMasterMigratePagesSettingCommand>(MasterMigrationStrategy::Drop),
    .keptByContract = SetMasterMigratePagesSettingCommand::c_keptByUndo,
    .untold = {CommandExample::Untold::Setting},
});

ExampleRegistration const s_setReflowPagesSettingExample({
    .className = "SetReflowPagesSettingCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const spread = controller.GetCurrentSpread();
            spread->AddPage(Kernel::MakeCounted<PageNode>(Kernel::RectT<double>{900, 50, 1200, 450}));
        },
    .make = Constructs<SetReflowPagesSettingCommand>(true),
});

ExampleRegistration const s_setScaleOverrideFlagsFlagsExample({
    .className = "SetScaleOverrideFlagsCommand",
    .make = Constructs<SetScaleOverrideFlagsCommand>(5),
});

ExampleRegistration const s_setScaleOverrideFlagsToggleExample({
    .className = "SetScaleOverrideFlagsCommand",
    .make = Constructs<SetScaleOverrideFlagsCommand>(true),
});

} // namespace

} // namespace Commands
