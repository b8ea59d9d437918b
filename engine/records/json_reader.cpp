// SPDX-License-Identifier: Apache-2.0
#include "engine/records/json_reader.h"

#include "engine/records/column_names.h"
#include "engine/records/json_text.h"
#include "engine/records/table_builder.h"
#include "engine/records/text_chunks.h"
#include "platform/kernel/abort_flag.h"

#include <algorithm>
#include <simdjson.h>
#include <unordered_map>

namespace Records {

namespace {

namespace OnDemand = simdjson::ondemand;

static_assert(TextBuffer::c_padding >= simdjson::SIMDJSON_PADDING);

// The text is held as a whole beside the table.
constexpr std::uint64_t c_mostJson = std::uint64_t(1) << 30;
constexpr std::size_t c_pieceBytes = 512 << 10;

// -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool IsJsonNumber(std::string_view text) {
    auto const takeDigits = [&] {
        std::size_t count = 0;
        while (count != text.size() && text[count] >= '0' && text[count] <= '9')
            ++count;
        text.remove_prefix(count);
        return count;
    };
    if (text.starts_with('-'))
        text.remove_prefix(1);
    bool const leadsWithZero = text.starts_with('0');
    auto const whole = takeDigits();
    if (whole == 0 || (leadsWithZero && whole != 1))
        return false;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (takeDigits() == 0)
            return false;
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        if (text.starts_with('+') || text.starts_with('-'))
            text.remove_prefix(1);
        if (takeDigits() == 0)
            return false;
    }
    return text.empty();
}

std::string_view TrimSpace(std::string_view text) {
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ')
        text.remove_suffix(1);
    return text;
}

// The columns by the paths of their members, which mostly come in the order in which they came first.
class MemberColumns {
public:
    std::size_t Find(std::string_view path, TableBuilder& builder, WarningList& warnings) {
        if (m_expected < m_paths.size() && *m_paths[m_expected] == path)
            return m_expected++;
        auto const [found, isNew] = m_columns.try_emplace(std::string(path), m_paths.size());
        if (isNew) {
            if (m_paths.size() == c_maximumColumns)
                throw Kernel::Exception("there are more than " + std::to_string(c_maximumColumns) + " columns");
            builder.AddColumn(m_names.Add(path, warnings));
            m_paths.push_back(&found->first);
        }
        m_expected = found->second + 1;
        return found->second;
    }
    void BeginRecord() { m_expected = 0; }

private:
    std::unordered_map<std::string, std::size_t> m_columns;
    std::vector<std::string const*> m_paths;
    ColumnNames m_names;
    std::size_t m_expected = 0;
};

class JsonReading {
public:
    JsonReading(TextBuffer const& text, bool const* abort) : m_text(text), m_abort(abort) {}

    void Run() {
        JsonText text(m_text.GetView(), m_abort);
        switch (text.Peek()) {
        case '\0':
            m_warnings.Add("there are no data");
            return;
        case '[':
            ReadArray(text);
            break;
        case '{':
            ReadObjects(text);
            break;
        default:
            text.TakeValue();
            break;
        }
        if (text.Peek() != '\0')
            text.Refuse("something follows the end");
        if (m_builder.GetRowCount() == 0 && m_othersCount + !m_hasArray != 0)
            throw Kernel::Exception("the JSON holds no objects");
    }
    WarningList& GetWarnings() { return m_warnings; }
    ReadResult Finish(char decimalMark) {
        ReadResult result;
        result.table = m_builder.Finish(decimalMark, false);
        result.used.decimalMark = m_builder.GetDecimalMark();
        result.warnings = std::move(m_warnings.GetWarnings());
        result.furtherWarnings = m_warnings.GetFurther();
        return result;
    }

private:
    void ReadArray(JsonText& text) {
        m_hasArray = true;
        text.Skip('[');
        if (text.Peek() == ']')
            return text.Skip(']');
        for (;;) {
            AddElement(text.TakeValue());
            if (text.Peek() != ',')
                return text.Skip(']');
            text.Skip(',');
        }
    }

    // Objects one after the other, or one with the array in it, or one record.
    void ReadObjects(JsonText& text) {
        auto const first = text.TakeValue();
        if (text.Peek() == '\0') {
            if (auto const array = FindArray(first); !array.empty()) {
                JsonText inner(array, m_abort);
                return ReadArray(inner);
            }
        }
        AddElement(first);
        while (text.Peek() != '\0')
            AddElement(text.TakeValue());
    }

