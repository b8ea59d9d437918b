// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/geometry_values.h"
#include "platform/raster/format.h"

namespace Raster {

// The common part of the format-erased owners. Derived has GetBase(), a NonCounted of its BitmapBase or BufferBase.
template <class Derived>
class DynamicBase {
public:
    // FormatNone and 0 x 0 before Create.
    Format GetFormat() const { return GetBase() ? GetBase()->GetFormat() : FormatNone; }
    Kernel::SizeT<int> GetSize() const { return GetBase() ? GetBase()->GetSize() : Kernel::SizeT<int>{}; }
    int GetWidth() const { return GetSize().width; }
    int GetHeight() const { return GetSize().height; }
    Kernel::RectT<int> GetBounds() const { return {0, 0, GetWidth(), GetHeight()}; }
    bool IsEmpty() const { return !GetBase(); }

    // Shares all memory with the copy until one of them is written to. The abort flag may be null.
    Kernel::Counted<Derived> Clone(bool* abort) const { return GetDerived().CloneDerived(abort); }

    // Calls visit(typed), typed being the Bitmap or Buffer of the format. False, and no call, before Create.
    template <class Visitor>
    bool Visit(Visitor&& visit) const {
        return VisitFormat(GetFormat(), [&](auto traits) {
            visit(GetDerived().template As<typename Derived::template Typed<decltype(traits)>>());
        });
    }

private:
    Derived const& GetDerived() const { return static_cast<Derived const&>(*this); }
    auto GetBase() const { return GetDerived().GetBase(); }
};

} // namespace Raster
