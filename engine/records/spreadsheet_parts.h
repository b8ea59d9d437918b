// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/cell_format.h"
#include "engine/records/zip_package.h"

#include <pugixml.hpp>
#include <vector>

namespace Records {

// The name of an element without the prefix of its namespace.
std::string_view GetLocalName(pugi::xml_node element);
// The texts of a shared or inline string, one behind the other, without how it is read aloud.
void AppendStringText(pugi::xml_node string, std::string& text);

// Takes XML that comes in pieces: every run of elements of one name as soon as it is complete. Names may have a prefix.
// XML with a document type is refused: its entities could grow without bound.
class ElementRuns {
public:
    // `container`: the element that holds those of this name; `visit` is given each of them.
    ElementRuns(std::string part, std::string container, std::string element,
                std::function<void(pugi::xml_node)> visit);
    void Take(std::string_view piece);
    // Nothing follows: refused if the container has not ended.
    void Finish() const;

private:
    enum class State { Before, Within, Behind };
    bool FindContainer();
    void TakeRun(std::size_t size);
    void TakeWithin();

    std::string m_part, m_container, m_element, m_text;
    std::function<void(pugi::xml_node)> m_visit;
    State m_state = State::Before;
    std::size_t m_looked = 0;
};

// The parts of a workbook around its sheets.
struct Workbook {
    struct Sheet {
        std::string name, part;
    };
    std::vector<Sheet> sheets;
    bool isFrom1904 = false;
    // By the number of a cell's style.
    std::vector<CellKind> styles;

    std::string_view GetSharedString(std::size_t index) const {
        auto const begin = index == 0 ? 0 : m_ends[index - 1];
        return std::string_view(m_shared).substr(begin, m_ends[index] - begin);
    }
    std::size_t GetSharedStringCount() const { return m_ends.size(); }

    static Workbook Load(ZipPackage const& package);

private:
    void LoadSheets(ZipPackage const& package);
    void LoadStyles(ZipPackage const& package, std::string const& part);
    void LoadSharedStrings(ZipPackage const& package, std::string const& part);

    std::string m_shared;
    std::vector<std::size_t> m_ends;
};

} // namespace Records
