// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"

namespace Support {

// It stores curves of its own, has none at present, and still shows an outline: a ring. None of the document model's
// own nodes is ever like that, but an application's may be.
class BorrowedOutlineNode final : public CurvesNode, public MutableCurvesInterface {
public:
    Geometry::WindingOrderMode GetWindingOrderMode() const override { return Geometry::WindingOrderMode::Alternating; }
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const override {
        auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
        for (double const inset : {0.0, 10.0}) {
            auto const square = Kernel::MakeCounted<Geometry::CurveDbl>();
            square->MoveTo({inset, inset});
            square->LineTo({30 - inset, inset});
            square->LineTo({30 - inset, 30 - inset});
            square->LineTo({inset, 30 - inset});
            square->Close();
            outline->AddCurve(square);
        }
        return outline;
    }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<BorrowedOutlineNode>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties() {
        static Kernel::ClassProperties const s_properties("tBor", &CreateObject, 1, nullptr, nullptr,
                                                          "BorrowedOutlineNode");
        static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
        return &s_properties;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
};

} // namespace Support
