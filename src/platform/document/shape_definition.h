// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/attributes.h"
#include "platform/geometry/poly_curve.h"

// The parameters of a shape whose curves are computed from them. Immutable once it is a node's state.
class REDRAFT_ENGINE ShapeDefinition : public InterfaceState {
public:
    InterfaceId GetInterfaceId() const override { return InterfaceId::Shape; }
    bool IsDefault() const override { return false; }
    // The outline in node space.
    virtual Kernel::Counted<Geometry::PolyCurveDbl const> ComputeCurves() const = 0;
    // The box that the shape is inscribed in, in node space.
    virtual Kernel::RectT<double> GetBox() const = 0;
    // The shape's name where its node has none.
    virtual char const* GetKindName() const = 0;
};

template <class T>
class ShapeDefinitionT : public ShapeDefinition {
public:
    bool IsEqualTo(InterfaceState const& other) const override {
        return typeid(other) == typeid(T) &&
               Kernel::FieldsEqual(static_cast<T const&>(*this), static_cast<T const&>(other));
    }
    void Save(Kernel::OutSerialiser& out) const override { Kernel::SaveFields(static_cast<T const&>(*this), out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(static_cast<T&>(*this), in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return T::GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<T>(); }
};

// A rectangle; each corner may be rounded by an elliptical quarter.
class REDRAFT_ENGINE RectangleShape final : public ShapeDefinitionT<RectangleShape> {
public:
    Kernel::RectT<double> box;
    // Radii of all corners along x and y; limited to half the sides when drawn.
    Kernel::PointT<double> cornerRadius;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Box_", &RectangleShape::box},
                                 Kernel::Field{"Radi", &RectangleShape::cornerRadius}};
    }
    Kernel::Counted<Geometry::PolyCurveDbl const> ComputeCurves() const override;
    Kernel::RectT<double> GetBox() const override { return box; }
    char const* GetKindName() const override { return "Rectangle"; }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE EllipseShape final : public ShapeDefinitionT<EllipseShape> {
public:
    Kernel::RectT<double> box;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"Box_", &EllipseShape::box}}; }
    Kernel::Counted<Geometry::PolyCurveDbl const> ComputeCurves() const override;
    Kernel::RectT<double> GetBox() const override { return box; }
    char const* GetKindName() const override { return "Ellipse"; }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

// A star inscribed in the box's ellipse, its first point at the top.
class REDRAFT_ENGINE StarShape final : public ShapeDefinitionT<StarShape> {
public:
    Kernel::RectT<double> box;
    // 3 to 1000.
    int pointCount = 5;
    // The inner radius as a fraction of the outer, 0 to 1.
    double innerRadiusRatio = 0.5;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Box_", &StarShape::box}, Kernel::Field{"Poin", &StarShape::pointCount},
                                 Kernel::Field{"Inne", &StarShape::innerRadiusRatio}};
    }
    Kernel::Counted<Geometry::PolyCurveDbl const> ComputeCurves() const override;
    Kernel::RectT<double> GetBox() const override { return box; }
    char const* GetKindName() const override { return "Star"; }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};
