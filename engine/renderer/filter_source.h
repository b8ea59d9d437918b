// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/filter_evaluator.h"
#include "engine/renderer/recorder.h"

namespace Renderer::Detail {

// Where a filter is laid over a picture.
struct FilterPlace {
    // From the filter's space to pixels.
    Transform toPixels;
    // The pixels that may be asked for.
    RectInt picture;
    // The scale of lines that do not scale with their objects.
    double scalar = 1;
    WorkingSpace const& space;
    Raster::ICCProfileSet const& documentProfiles;
};

// A drawing that is recorded to be filtered, with as much around the picture as the filter draws on.
//
// Where the axes of the filter's space are those of the picture, turned by quarters and mirrored as may be, and the
// filter reaches at most 512 pixels, it is computed on the picture's own pixels, in blocks, when they are asked for.
// Else it is computed at once, along its own axes and on at most 2^22 pixels, and sampled between the four nearest.
class FilterRecording {
public:
    FilterRecording(Kernel::Counted<Filter const> const& filter, FilterPlace const& place, PatternScope const& scope);
    ~FilterRecording();

    Recorder& GetRecorder();
    // The same outline in the recorder's space.
    Recorder::Outline Place(Recorder::Outline const& outline) const;
    // Filters inside this one; PopInner answers false when it is this one that ends.
    void PushInner(Kernel::Counted<Filter const> const& filter, Transform const& toPixels,
                   Raster::ICCProfileSet const& profiles);
    bool PopInner();

    struct Painted {
        // Null where nothing is painted.
        std::shared_ptr<FillSource const> source;
        RectInt bounds;
    };
    Painted Finish();

private:
    struct Drawing;
    void ChooseGrid(Filter const& filter, FilterPlace const& place);

    RectInt m_picture;
    Transform m_toPixels;
    // From the picture's pixels to those of the grid; the identity where they are the same.
    Transform m_toGrid;
    Transform m_filterToGrid;
    bool m_isSampled = false;
    std::size_t m_openInside = 0;
    std::shared_ptr<Drawing> m_drawing;
};

} // namespace Renderer::Detail
