// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/hardware.h"
#include "platform/raster/hardware_devices.h"
#include "raster/pipeline/pipeline.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "raster/solarise_rule.h"
#include "tests/raster/hardware/test_devices.h"
#include "tests/raster/layer_fixture.h"
#include "tests/support/hardware/failing_driver.h"
#include "tests/support/hardware/shim_driver.h"

#include <filesystem>
#include <unistd.h>

namespace {

using namespace Commands;
using Judge::Planes;
using Raster::HardwareStatus;
using Raster::Tests::DriverCall;
using Devices = Raster::Hardware<Raster::DefaultImplementation>;
using Rect = Kernel::RectT<int>;
using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;
using Bitmap = Kernel::Counted<Raster::DynamicBitmap>;
using Solarise = PointEffect<SolariseRule>;

class Counts {
public:
    std::uint64_t GetExecuted() const { return Devices::GetExecutedKernels() - m_executed; }
    std::uint64_t GetFailed() const { return Devices::GetFailedKernels() - m_failed; }

private:
    std::uint64_t m_executed = Devices::GetExecutedKernels(), m_failed = Devices::GetFailedKernels();
};

template <class Effect = Solarise>
Bitmap Apply(Raster::DynamicBitmap const& source, RasterEffectOptions& options, int channels = -1,
             Effect const& effect = {}) {
    auto const result = source.Clone(nullptr);
    PipelineOptions own(options, channels);
    DriveEffect(result->GetMutableBase(), *source.GetBase(), own, nullptr, effect);
    return result;
}

template <class Effect = Solarise>
Bitmap Apply(Raster::DynamicBitmap const& source, int channels = -1, Effect const& effect = {}) {
    RasterEffectOptions options;
    return Apply(source, options, channels, effect);
}

bool AreEqual(Raster::DynamicBitmap const& a, Raster::DynamicBitmap const& b) {
    return Judge::CountDifferent(Planes<RGBA8>(a), Planes<RGBA8>(b)) == 0;
}

// Keeps kernels for the devices of one test.
class KernelFolder {
public:
    KernelFolder() : m_path(testing::TempDir() + "kernels-" + std::to_string(::getpid())) {}
    KernelFolder(KernelFolder const&) = delete;
    KernelFolder& operator=(KernelFolder const&) = delete;
    ~KernelFolder() { std::filesystem::remove_all(m_path); }
    std::string const& GetPath() const { return m_path; }

private:
    std::string m_path;
};

// A device whose driver fails as it is told to.
struct FaultyDevice {
    explicit FaultyDevice(std::string const& kernelFolder)
        : failures(std::make_shared<Raster::Tests::Failures>()),
          devices(Kernel::MakeCounted<Raster::HardwareDevices>(
              [told = failures] {
                  std::vector<std::unique_ptr<Raster::HardwareDriver>> drivers;
                  drivers.push_back(
                      std::make_unique<Raster::Tests::FailingDriver>(std::make_unique<Tests::ShimDriver>(), told));
                  return drivers;
              },
              Raster::HardwareSettings{.kernelFolder = kernelFolder, .waitsForKernels = true})) {}

    std::shared_ptr<Raster::Tests::Failures> failures;
    Kernel::Counted<Raster::HardwareDevices const> devices;
};

// Says that its language is one that nobody knows.
class ForeignDriver final : public Raster::HardwareDriver {
public:
    explicit ForeignDriver(int language) : m_language(language) {}
    Raster::HardwareInfo const& GetInfo() const override { return m_info; }
    int GetKernelLanguage() const override { return m_language; }
    HardwareStatus Allocate(std::size_t, void*&) override { return Refuse(); }
    void Free(void*) noexcept override {}
    HardwareStatus Write(void*, Raster::HardwareRows const&, void const*, std::size_t, std::size_t,
                         std::size_t) override {
        return Refuse();
    }
    HardwareStatus Read(void*, Raster::HardwareRows const&, void*, std::size_t, std::size_t, std::size_t) override {
        return Refuse();
    }
    HardwareStatus Copy(void*, Raster::HardwareRows const&, void*, Raster::HardwareRows const&, std::size_t,
                        std::size_t) override {
        return Refuse();
    }
    HardwareStatus Compile(std::string const&, std::vector<std::byte>&, std::string&) override { return Refuse(); }
    HardwareStatus LoadKernel(std::span<std::byte const>, void*&) override { return Refuse(); }
    void FreeKernel(void*) noexcept override {}
    HardwareStatus Launch(Raster::HardwareLaunch const&) override { return Refuse(); }
    HardwareStatus Finish() override { return HardwareStatus::Done; }

private:
    static HardwareStatus Refuse() {
        ADD_FAILURE() << "a device of an unknown language has been used";
        return HardwareStatus::Failed;
    }
    Raster::HardwareInfo m_info;
    int m_language;
};

// Adds parameters that its kernel does not look at.
struct LongSolarise final : HardwareStages {
    HardwareStages const& GetHardwareStages() const { return *this; }
    char const* GetProcess(int language) const override { return SolariseRule::GetHardwareFragment(language); }
    bool AppendProcess(KernelParameters& parameters) const override {
        return parameters.Append(std::vector<float>(length));
    }
    double GetLeastScale() const { return 1; }
    template <class SourceTraits, class Traits, class F>
    void WithShader(Raster::BitmapBase const& source, int level, F const& use) const {
        Solarise().WithShader<SourceTraits, Traits>(source, level, use);
    }
    std::size_t length = 0;
};

} // namespace

