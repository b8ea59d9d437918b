// SPDX-License-Identifier: Apache-2.0
#include "engine/records/spreadsheet_parts.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <charconv>
#include <map>

namespace Records {

namespace {

constexpr std::size_t c_longestSmallPart = std::size_t(32) << 20;
constexpr std::size_t c_longestRun = std::size_t(64) << 20;
constexpr std::size_t c_mostSharedBytes = std::size_t(1) << 30;
constexpr unsigned c_parseOptions = pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_fragment;

[[noreturn]] void RefuseXml(std::string const& part, std::string const& reason) {
    throw Kernel::Exception("the spreadsheet's part " + part + " cannot be read: " + reason);
}

void RefuseDocumentType(std::string const& part, std::string_view xml) {
    if (xml.find("<!DOCTYPE") != std::string_view::npos)
        RefuseXml(part, "it has a document type, which spreadsheets have not");
}

pugi::xml_document LoadXml(ZipPackage const& package, std::string const& part) {
    auto const xml = package.LoadPart(part, c_longestSmallPart);
    RefuseDocumentType(part, xml);
    pugi::xml_document document;
    if (auto const result = document.load_buffer(xml.data(), xml.size()); !result)
        RefuseXml(part, result.description());
    return document;
}

pugi::xml_node FindChild(pugi::xml_node parent, std::string_view name) {
    return parent.find_child([&](pugi::xml_node child) { return GetLocalName(child) == name; });
}

std::string_view GetLocalPart(std::string_view name) {
    auto const colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

struct Relation {
    // The last part of the type's address, which the two kinds of the standard have in common.
    std::string type, part;
};

// The path of a part that another one names: from that one's folder, or from the top.
std::string ResolvePart(std::string const& base, std::string_view target) {
    std::vector<std::string> parts;
    auto const add = [&](std::string_view path) {
        while (!path.empty()) {
            auto const end = std::min(path.find('/'), path.size());
            auto const name = path.substr(0, end);
            if (name == "..") {
                if (!parts.empty())
                    parts.pop_back();
            } else if (!name.empty() && name != ".") {
                parts.emplace_back(name);
            }
            path.remove_prefix(std::min(end + 1, path.size()));
        }
    };
    if (!target.starts_with('/') && base.find('/') != std::string::npos)
        add(std::string_view(base).substr(0, base.rfind('/')));
    add(target);
    std::string joined;
    for (auto const& name : parts)
        joined += (joined.empty() ? "" : "/") + name;
    return joined;
}

// Of a part, by their ids; of the package where the name is empty.
std::map<std::string, Relation> LoadRelations(ZipPackage const& package, std::string const& part) {
    auto const slash = part.rfind('/');
    auto const folder = slash == std::string::npos ? std::string() : part.substr(0, slash + 1);
    auto const file = slash == std::string::npos ? part : part.substr(slash + 1);
    auto const name = folder + "_rels/" + file + ".rels";
    std::map<std::string, Relation> relations;
    if (!package.HasPart(name))
        return relations;
    auto const document = LoadXml(package, name);
    for (auto const relation : document.document_element().children()) {
        std::string_view const type = relation.attribute("Type").value();
        relations[relation.attribute("Id").value()] = {std::string(type.substr(type.rfind('/') + 1)),
                                                       ResolvePart(part, relation.attribute("Target").value())};
    }
    return relations;
}

std::string FindPart(std::map<std::string, Relation> const& relations, std::string_view type) {
    for (auto const& [id, relation] : relations) {
        if (relation.type == type)
            return relation.part;
    }
    return {};
}

// Characters that XML cannot hold are written _x000D_ (ECMA-376 part 1, 22.9.2.19).
void AppendUnescaped(std::string_view from, std::string& text) {
    for (;;) {
        auto const at = from.find("_x");
        if (at == std::string_view::npos || at + 7 > from.size()) {
            text.append(from);
            return;
        }
        unsigned code = 0;
        auto const* const digits = from.data() + at + 2;
        auto const result = std::from_chars(digits, digits + 4, code, 16);
        bool const isEscape = result.ptr == digits + 4 && from[at + 6] == '_' && code != 0 && code < 0x80;
        text.append(from.substr(0, isEscape ? at : at + 2));
        if (isEscape)
            text.push_back(static_cast<char>(code));
        from.remove_prefix(at + (isEscape ? 7 : 2));
    }
}

} // namespace

std::string_view GetLocalName(pugi::xml_node element) { return GetLocalPart(element.name()); }

void AppendStringText(pugi::xml_node string, std::string& text) {
    for (auto const child : string.children()) {
        auto const name = GetLocalName(child);
        if (name == "t")
            AppendUnescaped(child.text().get(), text);
        else if (name == "r")
            AppendStringText(child, text);
    }
}

ElementRuns::ElementRuns(std::string part, std::string container, std::string element,
                         std::function<void(pugi::xml_node)> visit)
    : m_part(std::move(part)),
      m_container(std::move(container)),
      m_element(std::move(element)),
      m_visit(std::move(visit)) {}

void ElementRuns::Take(std::string_view piece) {
    if (m_state == State::Behind)
        return;
    m_text.append(piece);
    if (m_text.size() > c_longestRun)
        RefuseXml(m_part, "an element has more than " + DescribeSize(c_longestRun));
    if (m_state == State::Within || FindContainer())
        TakeWithin();
}

void ElementRuns::Finish() const {
    if (m_state != State::Behind)
        RefuseXml(m_part, "it ends too early");
}

bool ElementRuns::FindContainer() {
    for (auto at = m_text.find('<', m_looked); at != std::string::npos; at = m_text.find('<', at + 1)) {
        m_looked = at;
        auto const end = m_text.find('>', at);
        if (end == std::string::npos)
            return false;
        auto const tag = std::string_view(m_text).substr(at + 1, end - at - 1);
        RefuseDocumentType(m_part, "<" + std::string(tag.substr(0, 16)));
        if (GetLocalPart(tag.substr(0, tag.find_first_of(" \t\r\n/"))) != m_container)
            continue;
        m_state = tag.ends_with('/') ? State::Behind : State::Within;
        m_text.erase(0, end + 1);
        m_looked = 0;
        return m_state == State::Within;
    }
    return false;
}

// Up to the end of the last element that has ended, or of the container. Text and attributes hold no '<'.
void ElementRuns::TakeWithin() {
    std::size_t complete = 0;
    for (auto at = m_text.find("</", m_looked); at != std::string::npos; at = m_text.find("</", at + 2)) {
        m_looked = at;
        auto const end = m_text.find('>', at);
        if (end == std::string::npos)
            break;
        auto const name = GetLocalPart(std::string_view(m_text).substr(at + 2, end - at - 2));
        if (name == m_container) {
            TakeRun(at);
            m_state = State::Behind;
            return;
        }
        if (name == m_element)
            complete = end + 1;
    }
    if (complete != 0)
        TakeRun(complete);
}

void ElementRuns::TakeRun(std::size_t size) {
    pugi::xml_document document;
    if (auto const result = document.load_buffer(m_text.data(), size, c_parseOptions); !result)
        RefuseXml(m_part, result.description());
    for (auto const child : document.children()) {
        if (child.type() == pugi::node_element && GetLocalName(child) == m_element)
            m_visit(child);
    }
    m_text.erase(0, size);
    m_looked -= std::min(m_looked, size);
}

Workbook Workbook::Load(ZipPackage const& package) {
    Workbook workbook;
    workbook.LoadSheets(package);
    return workbook;
}

void Workbook::LoadSheets(ZipPackage const& package) {
    auto part = FindPart(LoadRelations(package, {}), "officeDocument");
    if (part.empty())
        part = "xl/workbook.xml";
    if (!package.HasPart(part))
        throw Kernel::Exception("is no spreadsheet of the kind .xlsx: it has no workbook");
    auto const document = LoadXml(package, part);
    auto const relations = LoadRelations(package, part);
    auto const root = document.document_element();
    isFrom1904 = FindChild(root, "workbookPr").attribute("date1904").as_bool();
    for (auto const sheet : FindChild(root, "sheets").children()) {
        auto const id = sheet.find_attribute([](auto attribute) {
            return GetLocalPart(attribute.name()) == "id" && std::string_view(attribute.name()) != "id";
        });
        auto const found = relations.find(id.value());
        if (found != relations.end() && found->second.type == "worksheet")
            sheets.push_back({sheet.attribute("name").value(), found->second.part});
    }
    if (sheets.empty())
        throw Kernel::Exception("the spreadsheet has no sheets");
    if (auto const stylesPart = FindPart(relations, "styles"); !stylesPart.empty() && package.HasPart(stylesPart))
        LoadStyles(package, stylesPart);
    if (auto const sharedPart = FindPart(relations, "sharedStrings");
        !sharedPart.empty() && package.HasPart(sharedPart))
        LoadSharedStrings(package, sharedPart);
}

void Workbook::LoadStyles(ZipPackage const& package, std::string const& part) {
    auto const document = LoadXml(package, part);
    std::map<unsigned, CellKind> formats;
    for (auto const format : FindChild(document.document_element(), "numFmts").children())
        formats[format.attribute("numFmtId").as_uint()] =
            FindCellKind(std::string_view(format.attribute("formatCode").value()));
    for (auto const style : FindChild(document.document_element(), "cellXfs").children()) {
        auto const id = style.attribute("numFmtId").as_uint();
        auto const own = formats.find(id);
        styles.push_back(own == formats.end() ? FindCellKind(id) : own->second);
    }
}

void Workbook::LoadSharedStrings(ZipPackage const& package, std::string const& part) {
    ElementRuns runs(part, "sst", "si", [&](pugi::xml_node string) {
        AppendStringText(string, m_shared);
        m_ends.push_back(m_shared.size());
        if (m_shared.size() > c_mostSharedBytes)
            RefuseXml(part, "its texts have more than " + DescribeSize(c_mostSharedBytes));
    });
    package.ReadPart(part, [&](std::string_view piece) { runs.Take(piece); });
    runs.Finish();
}

} // namespace Records
