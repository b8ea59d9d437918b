// SPDX-License-Identifier: Apache-2.0
#include "platform/story/index_text.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/consolidated.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_list.h"

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <unicode/alphaindex.h>
#include <unicode/coll.h>
#include <unicode/tblcoll.h>

namespace Story {

namespace {

void Append(GlyphString& text, GlyphString const& more) {
    auto const characters = more.GetText();
    std::size_t begin = 0;
    for (auto const& object : more.GetObjects()) {
        text.Add(characters.substr(begin, object.index - begin));
        text.Add(object.glyph);
        begin = object.index + 1;
    }
    text.Add(characters.substr(begin));
}

// The order and the sections of names in one language.
class Alphabet {
public:
    explicit Alphabet(Kernel::String const& language) {
        UErrorCode status = U_ZERO_ERROR;
        auto locale = icu::Locale::forLanguageTag(std::string(language.empty() ? "en" : language.view()), status);
        if (U_FAILURE(status) || locale.isBogus())
            locale = icu::Locale::getEnglish();
        status = U_ZERO_ERROR;
        icu::AlphabeticIndex index(locale, status);
        // Names in other scripts have sections too. Beyond a limit ICU would join sections.
        index.setMaxLabelCount(10000, status);
        for (char const* const other : {"en", "el", "ru", "he", "ar", "hi", "th", "ko"})
            index.addLabels(icu::Locale(other), status);
        index.setUnderflowLabel(icu::UnicodeString(u'#'), status);
        m_buckets.reset(index.buildImmutableIndex(status));
        m_collator.reset(index.getCollator().clone());
        if (U_FAILURE(status) || !m_buckets || !m_collator)
            throw Kernel::Exception("the alphabet of \"" + std::string(language.view()) + "\" is not to be had");
    }
    // Two names stand in the order of their keys.
    std::string GetKey(Kernel::String const& name) const {
        auto const text = icu::UnicodeString::fromUTF8(icu::StringPiece(name.c_str(), ToLength(name)));
        std::string key(static_cast<std::size_t>(m_collator->getSortKey(text, nullptr, 0)), '\0');
        m_collator->getSortKey(text, reinterpret_cast<std::uint8_t*>(key.data()),
                               static_cast<std::int32_t>(key.size()));
        return key;
    }
    int GetSection(Kernel::String const& name) const {
        UErrorCode status = U_ZERO_ERROR;
        return m_buckets->getBucketIndex(icu::UnicodeString::fromUTF8(icu::StringPiece(name.c_str(), ToLength(name))),
                                         status);
    }
    Kernel::String GetLabel(int section) const {
        auto const* const bucket = m_buckets->getBucket(section);
        std::string label;
        if (bucket != nullptr)
            bucket->getLabel().toUTF8String(label);
        return Kernel::String(label);
    }

private:
    static std::int32_t ToLength(Kernel::String const& name) { return static_cast<std::int32_t>(name.view().size()); }

    std::unique_ptr<icu::AlphabeticIndex::ImmutableIndex> m_buckets;
    std::unique_ptr<icu::Collator> m_collator;
};

class IndexWriter {
public:
    IndexWriter(Index const& index, IndexedPages const& pages, IndexSeparators const& separators,
                Kernel::Counted<IndexAtt const> const& att, StyleSheet const& styles,
                std::vector<IndexPageNumber>* numbers)
        : m_index(index),
          m_pages(pages),
          m_separators(separators),
          m_att(att),
          m_styles(styles),
          m_numbers(numbers),
          m_alphabet(index.GetIndexLanguage()->GetIdentifier()) {}

    std::vector<GeneratedParagraph> Write() {
        Collect();
        int section = -1;
        for (auto const number : m_top) {
            auto const& entry = m_entries[number];
            if (!entry.isShown)
                continue;
            if (m_index.GetShouldIncludeSectionHeadings()) {
                auto const own = m_alphabet.GetSection(GetSortText(*entry.topic));
                if (own != std::exchange(section, own))
                    WriteHeading(m_alphabet.GetLabel(own));
            }
            WriteBranch(number);
        }
        return std::move(m_paragraphs);
    }

private:
    struct Entry {
        Kernel::Counted<IndexTopic const> topic;
        std::string key;
        std::vector<std::size_t> children;
        std::vector<IndexedPage> pages;
        std::vector<Kernel::Counted<IndexTopic const>> related;
        bool isShown = false;
    };

    static Kernel::String const& GetSortText(IndexTopic const& topic) {
        return topic.GetSortString().empty() ? topic.GetName() : topic.GetSortString();
    }

    // Each page once for each style, in order, with the mark that was given first.
    static std::vector<IndexedPage> GetDistinct(std::vector<IndexedPage> pages) {
        auto const key = [](IndexedPage const& page) { return std::tie(page.ordinal, page.styleName, page.label); };
        std::erase_if(pages, [](IndexedPage const& page) { return page.label.empty(); });
        std::stable_sort(pages.begin(), pages.end(), [&](auto const& a, auto const& b) { return key(a) < key(b); });
        pages.erase(
            std::unique(pages.begin(), pages.end(), [&](auto const& a, auto const& b) { return key(a) == key(b); }),
            pages.end());
        return pages;
    }

