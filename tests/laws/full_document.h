// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

// A document with what examples leave out and is written only when it is set.
Kernel::Counted<DocumentController> MakeFullDocument();
