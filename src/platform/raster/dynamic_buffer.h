// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/buffer.h"
#include "platform/raster/dynamic_base.h"
#include "platform/raster/hardware.h"

#include <memory>

namespace Raster {

// Owns a buffer whose format is known when the program runs.
class REDRAFT_ENGINE DynamicBuffer final : public virtual Kernel::Countable, public DynamicBase<DynamicBuffer> {
public:
    template <class Traits>
    using Typed = typename Traits::BufferType;

    DynamicBuffer() = default;
    DynamicBuffer(int width, int height, Format format) { Create(width, height, format); }
    explicit DynamicBuffer(Kernel::Counted<BufferBase> buffer) : m_buffer(std::move(buffer)) {}

    // A new buffer, all zero, instead of what there was. Exceptions as BufferBase::Create.
    void Create(int width, int height, Format format) { m_buffer = BufferBase::Create(width, height, format); }

    void const* GetBuffer() const { return std::as_const(*m_buffer).GetBuffer(); }
    void* GetBuffer() { return m_buffer->GetBuffer(); }

    Kernel::NonCounted<BufferBase const> GetBase() const { return m_buffer; }
    Kernel::NonCounted<BufferBase> GetBase() { return m_buffer; }
    template <class B>
    B const& As() const {
        return static_cast<B const&>(*m_buffer);
    }
    template <class B>
    B& AsMutable() {
        return static_cast<B&>(*m_buffer);
    }
    Kernel::Counted<DynamicBuffer> CloneDerived(bool* abort) const {
        return Kernel::MakeCounted<DynamicBuffer>(m_buffer ? m_buffer->Clone(abort) : Kernel::Counted<BufferBase>());
    }

    // Channels side by side, as BufferBase. The buffer exists.
    void ReadPixels(Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes) const {
        m_buffer->ReadPixels(rect, pixels, rowBytes);
    }
    void WritePixels(Kernel::RectT<int> const& rect, void const* pixels, std::size_t rowBytes) {
        m_buffer->WritePixels(rect, pixels, rowBytes);
    }
    void Clear(DynamicPixel const& pixel) { m_buffer->Clear(pixel); }

    // A device's copy of the pixels, which a clone has not; null as at first: all pixels are here.
    void SetHardwareCopy(std::shared_ptr<HardwareCopy> copy) {
        m_hardwareCopy = std::move(copy);
        m_newerThere = {};
    }
    // The device has written a rectangle, or it was written here.
    void InvalidateHostCache(Kernel::RectT<int> const& rect);
    void InvalidateHardwareCache(Kernel::RectT<int> const& rect);
    // Fetches what the device has written inside a rectangle. The flag has no meaning here. False, with the pixels as
    // they were, when the device fails or *abort becomes true; `abort` may be null.
    bool SyncHostCache(Kernel::RectT<int> const& rect, bool flag, bool const* abort);

private:
    Kernel::Counted<BufferBase> m_buffer;
    std::shared_ptr<HardwareCopy> m_hardwareCopy;
    // Pixels that are newer on the device than here.
    Kernel::RectT<int> m_newerThere;
};

} // namespace Raster
