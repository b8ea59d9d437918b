// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/class_properties.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/serialisable.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>

namespace Kernel {

namespace {

// Open addressing with linear probing; a removal rebuilds the table, because classes leave only when a library is
// unloaded.
class Registry {
public:
    // Never destroyed: libraries take their classes out at an exit time that nobody orders.
    static Registry& Get() {
        static Registry* const s_registry = new Registry;
        return *s_registry;
    }

    ClassProperties const* Find(ClassUID uid) const noexcept {
        std::shared_lock const lock(m_mutex);
        return m_slots[FindSlot(uid)];
    }

    void Add(ClassProperties const* properties) {
        std::unique_lock const lock(m_mutex);
        auto const slot = FindSlot(properties->GetClassUID());
        if (ClassProperties const* const other = m_slots[slot]; other != nullptr)
            throw Exception("the classes " + std::string(other->GetName()) + " and " + properties->GetName() +
                            " have one tag, " + properties->GetClassUID().ToString());
        m_inOrder.push_back(properties);
        if (m_inOrder.size() * 2 > m_slots.size())
            Rebuild(m_slots.size() * 2);
        else
            m_slots[slot] = properties;
    }

    void Remove(ClassProperties const* properties) noexcept {
        std::unique_lock const lock(m_mutex);
        std::erase(m_inOrder, properties);
        std::fill(m_slots.begin(), m_slots.end(), nullptr);
        for (auto const* other : m_inOrder)
            m_slots[FindSlot(other->GetClassUID())] = other;
    }

    std::vector<ClassProperties const*> GetAll() const {
        std::shared_lock const lock(m_mutex);
        return m_inOrder;
    }

private:
    // The slot that holds the tag, or the empty one where it would go.
    std::size_t FindSlot(ClassUID uid) const noexcept {
        auto const mask = m_slots.size() - 1;
        auto slot = (uid.GetValue() * 0x9E3779B97F4A7C15u >> 32) & mask;
        while (m_slots[slot] != nullptr && m_slots[slot]->GetClassUID() != uid)
            slot = (slot + 1) & mask;
        return slot;
    }

    void Rebuild(std::size_t size) {
        m_slots.assign(size, nullptr);
        for (auto const* properties : m_inOrder)
            m_slots[FindSlot(properties->GetClassUID())] = properties;
    }

    mutable std::shared_mutex m_mutex;
    std::vector<ClassProperties const*> m_inOrder;
    std::vector<ClassProperties const*> m_slots = std::vector<ClassProperties const*>(512);
};

} // namespace

ClassProperties::ClassProperties(ClassUID uid, Factory factory, unsigned short version, DefaultItem const* defaults,
                                 ClassProperties const* base, char const* name)
    : m_uid(uid), m_factory(factory), m_version(version), m_defaults(defaults), m_base(base), m_name(name) {}

ClassProperties::~ClassProperties() = default;

Counted<Serialisable> ClassProperties::Create() const { return m_factory == nullptr ? nullptr : m_factory(); }

bool ClassProperties::IsDerivedFrom(ClassProperties const* ancestor) const {
    for (auto const* properties = this; properties != nullptr; properties = properties->m_base) {
        if (properties == ancestor)
            return true;
    }
    return false;
}

ClassPropertiesBase::Init::Init(ClassProperties const* properties) : m_properties(properties) {
    Registry::Get().Add(properties);
}

ClassPropertiesBase::Init::~Init() { Registry::Get().Remove(m_properties); }

ClassProperties const* ClassRegistry::Find(ClassUID uid) noexcept { return Registry::Get().Find(uid); }

std::vector<ClassProperties const*> ClassRegistry::GetAll() { return Registry::Get().GetAll(); }

} // namespace Kernel
