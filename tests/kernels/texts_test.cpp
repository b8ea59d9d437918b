// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_sampler.h"
#include "raster/solarise_rule.h"
#include "tests/kernels/kernel_runs.h"

#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <thread>

namespace Tests {
namespace {

using namespace Raster;
using Commands::PolarDirection;

// All fragments of a language, by a name.
std::vector<std::pair<std::string, char const*>> ListFragments(int language) {
    std::vector<std::pair<std::string, char const*>> list;
    auto const add = [&](std::string const& name, char const* text) { list.emplace_back(name, text); };
    for (int i = 0; i != c_formatCount; ++i) {
        auto const format = static_cast<Format>(i);
        if (!IsHandledFormat(format))
            continue;
        std::string const name = GetFormatName(format);
        add("source traits " + name, GetSourceTraits(language, format));
        add("destination traits " + name, GetDestinationTraits(language, format));
        add("mask traits " + name, GetMaskTraits(language, format));
        add("source access " + name, GetSourceAccess(language, format));
        add("destination access " + name, GetDestinationAccess(language, format));
        add("filter " + name, GetChannelFilterFragment(language, format));
        for (int to = 0; to != c_formatCount; ++to) {
            bool const isThere = IsHandledFormat(static_cast<Format>(to)) &&
                                 (i == to || GetFormatInfo(format).colourModel != ColourModel::AlphaOnly);
            if (isThere)
                add("conversion " + name, GetConversionFragment(language, format, static_cast<Format>(to)));
        }
    }
    for (Format const mask : {FormatA8, FormatA16, FormatAF})
        add("mask chain", GetMaskChainFragment(language, mask));
    for (auto const direction : {PolarDirection::PolarToRectangular, PolarDirection::RectangularToPolar})
        add("polar", Commands::GetPolarTransformFragment(language, direction));
    for (bool const blends : {false, true})
        add("driver", KernelPerPixel<Horizontal>::GetHardwareFragment(language, blends, false, true, false, false));
    add("identity conversion", GetIdentityConversionFragment(language));
    add("blend", NormalBlend::GetHardwareFragment(language));
    add("no blend", GetBlendFragment(language));
    add("full mask", GetFullMaskFragment(language));
    add("copy", GetCopyFragment(language));
    add("nearest", GetNearestSampleFragment(language));
    add("plain filter", GetPlainFilterFragment(language));
    add("identity", IdentityTransform::GetHardwareFragment(language));
    add("translation", TranslationTransform::GetHardwareFragment(language));
    add("scale", ScaleTransform::GetHardwareFragment(language));
    add("affine", AffineStage::GetHardwareFragment(language));
    add("safe", Safe::GetHardwareFragment(language));
    add("zero", Zero::GetHardwareFragment(language));
    add("repeat", Repeat::GetHardwareFragment(language));
    add("solarise", Commands::SolariseRule::GetHardwareFragment(language));
    add("mean", Commands::GetMeanOfSamplesFragment(language));
    add("chain", GetTransformChainFragment(language, AffineStage::GetHardwareFragment(language),
                                           ScaleTransform::GetHardwareFragment(language)));
    return list;
}

TEST(KernelTexts, AreNullInLanguagesThatDoNotExist) {
    for (int language : {-1, 2, 3, 1000}) {
        for (auto const& [name, text] : ListFragments(language))
            EXPECT_EQ(text, nullptr) << name << " in " << language;
        EXPECT_EQ(GetJointConversionFragment(language), nullptr);
        EXPECT_EQ(GetTransformChainFragment(language, AffineStage::GetHardwareFragment(0),
                                            ScaleTransform::GetHardwareFragment(0)),
                  nullptr);
        EXPECT_EQ(ComposeKernel(language, MakeCopyKernel(0, FormatRGBA8, FormatRGBA8)), "");
    }
}

TEST(KernelTexts, AreNullForFlagsAndFormatsThatNothingHandles) {
    using Driver = KernelPerPixel<Horizontal>;
    for (int flags = 0; flags != 32; ++flags) {
        auto const has = [flags](int bit) { return (flags >> bit & 1) != 0; };
        bool const isKnown = has(2) && !has(1) && !has(3) && !has(4);
        EXPECT_EQ(Driver::GetHardwareFragment(0, has(0), has(1), has(2), has(3), has(4)) != nullptr, isKnown) << flags;
    }
    for (int i : {-1, 8, 11}) {
        auto const format = static_cast<Format>(i);
        EXPECT_EQ(GetChannelFilterFragment(1, format), nullptr);
        EXPECT_EQ(GetMaskChainFragment(1, format), nullptr);
        EXPECT_EQ(GetConversionFragment(1, format, FormatRGBA8), nullptr);
        EXPECT_EQ(GetConversionFragment(1, FormatRGBA8, format), nullptr);
    }
    EXPECT_EQ(GetMaskChainFragment(1, FormatRGBA8), nullptr);
    EXPECT_EQ(GetTransformChainFragment(1, nullptr, AffineStage::GetHardwareFragment(1)), nullptr);
    EXPECT_EQ(GetTransformChainFragment(1, AffineStage::GetHardwareFragment(1), nullptr), nullptr);
}

TEST(KernelTexts, MakeNoKernelWhenOneIsMissing) {
    auto const whole = MakeCopyKernel(1, FormatRGBA8, FormatRGBA8);
    EXPECT_TRUE(whole.IsComplete());
    EXPECT_NE(ComposeKernel(1, whole), "");
    char const* HardwareKernelDescriptor::*const fields[] = {&HardwareKernelDescriptor::sourceTraits,
                                                             &HardwareKernelDescriptor::destinationTraits,
                                                             &HardwareKernelDescriptor::maskTraits,
                                                             &HardwareKernelDescriptor::conversion,
                                                             &HardwareKernelDescriptor::perPixelDriver,
                                                             &HardwareKernelDescriptor::sourceAccess,
                                                             &HardwareKernelDescriptor::destinationAccess,
                                                             &HardwareKernelDescriptor::readMask,
                                                             &HardwareKernelDescriptor::process,
                                                             &HardwareKernelDescriptor::transform,
                                                             &HardwareKernelDescriptor::sample,
                                                             &HardwareKernelDescriptor::blend,
                                                             &HardwareKernelDescriptor::extend,
                                                             &HardwareKernelDescriptor::filter};
    for (auto const field : fields) {
        auto part = whole;
        part.*field = nullptr;
        EXPECT_FALSE(part.IsComplete());
        EXPECT_EQ(ComposeKernel(1, part), "");
    }
}

TEST(KernelTexts, HaveOneAddressEach) {
    std::map<std::string, char const*> addresses;
    for (int round = 0; round != 2; ++round) {
        for (int language : {0, 1}) {
            for (auto const& [name, text] : ListFragments(language)) {
                ASSERT_NE(text, nullptr) << name;
                EXPECT_EQ(addresses.try_emplace(text, text).first->second, text) << name;
            }
        }
    }
}

TEST(KernelTexts, OfChainsHaveOneAddressForAllThreads) {
    char const* const left = Commands::GetPolarTransformFragment(1, PolarDirection::RectangularToPolar);
    char const* const right = TranslationTransform::GetHardwareFragment(1);
    char const* texts[4];
    std::vector<std::thread> threads;
    for (auto& text : texts) {
        threads.emplace_back([&text, left, right] {
            for (int i = 0; i != 100; ++i)
                text = GetTransformChainFragment(1, GetTransformChainFragment(1, left, right), right);
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (char const* const text : texts)
        EXPECT_EQ(text, texts[0]);
}

TEST(KernelTexts, HaveNoPlaceholdersLeft) {
    std::regex const placeholder("%[0-9]");
    for (int language : {0, 1}) {
        for (auto const& [name, text] : ListFragments(language))
            EXPECT_FALSE(std::regex_search(text, placeholder)) << name;
        EXPECT_FALSE(std::regex_search(ComposeKernel(language, MakeCopyKernel(language, FormatRGBA8, FormatCMYKA8)),
                                       placeholder));
    }
    std::string const joint = GetJointConversionFragment(0);
    EXPECT_NE(joint.find("%1"), std::string::npos);
    EXPECT_NE(joint.find("%2"), std::string::npos);
    EXPECT_EQ(joint.find("%3"), std::string::npos);
}

// Chains in OpenCL C rename the stages by macros. Those that were there before are there again behind them.
TEST(KernelTexts, OfChainsGiveMacrosBack) {
    constexpr char const* c_names[] = {
        "Transform", "ReadMask",  "Sample",       "TransformPixelCenterToFloat", "TransformPixelCenterToInt",
        "Extend",    "ReadPixel", "pixel_minimum"};
    std::string defined, undefined = "\n#if 0";
    for (std::string const name : c_names) {
        defined += "#define " + name + " Own" + name + "\n";
        undefined += " || defined(" + name + ")";
    }
    undefined += "\n#error a macro is left\n#endif\n";
    auto kernel = MakeCopyKernel(1, FormatRGBA8, FormatRGBA8);
    std::string const chain = GetTransformChainFragment(1, kernel.transform, ScaleTransform::GetHardwareFragment(1));
    std::string const maskChain = GetMaskChainFragment(1, FormatA8);
    std::string const readMask = maskChain + undefined, transform = chain + undefined;
    kernel.readMask = readMask.c_str();
    kernel.transform = transform.c_str();
    std::vector<std::byte> binary;
    std::string log;
    EXPECT_EQ(GetDriver(1).Compile(ComposeKernel(1, kernel), binary, log), HardwareStatus::Done) << log;

    // The functions of the chains have the names that stood for them.
    std::string const ownReadMask = maskChain + "FUNCTION float Own(CONTEXT, int2 location) "
                                                "{ return OwnReadMask(context, location, 0); }\n";
    std::string const ownTraits = kernel.sourceTraits + defined;
    kernel.sourceTraits = ownTraits.c_str();
    kernel.readMask = ownReadMask.c_str();
    kernel.transform = chain.c_str();
    EXPECT_EQ(GetDriver(1).Compile(ComposeKernel(1, kernel), binary, log), HardwareStatus::Done) << log;
}

} // namespace
} // namespace Tests
