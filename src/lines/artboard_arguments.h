// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/artboard_states.h"
#include "platform/document/spatial_anchor.h"
#include "platform/kernel/field_list.h"

// How programs outside the library give the properties of artboards: those that are given are set.

namespace Commands {

struct ArtboardChanges {
    std::optional<Kernel::SizeT<double>> size = {};
    SpatialAnchor anchor = SpatialAnchor::TopLeft;
    std::optional<bool> useMargins = {};
    std::optional<Kernel::EdgeOffsetsT<double>> margins = {};
    std::optional<Kernel::Counted<Renderer::FillDescriptor const>> marginFill = {};
    // A length on paper and the length that it stands for.
    std::optional<Kernel::PointT<double>> drawingScale = {};

    static constexpr auto Fields() {
        using This = ArtboardChanges;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::size}.As("size", "of the artboard, in its own space, 1/96 inch", std::nullopt),
            Unstored{&This::anchor}.As("anchor", "where the content stays, or whether it scales",
                                       SpatialAnchor::TopLeft),
            Unstored{&This::useMargins}.As("useMargins", "whether the margins are shown", std::nullopt),
            Unstored{&This::margins}.As("margins", "distances of the margins from the edges", std::nullopt),
            Unstored{&This::marginFill}.As("marginFill", "the colour of the margins on a screen", std::nullopt),
            Unstored{&This::drawingScale}.As("drawingScale", "tells front ends to show another scale; not kept",
                                             std::nullopt)};
    }
};

inline constexpr std::string_view c_spatialAnchorNames[] = {
    "scale-content", "top-left",    "top",    "top-right",    "left",         "centre",
    "right",         "bottom-left", "bottom", "bottom-right", "leave-content"};

} // namespace Commands

template <>
inline constexpr std::span<std::string_view const> c_outsideNames<SpatialAnchor> = Commands::c_spatialAnchorNames;