TEST(HardwareAttempt, DoesOnTheDeviceWhatSoftwareDoes) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    auto const expected = Apply(*source);
    for (int language : {0, 1}) {
        Raster::HardwareDevicesSession const session(GetTestDevices(language));
        Counts const counts;
        RasterEffectOptions options;
        auto const result = Apply(*source, options);
        EXPECT_TRUE(options.touched);
        EXPECT_EQ(1u, counts.GetExecuted());
        EXPECT_EQ(0u, counts.GetFailed());
        EXPECT_NE(nullptr, result->GetBase()->GetHardwareDevice());
        EXPECT_TRUE(AreEqual(*expected, *result));
    }
}

TEST(HardwareAttempt, OfASmallRectangleIsRefusedAndCounts) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    Rect const region{10, 20, 12, 21};
    ASSERT_FALSE(Raster::ShouldExecuteKernel(region));
    RasterEffectOptions options;
    options.region = &region;
    auto const expected = Apply(*source, options);
    Raster::HardwareDevicesSession const session(GetTestDevices(0));
    Counts const counts;
    auto const result = Apply(*source, options);
    EXPECT_EQ(0u, counts.GetExecuted());
    EXPECT_EQ(1u, counts.GetFailed());
    EXPECT_TRUE(options.touched);
    EXPECT_TRUE(AreEqual(*expected, *result));
    EXPECT_FALSE(AreEqual(*source, *result));
}

TEST(HardwareAttempt, WithoutADeviceCounts) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    Counts const counts;
    Apply(*source);
    EXPECT_EQ(1u, counts.GetFailed());
    auto const devices = GetTestDevices(0);
    Raster::HardwareDevicesSession const session(devices);
    {
        Raster::HardwareGPUEnabledSession const software(false);
        Apply(*source);
    }
    EXPECT_EQ(2u, counts.GetFailed());
    EXPECT_EQ(0u, counts.GetExecuted());
    Apply(*source);
    EXPECT_EQ(1u, counts.GetExecuted());
}

// A thread that may use no device uses none either for pixels that lie on one.
TEST(HardwareAttempt, OfAThreadWithoutDevicesFetchesThePixels) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    auto const expected = Apply(*Apply(*source));
    Raster::HardwareDevicesSession const session(GetTestDevices(0));
    auto const once = Apply(*source);
    ASSERT_NE(nullptr, once->GetBase()->GetHardwareDevice());
    Raster::HardwareGPUEnabledSession const software(false);
    Counts const counts;
    EXPECT_TRUE(AreEqual(*expected, *Apply(*once)));
    EXPECT_EQ(1u, counts.GetFailed());
}

TEST(HardwareAttempt, TakesAsManyParametersAsABlockHas) {
    // The head, two bitmaps and the filter.
    constexpr std::size_t c_rest = Raster::c_kernelParameterHead + 2 * Raster::BitmapBase::c_hardwareParameterCount + 1;
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    auto const expected = Apply(*source);
    Raster::HardwareDevicesSession const session(GetTestDevices(0));
    LongSolarise effect;
    effect.length = Raster::c_maximumKernelParameters - c_rest;
    Counts const fits;
    EXPECT_TRUE(AreEqual(*expected, *Apply(*source, -1, effect)));
    EXPECT_EQ(1u, fits.GetExecuted());
    ++effect.length;
    Counts const exceeds;
    EXPECT_TRUE(AreEqual(*expected, *Apply(*source, -1, effect)));
    EXPECT_EQ(0u, exceeds.GetExecuted());
    EXPECT_EQ(1u, exceeds.GetFailed());
}

