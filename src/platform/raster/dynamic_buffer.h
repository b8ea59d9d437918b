// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/buffer.h"
#include "platform/raster/dynamic_base.h"

#include <utility>

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

    // Copies on a device, as the operations of BufferBase of the same names. The buffer exists.
    void* GetHardwareDevice() const { return m_buffer->GetHardwareDevice(); }
    bool SyncHardwareCache(void* device, Kernel::RectT<int> const& rect, bool flag, bool const* abort) const {
        return m_buffer->SyncHardwareCache(device, rect, flag, abort);
    }
    bool SyncHostCache(Kernel::RectT<int> const& rect, bool flag, bool const* abort) {
        return m_buffer->SyncHostCache(rect, flag, abort);
    }
    void InvalidateHostCache(Kernel::RectT<int> const& rect) { m_buffer->InvalidateHostCache(rect); }
    void InvalidateHardwareCache(Kernel::RectT<int> const& rect) { m_buffer->InvalidateHardwareCache(rect); }

private:
    Kernel::Counted<BufferBase> m_buffer;
};

} // namespace Raster