    std::vector<IndexedPage> GetPages(IndexTopic const& topic) const {
        auto const found = m_pages.find(&topic);
        return found == m_pages.end() ? std::vector<IndexedPage>() : GetDistinct(found->second);
    }

    void Collect() {
        std::unordered_map<IndexTopic const*, std::size_t> numbers;
        for (auto const& topic : m_index) {
            numbers.emplace(topic.get(), m_entries.size());
            Entry entry;
            entry.topic = Kernel::Counted<IndexTopic const>(topic.get());
            entry.key = m_alphabet.GetKey(GetSortText(*topic));
            entry.pages = GetPages(*topic);
            entry.related = topic->GetRelatedTo();
            if (entry.pages.empty() && m_index.GetShouldExpandCrossReferences())
                Expand(entry);
            m_entries.push_back(std::move(entry));
        }
        for (std::size_t number = 0; number != m_entries.size(); ++number) {
            auto const parent = m_entries[number].topic->GetParent();
            auto const above = parent ? numbers.find(parent.get()) : numbers.end();
            (above == numbers.end() ? m_top : m_entries[above->second].children).push_back(number);
            if (m_entries[number].pages.empty() && m_entries[number].related.empty())
                continue;
            // With it, all that it stands below.
            m_entries[number].isShown = true;
            for (auto const& each : m_entries[number].topic->GetAncestors()) {
                auto const at = numbers.find(each.get());
                if (at != numbers.end())
                    m_entries[at->second].isShown = true;
            }
        }
        Sort(m_top);
        for (auto& entry : m_entries)
            Sort(entry.children);
    }

    void Expand(Entry& entry) const {
        std::vector<IndexedPage> pages;
        for (auto const& other : entry.related) {
            auto const more = m_pages.find(other.get());
            if (more != m_pages.end())
                pages.insert(pages.end(), more->second.begin(), more->second.end());
        }
        pages = GetDistinct(std::move(pages));
        if (pages.empty())
            return;
        entry.pages = std::move(pages);
        entry.related.clear();
    }

    // Those of one name stay in the order of the index.
    void Sort(std::vector<std::size_t>& numbers) const {
        std::stable_sort(numbers.begin(), numbers.end(),
                         [&](std::size_t a, std::size_t b) { return m_entries[a].key < m_entries[b].key; });
    }

    // Topics may be nested as deep as a file says: no recursion.
    void WriteBranch(std::size_t top) {
        std::vector<std::pair<std::size_t, std::size_t>> waiting{{top, 1}};
        while (!waiting.empty()) {
            auto const [number, depth] = waiting.back();
            waiting.pop_back();
            auto const& entry = m_entries[number];
            if (!entry.isShown)
                continue;
            WriteEntry(entry, depth);
            for (auto child = entry.children.rbegin(); child != entry.children.rend(); ++child)
                waiting.emplace_back(*child, depth + 1);
        }
    }

    void WriteEntry(Entry const& entry, std::size_t depth) {
        GeneratedParagraph paragraph;
        paragraph.paragraphAtts = GetAtts(depth);
        paragraph.text = GlyphString(entry.topic->GetName());
        if (!entry.pages.empty()) {
            Append(paragraph.text, m_separators.afterTopic);
            WritePages(paragraph, entry.pages);
        }
        if (!entry.related.empty())
            WriteReferences(paragraph.text, entry);
        m_paragraphs.push_back(std::move(paragraph));
    }

    void WritePages(GeneratedParagraph& paragraph, std::vector<IndexedPage> const& pages) {
        for (std::size_t begin = 0; begin != pages.size();) {
            auto end = begin + 1;
            while (end != pages.size() && pages[end].ordinal == pages[end - 1].ordinal + 1 &&
                   pages[end].styleName == pages[begin].styleName)
                ++end;
            bool const isRange = m_index.GetShouldGroupPageRanges() && end - begin > 2;
            if (begin != 0)
                Append(paragraph.text, m_separators.betweenListItems);
            WritePage(paragraph, pages[begin]);
            if (isRange) {
                Append(paragraph.text, m_separators.betweenRanges);
                WritePage(paragraph, pages[end - 1]);
            }
            begin = isRange ? end : begin + 1;
        }
    }

    void WritePage(GeneratedParagraph& paragraph, IndexedPage const& page) {
        auto const begin = paragraph.text.GetLength();
        Append(paragraph.text, GlyphString(page.label));
        if (m_numbers != nullptr)
            m_numbers->push_back({m_paragraphs.size(), {begin, paragraph.text.GetLength()}, page.mark});
        if (page.styleName.empty())
            return;
        auto& atts = m_pageAtts[std::string(page.styleName.view())];
        if (!atts) {
            auto const named = Kernel::MakeCounted<GlyphAtts>();
            named->Set(GlyphAtt::String::StyleName, page.styleName);
            atts = Kernel::Consolidated<GlyphAtts>(named).ToCounted();
        }
        paragraph.runs.push_back({begin, paragraph.text.GetLength(), atts});
    }

