// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/raster/format.h"

// Fragments of kernels: the rules of the software engine in the languages of kernels. Each text is made once, lives as
// long as the process and stands at one address. Null for a language that does not exist.
namespace Raster {

// Types and constants of a format's pixels on their way in, on their way out, and of the mask format that belongs to a
// format.
template <Format F>
REDRAFT_ENGINE char const* GetSourceTraitsFragment(int language);
template <Format F>
REDRAFT_ENGINE char const* GetDestTraitsFragment(int language);
template <Format F>
REDRAFT_ENGINE char const* GetMaskTraitsFragment(int language);

// From the source's pixels to the destination's: nothing to do for one format, otherwise through float RGBA in which
// 1.0 is full scale, by the rules of PixelConverter::MakePlain but for one: grey that a kernel makes is not clamped,
// where an integer's stores clamp it in the end. Required: pictures made with it are kept.
REDRAFT_ENGINE char const* GetIdentityConversionFragment(int language);
// The text that both parts of a pair are filled in at %1 and %2.
REDRAFT_ENGINE char const* GetJointConversionFragment(int language);
// The fragment of a pair, made once: the identity for equal formats. Alpha-only formats are not read from: null.
REDRAFT_ENGINE char const* GetConversionFragment(int language, Format from, Format to);

struct REDRAFT_ENGINE NormalBlend {
    // A processed pixel over the one that was there, through a mask, as BlendPixel of the software engine.
    static char const* GetHardwareFragment(int language);
};
// The processed pixel as it is: for kernels that read nothing of the destination.
REDRAFT_ENGINE char const* GetBlendFragment(int language);

// Goes along rows.
struct Horizontal {};

// The stage that calls the others for each pixel.
template <class Direction>
struct REDRAFT_ENGINE KernelPerPixel {
    // `blends`: the pixel that was there is read, and blended with through the mask. `stores`: the pixel is written.
    // Null for any other choice of flags.
    static char const* GetHardwareFragment(int language, bool blends, bool reserved1, bool stores, bool reserved2,
                                           bool reserved3);
};

// Stages.
//
// A mask of 1 everywhere.
REDRAFT_ENGINE char const* GetFullMaskFragment(int language);
// A mask bitmap of that format through an affine stage, 0 outside of it, times 1.
REDRAFT_ENGINE char const* GetMaskChainFragment(int language, Format maskFormat);
// The source as it is.
REDRAFT_ENGINE char const* GetCopyFragment(int language);
// The pixel under the transformed centre.
REDRAFT_ENGINE char const* GetNearestSampleFragment(int language);
// All channels of the pixel are stored, or those whose bits the filter parameter has.
REDRAFT_ENGINE char const* GetPlainFilterFragment(int language);
REDRAFT_ENGINE char const* GetChannelFilterFragment(int language, Format format);
// First `left`, then `right`, which are fragments of that language; either may be a chain.
REDRAFT_ENGINE char const* GetTransformChainFragment(int language, char const* left, char const* right);

} // namespace Raster
