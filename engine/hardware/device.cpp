// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/device.h"

#include "engine/hardware/device_kernels.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace Raster {

namespace {

// Blocks are kept for reuse up to this share of the limit, and so many of them.
constexpr std::size_t c_keptShare = 4;
constexpr std::size_t c_mostKept = 64;
// Enough for any type that a kernel reads its first pixel as.
constexpr std::size_t c_identityBytes = 256;
// One row that is written to many is repeated in this much host memory.
constexpr std::size_t c_repeatedBytes = std::size_t{1} << 20;

// The device whose memory this thread is making room in.
thread_local Device const* s_evicting = nullptr;

std::size_t GetLimit(HardwareInfo const& info, double share) {
    // Not a number is no share.
    double const valid = share > 0 ? std::min(share, 1.0) : 0.0;
    return static_cast<std::size_t>(static_cast<double>(info.memoryBytes) * valid);
}

// Sizes that blocks have, an eighth of a power of two apart, so that a block is likely to serve again.
std::size_t RoundUp(std::size_t bytes, std::size_t largest) {
    std::size_t const step = std::max<std::size_t>(256, std::bit_floor(bytes) / 8);
    std::size_t const rounded = (bytes + step - 1) / step * step;
    return largest >= bytes ? std::min(rounded, largest) : rounded;
}

// Whether these rows lie one behind another in so many bytes.
bool AreRowsInside(HardwareRows const& place, std::size_t rowBytes, std::size_t rows, std::size_t bytes) {
    if (rows > 1 && place.pitch < rowBytes)
        return false;
    if (place.offset > bytes || rowBytes > bytes - place.offset)
        return false;
    return rows < 2 || place.pitch <= (bytes - place.offset - rowBytes) / (rows - 1);
}

} // namespace

HardwareDriver::~HardwareDriver() = default;

DeviceBlock::DeviceBlock(std::shared_ptr<Device> device, void* block, std::size_t bytes)
    : m_device(std::move(device)), m_block(block), m_bytes(bytes) {}
DeviceBlock::~DeviceBlock() { m_device->GiveBack(m_block, m_bytes); }

Device::Device(std::unique_ptr<HardwareDriver> driver, HardwareSettings settings, Compose compose)
    : m_driver(std::move(driver)),
      m_settings(std::move(settings)),
      m_memoryLimit(GetLimit(m_driver->GetInfo(), m_settings.memoryShare)),
      m_kernels(std::make_unique<DeviceKernels>(*this, *m_driver, std::move(compose))) {}

Device::~Device() {
    // Kernels are compiled to the end before.
    m_kernels.reset();
    FreeKeptBlocks();
    if (m_identity != nullptr)
        m_driver->Free(m_identity);
}

std::shared_ptr<DeviceBlock> Device::Allocate(std::size_t bytes) {
    auto const largest = GetInfo().largestBlockBytes;
    if (bytes > m_memoryLimit || (largest != 0 && bytes > largest))
        return nullptr;
    std::size_t const rounded = std::min(RoundUp(std::max<std::size_t>(bytes, 1), largest), m_memoryLimit);
    void* block = nullptr;
    std::size_t missing = 0;
    auto status = TryAllocate(rounded, block, missing);
    if (status == HardwareStatus::OutOfMemory && AskForMemory(missing))
        status = TryAllocate(rounded, block, missing);
    if (status != HardwareStatus::Done)
        return nullptr;
    try {
        return std::make_shared<DeviceBlock>(shared_from_this(), block, rounded);
    } catch (...) {
        GiveBack(block, rounded);
        throw;
    }
}

// OutOfMemory also where the limit is what it meets; `missing` is how much too little there is.
HardwareStatus Device::TryAllocate(std::size_t bytes, void*& block, std::size_t& missing) {
    std::scoped_lock const lock(m_mutex);
    if (IsLost())
        return HardwareStatus::Lost;
    auto const kept = std::find_if(m_kept.rbegin(), m_kept.rend(), [&](auto const& one) { return one.bytes == bytes; });
    if (kept != m_kept.rend()) {
        block = kept->block;
        m_kept.erase(std::next(kept).base());
        m_keptBytes -= bytes;
        m_usedBytes += bytes;
        return HardwareStatus::Done;
    }
    if (m_usedBytes > m_memoryLimit - bytes) {
        missing = m_usedBytes - (m_memoryLimit - bytes);
        return HardwareStatus::OutOfMemory;
    }
    while (m_usedBytes + m_keptBytes > m_memoryLimit - bytes)
        FreeOldestKept();
    auto const allocate = [&](HardwareDriver& driver) { return driver.Allocate(bytes, block); };
    auto status = CallLocked(allocate);
    while (status == HardwareStatus::OutOfMemory && !m_kept.empty()) {
        FreeOldestKept();
        status = CallLocked(allocate);
    }
    missing = bytes;
    if (status == HardwareStatus::Done)
        m_usedBytes += bytes;
    return status;
}

