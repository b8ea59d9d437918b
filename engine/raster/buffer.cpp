// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/buffer.h"

#include "engine/raster/buffer_device.h"
#include "engine/raster/interleave.h"
#include "engine/raster/tile_block.h"
#include "platform/kernel/exception.h"
#include "platform/raster/region.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

namespace Raster {

namespace {

constexpr std::size_t c_alignment = 64;

} // namespace

struct BufferBase::Owner {
    // Filled with zeros. calloc gives large blocks without touching them.
    explicit Owner(std::size_t bytes) : allocation(std::calloc(1, bytes + c_alignment)) {
        if (allocation == nullptr)
            throw Kernel::Exception("there is not enough memory for the pixels");
    }
    Owner(Owner const&) = delete;
    Owner& operator=(Owner const&) = delete;
    ~Owner() { std::free(allocation); }

    void* GetBlock() const {
        std::size_t const misfit = reinterpret_cast<std::uintptr_t>(allocation) % c_alignment;
        return static_cast<std::byte*>(allocation) + (c_alignment - misfit) % c_alignment;
    }
    void Release() noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

    std::atomic<std::uint32_t> references{1};
    void* allocation;
};

BufferBase::BufferBase(int width, int height, Format format)
    : m_info(GetFormatInfo(format)), m_width(width), m_height(height) {
    if (m_info.channelCount == 0)
        throw Kernel::Exception("there are no buffers of this pixel format");
    CheckBitmapSize(width, height);
    auto const samples = static_cast<std::size_t>(width) * static_cast<std::size_t>(m_info.sampleBytes);
    m_rowBytes = (samples + c_alignment - 1) / c_alignment * c_alignment;
    m_planeBytes = m_rowBytes * static_cast<std::size_t>(height);
    if (GetBufferBytes() > c_maximumBufferBytes)
        throw Kernel::Exception("a buffer of " + std::to_string(width) + " x " + std::to_string(height) +
                                " pixels is too large");
    m_hardware = std::make_shared<HardwareState>();
    m_owner = new Owner(GetBufferBytes());
    m_block = m_owner->GetBlock();
}

BufferBase::BufferBase(BufferBase const& other)
    : Countable(),
      m_info(other.m_info),
      m_width(other.m_width),
      m_height(other.m_height),
      m_rowBytes(other.m_rowBytes),
      m_planeBytes(other.m_planeBytes),
      m_owner(other.m_owner),
      m_block(other.m_block),
      m_hardware(std::make_shared<HardwareState>(*other.m_hardware)) {
    m_owner->references.fetch_add(1, std::memory_order_relaxed);
}

BufferBase::~BufferBase() { m_owner->Release(); }

Kernel::Counted<BufferBase> BufferBase::Create(int width, int height, Format format) {
    Kernel::Counted<BufferBase> buffer;
    bool const known = VisitFormat(format, [&](auto traits) {
        buffer = Kernel::MakeCounted<typename decltype(traits)::BufferType>(width, height);
    });
    if (!known)
        throw Kernel::Exception("there are no buffers of this pixel format");
    return buffer;
}

Kernel::Counted<BufferBase> BufferBase::Clone(bool* abort) const {
    Kernel::Counted<BufferBase> buffer;
    VisitFormat(GetFormat(), [&](auto traits) {
        buffer = static_cast<typename decltype(traits)::BufferType const&>(*this).Clone(abort);
    });
    return buffer;
}

void* BufferBase::GetBuffer() {
    if (m_owner->references.load(std::memory_order_acquire) != 1) {
        auto* const copy = new Owner(GetBufferBytes());
        std::memcpy(copy->GetBlock(), m_block, GetBufferBytes());
        m_owner->Release();
        m_owner = copy;
        m_block = m_owner->GetBlock();
    }
    return m_block;
}

void BufferBase::CheckRect(Kernel::RectT<int> const& rect) const {
    if (rect.left < 0 || rect.top < 0 || rect.right > m_width || rect.bottom > m_height || rect.left > rect.right ||
        rect.top > rect.bottom)
        throw Kernel::Exception("pixels outside their buffer were asked for");
}

void BufferBase::ReadPixels(Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes) const {
    CheckRect(rect);
    auto const offset = static_cast<std::size_t>(rect.left * m_info.sampleBytes);
    for (int y = rect.top; y != rect.bottom; ++y) {
        void const* rows[5];
        for (int channel = 0; channel != m_info.channelCount; ++channel)
            rows[channel] = static_cast<std::byte const*>(GetRow(channel, y)) + offset;
        InterleaveRow(rows, m_info.channelCount, m_info.sampleBytes, static_cast<std::size_t>(rect.GetWidth()),
                      static_cast<std::byte*>(pixels) + static_cast<std::size_t>(y - rect.top) * rowBytes);
    }
}

void BufferBase::WritePixels(Kernel::RectT<int> const& rect, void const* pixels, std::size_t rowBytes) {
    CheckRect(rect);
    auto const offset = static_cast<std::size_t>(rect.left * m_info.sampleBytes);
    for (int y = rect.top; y != rect.bottom; ++y) {
        void* rows[5];
        for (int channel = 0; channel != m_info.channelCount; ++channel)
            rows[channel] = static_cast<std::byte*>(GetRow(channel, y)) + offset;
        DeinterleaveRow(static_cast<std::byte const*>(pixels) + static_cast<std::size_t>(y - rect.top) * rowBytes,
                        m_info.channelCount, m_info.sampleBytes, static_cast<std::size_t>(rect.GetWidth()), rows);
    }
}

DynamicPixel BufferBase::GetPixel(int x, int y) const {
    CheckRect({x, y, x + 1, y + 1});
    DynamicPixel pixel(GetFormat());
    for (int channel = 0; channel != m_info.channelCount; ++channel) {
        std::uint32_t bits = 0;
        std::memcpy(
            &bits, static_cast<std::byte const*>(GetRow(channel, y)) + static_cast<std::size_t>(x * m_info.sampleBytes),
            static_cast<std::size_t>(m_info.sampleBytes));
        pixel.SetSample(channel, FromSampleBits(bits, m_info));
    }
    return pixel;
}

void BufferBase::Fill(Kernel::RectT<int> const& rect, DynamicPixel const& pixel) {
    auto const clipped = rect.Intersected(GetBounds());
    DynamicPixel const converted = pixel.Converted(GetFormat());
    auto const offset = static_cast<std::size_t>(clipped.left * m_info.sampleBytes);
    for (int channel = 0; channel != m_info.channelCount; ++channel) {
        std::uint32_t const bits = ToSampleBits(converted.GetSample(channel), m_info);
        for (int y = clipped.top; y < clipped.bottom; ++y)
            FillSamples(static_cast<std::byte*>(GetRow(channel, y)) + offset, m_info.sampleBytes,
                        static_cast<std::size_t>(clipped.GetWidth()), bits);
    }
}

} // namespace Raster
