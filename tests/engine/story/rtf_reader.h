// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A small reader of RTF for tests, written from the Rich Text Format Specification 1.9.1: groups, control words and
// their numbers, \u with the fallback that \uc counts, destinations that are not part of the text. It throws for what
// is not well-formed.
namespace RtfReading {

class Reader {
public:
    explicit Reader(std::string_view rtf) : m_rtf(rtf) {
        if (!rtf.starts_with("{\\rtf1"))
            throw std::runtime_error("no RTF");
        m_stack.push_back({});
        ReadAll();
    }
    // The document's text, paragraphs and lines parted by newlines; "[N]" stands for a note.
    std::u32string text;
    std::vector<std::u32string> notes;
    // The instruction of each field, and the text that it shows.
    std::vector<std::pair<std::string, std::u32string>> fields;
    std::vector<std::string> bookmarks;
    // Names by number.
    std::map<long, std::u32string> fonts, styles;
    // How often each control word was met.
    std::map<std::string, int> words;
    // The control words that are in force in front of the first letter of a text.
    std::string FindControlsOf(std::u32string_view wanted) const {
        auto const at = text.find(wanted);
        return at == text.npos ? "none" : m_controls.at(at);
    }

private:
    enum class Place { Text, Note, Instruction, Bookmark, FontTable, StyleSheet, Ignored };
    struct State {
        Place place = Place::Text;
        int fallback = 1;
        long number = 0;
        bool isMark = false;
        std::string controls;
        std::size_t field = std::string::npos;
    };

    void ReadAll() {
        std::size_t depth = 0;
        for (m_at = 0; m_at < m_rtf.size();) {
            char const c = m_rtf[m_at++];
            if (c == '{') {
                m_stack.push_back(m_stack.back());
                m_isGroupBegin = true;
                ++depth;
            } else if (c == '}') {
                CheckSurrogate();
                if (depth == 0)
                    throw std::runtime_error("a group ends that has not begun");
                --depth;
                m_stack.pop_back();
                if (depth == 0)
                    break;
            } else if (c == '\\') {
                ReadControl();
            } else if (static_cast<unsigned char>(c) >= 0x80) {
                throw std::runtime_error("not ASCII");
            } else if (c != '\r' && c != '\n') {
                Add(static_cast<unsigned char>(c));
            }
        }
        if (depth != 0)
            throw std::runtime_error("a group does not end");
    }

    void ReadControl() {
        char const first = m_rtf.at(m_at++);
        auto const isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
        if (!isLetter(first)) {
            if (first == '*')
                m_isOptional = true;
            else if (first == '~')
                Add(0xA0);
            else if (first == '_')
                Add(0x2011);
            else if (first == '\\' || first == '{' || first == '}')
                Add(static_cast<unsigned char>(first));
            else if (first != '-')
                throw std::runtime_error("unknown control symbol");
            return;
        }
        std::string word(1, first);
        while (m_at < m_rtf.size() && isLetter(m_rtf[m_at]))
            word += m_rtf[m_at++];
        std::string digits;
        while (m_at < m_rtf.size() &&
               ((m_rtf[m_at] >= '0' && m_rtf[m_at] <= '9') || (digits.empty() && m_rtf[m_at] == '-')))
            digits += m_rtf[m_at++];
        if (m_at < m_rtf.size() && m_rtf[m_at] == ' ')
            ++m_at;
        ++words[word];
        Handle(word, digits.empty() ? 0 : std::stol(digits), "\\" + word + digits);
        m_isGroupBegin = m_isOptional = false;
    }

    void Handle(std::string const& word, long number, std::string const& whole) {
        auto& state = m_stack.back();
        if (word == "u") {
            AddUnit(static_cast<char32_t>(number < 0 ? number + 0x10000 : number));
            m_skip = state.fallback;
        } else if (word == "uc") {
            state.fallback = static_cast<int>(number);
        } else if (word == "par" || word == "line") {
            Add(U'\n');
        } else if (word == "tab") {
            Add(U'\t');
        } else if (word == "fonttbl") {
            state.place = Place::FontTable;
        } else if (word == "stylesheet") {
            state.place = Place::StyleSheet;
        } else if (word == "colortbl" || word == "pict") {
            state.place = Place::Ignored;
        } else if (word == "footnote") {
            state.place = Place::Note;
            notes.emplace_back();
            state.isMark = false;
        } else if (word == "chftn") {
            if (state.place == Place::Text) {
                for (char const c : "[" + std::to_string(notes.size() + 1) + "]")
                    if (c != 0)
                        Add(static_cast<unsigned char>(c));
            }
        } else if (word == "fldinst") {
            state.place = Place::Instruction;
            fields.emplace_back();
        } else if (word == "fldrslt") {
            state.field = fields.size() - 1;
        } else if (word == "bkmkstart") {
            state.place = Place::Bookmark;
            bookmarks.emplace_back();
        } else if (m_isOptional && word != "cs") {
            state.place = Place::Ignored;
        } else if (state.place == Place::FontTable && word == "f") {
            state.number = number;
        } else if (state.place == Place::StyleSheet && (word == "s" || word == "cs")) {
            state.number = word == "cs" ? -number : number;
        } else if (word == "pard" || word == "plain") {
            state.controls = word == "plain" ? state.controls : std::string();
        } else {
            state.controls += whole;
        }
    }

    void CheckSurrogate() {
        if (m_high != 0)
            throw std::runtime_error("a lone surrogate");
    }
    void AddUnit(char32_t unit) {
        if (unit >= 0xD800 && unit < 0xDC00) {
            CheckSurrogate();
            m_high = unit;
            return;
        }
        if (unit >= 0xDC00 && unit < 0xE000) {
            if (m_high == 0)
                throw std::runtime_error("a lone surrogate");
            unit = 0x10000 + ((m_high - 0xD800) << 10) + (unit - 0xDC00);
            m_high = 0;
        }
        CheckSurrogate();
        m_skip = 0;
        Add(unit);
    }

    void Add(char32_t c) {
        if (m_skip != 0) {
            --m_skip;
            return;
        }
        CheckSurrogate();
        auto& state = m_stack.back();
        switch (state.place) {
        case Place::Text:
            text += c;
            m_controls.push_back(state.controls);
            if (state.field != std::string::npos)
                fields.at(state.field).second += c;
            break;
        case Place::Note:
            notes.back() += c;
            break;
        case Place::Instruction:
            fields.back().first += static_cast<char>(c);
            break;
        case Place::Bookmark:
            bookmarks.back() += static_cast<char>(c);
            break;
        case Place::FontTable:
            if (c != U';')
                fonts[state.number] += c;
            break;
        case Place::StyleSheet:
            if (c != U';')
                styles[state.number] += c;
            break;
        default:
            break;
        }
    }

    std::string_view m_rtf;
    std::size_t m_at = 0;
    std::vector<State> m_stack;
    std::vector<std::string> m_controls;
    bool m_isGroupBegin = false, m_isOptional = false;
    int m_skip = 0;
    char32_t m_high = 0;
};

} // namespace RtfReading
