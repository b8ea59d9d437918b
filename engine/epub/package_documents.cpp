// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/package_documents.h"

#include "engine/epub/markup_writer.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"

#include <algorithm>

namespace EPub {

namespace {

using State = HtmlExporter::State;

constexpr std::string_view c_declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string_view OrDash(Kernel::String const& text) { return text.empty() ? "-" : text.view(); }

void BeginPage(MarkupWriter& markup, State const& state, std::string_view title, bool withStyles) {
    auto const& settings = *state.settings;
    markup.Raw(c_declaration).Raw("<!DOCTYPE html>\n").Begin("html");
    markup.Attribute("xmlns", "http://www.w3.org/1999/xhtml").Attribute("xmlns:epub", "http://www.idpf.org/2007/ops");
    markup.Attribute("lang", state.language).Attribute("xml:lang", state.language);
    markup.Optional("dir", settings.isRightToLeft ? "rtl" : "").Raw("\n").Begin("head").Raw("\n");
    markup.Begin("title").Text(title).End().Raw("\n");
    auto const link = [&](std::string_view path) {
        markup.Begin("link").Attribute("rel", "stylesheet").Attribute("type", "text/css");
        markup.Attribute("href", path).EndVoid().Raw("\n");
    };
    if (withStyles) {
        link(c_styleSheetPath);
        for (std::size_t i = 0; i != settings.cssFiles.size(); ++i)
            link(GetCssPath(settings, i));
    }
    markup.End().Raw("\n");
}

void EndPage(MarkupWriter& markup) { markup.Raw("\n").End().Raw("\n").End().Raw("\n"); }

class Package {
public:
    explicit Package(State const& state) : m_state(state), m_settings(*state.settings), m_markup(m_text) {}

    std::string Make() {
        m_markup.Raw(c_declaration).Begin("package").Attribute("xmlns", "http://www.idpf.org/2007/opf");
        m_markup.Attribute("version", "3.0").Attribute("unique-identifier", "identifier");
        m_markup.Attribute("xml:lang", m_state.language).Raw("\n");
        WriteMetadata();
        WriteManifest();
        WriteSpine();
        m_markup.End().Raw("\n");
        return std::move(m_text);
    }

private:
    void WriteElement(std::string_view name, std::string_view text) { m_markup.Begin(name).Text(text).End().Raw("\n"); }
    void WriteMeta(std::string_view property, std::string_view text) {
        if (!text.empty())
            m_markup.Begin("meta").Attribute("property", property).Text(text).End().Raw("\n");
    }

    void WriteMetadata() {
        m_markup.Begin("metadata").Attribute("xmlns:dc", "http://purl.org/dc/elements/1.1/").Raw("\n");
        m_markup.Begin("dc:identifier").Attribute("id", "identifier").Text(OrDash(m_settings.identifier)).End();
        m_markup.Raw("\n");
        WriteElement("dc:title", OrDash(m_settings.title));
        WriteElement("dc:language", m_state.language);
        if (!m_settings.creator.empty())
            WriteElement("dc:creator", m_settings.creator.view());
        WriteMeta("dcterms:modified", m_settings.modified.view());
        WriteAccessibility();
        if (m_settings.cover) {
            // Older readers look for this.
            m_markup.Begin("meta").Attribute("name", "cover").Attribute("content", "cover-picture").EndVoid();
            m_markup.Raw("\n");
        }
        m_markup.End().Raw("\n");
    }

    // The document's own words, else what is true of every book that is made here.
    void WriteAccessibility() {
        if (!m_settings.accessibility) {
            WriteMeta("schema:accessMode", "textual");
            if (m_settings.cover || !m_state.pictures.empty())
                WriteMeta("schema:accessMode", "visual");
            if (std::ranges::any_of(m_state.parts, [](auto const& part) { return !part.headings.empty(); }))
                WriteMeta("schema:accessibilityFeature", "structuralNavigation");
            WriteMeta("schema:accessibilityFeature", "tableOfContents");
            WriteMeta("schema:accessibilityHazard", "none");
            return;
        }
        auto const& values = m_settings.accessibility->Get();
        auto const writeAll = [&](std::string_view property, std::vector<Kernel::String> const& texts) {
            for (auto const& text : texts)
                WriteMeta(property, text.view());
        };
        writeAll("schema:accessMode", values.accessModes);
        writeAll("schema:accessModeSufficient", values.sufficientAccessModes);
        writeAll("schema:accessibilityFeature", values.features);
        writeAll("schema:accessibilityHazard", values.hazards);
        WriteMeta("schema:accessibilitySummary", values.summary.view());
        WriteMeta("dcterms:conformsTo", values.conformsTo.view());
        WriteMeta("a11y:certifiedBy", values.certifiedBy.view());
    }

