// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/glyph_predicates.h"
#include "platform/story/story_index.h"

namespace Story {

// Marks a place that the index names under a topic; shows nothing.
class REDRAFT_ENGINE IndexMarkGlyph final : public Glyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxIM"};
    IndexMarkGlyph() = default;
    // `styleName`: the character style of the page number in the index; empty for that of the index itself.
    explicit IndexMarkGlyph(Kernel::Counted<IndexTopic const> topic, Kernel::String styleName = {})
        : m_topic(std::move(topic)), m_styleName(std::move(styleName)) {}
    ~IndexMarkGlyph() override;
    // Null only in a damaged file. It may stand in no index any more.
    Kernel::Counted<IndexTopic const> const& GetTopic() const { return m_topic; }
    Kernel::String const& GetStyleName() const { return m_styleName; }
    // A mark of the same topic.
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<IndexMarkGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::Counted<IndexTopic const> m_topic;
    Kernel::String m_styleName;
};

inline bool IsIndexMarkGlyph(Glyph const& glyph) { return glyph.GetClassUID() == IndexMarkGlyph::c_classUid; }
template <>
inline constexpr bool c_takesCharacters<&IsIndexMarkGlyph> = false;

} // namespace Story