TEST(HardwareAttempt, InALanguageThatDoesNotExistIsRefused) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    auto const expected = Apply(*source);
    for (int language : {-1, 2, 7}) {
        auto const devices = Kernel::MakeCounted<Raster::HardwareDevices>(
            [language] {
                std::vector<std::unique_ptr<Raster::HardwareDriver>> drivers;
                drivers.push_back(std::make_unique<ForeignDriver>(language));
                return drivers;
            },
            Raster::HardwareSettings());
        Raster::HardwareDevicesSession const session(devices);
        Counts const counts;
        EXPECT_TRUE(AreEqual(*expected, *Apply(*source)));
        EXPECT_EQ(1u, counts.GetFailed());
        EXPECT_EQ(0u, counts.GetExecuted());
    }
}

// Neither engine does anything, and nothing counts.
TEST(HardwareAttempt, EndsWithAnAbort) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 1);
    bool abort = true;
    RasterEffectOptions options;
    options.abort = &abort;
    for (int language : {0, 1}) {
        Raster::HardwareDevicesSession const session(GetTestDevices(language));
        Counts const counts;
        auto const result = Apply(*source, options);
        EXPECT_TRUE(AreEqual(*source, *result));
        EXPECT_FALSE(options.touched);
        EXPECT_EQ(0u, counts.GetFailed());
        EXPECT_EQ(0u, counts.GetExecuted());
    }
}

// Effects in a row, with a look at the pixels between them, whichever call of the driver fails and however.
TEST(HardwareAttempt, SurvivesTheFailureOfEachCall) {
    auto const source = Judge::RandomBitmap<RGBA8>(280, 40, 3);
    auto const runAll = [&] {
        auto const first = Apply(*source);
        auto const second = Apply(*first, 5);
        auto const whole = Apply(*second);
        auto const third = Apply(*first);
        return std::array<Bitmap, 4>{first, second, whole, third};
    };
    auto const expected = runAll();
    KernelFolder const folder;
    for (auto const status : {HardwareStatus::Failed, HardwareStatus::OutOfMemory, HardwareStatus::Lost}) {
        for (bool const forever : {false, true}) {
            for (int n = 1;; ++n) {
                FaultyDevice device(folder.GetPath());
                Raster::HardwareDevicesSession const session(device.devices);
                device.failures->Set(DriverCall::Any, n, status, forever);
                Counts const counts;
                auto const result = runAll();
                for (std::size_t i = 0; i != expected.size(); ++i)
                    ASSERT_TRUE(AreEqual(*expected[i], *result[i]))
                        << "bitmap " << i << ", call " << n << ", status " << static_cast<int>(status);
                EXPECT_EQ(4u, counts.GetExecuted() + counts.GetFailed());
                if (device.failures->GetFailed() == 0) {
                    EXPECT_EQ(4u, counts.GetExecuted());
                    break;
                }
                ASSERT_LT(n, 1000);
            }
        }
    }
}

TEST(HardwareAttempt, OfALostDeviceIsMadeGoodThroughTheMaskThatItHad) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 3);
    auto const mask = Raster::BitmapBase::Create(300, 270, Raster::FormatA8);
    Raster::DynamicPixel selected(Raster::FormatA8);
    selected.SetSample(0, 255);
    mask->Fill({20, 20, 280, 200}, selected);
    MaskRecord const record{mask, {}};
    auto const run = [&] {
        auto const result = source->Clone(nullptr);
        RasterEffectOptions options;
        PipelineOptions own(options, -1);
        DriveEffect(result->GetMutableBase(), *source->GetBase(), own, &record, Solarise());
        return result;
    };
    auto const expected = run();
    KernelFolder const folder;
    FaultyDevice device(folder.GetPath());
    Raster::HardwareDevicesSession const session(device.devices);
    Counts const counts;
    auto const result = run();
    EXPECT_EQ(1u, counts.GetExecuted());
    mask->Clear(selected);
    device.failures->Set(DriverCall::Read, 1, HardwareStatus::Lost);
    EXPECT_TRUE(AreEqual(*expected, *result));
    EXPECT_GT(device.failures->GetFailed(), 0);
}

