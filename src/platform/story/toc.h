// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/style_sheet.h"

#include <optional>

// Tables of contents: their paragraphs and their styles.
namespace Story {

// A table of contents, as an attribute of each of its paragraphs; in the definition of a style of tables, what its
// tables are like. Immutable once it is shared.
class REDRAFT_ENGINE TocAtt final : public Kernel::Serialisable {
public:
    TocAtt() = default;
    // Of a table: `id` tells it apart from others that are like it, which would be one object otherwise.
    TocAtt(Kernel::String tocStyleName, std::uint32_t id) : m_tocStyleName(std::move(tocStyleName)), m_id(id) {}
    // The table that a paragraph belongs to; null for none.
    static Kernel::Counted<TocAtt const> Of(ParagraphAtts const& atts);
    Kernel::Counted<TocAtt> Clone() const { return Kernel::MakeCounted<TocAtt>(*this); }
    // Documents have its original text; users read its translation.
    static Kernel::LocalisedString GetDefaultTocStyleName();

    Kernel::String const& GetTocStyleName() const { return m_tocStyleName; }
    void SetTocStyleName(Kernel::String const& name) { m_tocStyleName = name; }
    // 0 in the definition of a style.
    std::uint32_t GetId() const { return m_id; }
    // The paragraph above the lines, without its style: of a table, where it has one of its own; empty for none.
    Kernel::String const& GetTitle() const { return m_title; }
    void SetTitle(Kernel::String title) { m_title = std::move(title); }

    // In the definition of a style: the paragraph style of the title.
    Kernel::String const& GetTitleStyleName() const { return m_titleStyleName; }
    void SetTitleStyleName(Kernel::String name) { m_titleStyleName = std::move(name); }

    friend bool operator==(TocAtt const& a, TocAtt const& b) {
        return &a == &b || (a.m_id == b.m_id && a.m_tocStyleName == b.m_tocStyleName && a.m_title == b.m_title &&
                            a.m_titleStyleName == b.m_titleStyleName);
    }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<TocAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_tocStyleName;
    std::uint32_t m_id = 0;
    Kernel::String m_title, m_titleStyleName;
};
using TocAttRef = Kernel::Counted<TocAtt const>;

// Sets the table of contents that paragraphs belong to. The definition of a TOC style is one.
class REDRAFT_ENGINE TocStyleDelta final : public Delta {
public:
    explicit TocStyleDelta(TocAttRef toc);
    // Never null.
    TocAttRef const& GetTocAtt() const { return m_toc; }

    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    TocAttRef m_toc;
};
// The same object where the delta is one, another where it sets a table of contents among others; else null.
REDRAFT_ENGINE Kernel::Counted<TocStyleDelta const> GetTocStyleDeltaFromDelta(Kernel::NonCounted<Delta const> delta);

// A style of tables.
class REDRAFT_ENGINE TocStyle final : public Style {
public:
    TocStyle() = default;
    TocStyle(Kernel::String name, Kernel::Counted<TocStyleDelta const> definition);
    // The name by which the style's entry styles name it. A style that is renamed keeps its entry styles, and they go
    // on naming it as it was called when they were made.
    Kernel::String const& GetEntriesName() const { return m_entriesName.empty() ? GetName() : m_entriesName; }

    Kernel::Counted<Style> Clone() const override;
    void Rename(Kernel::String const& oldName, Kernel::String const& newName) override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<TocStyle>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    bool IsEqualTo(Style const& other) const override;

private:
    // Empty until it is renamed.
    Kernel::String m_entriesName;
};

// Where a line of a table of contents has its page number. Values are part of the stored form.
enum class TocPageNumber : std::uint32_t { None = 0, Behind = 1, Before = 2 };

// An entry of a style of tables: paragraphs of one style, and the lines that list them.
struct TocEntry {
    static constexpr std::uint32_t c_maximumLevel = 9;
    // The style of the paragraphs that are listed.
    Kernel::String listedStyle;
    // From 1, the outermost.
    std::uint32_t level = 1;
    // Of the line: its paragraph style and its character style. Empty for none.
    Kernel::String paragraphStyle, characterStyle;
    TocPageNumber pageNumber = TocPageNumber::Behind;
    // Between the text and the page number.
    Kernel::String separator = "\t";
    // The character that fills the way of a tab to a page number behind the text; 0 for nothing.
    char32_t leader = U'.';
    friend bool operator==(TocEntry const&, TocEntry const&) = default;
};

// A style of the sheet that stands for one entry of a TOC style, which it names.
class REDRAFT_ENGINE TocEntryStyle final : public Style {
public:
    TocEntryStyle() = default;
    TocEntryStyle(Kernel::String name, Kernel::String tocStyleName, TocEntry entry);
    TocEntry const& GetEntry() const { return m_entry; }
    void ChangeTocStyleName(Kernel::String name) { m_tocStyleName = std::move(name); }

    std::optional<Kernel::String> GetTocStyleName() const override { return m_tocStyleName; }
    Kernel::Counted<Style> Clone() const override;
    // The paragraph and character styles that the entry names follow, too; the TOC style does not.
    void Rename(Kernel::String const& oldName, Kernel::String const& newName) override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<TocEntryStyle>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    bool IsEqualTo(Style const& other) const override;

private:
    Kernel::String m_tocStyleName;
    TocEntry m_entry;
};

// The entries of a table's style, in the order of the sheet. Where the style is not in the sheet, or has none, the
// paragraph styles whose name begins with "Heading" are listed, at the level that the name's number tells.
REDRAFT_ENGINE std::vector<TocEntry> GetTocEntries(StyleSheet const& styles, Kernel::String const& tocStyleName);
// Entries for the paragraph styles of the sheet whose name begins with "Heading".
REDRAFT_ENGINE std::vector<TocEntry> GetHeadingEntries(StyleSheet const& styles);
// Whether texts look the same with either sheet: they differ in styles of tables of contents at most.
REDRAFT_ENGINE bool LookAlike(StyleSheet const& one, StyleSheet const& other);
// The name of the paragraph style of lines of a level, where an entry style names no other.
REDRAFT_ENGINE Kernel::String GetTocLineStyleName(std::uint32_t level);

} // namespace Story
