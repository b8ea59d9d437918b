// SPDX-License-Identifier: Apache-2.0
#include "engine/story/text_look.h"

#include <algorithm>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace Story {

namespace {

// Ems beyond this length are brought down to it, so that sums of advances stay finite.
constexpr double c_maximumSize = 1e6;
constexpr std::size_t c_maximumFeatures = 64;
// Of the text's size, where a font has no small capitals of its own.
constexpr double c_smallCapsSize = 0.7;

void AddFeature(std::vector<hb_feature_t>& features, hb_tag_t tag, unsigned value) {
    features.push_back({tag, value, HB_FEATURE_GLOBAL_START, HB_FEATURE_GLOBAL_END});
}

// The list of CSS Fonts 4, 6.12: comma-separated tags in quotes, each with a number, "on" or "off". What cannot be read
// is left out.
void AddFeatures(std::vector<hb_feature_t>& features, std::string_view list) {
    while (!list.empty() && features.size() < c_maximumFeatures) {
        auto const comma = std::min(list.find(','), list.size());
        std::string item(list.substr(0, comma));
        std::replace(item.begin(), item.end(), '\'', '"');
        hb_feature_t feature;
        if (hb_feature_from_string(item.data(), static_cast<int>(item.size()), &feature) != 0)
            features.push_back(feature);
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
}

} // namespace

TextLook::TextLook(GlyphAttsRef const& resolved) : atts(resolved) {
    using Double = GlyphAtt::Double;
    using Enum = GlyphAtt::Enum;
    double const scale = std::clamp(atts->Get(Double::LengthScale), 0.0, 1e6);
    size = std::clamp(atts->Get(Double::Size) * scale, 0.0, c_maximumSize);
    horizontalScale = std::clamp(atts->Get(Double::HorizontalScale), 0.001, 1000.0);
    verticalScale = std::clamp(atts->Get(Double::VerticalScale), 0.001, 1000.0);
    baselineShift = std::clamp(atts->Get(Double::BaselineShift) * scale, -c_maximumSize, c_maximumSize);
    tracking = std::clamp(atts->Get(Double::Tracking), -10.0, 1000.0) * size;
    skew = std::clamp(atts->Get(Double::Skew), -10.0, 10.0);
    noBreak = atts->Get(Enum::NoBreak) != 0;
    languageTag = atts->Get(GlyphAtt::String::Language).ToStdString();
    language = hb_language_from_string(languageTag.c_str(), static_cast<int>(languageTag.size()));
    fonts = FontStack::Get({atts->Get(GlyphAtt::String::FontFamily).ToStdString(), languageTag,
                            std::clamp(atts->Get(Double::Weight), 1.0, 1000.0),
                            std::clamp(atts->Get(Double::Width), 25.0, 400.0), atts->Get(Enum::Italic) != 0});
    if (atts->Get(Enum::Kerning) == 0)
        AddFeature(features, HB_TAG('k', 'e', 'r', 'n'), 0);
    // Tracked letters stand apart: what joins two of them would not (CSS Text 3, 9.2).
    if (atts->Get(Enum::Ligatures) == 0 || tracking != 0) {
        AddFeature(features, HB_TAG('l', 'i', 'g', 'a'), 0);
        AddFeature(features, HB_TAG('c', 'l', 'i', 'g'), 0);
    }
    if (atts->Get(Enum::SmallCaps) != 0) {
        AddFeature(features, HB_TAG('s', 'm', 'c', 'p'), 1);
        auto const small = Kernel::MakeCounted<TextLook>(*this);
        small->size *= c_smallCapsSize;
        small->isMadeSmallCaps = true;
        AddFeatures(small->features, atts->Get(GlyphAtt::String::FontFeatures).view());
        smallCaps = small;
    }
    AddFeatures(features, atts->Get(GlyphAtt::String::FontFeatures).view());
}

Kernel::Counted<TextLook const> TextLook::Get(GlyphAttsRef const& resolved) {
    constexpr std::size_t c_maximumCount = 10'000;
    static auto& s_mutex = *new std::mutex;
    static auto& s_looks = *new std::unordered_map<GlyphAtts const*, Kernel::Counted<TextLook const>>;
    std::lock_guard const lock(s_mutex);
    if (auto const found = s_looks.find(resolved.get()); found != s_looks.end())
        return found->second;
    if (s_looks.size() >= c_maximumCount)
        s_looks.clear();
    // The look keeps the attributes, and so the key, alive.
    auto look = Kernel::MakeCounted<TextLook>(resolved);
    s_looks.emplace(resolved.get(), look);
    return look;
}

} // namespace Story
