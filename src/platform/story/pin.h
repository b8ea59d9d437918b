// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/glyph_predicates.h"

namespace Story {

// An object outside the text that belongs to a place in it. Objects that are stored in documents are Serialisable too.
class REDRAFT_ENGINE PinInterface : public virtual Kernel::Countable {
public:
    ~PinInterface() override;

protected:
    PinInterface() = default;
};

// Marks the place in a text that an object belongs to. Pages show nothing in its place, and lines make no room for the
// object; an export that has no pages puts the object here.
class REDRAFT_ENGINE PinGlyph final : public Glyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxPG"};
    PinGlyph() = default;
    // Stored with the text where the pin is Serialisable.
    explicit PinGlyph(Kernel::Counted<PinInterface> pin) : m_pin(std::move(pin)) {}
    ~PinGlyph() override;
    // Null only in a damaged file.
    Kernel::Counted<PinInterface> const& GetPin() const { return m_pin; }
    // A mark of the same object.
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<PinGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::Counted<PinInterface> m_pin;
};

inline bool IsPinGlyph(Glyph const& glyph) { return glyph.GetClassUID() == PinGlyph::c_classUid; }
template <>
inline constexpr bool c_takesCharacters<&IsPinGlyph> = false;

} // namespace Story
