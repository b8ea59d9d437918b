// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/custom_field_source.h"
#include "platform/document/text_nodes.h"

#include <map>
#include <memory>
#include <tuple>

// The values that the fields of one text show: those of its document, the pages that its nodes stand on, in a caption
// the metadata of its object and its number, and fields of the records that merge sources show.
class REDRAFT_ENGINE TextFieldDataSource final : public Story::FieldDataSource {
public:
    // As they are now, with the document's styles; only values of a kind that the story shows.
    explicit TextFieldDataSource(Kernel::NonCounted<TextFlow const> flow);
    ~TextFieldDataSource() override;

    std::optional<Kernel::String> GetCustomFieldValue(Kernel::String const& guid) const override;
    Kernel::String GetPageLabel(std::size_t frame) const override;
    Kernel::String GetPageCountLabel() const override;
    Kernel::String GetMetadata(Kernel::String const& key) const override;
    Kernel::String GetCaptionNumber() const override { return m_captionNumber; }
    std::optional<Kernel::String> GetMergeFieldValue(Kernel::String const& source, Kernel::String const& field,
                                                     std::uint32_t offset) const override;
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
    // Values by key, as they show.
    using Metadata = std::map<Kernel::String, Kernel::String>;
    using MetadataRef = std::shared_ptr<Metadata const>;
    // The field of a record: the source's id, the field's name and how many records behind the first of the page.
    using RecordField = std::tuple<Kernel::String, Kernel::String, std::uint32_t>;
    using RecordFields = std::map<RecordField, Kernel::String>;
    using RecordFieldsRef = std::shared_ptr<RecordFields const>;
    TextFieldDataSource(Kernel::Counted<CustomFieldValues const> values, PagesRef pages, MetadataRef metadata,
                        RecordFieldsRef recordFields, Kernel::String captionNumber);
    // The kinds of values that a story shows; the pages are null where it shows none.
    struct Shown {
        PagesRef pages;
        std::vector<Kernel::String> metadataKeys;
        std::vector<RecordField> recordFields;
        // Empty for a text that shows none, and one that has none.
        Kernel::String captionNumber;
        bool values = false;
    };
    static Shown FindShown(TextFlow const& flow, Story::Story const& story, DocumentNode const* document);

    // Of the object that the text is a caption of. Null where there is nothing to show; counts no node.
    static MetadataRef FindMetadata(TextNode const& text, std::vector<Kernel::String> const& keys);

    // Null where no source shows a record.
    static RecordFieldsRef FindRecordFields(DocumentNode const* document, std::vector<RecordField> const& fields);

    // May be null.
    Kernel::Counted<CustomFieldValues const> m_values;
    PagesRef m_pages;
    MetadataRef m_metadata;
    RecordFieldsRef m_recordFields;
    Kernel::String m_captionNumber;
    // Null in those that compositions are made with, which have the styles themselves.
    Kernel::Counted<Story::StyleSheet const> m_styles;
};
