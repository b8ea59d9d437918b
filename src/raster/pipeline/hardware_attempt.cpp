// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/hardware_attempt.h"

#include "platform/kernel/abortable.h"
#include "platform/raster/hardware_fragments.h"

#include <algorithm>

namespace Commands {

namespace {

using Devices = Raster::Hardware<Raster::DefaultImplementation>;
using Raster::HardwareKernelDescriptor;
using Raster::Prolongation;

class Attempt {
public:
    explicit Attempt(HardwareRun const& run) : m_run(run) { m_abort.SetAbortPointer(run.abort); }

    bool Run() {
        return Raster::ShouldExecuteKernel(m_run.rect) && GoesOn() && FindDevice() && GoesOn() && Compose() &&
               m_run.stages.HasKernel() && GoesOn() && IsReady() && GoesOn() && Execute();
    }

private:
    bool GoesOn() const { return !m_abort.IsAborted(); }

    // The device that holds the destination comes before others, where this thread may use it.
    bool FindDevice() {
        if (!Raster::HardwareGPUEnabledSession::IsEnabled())
            return false;
        auto const usable = Devices::GetDevices();
        auto* const own = m_run.destination.GetHardwareDevice();
        m_device = std::find(usable.begin(), usable.end(), own) != usable.end() ? own : Devices::GetDevice();
        return m_device != nullptr;
    }

    bool Compose() {
        int const language = Raster::GetKernelLanguage(m_device);
        auto const from = m_run.source.GetFormat(), to = m_run.destination.GetFormat();
        auto const& stages = m_run.stages;
        auto& d = m_descriptor;
        m_language = language;
        Raster::VisitFormat(from, [&](auto traits) {
            using Traits = decltype(traits);
            d.sourceTraits = Raster::GetSourceTraitsFragment<Traits::c_format>(language);
            d.sourceAccess = Traits::BufferType::GetSourceHardwareFragment(language);
        });
        Raster::VisitFormat(to, [&](auto traits) {
            using Traits = decltype(traits);
            d.destinationTraits = Raster::GetDestTraitsFragment<Traits::c_format>(language);
            d.maskTraits = Raster::GetMaskTraitsFragment<Traits::c_format>(language);
            d.destinationAccess = Traits::BitmapType::GetDestHardwareFragment(language);
            d.readMask = m_run.mask == nullptr ? Raster::GetFullMaskFragment(language)
                                               : Raster::GetMaskChainFragment(language, Traits::c_maskFormat);
        });
        d.conversion = Raster::GetConversionFragment(language, from, to);
        d.perPixelDriver = Raster::KernelPerPixel<Raster::Horizontal>::GetHardwareFragment(language, stages.Blends(),
                                                                                           false, true, false, false);
        d.process = stages.GetProcess(language);
        d.transform = stages.GetTransform(language);
        if (m_run.level != 0 && d.transform != nullptr)
            d.transform = Raster::GetTransformChainFragment(language, d.transform,
                                                            Raster::ScaleTransform::GetHardwareFragment(language));
        d.sample = stages.GetSample(language);
        d.blend =
            stages.Blends() ? Raster::NormalBlend::GetHardwareFragment(language) : Raster::GetBlendFragment(language);
        d.extend = stages.GetExtend(language);
        d.filter =
            m_run.storesAll ? Raster::GetPlainFilterFragment(language) : Raster::GetChannelFilterFragment(language, to);
        return d.IsComplete();
    }

    bool IsReady() const {
        return !Raster::IsKernelBroken(m_descriptor, m_device) && GoesOn() &&
               !Raster::IsKernelPendingCompilation(m_descriptor, m_device, false, m_run.abort);
    }

