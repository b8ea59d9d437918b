// SPDX-License-Identifier: Apache-2.0
#include "platform/story/hyperlink.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"
#include "platform/story/attributes.h"

#include <functional>

namespace Story {

HyperlinkAtt::~HyperlinkAtt() = default;

Kernel::Counted<HyperlinkAtt const> HyperlinkAtt::Of(GlyphAtts const& atts) {
    auto const* const link = Kernel::CastPointer<HyperlinkAtt const>(atts.Get(GlyphAtt::Object::Hyperlink).get());
    return Kernel::Counted<HyperlinkAtt const>(link == nullptr || link->LeadsNowhere() ? nullptr : link);
}

std::size_t HyperlinkAtt::GetHash() const {
    return std::hash<Kernel::String>()(m_url) ^ std::hash<void const*>()(m_anchor.get());
}

void HyperlinkAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Url_", m_url);
    if (m_anchor)
        Kernel::SaveValue(out, "Anch", m_anchor);
}
bool HyperlinkAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Url_", m_url);
    Kernel::LoadValue(in, "Anch", m_anchor);
    // A forged link may lead to both.
    if (m_anchor)
        m_url = {};
    return true;
}

} // namespace Story
