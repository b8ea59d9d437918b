// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/pixel.h"

namespace Raster {

// 32 pixels in the form that all plain conversions go through: RGBA, 1.0 is full scale, colours as sRGB encodes them.
struct alignas(64) WorkingSpan {
    float r[c_spanLength];
    float g[c_spanLength];
    float b[c_spanLength];
    float a[c_spanLength];
};

// Whole spans only: planes of 32 samples.
using LoadWorkingSpan = void (*)(void const* const* planes, WorkingSpan& span);
using StoreWorkingSpan = void (*)(WorkingSpan const& span, void* const* planes);

// Null for a format without pixels.
LoadWorkingSpan GetWorkingLoader(Format format);
StoreWorkingSpan GetWorkingStorer(Format format);

// CIE 1976 L*a*b*, D50, to and from sRGB. The planes of `lab` are L / 100, (a + 128) / 255, (b + 128) / 255.
void LabToWorking(float const lab[3][c_spanLength], WorkingSpan& span);
void WorkingToLab(WorkingSpan const& span, float lab[3][c_spanLength]);

// The numbers that the two work with: rows of the matrices between linear sRGB and X, Y and Z under a white of 1.
struct LabMatrices {
    float toUnit[3][3];
    float fromUnit[3][3];
};
LabMatrices GetLabMatrices();

} // namespace Raster