    // The first array of objects among the members.
    std::string_view FindArray(std::string_view object) {
        JsonText text(object, m_abort);
        std::string_view found;
        int count = 0;
        text.Skip('{');
        while (text.Peek() != '}') {
            text.TakeValue();
            text.Skip(':');
            auto const value = text.TakeValue();
            JsonText inner(value, m_abort);
            if (inner.Peek() == '[') {
                inner.Skip('[');
                if (inner.Peek() == '{' && ++count == 1)
                    found = value;
            }
            if (text.Peek() == ',')
                text.Skip(',');
        }
        if (count > 1)
            m_warnings.Add("of several arrays of objects the first one was read");
        return found;
    }

    void AddElement(std::string_view text) {
        try {
            // The text that follows is padding enough.
            simdjson::padded_string_view const padded(text.data(), text.size(), text.size() + TextBuffer::c_padding);
            OnDemand::document document = m_parser.iterate(padded);
            if (text[0] == '{') {
                m_columns.BeginRecord();
                m_path.clear();
                AddMembers(document.get_object().value());
                m_builder.EndRow();
                if (m_builder.GetRowCount() > c_maximumRows)
                    throw Kernel::Exception("there are more than " + std::to_string(c_maximumRows) + " records");
                return;
            }
            m_json.clear();
            // Whether it is JSON at all.
            if (text[0] == '[')
                WriteArray(document.get_array().value());
            else
                CheckScalar(document, text);
            m_warnings.Add("value " + std::to_string(m_builder.GetRowCount() + m_othersCount) +
                           " is no object and was left out");
            ++m_othersCount;
        } catch (simdjson::simdjson_error const& e) {
            RefuseRecord(simdjson::error_message(e.error()));
        }
    }

    void CheckScalar(OnDemand::document& document, std::string_view text) {
        if (text[0] == '"')
            (void)document.get_string().value();
        else if (text == "null" || text == "true" || text == "false" || IsJsonNumber(text))
            (void)document.raw_json_token();
        else
            RefuseRecord("a value is neither number nor word of JSON");
    }
    [[noreturn]] void RefuseRecord(std::string const& reason) const {
        throw Kernel::Exception("the JSON cannot be read: record " +
                                std::to_string(m_builder.GetRowCount() + m_othersCount) + ": " + reason);
    }

    void AddMembers(OnDemand::object object) {
        for (auto member : object) {
            auto const pathSize = m_path.size();
            if (pathSize != 0)
                m_path.push_back('.');
            m_path.append(std::string_view(member.unescaped_key()));
            OnDemand::value value = member.value();
            if (value.type() == OnDemand::json_type::object)
                AddMembers(value.get_object().value());
            else
                AddField(value);
            m_path.resize(pathSize);
        }
    }

    void AddField(OnDemand::value value) {
        auto const column = m_columns.Find(m_path, m_builder, m_warnings);
        auto const row = m_builder.GetRowCount();
        auto const& name = m_builder.GetColumn(column).name;
        std::string_view text;
        if (value.type() == OnDemand::json_type::array) {
            m_json.clear();
            WriteArray(value.get_array().value());
            text = m_json;
        } else {
            text = ReadScalar(value);
        }
        if (text.find('\0') != std::string_view::npos) {
            std::string replaced;
            for (auto const c : text)
                c == '\0' ? replaced.append("\ufffd") : replaced.append(1, c);
            m_json = std::move(replaced);
            text = m_json;
            m_warnings.Add(row, name, "a zero byte was replaced");
        }
        if (text.size() > c_maximumFieldSize)
            throw Kernel::Exception("record " + std::to_string(row) + ": a field has more than " +
                                    DescribeSize(c_maximumFieldSize));
        if (!m_builder.SetField(column, text))
            m_warnings.Add(row, name, "the record has the member twice; the first one was taken");
    }

    // Numbers as they are written, so that none loses digits; null is empty.
    std::string_view ReadScalar(OnDemand::value value) {
        if (value.type() == OnDemand::json_type::string)
            return value.get_string();
        if (value.type() == OnDemand::json_type::boolean)
            return bool(value.get_bool()) ? "true" : "false";
        if (value.type() == OnDemand::json_type::null) {
            if (!bool(value.is_null()))
                RefuseRecord("a value is neither number nor word of JSON");
            return {};
        }
        auto const token = TrimSpace(value.raw_json_token());
        if (!IsJsonNumber(token))
            RefuseRecord("\"" + std::string(token.substr(0, 40)) + "\" is no number of JSON");
        // Takes the token: an object goes on behind what was read.
        double number;
        auto const error = value.get_double().get(number);
        if (error != simdjson::SUCCESS && error != simdjson::NUMBER_ERROR)
            throw simdjson::simdjson_error(error);
        return token;
    }

