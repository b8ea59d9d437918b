// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/spread_index.h"
#include "platform/kernel/field_list.h"

// A stored view of a spread. A value, compared by all its fields.
class REDRAFT_ENGINE ViewPointData {
public:
    Kernel::String name;
    // Index of the spread, from 0.
    int spreadIndex = 0;
    // The visible rectangle, in spread space.
    Kernel::RectT<double> viewBox;

    friend bool operator==(ViewPointData const&, ViewPointData const&) = default;

    static constexpr Kernel::ClassUID GetClassUID() { return {"VwPt"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    static constexpr auto Fields() {
        using This = ViewPointData;
        return Kernel::FieldList{
            Kernel::Field{"Name", &This::name}.As("name", "what the view is called", ""),
            Kernel::Field{"Sprd", &This::spreadIndex}.As<SpreadIndex>("spreadIndex", "the spread that it shows, from 0",
                                                                      SpreadIndex{0}),
            Kernel::Field{"View", &This::viewBox}.As("viewBox", "what it shows, in the spread's space")};
    }
};
