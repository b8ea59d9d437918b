// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shapes/outlines/clip_area.h"

#include <unordered_map>

namespace Commands {

// Reduces the outlines of objects to what is seen of them: what their own clips let through, the clips of those, and
// those of all groups around them. Hidden clips and clips that are not painted leave nothing or do not count, as in
// pictures. Reads the tree, which must not change in the meantime.
class REDRAFT_API ShapeClipper {
public:
    explicit ShapeClipper(PlanarMaps& maps) : m_maps(maps) {}

    // `input` is an outline of the node. It loses its curves when nothing is left.
    void Clip(Node const& node, ShapeInput& input);

private:
    bool ApplyClips(Node const& node, ShapeInput& input, bool allowUnfilled);
    void ApplyClipsAbove(Node const& node, ShapeInput& input);
    bool GatherClips(Node const& node, PlanarMaps::Inputs& clips);
    bool CompileCurves(Node const& node, ConstCurvesInterface const& shape, ShapeInput& input);
    bool CompileGroup(Node const& node, ShapeInput& input);
    bool AddGroupChildren(Node const& node, PlanarMaps::Inputs& inputs);
    ClipArea const& FindAreaOfGroup(Node const& group);

    PlanarMaps& m_maps;
    // Compiled once for all members.
    std::unordered_map<Node const*, ClipArea> m_areasOfGroups;
    int m_depth = 0;
};

} // namespace Commands
