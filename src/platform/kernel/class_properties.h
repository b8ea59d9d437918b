// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/tag.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Kernel {

class Serialisable;

class REDRAFT_ENGINE ClassPropertiesBase {
public:
    // A value that a class is given when its tag is missing. No class of this system has one.
    struct DefaultItem {
        IDTag tag;
        std::uint32_t type = 0;
    };
    class Init;
};

// The registry's entry for one persisted class. Made once for each class, before any object of it; never moved.
class REDRAFT_ENGINE ClassProperties : public ClassPropertiesBase {
public:
    using Factory = Counted<Serialisable> (*)();

    // `base` is the registered parent, which is data of the format and need not be the C++ base; null for none.
    // `name` is the class's plain name and must outlive this object.
    ClassProperties(ClassUID uid, Factory factory, unsigned short version, DefaultItem const* defaults,
                    ClassProperties const* base, char const* name);
    ClassProperties(ClassProperties const&) = delete;
    ClassProperties& operator=(ClassProperties const&) = delete;
    ~ClassProperties();

    ClassUID GetClassUID() const { return m_uid; }
    unsigned short GetVersion() const { return m_version; }
    ClassProperties const* GetBase() const { return m_base; }
    char const* GetName() const { return m_name; }
    DefaultItem const* GetDefaults() const { return m_defaults; }
    // An empty object; null factory for classes that cannot be made by tag.
    Counted<Serialisable> Create() const;
    // True for the class itself and its registered ancestors.
    bool IsDerivedFrom(ClassProperties const* ancestor) const;

private:
    ClassUID m_uid;
    Factory m_factory;
    unsigned short m_version;
    DefaultItem const* m_defaults;
    ClassProperties const* m_base;
    char const* m_name;
};

// Enters a class into the registry for its own lifetime. Two classes of one tag are a programming error: the
// constructor throws Exception.
class REDRAFT_ENGINE ClassPropertiesBase::Init {
public:
    explicit Init(ClassProperties const* properties);
    Init(Init const&) = delete;
    Init& operator=(Init const&) = delete;
    ~Init();

private:
    ClassProperties const* m_properties;
};

// The classes that can be loaded by tag.
class REDRAFT_ENGINE ClassRegistry {
public:
    // Null when no class of this tag is registered.
    static ClassProperties const* Find(ClassUID uid) noexcept;
    // All classes in the order in which they were registered.
    static std::vector<ClassProperties const*> GetAll();
};

} // namespace Kernel