    void WriteItem(std::string_view id, std::string_view path, std::string_view type, std::string_view properties) {
        m_markup.Begin("item").Attribute("id", id).Attribute("href", path).Attribute("media-type", type);
        m_markup.Optional("properties", properties).EndVoid().Raw("\n");
    }

    void WriteManifest() {
        constexpr std::string_view c_page = "application/xhtml+xml", c_css = "text/css", c_png = "image/png";
        m_markup.Begin("manifest").Raw("\n");
        WriteItem("navigation", c_navigationPath, c_page, "nav");
        WriteItem("styles", c_styleSheetPath, c_css, "");
        for (std::size_t i = 0; i != m_settings.cssFiles.size(); ++i)
            WriteItem("styles" + std::to_string(i + 1), GetCssPath(m_settings, i), c_css, "");
        if (m_settings.cover) {
            WriteItem("cover", c_coverPath, c_page, "");
            WriteItem("cover-picture", c_coverPicturePath, c_png, "cover-image");
        }
        for (std::size_t i = 0; i != m_state.parts.size(); ++i)
            WriteItem("part" + std::to_string(i + 1), m_state.parts[i].file.view(), c_page, "");
        for (std::size_t i = 0; i != m_state.pictures.size(); ++i)
            WriteItem("picture" + std::to_string(i + 1), m_state.pictures[i].name, c_png, "");
        m_markup.End().Raw("\n");
    }

    void WriteSpine() {
        bool const turnsToTheLeft = m_settings.isRightToLeft || m_state.isVertical;
        m_markup.Begin("spine").Optional("page-progression-direction", turnsToTheLeft ? "rtl" : "");
        m_markup.Raw("\n");
        auto const write = [&](std::string_view id) {
            m_markup.Begin("itemref").Attribute("idref", id).EndVoid().Raw("\n");
        };
        if (m_settings.cover)
            write("cover");
        for (std::size_t i = 0; i != m_state.parts.size(); ++i)
            write("part" + std::to_string(i + 1));
        m_markup.End().Raw("\n");
    }

