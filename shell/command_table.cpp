// SPDX-License-Identifier: Apache-2.0
#include "shell/command_table.h"

#include "frame/add_pressure_profile_command.h"
#include "frame/add_view_point_command.h"
#include "frame/command_coverage.h"
#include "frame/delete_symbol_command.h"
#include "frame/flip_canvas_command.h"
#include "frame/set_anchor_pages_setting_command.h"
#include "frame/set_guides_fill_command.h"
#include "frame/set_master_migrate_pages_setting_command.h"
#include "frame/set_reflow_pages_setting_command.h"
#include "frame/set_scale_override_flags_command.h"
#include "frame/suspend_preview_command.h"
#include "platform/kernel/cast.h"
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

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>

namespace Shell {

namespace {

using namespace Commands;
using Fill = Kernel::Counted<Renderer::FillDescriptor const>;
using Curve = Kernel::Counted<Geometry::CurveDbl>;
using Bitmap = Kernel::Counted<Raster::DynamicBitmap>;
using Plugin = Kernel::Counted<Raster::RasterFilterPlugin>;

Kernel::Counted<DocumentCommand> MakeViewPointCommand(Kernel::String name, SpreadIndex spread,
                                                      Kernel::RectT<double> viewBox) {
    return Kernel::MakeCounted<AddViewPointCommand>(ViewPointData{std::move(name), spread, viewBox});
}

// clang-format off
std::vector<CommandEntry> MakeTable() {
    return {
        Command<AddPressureProfileCommand>(Form(
            Parameter<Curve>{"profile", "the line's width along its length: x from 0 to 1, y the factor, as SVG path data"})),
        Command<AddViewPointCommand>(
            Form(Parameter<ViewPointData>{"viewPoint", "{\"name\":TEXT,\"spreadIndex\":N,\"viewBox\":[l,t,r,b]}"}),
            FormBy(&MakeViewPointCommand,
                   Parameter<Kernel::String>{"name", "what the view is called", ""},
                   Parameter<SpreadIndex>{"spreadIndex", "the spread that it shows, from 0", SpreadIndex{0}},
                   Parameter<Kernel::RectT<double>>{"viewBox", "what it shows, in the spread's space"})),
        Command<ConvertToArtTextCommand>(Form()),
        Command<DeleteSymbolCommand>(Form(Parameter<SymbolReference>{"symbol", "the symbol, as #ID or name:TEXT"})),
        Combining(Command<DivideShapesCommand>(Form(
            Parameter<bool>{"retainAll", "open lines are kept even when filled shapes take part", false},
            SelectionParameter{}))),
        Command<FillHolesCommand>(Form(
            Parameter<bool>{"removeInternalLines", "takes away lines inside the shapes, and closes no holes", false})),
        Command<FlipCanvasCommand>(Form(
            Parameter<bool>{"horizontal", "true mirrors left to right, false top to bottom"})),
        Command<InflateUntrustedRasterNodesCommand>(Form(SelectionParameter{})),
        Command<RasterPluginFilterCommand>(Form(
            Parameter<Plugin>{"plugin", "the frei0r plug-in, by the name of its file without the ending; behind a colon PARAMETER=VALUE,..."})),
        Command<RasterPolarToRectangularCommand>(Form()),
        Command<RasterRectangularToPolarCommand>(Form()),
        Command<RasterSolariseCommand>(Form()),
        Command<RasterWebSafeDitherCommand>(Form()),
        Command<ReplaceBitmapCommand>(Form(Parameter<Bitmap>{"bitmap", "the new pixels: a picture file"}, SelectionParameter{})),
        Command<SetAnchorPagesSettingCommand>(Form(
            Parameter<bool>{"anchorToSpine", "pages keep to their side of the spine"})),
        Command<SetGuidesFillCommand>(Form(Parameter<Fill>{"fill", "the guides' colour; none: the built-in one"})),
        Command<SetMasterMigratePagesSettingCommand>(Form(
            Parameter<MasterMigrationStrategy>{"strategy", "how masters are carried over when pages move: keep, adapt or drop"})),
        Command<SetReflowPagesSettingCommand>(Form(
            Parameter<bool>{"reflow", "true reflows pages at once, and from now on"})),
        Command<SetScaleOverrideFlagsCommand>(
            Form(Parameter<bool>{"enabled", "puts the override in force, or out of it"}),
            Form(Parameter<int>{"flags", "what the override names, as bits"})),
        NoForm<SuspendPreviewCommand>("it runs a function of the calling program, which no text can name"),
        Command<UngroupAllNodesCommand>(Form()),
        Command<UngroupNodesCommand>(Form(
            Parameter<bool>{"relaxAppliedConstraints", "children of a constraints group move freely of their constraints", true})),
    };
}
// clang-format on

// Commands of the library are those of its namespace.
bool IsOfLibrary(Kernel::Serialisable const& object) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(
        abi::__cxa_demangle(typeid(object).name(), nullptr, nullptr, &status), &std::free);
    return status == 0 && std::string_view(name.get()).starts_with("Commands::");
}

} // namespace

std::vector<CommandEntry> const& GetCommandTable() {
    static std::vector<CommandEntry> const s_table = MakeTable();
    return s_table;
}

CommandEntry const* FindCommand(std::string_view name) {
    auto const& table = GetCommandTable();
    auto const found = std::find_if(table.begin(), table.end(), [&](CommandEntry const& entry) {
        return entry.className == name || entry.shortName == name;
    });
    return found == table.end() ? nullptr : &*found;
}

std::vector<ListedCommand> ListCommands() {
    std::vector<ListedCommand> commands;
    auto const& coverage = CommandCoverage::Instance();
    for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
        if (!properties->IsDerivedFrom(DocumentCommand::GetTypeClassProperties()))
            continue;
        ListedCommand listed;
        listed.properties = properties;
        listed.entry = FindCommand(properties->GetName());
        listed.isCovered = coverage.IsRegistered(properties->GetName());
        auto const object = properties->Create();
        if (auto const* command = Kernel::CastPointer<DocumentCommand>(object.get())) {
            listed.isOfLibrary = IsOfLibrary(*object);
            listed.description = command->GetDescription();
        }
        commands.push_back(std::move(listed));
    }
    for (auto const& entry : GetCommandTable()) {
        bool const isListed = std::any_of(commands.begin(), commands.end(),
                                          [&](ListedCommand const& listed) { return listed.entry == &entry; });
        if (isListed)
            continue;
        auto& listed = commands.emplace_back();
        listed.entry = &entry;
        listed.isOfLibrary = true;
        listed.isCovered = coverage.IsRegistered(entry.className);
    }
    return commands;
}

} // namespace Shell
