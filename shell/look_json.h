// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/line_style.h"
#include "shell/json_writer.h"

namespace Shell {

// A plain colour as text that can be given back as a parameter, any other fill as an object.
void WriteFill(JsonWriter& json, Renderer::FillDescriptorConst const& fill);
// Weight, paint and shape of a line. `behindFill` is its order in the object; `paint` may be null.
void WriteLine(JsonWriter& json, Renderer::LineStyleDescriptorConst const& line, bool behindFill,
               Renderer::FillDescriptorConst const* paint);

} // namespace Shell
