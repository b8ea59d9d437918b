// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

namespace Renderer {

// The wishes of whoever exports a document into a file; each format has a class of its own below it.
class REDRAFT_ENGINE FileExportOptions : public virtual Kernel::Countable {
public:
    ~FileExportOptions() override;

protected:
    FileExportOptions() = default;
};

} // namespace Renderer
