// SPDX-License-Identifier: Apache-2.0
#include "platform/document/caption_info.h"

#include "engine/document/tree/bounds.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>

namespace {

using Params = Raster::AffineTransform::Params;

// A caption of an object that has no width, such as an upright line.
constexpr double c_leastWidth = 48;

// A length that is told; a forged caption may have any number.
bool IsTold(double length) { return std::isfinite(length) && length > 0; }

// The part of a transform that turns, as a transform without a translation.
Params GetTurn(Params const& transform) {
    double const length = std::hypot(transform.a, transform.c);
    if (!std::isfinite(length) || length < 1e-9)
        return {};
    double const cosine = transform.a / length, sine = transform.c / length;
    return {cosine, -sine, 0, sine, cosine, 0};
}

} // namespace

double CaptionInfo::GetDefaultFrameHeight(Kernel::Counted<DocumentController const> const& controller) const {
    if (IsTold(m_placing.height))
        return m_placing.height;
    auto const styles = controller->GetDocument()->GetTextStyleSheet();
    auto const paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
    paragraph->Set(Story::ParagraphAtt::String::StyleName, m_paragraphStyleName);
    auto const atts = styles->Resolve(Story::GlyphAtts::GetDefault(), Story::ParagraphAttsRef(paragraph));
    constexpr double c_leading = 1.2;
    return atts->Get(Story::GlyphAtt::Double::Size) * c_leading;
}

Kernel::RectT<double> CaptionInfo::GetPositionForCaption(Kernel::JailCounted<Node> const& target, double height,
                                                         Params& transform) const {
    auto const toSpread = target->GetBaseToSpreadTransform();
    // The object's box in a space that is turned like the object and has the spread's scale.
    auto const turn = GetTurn(toSpread);
    auto box = ComputeBounds(*target, turn.GetInverse() * toSpread, true, true);
    if (!std::isfinite(box.left + box.top + box.right + box.bottom))
        box = {};
    transform = turn;
    double const gap = std::isfinite(m_placing.gap) ? m_placing.gap : 0;
    double const width = std::max(IsTold(m_placing.width) ? m_placing.width : box.GetWidth(), c_leastWidth);
    double const middle = (box.left + box.right) / 2;
    switch (m_placing.position) {
    case CaptionPosition::Above:
        return {middle - width / 2, box.top - gap - height, middle + width / 2, box.top - gap};
    case CaptionPosition::Left:
        return {box.left - gap - width, box.top, box.left - gap, box.top + height};
    case CaptionPosition::Right:
        return {box.right + gap, box.top, box.right + gap + width, box.top + height};
    case CaptionPosition::Below:
        break;
    }
    return {middle - width / 2, box.bottom + gap, middle + width / 2, box.bottom + gap + height};
}

void CaptionInfo::Save(Kernel::OutSerialiser& out) const {
    std::vector<std::uint32_t> places;
    std::vector<Kernel::Counted<Story::Glyph const>> glyphs;
    for (auto const& object : m_text.GetObjects()) {
        places.push_back(object.index);
        glyphs.push_back(object.glyph);
    }
    Kernel::SaveValue(out, "Text", Story::EncodeUtf8(m_text.GetText()));
    Kernel::SaveValue(out, "ObjI", places);
    Kernel::SaveValue(out, "ObjG", glyphs);
    Kernel::SaveValue(out, "PSty", m_paragraphStyleName);
    Kernel::SaveValue(out, "Coun", m_counterType);
    Kernel::SaveValue(out, "Plac", m_placing);
}

// Objects that a forged file puts where none stands are left out.
bool CaptionInfo::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::String text;
    std::vector<std::uint32_t> places;
    std::vector<Kernel::Counted<Story::Glyph const>> glyphs;
    Kernel::LoadValue(in, "Text", text);
    Kernel::LoadValue(in, "ObjI", places);
    Kernel::LoadValue(in, "ObjG", glyphs);
    Kernel::LoadValue(in, "PSty", m_paragraphStyleName);
    Kernel::LoadValue(in, "Coun", m_counterType);
    Kernel::LoadValue(in, "Plac", m_placing);
    Story::GlyphString const plain(text);
    auto const characters = plain.GetText();
    m_text = {};
    std::size_t next = 0;
    for (std::uint32_t i = 0; i != characters.size(); ++i) {
        while (next < places.size() && places[next] < i)
            ++next;
        bool const hasObject = characters[i] == Story::c_objectCharacter &&
                               next < std::min(places.size(), glyphs.size()) && places[next] == i && glyphs[next];
        if (hasObject)
            m_text.Add(glyphs[next]);
        else
            m_text.Add(characters.substr(i, 1));
    }
    return true;
}
