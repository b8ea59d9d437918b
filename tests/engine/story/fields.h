// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/cross_reference.h"
#include "platform/story/field_data_source.h"
#include "platform/story/field_glyphs.h"
#include "platform/story/story.h"

#include <atomic>
#include <map>
#include <string>
#include <vector>

// Values of fields, and glyphs, for tests.
namespace Fields {

class Source final : public Story::FieldDataSource {
public:
    std::map<std::string, std::string> values;
    // By frame; the last one stands for those behind it too.
    std::vector<std::string> pages;
    // Composition asks from several threads.
    mutable std::atomic<std::size_t> questions = 0;

    std::optional<Kernel::String> GetCustomFieldValue(Kernel::String const& guid) const override {
        ++questions;
        auto const found = values.find(guid.ToStdString());
        if (found == values.end())
            return std::nullopt;
        return Kernel::String(found->second);
    }
    Kernel::String GetPageLabel(std::size_t frame) const override {
        return pages.empty() ? Kernel::String() : Kernel::String(pages[std::min(frame, pages.size() - 1)]);
    }
    Kernel::String GetPageCountLabel() const override { return Kernel::String(std::to_string(pages.size())); }
    bool IsEqualTo(FieldDataSource const& other) const override {
        auto const& source = dynamic_cast<Source const&>(other);
        return values == source.values && pages == source.pages;
    }
};

inline Kernel::Counted<Source> MakeSource(std::map<std::string, std::string> values,
                                          std::vector<std::string> pages = {}) {
    auto source = Kernel::MakeCounted<Source>();
    source->values = std::move(values);
    source->pages = std::move(pages);
    return source;
}

template <class T, class... Arguments>
Kernel::Counted<Story::Glyph const> MakeGlyph(Arguments&&... arguments) {
    return Kernel::MakeCounted<T>(std::forward<Arguments>(arguments)...);
}
inline Kernel::Counted<Story::Glyph const> MakeField(char const* guid) {
    return MakeGlyph<Story::CustomFieldGlyph>(Kernel::String(guid));
}

} // namespace Fields
