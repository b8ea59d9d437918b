// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_list.h"

// A stored view of a spread. A value, compared by all its fields.
class REDRAFT_ENGINE ViewPointData {
public:
    Kernel::String name;
    // Index of the spread, from 0.
    int spreadIndex = 0;
    // What the view shows, in spread space.
    Kernel::RectT<double> viewBox;

    friend bool operator==(ViewPointData const&, ViewPointData const&) = default;

    static constexpr Kernel::ClassUID GetClassUID() { return {"VwPt"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Name", &ViewPointData::name},
                                 Kernel::Field{"Sprd", &ViewPointData::spreadIndex},
                                 Kernel::Field{"View", &ViewPointData::viewBox}};
    }
};
