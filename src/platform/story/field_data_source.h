// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/string.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Story {

class StyleSheet;

// The values that fields in a text show, as they were when it was made: an immutable value that composition reads on
// any thread. Each question has an answer that stands for a document without such values.
class REDRAFT_ENGINE FieldDataSource : public virtual Kernel::Countable {
public:
    ~FieldDataSource() override;
    // Empty for an unknown field.
    virtual std::optional<Kernel::String> GetCustomFieldValue(Kernel::String const& guid) const;
    // The number, as the document writes it, of the page that a frame of the chain stands on.
    virtual Kernel::String GetPageLabel(std::size_t frame) const;
    virtual Kernel::String GetPageCountLabel() const;
    // Of the object that the text is a caption of; several values of a key with ", " between them. Empty for a text
    // that is no caption, and where the object has no such key.
    virtual Kernel::String GetMetadata(Kernel::String const& key) const;
    // The number of the caption that the text is, among those that count by the same name. Empty for a text that is no
    // caption, and for one that does not count.
    virtual Kernel::String GetCaptionNumber() const;
    // The styles of the document, for those who are told of a text without them; null where they are not known.
    virtual Kernel::Counted<StyleSheet const> GetStyleSheet() const;
    // The text of a field of the record that a source of records shows, or of one that comes `offset` records behind
    // it. Empty optional where the source shows no record.
    virtual std::optional<Kernel::String> GetMergeFieldValue(Kernel::String const& source, Kernel::String const& field,
                                                             std::uint32_t offset) const;
    // True when both answer every question alike. A source that says so too rarely costs time, one that says so wrongly
    // leaves old text on the page.
    virtual bool IsEqualTo(FieldDataSource const& other) const;

protected:
    FieldDataSource() = default;
};
using FieldDataSourceRef = Kernel::Counted<FieldDataSource const>;

} // namespace Story
