// SPDX-License-Identifier: Apache-2.0
#include "tests/kernels/kernel_runs.h"

#include "tests/support/hardware/shim_driver.h"

#include <gtest/gtest.h>
#include <map>
#include <stdexcept>

namespace Tests {

using namespace Raster;

namespace {

template <class Traits>
using BufferOf = typename Traits::BufferType;
template <class Traits>
using BitmapOf = typename Traits::BitmapType;

// Memory of a device, as long as a run lasts.
class Memory {
public:
    Memory(HardwareDriver& driver, std::size_t bytes) : m_driver(driver) {
        EXPECT_EQ(driver.Allocate(bytes, m_block), HardwareStatus::Done);
    }
    Memory(HardwareDriver& driver, BufferBase const* picture)
        : Memory(driver, picture == nullptr ? 64 : picture->GetBufferBytes()) {
        if (picture == nullptr)
            return;
        auto const bytes = picture->GetBufferBytes();
        EXPECT_EQ(driver.Write(m_block, {0, bytes}, picture->GetBuffer(), bytes, bytes, 1), HardwareStatus::Done);
    }
    Memory(Memory const&) = delete;
    Memory& operator=(Memory const&) = delete;
    ~Memory() { m_driver.Free(m_block); }
    void* Get() const { return m_block; }

private:
    HardwareDriver& m_driver;
    void* m_block = nullptr;
};

// Kernels that were compiled once; they go with the process.
void* GetKernel(HardwareDriver& driver, std::string const& source) {
    static auto& kernels = *new std::map<std::pair<HardwareDriver*, std::string>, void*>;
    auto const [place, isNew] = kernels.try_emplace({&driver, source}, nullptr);
    if (isNew) {
        std::vector<std::byte> binary;
        std::string log;
        EXPECT_EQ(driver.Compile(source, binary, log), HardwareStatus::Done) << log << source;
        EXPECT_EQ(driver.LoadKernel(binary, place->second), HardwareStatus::Done);
    }
    return place->second;
}

void AppendPicture(std::vector<float>& parameters, BufferBase const& picture) {
    auto const rowSamples = picture.GetRowBytes() / static_cast<std::size_t>(picture.GetInfo().sampleBytes);
    parameters.insert(parameters.end(), {static_cast<float>(picture.GetWidth()),
                                         static_cast<float>(picture.GetHeight()), static_cast<float>(rowSamples)});
}

} // namespace

char const* GetSourceTraits(int language, Format format) {
    char const* text = nullptr;
    VisitFormat(format, [&](auto t) { text = GetSourceTraitsFragment<decltype(t)::c_format>(language); });
    return text;
}

char const* GetDestinationTraits(int language, Format format) {
    char const* text = nullptr;
    VisitFormat(format, [&](auto t) { text = GetDestTraitsFragment<decltype(t)::c_format>(language); });
    return text;
}

char const* GetMaskTraits(int language, Format format) {
    char const* text = nullptr;
    VisitFormat(format, [&](auto t) { text = GetMaskTraitsFragment<decltype(t)::c_format>(language); });
    return text;
}

char const* GetSourceAccess(int language, Format format) {
    char const* text = nullptr;
    VisitFormat(format, [&](auto t) { text = BufferOf<decltype(t)>::GetSourceHardwareFragment(language); });
    return text;
}

char const* GetDestinationAccess(int language, Format format) {
    char const* text = nullptr;
    VisitFormat(format, [&](auto t) { text = BitmapOf<decltype(t)>::GetDestHardwareFragment(language); });
    return text;
}

HardwareKernelDescriptor MakeCopyKernel(int language, Format source, Format destination, bool blends) {
    HardwareKernelDescriptor d;
    d.sourceTraits = GetSourceTraits(language, source);
    d.destinationTraits = GetDestinationTraits(language, destination);
    d.maskTraits = GetMaskTraits(language, destination);
    d.conversion = source == destination ? GetIdentityConversionFragment(language)
                                         : GetConversionFragment(language, source, destination);
    d.perPixelDriver = KernelPerPixel<Horizontal>::GetHardwareFragment(language, blends, false, true, false, false);
    d.sourceAccess = GetSourceAccess(language, source);
    d.destinationAccess = GetDestinationAccess(language, destination);
    d.readMask = GetFullMaskFragment(language);
    d.process = GetCopyFragment(language);
    d.transform = IdentityTransform::GetHardwareFragment(language);
    d.sample = GetNearestSampleFragment(language);
    d.blend = blends ? NormalBlend::GetHardwareFragment(language) : GetBlendFragment(language);
    d.extend = Safe::GetHardwareFragment(language);
    d.filter = GetPlainFilterFragment(language);
    return d;
}

std::vector<float> MakeMaskBlock(BufferBase const& mask, std::array<float, 6> const& terms) {
    std::vector<float> block = {12, 3};
    AppendPicture(block, mask);
    block.push_back(6);
    block.insert(block.end(), terms.begin(), terms.end());
    block.push_back(0);
    return block;
}

bool RunKernel(HardwareDriver& driver, HardwareKernelDescriptor const& descriptor, BufferBase const& source,
               BufferBase& destination, BufferBase const* mask, KernelBlocks const& blocks, int pixelsPerItem,
               Kernel::RectT<int> const* rect) {
    void* const kernel = GetKernel(driver, ComposeKernel(driver.GetKernelLanguage(), descriptor));
    if (kernel == nullptr)
        return false;
    std::vector<float> parameters(c_kernelParameterHead);
    parameters[0] = c_kernelParameterHead;
    AppendPicture(parameters, source);
    parameters[1] = static_cast<float>(parameters.size());
    AppendPicture(parameters, destination);
    auto const append = [&](std::size_t index, std::vector<float> const& block) {
        parameters[index] = static_cast<float>(parameters.size());
        parameters.insert(parameters.end(), block.begin(), block.end());
    };
    append(2, blocks.transform);
    append(3, {});
    append(4, blocks.mask);
    append(5, blocks.process);
    append(6, blocks.filter);

    Memory const from(driver, &source), to(driver, &destination), over(driver, mask), nothing(driver, 64);
    HardwareLaunch launch;
    launch.kernel = kernel;
    launch.source = from.Get();
    launch.destination = to.Get();
    launch.mask = mask == nullptr ? nothing.Get() : over.Get();
    launch.secondMask = launch.sampler = launch.process = nothing.Get();
    launch.sourceSize = source.GetSize();
    launch.destinationSize = destination.GetSize();
    if (mask != nullptr)
        launch.maskSize = mask->GetSize();
    launch.parameters = parameters;
    launch.rect = rect == nullptr ? destination.GetBounds() : *rect;
    launch.pixelsPerItem = pixelsPerItem;
    bool const isDone =
        driver.Launch(launch) == HardwareStatus::Done && driver.Finish() == HardwareStatus::Done &&
        driver.Read(to.Get(), {0, destination.GetBufferBytes()}, destination.GetBuffer(), destination.GetBufferBytes(),
                    destination.GetBufferBytes(), 1) == HardwareStatus::Done;
    EXPECT_TRUE(isDone);
    return isDone;
}

std::string NameLanguage(testing::TestParamInfo<int> const& language) {
    return language.param == c_kernelLanguageCuda ? "Cuda" : "OpenCL";
}

HardwareDriver& GetDriver(int language) {
    // Never destroyed, as the kernels are not.
    static auto& cuda = *new ShimDriver(TEST_COMPILER);
    if (language == c_kernelLanguageCuda)
        return cuda;
    static auto& openCL = *new std::vector(FindOpenCLDrivers(true));
    if (openCL.empty())
        throw std::runtime_error("these tests need OpenCL on the machine's processors (Debian: pocl-opencl-icd)");
    return *openCL.front();
}

} // namespace Tests