    void WriteReferences(GlyphString& text, Entry const& entry) const {
        std::vector<std::pair<std::string, Kernel::String>> names;
        for (auto const& other : entry.related) {
            auto const name = other->GetNameWithParents();
            names.emplace_back(m_alphabet.GetKey(name), name);
        }
        std::stable_sort(names.begin(), names.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
        Append(text, m_separators.beforeCrossReferences);
        Append(text, entry.pages.empty() ? m_separators.see : m_separators.seeAlso);
        for (std::size_t i = 0; i != names.size(); ++i) {
            if (i != 0)
                Append(text, m_separators.betweenListItems);
            Append(text, GlyphString(names[i].second));
        }
        Append(text, m_separators.afterCrossReferences);
    }

    void WriteHeading(Kernel::String const& label) {
        GeneratedParagraph paragraph;
        paragraph.text = GlyphString(label);
        if (!m_headingAtts) {
            auto const name = Kernel::String(std::string(m_att->GetStyleName().view()) + " Heading");
            auto const atts = MakeAtts(name);
            if (!m_styles.GetStyle(name)) {
                atts->Set(ParagraphAtt::Double::SpaceBefore, c_indent);
                auto const bold = Kernel::MakeCounted<GlyphAtts>();
                bold->Set(GlyphAtt::Double::Weight, 700);
                m_headingGlyphAtts = bold;
            }
            atts->Set(ParagraphAtt::Enum::KeepWithNext, 1);
            m_headingAtts = atts;
        }
        paragraph.paragraphAtts = m_headingAtts;
        if (m_headingGlyphAtts)
            paragraph.runs.push_back({0, paragraph.text.GetLength(), m_headingGlyphAtts});
        m_paragraphs.push_back(std::move(paragraph));
    }

    Kernel::Counted<ParagraphAtts> MakeAtts(Kernel::String const& styleName) const {
        auto const atts = Kernel::MakeCounted<ParagraphAtts>();
        atts->Set(ParagraphAtt::String::StyleName, styleName);
        atts->Set(ParagraphAtt::Object::Index, Kernel::Counted<Kernel::Serialisable const>(m_att.get()));
        return atts;
    }

    // Where the document has no such style, topics are indented by their depth, and what does not fit on their line
    // farther.
    ParagraphAttsRef GetAtts(std::size_t depth) {
        while (m_atts.size() < depth) {
            auto const level = m_atts.size() + 1;
            auto const name = Kernel::String(std::string(m_att->GetStyleName().view()) + " " + std::to_string(level));
            auto const atts = MakeAtts(name);
            if (!m_styles.GetStyle(name)) {
                auto const shown = static_cast<double>(std::min(level, c_deepestIndent));
                atts->Set(ParagraphAtt::Double::LeftIndent, (shown + 1) * c_indent);
                atts->Set(ParagraphAtt::Double::FirstIndent, -2 * c_indent);
            }
            m_atts.emplace_back(atts);
        }
        return m_atts[depth - 1];
    }

    static constexpr double c_indent = 12;
    static constexpr std::size_t c_deepestIndent = 8;

    Index const& m_index;
    IndexedPages const& m_pages;
    IndexSeparators const& m_separators;
    Kernel::Counted<IndexAtt const> m_att;
    StyleSheet const& m_styles;
    std::vector<IndexPageNumber>* m_numbers;
    Alphabet m_alphabet;
    std::vector<Entry> m_entries;
    std::vector<std::size_t> m_top;
    std::vector<ParagraphAttsRef> m_atts;
    ParagraphAttsRef m_headingAtts;
    GlyphAttsRef m_headingGlyphAtts;
    std::unordered_map<std::string, GlyphAttsRef> m_pageAtts;
    std::vector<GeneratedParagraph> m_paragraphs;
};

} // namespace

IndexAtt::~IndexAtt() = default;

Kernel::Counted<IndexAtt const> IndexAtt::Of(ParagraphAtts const& atts) {
    return Kernel::Cast<IndexAtt const>(atts.Get(ParagraphAtt::Object::Index));
}

void IndexAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Idnt", m_id);
    Kernel::SaveValue(out, "Styl", m_styleName);
}

bool IndexAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Idnt", m_id);
    Kernel::LoadValue(in, "Styl", m_styleName);
    return true;
}

std::vector<GeneratedParagraph> MakeIndexText(Index const& index, IndexedPages const& pages,
                                              IndexSeparators const& separators,
                                              Kernel::Counted<IndexAtt const> const& att, StyleSheet const& styles,
                                              std::vector<IndexPageNumber>* numbers) {
    return IndexWriter(index, pages, separators, att, styles, numbers).Write();
}

} // namespace Story
