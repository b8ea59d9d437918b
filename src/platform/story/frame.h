// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/countable.h"
#include "platform/kernel/counted.h"
#include "platform/kernel/geometry_values.h"

namespace Story {

// A place that text is shown in. It belongs to an object of a document, which keeps its values and undoes them.
class REDRAFT_ENGINE Frame : public virtual Kernel::Countable {};

// A rectangle that lines fill in columns, in the object's own space.
class REDRAFT_ENGINE ColumnFrame : public Frame {
public:
    virtual Kernel::RectT<double> GetRect() const = 0;
    virtual void SetRect(Kernel::RectT<double> const& rect) = 0;
};

} // namespace Story
