// SPDX-License-Identifier: Apache-2.0
// Headers that nearly every source on the level of documents, and above it, reads.
#pragma once

#include "cmake/precompiled/standard.h"

#include "platform/document/document_controller.h"
#include "platform/document/inner_commands.h"
#include "platform/document/nodes.h"
#include "platform/document/selection_raster_node.h"
