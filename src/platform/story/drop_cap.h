// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/attributes.h"

namespace Story {

// First letters that are as tall as several lines, as an attribute of the paragraph. Immutable once it is shared.
class REDRAFT_ENGINE DropCapAtt final : public Kernel::Serialisable {
public:
    static constexpr std::uint32_t c_maximumLines = 25, c_maximumCharacters = 100;

    struct Values {
        // The letters reach from the top of the first line's capitals to the baseline of this line. 0 and 1: no drop
        // cap, which takes away that of the paragraph style.
        std::uint32_t lines = 3;
        // Grapheme clusters (Unicode Standard Annex 29). With one, opening quotation marks in front of the letter are
        // set with it.
        std::uint32_t characters = 1;
        // Room behind the letters, a length.
        double gap = 0;
        // A character style of the letters; empty for none.
        Kernel::String characterStyle = {};
        friend bool operator==(Values const&, Values const&) = default;
    };
    DropCapAtt() = default;
    // Numbers beyond their ranges are brought into them.
    explicit DropCapAtt(Values values);
    // That of a paragraph; null for none.
    static DropCapAtt const* Of(ParagraphAtts const& resolved);
    Values const& GetValues() const { return m_values; }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<DropCapAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Values m_values;
};

} // namespace Story
