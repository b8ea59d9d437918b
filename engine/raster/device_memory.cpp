// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/device_memory.h"

#include <algorithm>
#include <unordered_map>

namespace Raster {

namespace {

std::uint64_t TellTime() {
    static std::atomic<std::uint64_t> s_time{0};
    return s_time.fetch_add(1, std::memory_order_relaxed) + 1;
}

} // namespace

int DeviceLayout::Describe(float* parameters) const {
    parameters[0] = static_cast<float>(width);
    parameters[1] = static_cast<float>(height);
    parameters[2] = static_cast<float>(GetRowSamples());
    return 3;
}

// Entries keep nothing alive.
struct DeviceMemory::Registry {
    std::mutex mutex;
    std::unordered_map<DeviceMemory*, std::weak_ptr<DeviceMemory>> entries;
};

// Never destroyed: bitmaps in static objects may outlive it.
DeviceMemory::Registry& DeviceMemory::GetRegistry() {
    static auto& s_registry = *new Registry;
    return s_registry;
}

DeviceMemory::~DeviceMemory() {
    auto& registry = GetRegistry();
    std::lock_guard const lock(registry.mutex);
    registry.entries.erase(this);
}

bool DeviceMemory::Allocate(Device& device) {
    device.SetEvict([&device](std::size_t bytes) { GiveUpOldest(device, bytes); });
    auto block = device.Allocate(m_layout.GetBytes());
    if (block == nullptr)
        return false;
    m_block = std::move(block);
    m_lastUse.store(TellTime(), std::memory_order_relaxed);
    auto& registry = GetRegistry();
    std::lock_guard const lock(registry.mutex);
    registry.entries.emplace(this, weak_from_this());
    return true;
}

std::shared_ptr<DeviceBlock> DeviceMemory::GetBlock() const {
    std::lock_guard const lock(m_mutex);
    return m_block == nullptr || m_block->GetDevice().IsLost() ? nullptr : m_block;
}

Device* DeviceMemory::GetDevice() const {
    auto const block = GetBlock();
    return block == nullptr ? nullptr : &block->GetDevice();
}

bool DeviceMemory::IsOn(Device const& device) const { return GetDevice() == &device; }

// The block is kept beside: the picture may give it up as spoilt meanwhile.
struct DeviceMemory::Retained {
    std::shared_ptr<DeviceMemory> memory;
    std::shared_ptr<DeviceBlock> block;
};

DeviceMemory* DeviceMemory::FindRetained(Prolongation const& holder, int slot) {
    auto const& owner = holder.owners[static_cast<std::size_t>(slot)];
    return owner == nullptr ? nullptr : static_cast<Retained const*>(owner.get())->memory.get();
}

void* DeviceMemory::Retain(Prolongation& holder, int slot, bool readOnly) {
    if (slot < 0 || slot >= Prolongation::c_slotCount || FindRetained(holder, slot) != nullptr)
        return nullptr;
    auto const index = static_cast<std::size_t>(slot);
    auto retained = std::make_shared<Retained>();
    retained->memory = shared_from_this();
    {
        std::lock_guard const lock(m_mutex);
        if (m_block == nullptr || m_block->GetDevice().IsLost())
            return nullptr;
        m_uses.Increment();
        retained->block = m_block;
    }
    m_lastUse.store(TellTime(), std::memory_order_relaxed);
    if (!readOnly)
        m_writer.Acquire();
    void* const buffer = retained->block->Get();
    holder.buffers[index] = buffer;
    holder.owners[index] = std::move(retained);
    holder.uses[index] = &m_uses;
    holder.writers[index] = readOnly ? nullptr : &m_writer;
    holder.isReadOnly[index] = readOnly;
    return buffer;
}

void DeviceMemory::GiveUpOldest(Device const& device, std::size_t bytes) {
    std::vector<std::shared_ptr<DeviceMemory>> found;
    {
        auto& registry = GetRegistry();
        std::lock_guard const lock(registry.mutex);
        for (auto const& [object, entry] : registry.entries) {
            if (auto memory = entry.lock())
                found.push_back(std::move(memory));
        }
    }
    std::vector<std::pair<std::uint64_t, DeviceMemory*>> byAge;
    for (auto const& memory : found) {
        if (memory->IsOn(device))
            byAge.emplace_back(memory->m_lastUse.load(std::memory_order_relaxed), memory.get());
    }
    std::sort(byAge.begin(), byAge.end());
    std::size_t freed = 0;
    for (auto const& [time, memory] : byAge) {
        freed += memory->GiveUp();
        if (freed >= bytes)
            return;
    }
}

} // namespace Raster
