// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <system_error>
#include <thread>

namespace Geometry::Planar {

// Gives a large structure back on a thread of its own: an abort does not wait until its memory is freed.
template <class T>
void ReleaseAside(std::unique_ptr<T> structure) {
    T* const released = structure.release();
    try {
        std::thread([released] { delete released; }).detach();
    } catch (std::system_error const&) {
        delete released;
    }
}

} // namespace Geometry::Planar
