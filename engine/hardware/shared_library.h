// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>

namespace Raster {

// A library that is opened at run time. It stays open to the end of the process, since drivers have threads of their
// own that may be anywhere in it.
class SharedLibrary {
public:
    SharedLibrary() = default;
    explicit SharedLibrary(char const* name) : m_handle(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}
    bool IsOpen() const { return m_handle != nullptr; }
    // False, and the function null, when the library does not have it.
    template <class Function>
    bool Find(Function*& function, char const* name) const {
        function = m_handle == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(m_handle, name));
        return function != nullptr;
    }

private:
    void* m_handle = nullptr;
};

} // namespace Raster
