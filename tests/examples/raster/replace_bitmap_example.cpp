// SPDX-License-Identifier: Apache-2.0
#include "raster/replace_bitmap_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

static ExampleRegistration const s_replaceBitmapExample({
    .className = "ReplaceBitmapCommand",
    .prepare = ExampleDocuments::TwoLayers,
    .make =
        [](auto&) {
            return Kernel::MakeCounted<ReplaceBitmapCommand>(ExampleDocuments::MakePicture(90, 40, Raster::FormatIA8),
                                                             Kernel::Counted<Selection const>());
        },
});

} // namespace Commands