// A device that has failed once is used again, and what it failed at leaves nothing behind.
TEST(HardwareAttempt, GoesOnWithADeviceThatFailedOnce) {
    auto const source = Judge::RandomBitmap<RGBA8>(300, 270, 3);
    auto const once = Apply(*source);
    auto const twice = Apply(*once);
    KernelFolder const folder;
    for (auto const call : {DriverCall::Compile, DriverCall::LoadKernel, DriverCall::Allocate, DriverCall::Write,
                            DriverCall::Launch, DriverCall::Finish}) {
        FaultyDevice device(folder.GetPath());
        Raster::HardwareDevicesSession const session(device.devices);
        device.failures->Set(call, 1, HardwareStatus::Failed);
        auto const result = source->Clone(nullptr);
        for (auto const& expected : {once, twice}) {
            auto const before = result->Clone(nullptr);
            RasterEffectOptions options;
            PipelineOptions own(options, -1);
            DriveEffect(result->GetMutableBase(), *before->GetBase(), own, nullptr, Solarise());
            EXPECT_TRUE(AreEqual(*expected, *result));
        }
    }
}

TEST(HardwareAttempt, OfADomainsCommandsIsAtItsOwnDevices) {
    LayerDocument first(Judge::RandomBitmap<RGBA8>(300, 270, 1)), second(Judge::RandomBitmap<RGBA8>(300, 270, 1));
    first.controller->SetHardware(GetTestDevices(0));
    Counts const counts;
    first.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(1u, counts.GetExecuted());
    EXPECT_EQ(nullptr, Devices::GetDevice());
    second.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(1u, counts.GetExecuted());
    EXPECT_EQ(1u, counts.GetFailed());
    EXPECT_TRUE(AreEqual(*first.layer->GetBitmap(), *second.layer->GetBitmap()));
    first.controller->SetHardware({});
    first.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_EQ(1u, counts.GetExecuted());
}

TEST(HardwareAttempt, IsUndoneAndRedoneExactly) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 270, 1));
    document.controller->SetHardware(GetTestDevices(0));
    auto const before = document.controller->GetHash(false);
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    auto const after = document.controller->GetHash(false);
    document.controller->Undo();
    document.controller->Undo();
    EXPECT_EQ(before, document.controller->GetHash(false));
    document.controller->Redo();
    document.controller->Redo();
    EXPECT_EQ(after, document.controller->GetHash(false));
}

// The software engine would make other pixels: steps keep those of the device, in any process.
TEST(HardwareAttempt, OfAStepIsNotRepeatedByUndoAndRedo) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 270, 1));
    document.controller->SetHardware(GetTestDevices(0));
    auto const before = document.controller->GetHash(false);
    document.controller->Run(Kernel::MakeCounted<RasterPolarToRectangularCommand>());
    auto const after = document.controller->GetHash(false);
    LayerDocument other(Judge::RandomBitmap<RGBA8>(300, 270, 1));
    other.controller->Run(Kernel::MakeCounted<RasterPolarToRectangularCommand>());
    EXPECT_FALSE(AreEqual(*document.layer->GetBitmap(), *other.layer->GetBitmap()));
    std::string const path = testing::TempDir() + "kept-" + std::to_string(::getpid()) + ".redraft";
    document.controller->Save(path);
    auto const reloaded = DocumentController::Open(path, true);
    std::filesystem::remove(path);
    document.controller->SetHardware({});
    Counts const counts;
    for (auto const& controller : {document.controller, reloaded}) {
        EXPECT_EQ(after, controller->GetHash(false));
        controller->Undo();
        EXPECT_EQ(before, controller->GetHash(false));
        controller->Redo();
        EXPECT_EQ(after, controller->GetHash(false));
    }
    EXPECT_EQ(0u, counts.GetExecuted() + counts.GetFailed());
}

// Each pixel of a dither hangs on those before it.
TEST(HardwareAttempt, OfTheDitherIsInFormOnly) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 270, 1)), other(Judge::RandomBitmap<RGBA8>(300, 270, 1));
    other.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
    document.controller->SetHardware(GetTestDevices(0));
    Counts const counts;
    document.controller->Run(Kernel::MakeCounted<RasterWebSafeDitherCommand>());
    EXPECT_EQ(1u, counts.GetFailed());
    // The merge is a run of its own.
    EXPECT_EQ(1u, counts.GetExecuted());
    EXPECT_TRUE(AreEqual(*other.layer->GetBitmap(), *document.layer->GetBitmap()));
}
