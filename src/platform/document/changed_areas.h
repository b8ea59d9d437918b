// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/selection.h"
#include "platform/document/spread_rects.h"

// Where the objects of a selection show: what a command that changes how they look has to have painted again.
class REDRAFT_ENGINE ChangedAreas {
public:
    SpreadRects const& GetRects() const { return m_rects; }
    // Runs an operation on the selected objects and keeps where they show before it and after it.
    template <class Operation>
    void Around(Kernel::Counted<Selection const> const& selection, Operation const& operation) {
        m_rects = {};
        Include(selection);
        operation();
        Include(selection);
    }

private:
    void Include(Kernel::Counted<Selection const> const& selection);

    SpreadRects m_rects;
};
