// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/prelude.h"
#include "engine/raster/fragments/text.h"
#include "platform/raster/hardware_kernel.h"

#include <algorithm>

namespace Raster {

namespace {

// The fragments in an order in which each name is defined before it is used; the text of pixel centres, which every
// kernel has, behind the transform.
std::array<char const*, 15> GetTexts(HardwareKernelDescriptor const& d) {
    return {d.sourceTraits,
            d.destinationTraits,
            d.maskTraits,
            d.conversion,
            d.sourceAccess,
            d.destinationAccess,
            d.extend,
            d.transform,
            Fragments::GetPixelCentreText(),
            d.sample,
            d.readMask,
            d.process,
            d.blend,
            d.filter,
            d.perPixelDriver};
}

} // namespace

bool HardwareKernelDescriptor::IsComplete() const {
    auto const texts = GetTexts(*this);
    return std::find(texts.begin(), texts.end(), nullptr) == texts.end();
}

std::string ComposeKernel(int language, HardwareKernelDescriptor const& descriptor) {
    if (!Fragments::IsLanguage(language) || !descriptor.IsComplete())
        return {};
    bool const isCuda = language == c_kernelLanguageCuda;
    std::string text = Fragments::GetPrelude(language);
    // In a struct, whose members can use each other in any order, and where chains can be told apart as structs.
    if (isCuda)
        text += "\nstruct PixelKernel {\n";
    text += Fragments::GetSharedFunctions();
    for (char const* const fragment : GetTexts(descriptor))
        text += fragment;
    if (isCuda)
        text += "\n};\n";
    return text + Fragments::GetEntry(language);
}

} // namespace Raster
