// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/buffer.h"

namespace Raster {

void* BufferBase::GetHardwareDevice() const { return nullptr; }
bool BufferBase::SyncHardwareCache(void*, Kernel::RectT<int> const&, bool, bool const*) const { return false; }
bool BufferBase::SyncHostCache(Kernel::RectT<int> const&, bool, bool const*) { return true; }
void BufferBase::InvalidateHostCache(Kernel::RectT<int> const&) {}
void BufferBase::InvalidateHardwareCache(Kernel::RectT<int> const&) {}

} // namespace Raster
