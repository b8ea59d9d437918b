// SPDX-License-Identifier: Apache-2.0
#include "frame/class_list.h"

#include "frame/settings/add_pressure_profile_command.h"
#include "frame/settings/delete_symbol_command.h"
#include "frame/settings/set_anchor_pages_setting_command.h"
#include "frame/settings/set_guides_fill_command.h"
#include "frame/settings/set_master_migrate_pages_setting_command.h"
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "frame/settings/set_scale_override_flags_command.h"
#include "frame/view/add_view_point_command.h"
#include "frame/view/flip_canvas_command.h"
#include "frame/view/suspend_preview_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetFrameClasses() {
    return {
        Listed<AddPressureProfileCommand, DocumentCommand>("APPC", 1, Coverage::No),
        Listed<AddViewPointCommand, DocumentCommand>("AVwP", 1, Coverage::Yes),
        Listed<DeleteSymbolCommand, DocumentCommand>("DSyC", 1, Coverage::Yes),
        Listed<FlipCanvasCommand, DocumentCommand>("FliC", 1, Coverage::Yes),
        Listed<SetAnchorPagesSettingCommand, DocumentCommand>("SanS", 1, Coverage::No),
        Listed<SetGuidesFillCommand, DocumentCommand>("SGCC", 1, Coverage::Yes),
        Listed<SetMasterMigratePagesSettingCommand, DocumentCommand>("SmmS", 1, Coverage::No),
        Listed<SetReflowPagesSettingCommand, CompoundCommand>("SrfS", 1, Coverage::No),
        Listed<SetScaleOverrideFlagsCommand, DocumentCommand>("SPSC", 1, Coverage::Yes),
        ListedWithoutForm<SuspendPreviewCommand>("it runs a function of the calling program, which no text can name"),
    };
}
// clang-format on

} // namespace Commands