    bool Execute() {
        auto& destination = m_run.destination;
        auto const before = destination.Clone(nullptr);
        auto const guard = Raster::GetRetainHardwareBufferSemaphoreGuard(m_device);
        destination.ExpectOverwriting(m_run.mask == nullptr && m_run.storesAll ? m_run.rect : Kernel::RectT<int>());
        auto const& source = m_run.source;
        if (!destination.SyncHardwareCache(m_device, m_run.rect, false, m_run.abort) || !GoesOn() ||
            !source.SyncHardwareCache(m_device, source.GetBounds(), false, m_run.abort) || !GoesOn())
            return false;
        auto const held = Kernel::MakeCounted<Prolongation>();
        void* const queue = Devices::GetHardwareWriteQueue(m_device);
        void* const identity = Devices::GetIdentityBuffer(m_device);
        void* const to = destination.RetainHardwareBuffer(m_device, queue, false, false, m_run.rect, *held,
                                                          Prolongation::c_destination);
        if (to == nullptr || !GoesOn())
            return false;
        void* const from = source.RetainHardwareBuffer(m_device, queue, true, false, source.GetBounds(), *held,
                                                       Prolongation::c_source);
        if (from == nullptr || identity == nullptr || !GoesOn())
            return false;
        void* mask = identity;
        Kernel::SizeT<int> maskSize;
        if (m_run.mask != nullptr) {
            auto const& bitmap = *m_run.mask->bitmap;
            mask = bitmap.RetainHardwareBuffer(m_device, queue, true, false, bitmap.GetBounds(), *held,
                                               Prolongation::c_mask);
            maskSize = bitmap.GetSize();
            if (mask == nullptr || !GoesOn())
                return false;
        }
        if (!FillParameters(from, to, mask) || !GoesOn())
            return false;
        auto const* const p = m_parameters.GetData();
        if (!Raster::ExecuteKernel(
                m_language, Raster::HardwareExecutionMode::Pixels, 4, 0, m_device, queue, held, m_descriptor, from,
                source.GetWidth(), source.GetHeight(), to, destination.GetWidth(), destination.GetHeight(), mask,
                maskSize.width, maskSize.height, identity, 0, 0, identity, 0, 0, p, m_parameters.GetLength(), identity,
                m_run.rect, false, false, false, false, 1, 1, 0, 0, m_run.abort, false, false, nullptr))
            return false;
        destination.InvalidateHostCache(m_run.rect, m_run.makeRecipe(before));
        return true;
    }

    // The head names where each block begins; a block that is not used has no length.
    bool FillParameters(void const* from, void const* to, void const* mask) {
        auto& p = m_parameters;
        std::array<float, Raster::c_kernelParameterHead> head{};
        auto const begin = [&](std::size_t block) { head[block] = static_cast<float>(p.GetLength()); };
        if (!p.Append(head))
            return false;
        begin(0);
        if (!AppendBitmap(m_run.source, from))
            return false;
        begin(1);
        if (!AppendBitmap(m_run.destination, to))
            return false;
        begin(2);
        if (!AppendTransform())
            return false;
        begin(3);
        begin(4);
        if (m_run.mask != nullptr && !AppendMask(mask))
            return false;
        begin(5);
        if (!m_run.stages.AppendProcess(p))
            return false;
        begin(6);
        if (!p.Append({static_cast<float>(m_run.channels)}))
            return false;
        for (std::size_t i = 0; i != head.size(); ++i)
            p.Set(static_cast<int>(i), head[i]);
        return true;
    }

    bool AppendBitmap(Raster::BitmapBase const& bitmap, void const* buffer) {
        std::array<float, Raster::BitmapBase::c_hardwareParameterCount> block{};
        bitmap.GetHardwareParams(buffer, block.data());
        return m_parameters.Append(block);
    }

    // A mipmap level is read through a chain of the effect's own transform and its scale.
    bool AppendTransform() {
        auto& p = m_parameters;
        if (m_run.level == 0)
            return m_run.stages.AppendTransform(p);
        int const start = p.GetLength();
        if (!p.Append({0}) || !m_run.stages.AppendTransform(p))
            return false;
        p.Set(start, static_cast<float>(p.GetLength() - start - 1));
        float const scale = 1.0f / static_cast<float>(1 << m_run.level);
        return p.Append({scale, scale});
    }

    // A chain of the mask bitmap and a mask of 1 everywhere, which has no parameters. The bitmap's share: its own
    // block and the affine stage's behind their lengths, and a sampler without parameters.
    bool AppendMask(void const* mask) {
        constexpr auto c_count = Raster::BitmapBase::c_hardwareParameterCount;
        std::array<float, c_count> block{};
        m_run.mask->bitmap->GetHardwareParams(mask, block.data());
        auto const& t = m_run.mask->transform;
        auto& p = m_parameters;
        auto const f = [](double v) { return static_cast<float>(v); };
        return p.Append({c_count + 9, c_count}) && p.Append(block) &&
               p.Append({6, f(t.a), f(t.b), f(t.tx), f(t.c), f(t.d), f(t.ty), 0});
    }

    HardwareRun const& m_run;
    Kernel::Abortable m_abort;
    void* m_device = nullptr;
    int m_language = -1;
    HardwareKernelDescriptor m_descriptor;
    KernelParameters m_parameters;
};

} // namespace

bool TryHardware(HardwareRun const& run) {
    if (Attempt(run).Run())
        return true;
    Kernel::Abortable abort;
    abort.SetAbortPointer(run.abort);
    if (!abort.IsAborted())
        Devices::IncrementFailedKernels(run.destination.GetHardwareDevice());
    return false;
}

} // namespace Commands
