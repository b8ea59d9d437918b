// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/source_text.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <map>

namespace Formats::Svg {

namespace {

struct Entity {
    std::string value;
    bool external = false;
    bool open = false;
};

bool IsXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool IsNameByte(char c) {
    auto const byte = static_cast<unsigned char>(c);
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '_' || byte == '-' || byte == '.' || byte == ':' || byte >= 0x80;
}

std::size_t NameLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && IsNameByte(text[length]))
        ++length;
    return length;
}

// Reads the document type declaration's internal subset: the general entities with their values. Everything else in
// it is stepped over (XML 1.0, section 2.8).
class SubsetReader {
public:
    SubsetReader(std::string_view text, std::size_t at, Report& report) : m_text(text), m_at(at), m_report(report) {}

    // m_at stands behind "<!DOCTYPE"; returns the place behind the declaration's end.
    std::size_t Read(std::map<std::string, Entity, std::less<>>& entities) {
        while (m_at < m_text.size()) {
            char const c = m_text[m_at];
            if (c == '>')
                return m_at + 1;
            if (c == '[') {
                ++m_at;
                ReadSubset(entities);
            } else if (c == '"' || c == '\'') {
                Quoted();
            } else {
                ++m_at;
            }
        }
        throw Kernel::Exception("the document type declaration has no end");
    }

private:
    void ReadSubset(std::map<std::string, Entity, std::less<>>& entities) {
        while (m_at < m_text.size()) {
            std::string_view const rest = m_text.substr(m_at);
            if (rest[0] == ']') {
                ++m_at;
                return;
            }
            if (rest.starts_with("<!--"))
                SkipBehind("-->");
            else if (rest.starts_with("<?"))
                SkipBehind("?>");
            else if (rest.starts_with("<!ENTITY"))
                ReadEntity(entities);
            else if (rest.starts_with("<!"))
                SkipDeclaration();
            else {
                if (rest[0] == '%')
                    m_report.Add("parameter entity");
                ++m_at;
            }
        }
        throw Kernel::Exception("the document type declaration has no end");
    }

    void ReadEntity(std::map<std::string, Entity, std::less<>>& entities) {
        m_at += std::string_view("<!ENTITY").size();
        SkipSpace();
        bool const isParameter = m_at < m_text.size() && m_text[m_at] == '%';
        if (isParameter) {
            ++m_at;
            SkipSpace();
        }
        std::size_t const length = NameLength(m_text.substr(m_at));
        std::string name(m_text.substr(m_at, length));
        m_at += length;
        SkipSpace();
        Entity entity;
        if (m_at < m_text.size() && (m_text[m_at] == '"' || m_text[m_at] == '\''))
            entity.value = WithCharacterReferences(Quoted());
        else
            entity.external = true;
        SkipDeclaration();
        if (entity.external)
            m_report.Add("external entity", name);
        // The first declaration of a name binds (XML 1.0, section 4.2).
        if (!isParameter && !name.empty())
            entities.emplace(std::move(name), std::move(entity));
    }

    // Character references in an entity's value are replaced where it is declared (XML 1.0, section 4.5). The parser
    // does that later for all but the ampersand, which may start a reference of its own, as in "&#38;#60;".
    static std::string WithCharacterReferences(std::string_view value) {
        static constexpr std::string_view c_ampersands[] = {"&#38;", "&#x26;"};
        std::string out;
        std::size_t at = 0;
        while (at < value.size()) {
            std::size_t length = 0;
            for (std::string_view const reference : c_ampersands)
                if (value.substr(at).starts_with(reference))
                    length = reference.size();
            out += length == 0 ? value[at] : '&';
            at += std::max<std::size_t>(length, 1);
        }
        return out;
    }

    std::string_view Quoted() {
        auto const close = m_text.find(m_text[m_at], m_at + 1);
        if (close == std::string_view::npos)
            throw Kernel::Exception("a quotation in the document type declaration has no end");
        std::string_view const inner = m_text.substr(m_at + 1, close - m_at - 1);
        m_at = close + 1;
        return inner;
    }

    void SkipDeclaration() {
        while (m_at < m_text.size() && m_text[m_at] != '>') {
            if (m_text[m_at] == '"' || m_text[m_at] == '\'')
                Quoted();
            else
                ++m_at;
        }
        ++m_at;
    }

    void SkipBehind(std::string_view end) {
        auto const found = m_text.find(end, m_at);
        m_at = found == std::string_view::npos ? m_text.size() : found + end.size();
    }

    void SkipSpace() {
        while (m_at < m_text.size() && IsXmlSpace(m_text[m_at]))
            ++m_at;
    }

    std::string_view m_text;
    std::size_t m_at;
    Report& m_report;
};

// Copies a source with its references to internal entities replaced.
class Expander {
public:
    Expander(std::map<std::string, Entity, std::less<>> entities, DrawingLimits const& limits)
        : m_entities(std::move(entities)), m_limits(limits) {}