bool Device::AskForMemory(std::size_t bytes) {
    Evict evict;
    {
        std::scoped_lock const lock(m_mutex);
        evict = m_evict;
    }
    if (!evict || s_evicting == this || IsLost())
        return false;
    struct Asking {
        explicit Asking(Device const* device) : before(std::exchange(s_evicting, device)) {}
        ~Asking() { s_evicting = before; }
        Device const* before;
    };
    Asking const asking(this);
    evict(bytes);
    return true;
}

void Device::SetEvict(Evict evict) {
    std::scoped_lock const lock(m_mutex);
    m_evict.swap(evict);
}

std::size_t Device::GetUsedBytes() const {
    std::scoped_lock const lock(m_mutex);
    return m_usedBytes;
}

void Device::FreeOldestKept() {
    m_driver->Free(m_kept.front().block);
    m_keptBytes -= m_kept.front().bytes;
    m_kept.pop_front();
}

void Device::FreeKeptBlocks() {
    std::scoped_lock const lock(m_mutex);
    while (!m_kept.empty())
        FreeOldestKept();
}

void Device::GiveBack(void* block, std::size_t bytes) noexcept {
    std::scoped_lock const lock(m_mutex);
    m_usedBytes -= bytes;
    if (bytes <= m_memoryLimit / c_keptShare && !IsLost()) {
        try {
            m_kept.push_back({block, bytes});
            m_keptBytes += bytes;
            while (m_kept.size() > c_mostKept || m_keptBytes > m_memoryLimit / c_keptShare)
                FreeOldestKept();
            return;
        } catch (std::bad_alloc const&) {
            // Not kept, then.
        }
    }
    m_driver->Free(block);
}

bool Device::Write(DeviceBlock& block, HardwareRows const& there, void const* host, std::size_t hostPitch,
                   std::size_t rowBytes, std::size_t rows) {
    if (rowBytes == 0 || rows == 0)
        return !IsLost();
    if (&block.GetDevice() != this || !AreRowsInside(there, rowBytes, rows, block.GetBytes()) ||
        (hostPitch != 0 && rows > 1 && hostPitch < rowBytes))
        return false;
    auto const write = [&](HardwareRows const& place, void const* from, std::size_t pitch, std::size_t count) {
        return CallDriverWithMemory(block.GetBytes(), [&](HardwareDriver& driver) {
                   return driver.Write(block.Get(), place, from, pitch, rowBytes, count);
               }) == HardwareStatus::Done;
    };
    if (hostPitch != 0 || rows == 1)
        return write(there, host, rows == 1 ? rowBytes : hostPitch, rows);
    std::size_t const repeats = std::min(rows, std::max<std::size_t>(c_repeatedBytes / rowBytes, 1));
    std::vector<std::byte> repeated(repeats * rowBytes);
    for (std::size_t i = 0; i != repeats; ++i)
        std::memcpy(repeated.data() + i * rowBytes, host, rowBytes);
    for (std::size_t row = 0; row < rows; row += repeats) {
        HardwareRows const place{there.offset + row * there.pitch, there.pitch};
        if (!write(place, repeated.data(), rowBytes, std::min(repeats, rows - row)))
            return false;
    }
    return true;
}

bool Device::Read(DeviceBlock& block, HardwareRows const& there, void* host, std::size_t hostPitch,
                  std::size_t rowBytes, std::size_t rows) {
    if (rowBytes == 0 || rows == 0)
        return !IsLost();
    if (&block.GetDevice() != this || !AreRowsInside(there, rowBytes, rows, block.GetBytes()) ||
        (rows > 1 && hostPitch < rowBytes))
        return false;
    return CallDriverWithMemory(block.GetBytes(), [&](HardwareDriver& driver) {
               return driver.Read(block.Get(), there, host, rows == 1 ? rowBytes : hostPitch, rowBytes, rows);
           }) == HardwareStatus::Done;
}

bool Device::Copy(DeviceBlock& from, HardwareRows const& there, DeviceBlock& to, HardwareRows const& here,
                  std::size_t rowBytes, std::size_t rows) {
    if (rowBytes == 0 || rows == 0)
        return !IsLost();
    if (&from.GetDevice() != this || &to.GetDevice() != this ||
        !AreRowsInside(there, rowBytes, rows, from.GetBytes()) || !AreRowsInside(here, rowBytes, rows, to.GetBytes()))
        return false;
    return CallDriverWithMemory(to.GetBytes(), [&](HardwareDriver& driver) {
               return driver.Copy(from.Get(), there, to.Get(), here, rowBytes, rows);
           }) == HardwareStatus::Done;
}

void* Device::GetIdentityBuffer() {
    std::scoped_lock const lock(m_mutex);
    if (IsLost() || m_identity != nullptr)
        return IsLost() ? nullptr : m_identity;
    void* block = nullptr;
    std::byte const zeros[c_identityBytes]{};
    if (CallLocked([&](HardwareDriver& driver) { return driver.Allocate(c_identityBytes, block); }) !=
        HardwareStatus::Done)
        return nullptr;
    auto const status = CallLocked([&](HardwareDriver& driver) {
        return driver.Write(block, {0, c_identityBytes}, zeros, c_identityBytes, c_identityBytes, 1);
    });
    if (status == HardwareStatus::Done)
        return m_identity = block;
    m_driver->Free(block);
    return nullptr;
}

} // namespace Raster
