// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"

namespace Renderer {

// Decides while a drawing is made which of its objects take part.
class REDRAFT_ENGINE RenderingFilter : public virtual Kernel::Countable {
public:
    ~RenderingFilter() override;
    // False leaves the object out, with all that is below it.
    virtual bool ShouldDraw(Kernel::Countable const& object) const = 0;
};

} // namespace Renderer
