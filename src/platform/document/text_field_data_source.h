// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/custom_field_source.h"
#include "platform/document/text_nodes.h"

#include <memory>

// The values that the fields of one text show: those of its document, and the pages that its nodes stand on.
class REDRAFT_ENGINE TextFieldDataSource final : public Story::FieldDataSource {
public:
    // As they are now, with the document's styles; only values of a kind that the story shows.
    explicit TextFieldDataSource(Kernel::NonCounted<TextFlow const> flow);
    ~TextFieldDataSource() override;

    std::optional<Kernel::String> GetCustomFieldValue(Kernel::String const& guid) const override;
    Kernel::String GetPageLabel(std::size_t frame) const override;
    Kernel::String GetPageCountLabel() const override;
    Kernel::Counted<Story::StyleSheet const> GetStyleSheet() const override { return m_styles; }
    bool IsEqualTo(Story::FieldDataSource const& other) const override;

private:
    friend class TextNode;
    struct Pages {
        std::vector<Kernel::String> labels;
        Kernel::String count;
        friend bool operator==(Pages const&, Pages const&) = default;
    };
    using PagesRef = std::shared_ptr<Pages const>;
    TextFieldDataSource(Kernel::Counted<CustomFieldValues const> values, PagesRef pages);
    // The kinds of values that a story shows; the pages are null where it shows none.
    struct Shown {
        PagesRef pages;
        bool values = false;
    };
    static Shown FindShown(TextFlow const& flow, Story::Story const& story, DocumentNode const* document);

    // May be null.
    Kernel::Counted<CustomFieldValues const> m_values;
    PagesRef m_pages;
    // Null in those that compositions are made with, which have the styles themselves.
    Kernel::Counted<Story::StyleSheet const> m_styles;
};
