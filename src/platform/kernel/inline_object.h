// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/field_value.h"

// Objects that are written inside another's record, as a value class of their own class tag, and not as objects of the
// graph: nobody else refers to them.
namespace Kernel {

inline void SaveInlineObject(OutSerialiser& out, IDTag tag, Serialisable const& object) {
    auto const* const properties = object.GetObjectClassProperties();
    bool const isFull = SerialiserAccess::IsFullSave(out);
    if (isFull) {
        out.StartClassTestI(tag);
        out.StartClassBeginI(tag, properties->GetClassUID(), properties->GetVersion());
    }
    Detail::SaveNested(out, [&](OutSerialiser& nested) { object.Save(nested); });
    if (isFull)
        out.EndPropClassI();
}

// Empty when the tag is missing, the class unknown, or the object cannot be read. A newer version throws
// FutureVersionException. The object is immutable: one may be given for several equal values.
inline Counted<Serialisable> LoadInlineObject(InSerialiser const& in, IDTag tag, FileStore& files) {
    return in.LoadInlineObjectI(tag, files);
}

// Writes an array of references to objects that are counted but not in a container: next() gives them in turn.
template <class Next>
void SaveObjectArray(OutSerialiser& out, IDTag tag, std::size_t count, Next next) {
    bool const isFull = SerialiserAccess::IsFullSave(out);
    if (isFull) {
        out.StartObjectArrayTestI(tag, count);
        out.StartObjectArrayBeginI(tag, count);
    }
    for (std::size_t i = 0; i != count; ++i) {
        NonCounted<Serialisable const> const object = next();
        if (isFull)
            out.SaveObjectI(tag, object, true);
        else
            out.SaveObjectEnumeratePathsOnlyI(object);
    }
}

} // namespace Kernel