    void WriteArray(OnDemand::array array) {
        m_json.push_back('[');
        for (OnDemand::value value : array) {
            if (m_json.back() != '[')
                m_json.push_back(',');
            WriteValue(value);
        }
        m_json.push_back(']');
    }
    void WriteValue(OnDemand::value value) {
        switch (value.type()) {
        case OnDemand::json_type::array:
            return WriteArray(value.get_array().value());
        case OnDemand::json_type::object: {
            m_json.push_back('{');
            for (auto member : value.get_object()) {
                if (m_json.back() != '{')
                    m_json.push_back(',');
                WriteString(std::string_view(member.unescaped_key()));
                m_json.push_back(':');
                WriteValue(member.value());
            }
            m_json.push_back('}');
            return;
        }
        case OnDemand::json_type::string:
            return WriteString(std::string_view(value.get_string()));
        case OnDemand::json_type::null:
            ReadScalar(value);
            m_json.append("null");
            return;
        default:
            m_json.append(ReadScalar(value));
        }
    }
    void WriteString(std::string_view text) {
        static constexpr char c_digits[] = "0123456789abcdef";
        m_json.push_back('"');
        for (auto const c : text) {
            if (c == '"' || c == '\\') {
                m_json.push_back('\\');
                m_json.push_back(c);
            } else if (static_cast<unsigned char>(c) < ' ') {
                m_json.append("\\u00");
                m_json.push_back(c_digits[c >> 4]);
                m_json.push_back(c_digits[c & 15]);
            } else {
                m_json.push_back(c);
            }
        }
        m_json.push_back('"');
    }

    TextBuffer const& m_text;
    bool const* m_abort;
    OnDemand::parser m_parser;
    MemberColumns m_columns;
    TableBuilder m_builder{c_mostTableBytes};
    WarningList m_warnings;
    std::string m_path, m_json;
    std::uint64_t m_othersCount = 0;
    bool m_hasArray = false;
};

// The whole text in a form, with polls of the abort flag.
void LoadText(TextChunks const& chunks, TextBuffer& text, bool const* abort) {
    text.Clear();
    for (std::size_t chunk = 0; chunk != chunks.GetCount(); ++chunk) {
        if (Kernel::IsAbortSet(abort))
            throw Kernel::AbortException();
        chunks.Append(chunk, text);
    }
}

// Piece by piece: a piece ends before a character that is divided.
bool IsWellFormed(std::string_view text, Utf8Evidence& evidence, bool const* abort) {
    bool isWellFormed = true;
    while (!text.empty()) {
        if (Kernel::IsAbortSet(abort))
            throw Kernel::AbortException();
        auto size = std::min(text.size(), c_pieceBytes);
        for (int i = 0; i != 3 && size != text.size() && (static_cast<unsigned char>(text[size]) & 0xc0) == 0x80; ++i)
            --size;
        if (!simdjson::validate_utf8(text.data(), size)) {
            isWellFormed = false;
            evidence.Add(text.substr(0, size));
        }
        text.remove_prefix(size);
    }
    return isWellFormed;
}

} // namespace

ReadResult ReadJson(DataSource const& source, ReadOptions const& options, bool const* abort) {
    if (source.GetSize() > c_mostJson)
        throw Kernel::Exception("has " + DescribeSize(source.GetSize()) + "; at most " + DescribeSize(c_mostJson) +
                                " of JSON are read");
    auto found = FindForm(source, options.encoding);
    TextBuffer text;
    auto const load = [&] { LoadText(TextChunks(source, found, c_pieceBytes), text, abort); };
    load();
    std::string warning;
    Utf8Evidence evidence;
    if (found.form == TextForm::Utf8 && !IsWellFormed(text.GetView(), evidence, abort)) {
        bool const isWindows1252 =
            options.encoding == Encoding::Automatic && found.byteOrderMarkSize == 0 && evidence.SpeaksForWindows1252();
        found.form = isWindows1252 ? TextForm::Windows1252 : TextForm::RepairedUtf8;
        warning = isWindows1252 ? "the text is not UTF-8 and was read as Windows-1252"
                                : "bytes that are not UTF-8 were replaced";
        load();
    }
    JsonReading reading(text, abort);
    if (!warning.empty())
        reading.GetWarnings().Add(warning);
    reading.Run();
    source.CheckUnchanged();
    auto result = reading.Finish(options.decimalMark);
    auto const decimalMark = result.used.decimalMark;
    result.used = options;
    result.used.format = FileFormat::Json;
    result.used.encoding = GetEncoding(found.form);
    result.used.decimalMark = decimalMark;
    return result;
}

} // namespace Records