    std::string Expand(std::string_view text) {
        m_out.reserve(text.size());
        std::size_t at = 0;
        while (at < text.size()) {
            std::string_view const rest = text.substr(at);
            if (rest[0] != '<') {
                std::size_t const length = std::min(rest.find('<'), rest.size());
                CopyText(rest.substr(0, length), 0, 0);
                at += length;
            } else if (rest.starts_with("<!--")) {
                at += CopyBehind(rest, "-->");
            } else if (rest.starts_with("<![CDATA[")) {
                at += CopyBehind(rest, "]]>");
            } else if (rest.starts_with("<?")) {
                at += CopyBehind(rest, "?>");
            } else {
                at += CopyTag(rest);
            }
        }
        return std::move(m_out);
    }

private:
    std::size_t CopyBehind(std::string_view rest, std::string_view end) {
        auto const found = rest.find(end);
        std::size_t const length = found == std::string_view::npos ? rest.size() : found + end.size();
        m_out.append(rest.substr(0, length));
        return length;
    }

    std::size_t CopyTag(std::string_view rest) {
        std::size_t at = 0;
        while (at < rest.size()) {
            char const c = rest[at];
            m_out += c;
            ++at;
            if (c == '>')
                break;
            if (c == '"' || c == '\'') {
                std::size_t const close = std::min(rest.find(c, at), rest.size());
                CopyText(rest.substr(at, close - at), c, 0);
                at = close;
                if (at < rest.size())
                    m_out += rest[at++];
            }
        }
        return at;
    }

    // `quote` is the mark around the attribute value that the text stands in, or 0 in element content. There a quote in
    // an entity's value is plain text (XML 1.0, section 4.4.5).
    void CopyText(std::string_view text, char quote, std::size_t depth) {
        std::size_t at = 0;
        while (at < text.size()) {
            std::size_t const next = std::min(text.find('&', at), text.size());
            CopyPlain(text.substr(at, next - at), quote, depth);
            if (next == text.size())
                return;
            std::size_t const length = NameLength(text.substr(next + 1));
            std::size_t const end = next + 1 + length;
            bool const isReference = length != 0 && end < text.size() && text[end] == ';';
            Entity* const entity = isReference ? Find(text.substr(next + 1, length)) : nullptr;
            if (entity == nullptr) {
                Append("&", depth);
                at = next + 1;
                continue;
            }
            Follow(*entity, text.substr(next + 1, length), quote, depth);
            at = end + 1;
        }
    }

    void Follow(Entity& entity, std::string_view name, char quote, std::size_t depth) {
        if (entity.external)
            return;
        if (entity.open)
            throw Kernel::Exception("the entity " + Printable(name, 40) + " contains itself");
        if (depth >= m_limits.entityDepth)
            throw Kernel::Exception("entities are nested more than " + std::to_string(m_limits.entityDepth) + " deep");
        if (++m_references > m_limits.entityReferences)
            throw Kernel::Exception("there are more than " + std::to_string(m_limits.entityReferences) +
                                    " references to entities");
        entity.open = true;
        CopyText(entity.value, quote, depth + 1);
        entity.open = false;
    }

    void CopyPlain(std::string_view text, char quote, std::size_t depth) {
        if (depth == 0 || quote == 0)
            return Append(text, depth);
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == quote)
                Append(quote == '"' ? "&quot;" : "&apos;", depth);
            else if (text[i] == '<')
                Append("&lt;", depth);
            else
                Append(text.substr(i, 1), depth);
        }
    }

    void Append(std::string_view text, std::size_t depth) {
        if (depth != 0) {
            m_added += text.size();
            if (m_added > m_limits.entityBytes)
                throw Kernel::Exception("entities expand to more than " + std::to_string(m_limits.entityBytes) +
                                        " bytes");
        }
        m_out.append(text);
    }

    Entity* Find(std::string_view name) {
        auto const found = m_entities.find(name);
        return found == m_entities.end() ? nullptr : &found->second;
    }

    std::map<std::string, Entity, std::less<>> m_entities;
    DrawingLimits const& m_limits;
    std::string m_out;
    std::size_t m_references = 0;
    std::size_t m_added = 0;
};

// Where "<!DOCTYPE" stands in the prologue; comments and processing instructions may stand before it.
std::size_t FindDocumentType(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        std::string_view const rest = text.substr(at);
        if (IsXmlSpace(rest[0])) {
            ++at;
            continue;
        }
        std::string_view end;
        if (rest.starts_with("<!DOCTYPE"))
            return at;
        if (rest.starts_with("<?"))
            end = "?>";
        else if (rest.starts_with("<!--"))
            end = "-->";
        else
            break;
        auto const found = rest.find(end);
        if (found == std::string_view::npos)
            break;
        at += found + end.size();
    }
    return std::string_view::npos;
}

} // namespace

std::string ExpandEntities(std::string text, DrawingLimits const& limits, Report& report) {
    std::size_t const start = FindDocumentType(text);
    if (start == std::string_view::npos)
        return text;
    std::map<std::string, Entity, std::less<>> entities;
    std::size_t const end = SubsetReader(text, start + std::string_view("<!DOCTYPE").size(), report).Read(entities);
    // Line numbers of later messages stay right when the line ends stay.
    std::string kept = text.substr(0, start);
    for (std::size_t i = start; i < end; ++i)
        if (text[i] == '\n')
            kept += '\n';
    if (entities.empty())
        return kept + text.substr(end);
    return kept + Expander(std::move(entities), limits).Expand(std::string_view(text).substr(end));
}

} // namespace Formats::Svg
