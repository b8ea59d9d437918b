// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/attributes.h"

#include <map>
#include <mutex>
#include <optional>
#include <vector>

namespace Story {

// The language of text and of what is made for it.
class REDRAFT_ENGINE Language final : public virtual Kernel::Countable {
public:
    // BCP 47. An empty identifier is English.
    static Kernel::Counted<Language const> Make(Kernel::String identifier);
    Kernel::String const& GetIdentifier() const { return m_identifier; }
    explicit Language(Kernel::String identifier) : m_identifier(std::move(identifier)) {}

private:
    Kernel::String m_identifier;
};

// Values are part of the stored form.
enum class StyleType : std::uint32_t { Paragraph = 0, Character = 1, Group = 2, TocEntry = 3, Toc = 4 };

// A named set of attributes, on top of those of its parent. Immutable once it stands in a sheet.
class REDRAFT_ENGINE Style : public Kernel::Serialisable {
public:
    Style() = default;
    Style(Kernel::String name, StyleType type, Kernel::String parent, DeltaRef delta)
        : m_name(std::move(name)), m_parent(std::move(parent)), m_type(type), m_delta(std::move(delta)) {}
    ~Style() override;

    Kernel::String const& GetName() const { return m_name; }
    StyleType GetType() const { return m_type; }
    // Empty: none.
    Kernel::String const& GetParentName() const { return m_parent; }
    // May be null.
    DeltaRef const& GetDelta() const { return m_delta; }
    void SetDelta(DeltaRef delta) { m_delta = std::move(delta); }
    // The localised name that stands for no style.
    static Kernel::LocalisedString GetNoneName();
    virtual Kernel::Counted<Style> Clone() const;
    virtual void Rename(Kernel::String const& oldName, Kernel::String const& newName);
    // The style of tables of contents that an entry style belongs to; nothing for other styles.
    virtual std::optional<Kernel::String> GetTocStyleName() const;

    std::size_t GetHash() const;
    friend REDRAFT_ENGINE bool operator==(Style const& a, Style const& b);

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Style>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    // Asked of two styles of one class.
    virtual bool IsEqualTo(Style const& other) const;

private:
    Kernel::String m_name;
    Kernel::String m_parent;
    StyleType m_type = StyleType::Paragraph;
    DeltaRef m_delta;
};

// The styles of a document: an immutable value; who changes it makes another.
class REDRAFT_ENGINE StyleSheet final : public Kernel::Serialisable {
public:
    using Styles = std::vector<Kernel::Counted<Style const>>;
    StyleSheet() = default;
    explicit StyleSheet(Styles styles) : m_styles(std::move(styles)) {}
    // Without styles.
    static Kernel::Counted<StyleSheet const> const& GetEmpty();

    Styles::const_iterator begin() const { return m_styles.begin(); }
    Styles::const_iterator end() const { return m_styles.end(); }
    // Null when there is none of that name.
    Kernel::Counted<Style const> GetStyle(Kernel::String const& name) const;
    // The same with the style in place of the one of its name, or behind all.
    Kernel::Counted<StyleSheet const> With(Kernel::Counted<Style const> style) const;
    Kernel::Counted<StyleSheet const> Without(Kernel::String const& name) const;

    // A glyph's attributes: the paragraph style's, on top of them the character style's, on top of them its own.
    // Parents come before their children; a ring of parents is cut where it closes. Equal answers are one object.
    GlyphAttsRef Resolve(GlyphAttsRef const& own, ParagraphAttsRef const& paragraph) const;
    ParagraphAttsRef Resolve(ParagraphAttsRef const& own) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<StyleSheet>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    // The style and its ancestors, the farthest first.
    std::vector<Style const*> GetChain(Kernel::String const& name) const;

    Styles m_styles;
    // Answers that were given; references keep the keys alive.
    mutable std::mutex m_mutex;
    mutable std::map<std::pair<GlyphAttsRef, Kernel::String>, GlyphAttsRef,
                     bool (*)(std::pair<GlyphAttsRef, Kernel::String> const&,
                              std::pair<GlyphAttsRef, Kernel::String> const&)>
        m_glyphAnswers{[](auto const& a, auto const& b) {
            return a.first.get() != b.first.get() ? std::less<>()(a.first.get(), b.first.get()) : a.second < b.second;
        }};
};

} // namespace Story
