// SPDX-License-Identifier: Apache-2.0
#include "platform/story/pin.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

namespace Story {

PinInterface::~PinInterface() = default;
PinGlyph::~PinGlyph() = default;

Kernel::Counted<Glyph const> PinGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<PinGlyph>(GetPin());
}

void PinGlyph::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Pin ", Kernel::Cast<Kernel::Serialisable>(m_pin));
}

bool PinGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::Counted<Kernel::Serialisable> pin;
    Kernel::LoadValue(in, "Pin ", pin);
    m_pin = Kernel::Cast<PinInterface>(pin);
    return true;
}

} // namespace Story
