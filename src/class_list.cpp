// SPDX-License-Identifier: Apache-2.0
// The library's table of contents: every persisted class, in the order in which classes are registered at load; at
// unload they leave in reverse. Tag, version and registered base are the stored format's key: a line is never changed.

#include "frame/add_pressure_profile_command.h"
#include "frame/add_view_point_command.h"
#include "frame/delete_symbol_command.h"
#include "frame/flip_canvas_command.h"
#include "frame/registered_class.h"
#include "frame/set_anchor_pages_setting_command.h"
#include "frame/set_guides_fill_command.h"
#include "frame/set_master_migrate_pages_setting_command.h"
#include "frame/set_reflow_pages_setting_command.h"
#include "frame/set_scale_override_flags_command.h"
#include "raster/inflate_untrusted_raster_nodes_command.h"
#include "raster/raster_plugin_filter_command.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "raster/replace_bitmap_command.h"
#include "shapes/convert_to_art_text_command.h"
#include "shapes/divide_shapes_command.h"
#include "shapes/fill_holes_command.h"
#include "shapes/ungroup_all_nodes_command.h"
#include "shapes/ungroup_nodes_command.h"

namespace {

using namespace Commands;

template <class T>
using Class = RegisteredClass<T>;
// Spelt out, as clang 14 calls a constructor that is only there when compiled where a text becomes a tag by itself.
using Tag = Kernel::ClassUID;
template <class T>
Kernel::ClassProperties const* Base() {
    return T::GetTypeClassProperties();
}

// clang-format off
Class<AddPressureProfileCommand>           const c_APPC{Tag("APPC"), 1, Base<DocumentCommand>(),      Coverage::No};
Class<AddViewPointCommand>                 const c_AVwP{Tag("AVwP"), 1, Base<DocumentCommand>(),      Coverage::Yes};
Class<ConvertToArtTextCommand>             const c_C2AT{Tag("C2AT"), 1, Base<SelectionCommandBase>(), Coverage::Yes};
Class<DeleteSymbolCommand>                 const c_DSyC{Tag("DSyC"), 1, Base<DocumentCommand>(),      Coverage::Yes};
Class<DivideShapesCommand>                 const c_DiSC{Tag("DiSC"), 1, Base<SelectionCommandBase>(), Coverage::Yes};
Class<FillHolesCommand>                    const c_FHsC{Tag("FHsC"), 1, Base<DocumentCommand>(),      Coverage::Yes};
Class<FlipCanvasCommand>                   const c_FliC{Tag("FliC"), 1, Base<DocumentCommand>(),      Coverage::Yes};
Class<InflateUntrustedRasterNodesCommand>  const c_IURC{Tag("IURC"), 1, Base<SelectionCommandBase>(), Coverage::No};
Class<RasterPluginFilterCommand>           const c_RpFC{Tag("RpFC"), 1, Base<RasterCommand>(),        Coverage::Yes};
Class<RasterPolarToRectangularCommand>     const c_PoRR{Tag("PoRR"), 1, Base<RasterCommand>(),        Coverage::Yes};
Class<RasterRectangularToPolarCommand>     const c_RRPo{Tag("RRPo"), 1, Base<RasterCommand>(),        Coverage::Yes};
Class<RasterSolariseCommand>               const c_Slze{Tag("Slze"), 1, Base<RasterCommand>(),        Coverage::Yes};
Class<RasterWebSafeDitherCommand>          const c_WSDC{Tag("WSDC"), 1, Base<RasterCommand>(),        Coverage::Yes};
Class<ReplaceBitmapCommand>                const c_ReBC{Tag("ReBC"), 1, Base<SelectionCommandBase>(), Coverage::Yes};
Class<SetAnchorPagesSettingCommand>        const c_SanS{Tag("SanS"), 1, Base<DocumentCommand>(),      Coverage::No};
Class<SetGuidesFillCommand>                const c_SGCC{Tag("SGCC"), 1, Base<DocumentCommand>(),      Coverage::Yes};
Class<SetMasterMigratePagesSettingCommand> const c_SmmS{Tag("SmmS"), 1, Base<DocumentCommand>(),      Coverage::No};
Class<SetReflowPagesSettingCommand>        const c_SrfS{Tag("SrfS"), 1, Base<CompoundCommand>(),      Coverage::No};
Class<SetScaleOverrideFlagsCommand>        const c_SPSC{Tag("SPSC"), 1, Base<DocumentCommand>(),      Coverage::Yes};
Class<UngroupAllNodesCommand>              const c_UANC{Tag("UANC"), 1, Base<SelectionCommandBase>(), Coverage::Yes};
Class<UngroupNodesCommand>                 const c_UGNC{Tag("UGNC"), 1, Base<SelectionCommandBase>(), Coverage::Yes};
// clang-format on

} // namespace