    State const& m_state;
    ExportSettings const& m_settings;
    std::string m_text;
    MarkupWriter m_markup;
};

struct Entry {
    unsigned level;
    std::string text, address;
};

std::vector<Entry> GetEntries(State const& state) {
    std::vector<Entry> entries;
    for (auto const& part : state.parts) {
        auto const count = entries.size();
        for (auto const& heading : part.headings) {
            std::u32string text = heading.text;
            std::ranges::replace_if(
                text, [](char32_t c) { return c == U'\t' || c == Story::c_lineSeparator || c == U'\u00AD'; }, U' ');
            if (text.find_first_not_of(U' ') != text.npos)
                entries.push_back({heading.level, Story::EncodeUtf8(text), part.file.ToStdString() + "#" + heading.id});
        }
        if (entries.size() == count) {
            auto const& title = part.title.empty() ? state.settings->title : part.title;
            entries.push_back({1, std::string(OrDash(title)), part.file.ToStdString()});
        }
    }
    return entries;
}

// Lists inside each other. A level that is left out is none of the list's: an entry is at most one deeper than the one
// before it.
void WriteEntries(MarkupWriter& markup, std::vector<Entry> const& entries) {
    std::vector<unsigned> open;
    for (auto const& entry : entries) {
        bool isDeeper = open.empty() || entry.level > open.back();
        if (!isDeeper) {
            markup.End().Raw("\n");
            while (open.size() > 1 && entry.level < open.back() && entry.level <= open[open.size() - 2]) {
                open.pop_back();
                markup.End().End().Raw("\n");
            }
            open.back() = entry.level;
        } else {
            markup.Begin("ol").Raw("\n");
            open.push_back(entry.level);
        }
        markup.Begin("li").Begin("a").Attribute("href", entry.address).Text(entry.text).End();
    }
    for (std::size_t i = 0; i != open.size(); ++i)
        markup.End().End().Raw("\n");
}

void WriteLink(MarkupWriter& markup, std::string_view type, std::string_view address, std::string_view text) {
    markup.Begin("li").Begin("a").Optional("epub:type", type).Attribute("href", address).Text(text).End().End();
    markup.Raw("\n");
}

} // namespace

std::string GetCssPath(ExportSettings const& settings, std::size_t index) {
    std::string name;
    for (char const c : settings.cssFiles[index]->GetName().view()) {
        bool const isSafe = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
        if (isSafe && name.size() < 60)
            name += c;
        else if (c == '.')
            break;
    }
    return "Styles/" + std::to_string(index + 1) + (name.empty() ? "" : "-" + name) + ".css";
}

std::string MakePackageDocument(State const& state) { return Package(state).Make(); }

std::string MakeNavigationDocument(State const& state, HtmlExporter::Callbacks const& callbacks) {
    std::string text;
    MarkupWriter markup(text);
    auto const title = state.LookUp(callbacks, "contents", "Contents");
    BeginPage(markup, state, title, false);
    markup.Begin("body").Raw("\n");
    markup.Begin("nav").Attribute("epub:type", "toc").Attribute("role", "doc-toc").Attribute("id", "toc").Raw("\n");
    markup.Begin("h1").Text(title).End().Raw("\n");
    WriteEntries(markup, GetEntries(state));
    markup.End().Raw("\n");
    if (auto const pages = state.anchors.GetPages(); !pages.empty()) {
        markup.Begin("nav").Attribute("epub:type", "page-list").Attribute("role", "doc-pagelist");
        markup.Attribute("id", "pages").Attribute("hidden", "hidden").Raw("\n");
        markup.Begin("h2").Text(state.LookUp(callbacks, "pages", "Pages")).End().Raw("\n").Begin("ol").Raw("\n");
        for (auto const& page : pages)
            WriteLink(markup, "", page.target.file.ToStdString() + "#" + page.target.id, OrDash(page.label));
        markup.End().Raw("\n").End().Raw("\n");
    }
    markup.Begin("nav").Attribute("epub:type", "landmarks").Attribute("id", "landmarks");
    markup.Attribute("hidden", "hidden").Raw("\n");
    markup.Begin("h2").Text(state.LookUp(callbacks, "landmarks", "Landmarks")).End().Raw("\n").Begin("ol").Raw("\n");
    if (state.settings->cover)
        WriteLink(markup, "cover", c_coverPath, state.LookUp(callbacks, "cover", "Cover"));
    if (!state.parts.empty())
        WriteLink(markup, "bodymatter", state.parts.front().file.view(), OrDash(state.settings->title));
    markup.End().Raw("\n").End();
    EndPage(markup);
    return text;
}

std::string MakeCoverDocument(State const& state, HtmlExporter::Callbacks const& callbacks) {
    std::string text;
    MarkupWriter markup(text);
    auto const title = state.LookUp(callbacks, "cover", "Cover");
    BeginPage(markup, state, title, true);
    auto const& cover = *state.settings->cover;
    markup.Begin("body").Attribute("class", "cover").Raw("\n");
    markup.Begin("section").Attribute("epub:type", "cover").Begin("img").Attribute("src", c_coverPicturePath);
    markup.Attribute("alt", cover.alternativeText.empty() ? title : cover.alternativeText.view()).EndVoid().End();
    EndPage(markup);
    return text;
}

std::string MakePartBegin(State const& state, State::Part const& part) {
    std::string text;
    MarkupWriter markup(text);
    BeginPage(markup, state, OrDash(part.title.empty() ? state.settings->title : part.title), true);
    markup.Begin("body").Attribute("epub:type", "bodymatter").Raw("\n");
    return text;
}

} // namespace EPub
