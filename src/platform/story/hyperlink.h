// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/attributes.h"
#include "platform/story/cross_reference.h"

namespace Story {

// The place that text leads to, as an attribute of glyphs: an address, or an anchor in the document. It does not change
// how text looks: a character style does. Immutable once it is shared; the anchor keeps its identity.
class REDRAFT_ENGINE HyperlinkAtt final : public Kernel::Serialisable {
public:
    // Leads nowhere: takes a link away that a style gives.
    HyperlinkAtt() = default;
    explicit HyperlinkAtt(Kernel::String url) : m_url(std::move(url)) {}
    explicit HyperlinkAtt(Kernel::Counted<AnchorData> anchor) : m_anchor(std::move(anchor)) {}
    ~HyperlinkAtt() override;
    // The link of glyphs; null for none, also where it leads nowhere.
    static Kernel::Counted<HyperlinkAtt const> Of(GlyphAtts const& atts);

    // As it was given; empty for a link to an anchor.
    Kernel::String const& GetUrl() const { return m_url; }
    // Null for an address. The anchor may stand in no text any more.
    Kernel::Counted<AnchorData> const& GetAnchorData() const { return m_anchor; }
    bool LeadsNowhere() const { return m_url.empty() && !m_anchor; }
    // Anchors by identity: their names change in place.
    std::size_t GetHash() const;
    friend bool operator==(HyperlinkAtt const& a, HyperlinkAtt const& b) {
        return a.m_url == b.m_url && a.m_anchor == b.m_anchor;
    }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<HyperlinkAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_url;
    Kernel::Counted<AnchorData> m_anchor;
};

} // namespace Story
