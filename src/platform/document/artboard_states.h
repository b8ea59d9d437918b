// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/attributes.h"
#include "platform/kernel/edge_offsets.h"
#include "platform/kernel/string.h"
#include "platform/renderer/fill_descriptor.h"

#include <vector>

// The states of artboards and of their properties. Lengths are in document units, which are 1/96 inch.

class REDRAFT_ENGINE ArtboardState final : public InterfaceStateT<ArtboardState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Artboard;
    bool enabled = true;
    // In the artboard's own space.
    Kernel::RectT<double> box;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Enab", &ArtboardState::enabled},
                                 Kernel::Field{"ABox", &ArtboardState::box}};
    }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

class REDRAFT_ENGINE MarginsState final : public InterfaceStateT<MarginsState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Margins;
    bool useMargins = false;
    Kernel::EdgeOffsetsT<double> margins = Kernel::EdgeOffsetsT<double>::Unset();
    // Paints the margins on a screen; never printed. Empty: none.
    Kernel::Counted<Renderer::FillDescriptor const> fill;
    // Where columns begin, from the left edge.
    std::vector<double> columnGuides;
    static constexpr auto Fields() {
        return Kernel::FieldList{
            Kernel::Field{"UsMa", &MarginsState::useMargins}, Kernel::Field{"Marg", &MarginsState::margins},
            Kernel::Field{"MaFi", &MarginsState::fill}, Kernel::Field{"ClGu", &MarginsState::columnGuides}};
    }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

// How long a drawn length is in the world: `drawn` units on paper are `real` units there. Immutable, shared.
class REDRAFT_ENGINE DrawingScale final : public Kernel::Serialisable {
public:
    DrawingScale() = default;
    DrawingScale(double drawn, double real) : m_drawn(drawn), m_real(real) {}
    double GetDrawn() const { return m_drawn; }
    double GetReal() const { return m_real; }
    friend bool operator==(DrawingScale const& a, DrawingScale const& b) {
        return a.m_drawn == b.m_drawn && a.m_real == b.m_real;
    }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<DrawingScale>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

private:
    double m_drawn = 1;
    double m_real = 1;
};

class REDRAFT_ENGINE GridsAndGuidesState final : public InterfaceStateT<GridsAndGuidesState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::GridsAndGuides;
    // Guides that stand upright, by x, and those that lie, by y.
    std::vector<double> uprightGuides, lyingGuides;
    bool useDrawingScale = false;
    Kernel::Counted<DrawingScale const> drawingScale;
    static constexpr auto Fields() {
        using This = GridsAndGuidesState;
        return Kernel::FieldList{Kernel::Field{"GuiX", &This::uprightGuides}, Kernel::Field{"GuiY", &This::lyingGuides},
                                 Kernel::Field{"UsDS", &This::useDrawingScale},
                                 Kernel::Field{"DrSc", &This::drawingScale}};
    }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};
