// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"
#include "platform/story/io_format.h"

#include <string>

namespace Story {

// Text of a story as UTF-8, without the places of objects.
Kernel::String FormatStoryText(std::u32string text, IoFormat::Type format);

} // namespace Story
