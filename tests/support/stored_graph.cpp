// SPDX-License-Identifier: Apache-2.0
#include "tests/support/stored_graph.h"

#include <cstring>
#include <map>
#include <stdexcept>

namespace Support {

namespace {

using Bytes = std::vector<std::byte>;

constexpr std::uint8_t c_graphFormat = 1;

std::size_t FixedSize(std::uint8_t form) {
    switch (form) {
    case 1:
    case 12:
        return 1;
    case 13:
        return 2;
    case 5:
    case 7:
        return 4;
    case 4:
    case 6:
    case 10:
        return 8;
    case 11:
        return 0;
    case 36:
        return 16;
    case 38:
        return 32;
    case 40:
        return 48;
    default:
        return SIZE_MAX;
    }
}

std::uint32_t Crc32c(std::byte const* bytes, std::size_t size) {
    static auto const s_table = [] {
        std::vector<std::uint32_t> table(256);
        for (std::uint32_t i = 0; i != 256; ++i) {
            table[i] = i;
            for (int bit = 0; bit != 8; ++bit)
                table[i] = table[i] >> 1 ^ (0x82F63B78U & (0U - (table[i] & 1U)));
        }
        return table;
    }();
    std::uint32_t crc = ~0U;
    for (std::size_t i = 0; i != size; ++i)
        crc = crc >> 8 ^ s_table[(crc ^ std::to_integer<std::uint32_t>(bytes[i])) & 0xFF];
    return ~crc;
}

class Reader {
public:
    Reader(std::byte const* begin, std::byte const* end) : m_at(begin), m_end(end) {}

    bool IsAtEnd() const { return m_at == m_end; }
    std::uint32_t Varint() {
        std::uint32_t value = 0;
        for (int shift = 0;; shift += 7) {
            auto const byte = std::to_integer<std::uint32_t>(*Take(1));
            value |= (byte & 0x7F) << shift;
            if (byte < 0x80)
                return value;
        }
    }
    std::uint8_t Byte() { return std::to_integer<std::uint8_t>(*Take(1)); }
    std::string Tag() { return std::string(reinterpret_cast<char const*>(Take(4)), 4); }
    Bytes Value(std::size_t size) {
        auto const* const from = Take(size);
        return {from, from + size};
    }
    Reader Part(std::size_t size) {
        auto const* const from = Take(size);
        return {from, from + size};
    }

private:
    std::byte const* Take(std::size_t size) {
        if (size > static_cast<std::size_t>(m_end - m_at))
            throw std::runtime_error("stored bytes that do not end where they say");
        return std::exchange(m_at, m_at + size);
    }

    std::byte const* m_at;
    std::byte const* m_end;
};

StoredFields ReadFields(Reader in) {
    StoredFields fields;
    while (!in.IsAtEnd()) {
        auto& field = fields.emplace_back();
        field.tag = in.Tag();
        field.form = in.Byte();
        if (field.form == c_objectForm) {
            field.objects = {in.Varint()};
        } else if (!field.IsArray() && !field.IsValueClass() && FixedSize(field.form) != SIZE_MAX) {
            field.value = in.Value(FixedSize(field.form));
        } else if (!field.IsReference() && !field.IsValueClass()) {
            field.value = in.Value(in.Varint());
        } else {
            auto part = in.Part(in.Varint());
            if (field.IsValueClass()) {
                field.classTag = part.Tag();
                field.classVersion = part.Varint();
            }
            if (field.form == c_classForm) {
                field.elements.emplace_back(ReadFields(part));
                continue;
            }
            while (!part.IsAtEnd()) {
                if (field.IsReference()) {
                    field.objects.push_back(part.Varint());
                    continue;
                }
                auto const length = part.Varint();
                if (length == 0)
                    field.elements.emplace_back();
                else
                    field.elements.emplace_back(ReadFields(part.Part(length - 1)));
            }
        }
    }
    return fields;
}

void PutVarint(Bytes& out, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7)
        out.push_back(static_cast<std::byte>(value | 0x80));
    out.push_back(static_cast<std::byte>(value));
}

void PutTag(Bytes& out, std::string const& tag) {
    for (char const letter : tag)
        out.push_back(static_cast<std::byte>(letter));
}

void PutBytes(Bytes& out, Bytes const& bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); }

void PutChecksum(Bytes& out, std::size_t start) {
    auto const crc = Crc32c(out.data() + start, out.size() - start);
    for (int i = 0; i != 4; ++i)
        out.push_back(static_cast<std::byte>(crc >> (8 * i)));
}

Bytes WriteFields(StoredFields const& fields) {
    Bytes out;
    for (auto const& field : fields) {
        PutTag(out, field.tag);
        out.push_back(static_cast<std::byte>(field.form));
        if (field.form == c_objectForm) {
            PutVarint(out, field.objects.at(0));
            continue;
        }
        bool const isFixed = !field.IsArray() && !field.IsValueClass() && FixedSize(field.form) != SIZE_MAX;
        Bytes value = field.value;
        if (field.IsReference()) {
            for (auto const id : field.objects)
                PutVarint(value, id);
        } else if (field.IsValueClass()) {
            PutTag(value, field.classTag);
            PutVarint(value, field.classVersion);
            for (auto const& element : field.elements) {
                auto const bytes = element ? WriteFields(*element) : Bytes();
                if (field.IsArray())
                    PutVarint(value, element ? bytes.size() + 1 : 0);
                PutBytes(value, bytes);
            }
        }
        if (!isFixed)
            PutVarint(out, value.size());
        PutBytes(out, value);
    }
    return out;
}

} // namespace

std::string StoredField::DescribeForm() const {
    static std::map<std::uint8_t, std::string> const s_names{
        {1, "bool"},   {2, "text"},   {3, "enum name"}, {4, "uint64"}, {5, "float"},
        {6, "double"}, {7, "int32"},  {8, "object"},    {10, "int64"}, {11, "no value"},
        {12, "byte"},  {13, "int16"}, {36, "pair"},     {38, "rect"},  {40, "affine"}};
    auto const plain = static_cast<std::uint8_t>(form & ~c_arrayBit);
    auto const found = s_names.find(plain);
    std::string const name = IsValueClass()           ? classTag
                             : found != s_names.end() ? found->second
                                                      : "form " + std::to_string(plain);
    return IsArray() ? "array of " + name : name;
}

StoredGraph ReadGraph(Kernel::ChunkStorage const& storage) {
    StoredGraph graph;
    auto const header = storage.ReadChunk(0);
    Reader in(header.data(), header.data() + header.size() - 4);
    if (in.Byte() != c_graphFormat)
        throw std::runtime_error("objects of another form");
    in.Varint();
    in.Varint();
    for (auto count = in.Varint(); count != 0; --count)
        graph.roots.push_back(in.Varint());
    for (auto count = in.Varint(); count != 0; --count) {
        in.Varint();
        auto const chunk = storage.ReadChunk(in.Varint());
        for (Reader records(chunk.data(), chunk.data() + chunk.size()); !records.IsAtEnd();) {
            auto& object = graph.objects.emplace_back();
            object.id = records.Varint();
            object.classTag = records.Tag();
            object.version = records.Varint();
            object.fields = ReadFields(records.Part(records.Varint()));
            records.Value(4);
        }
    }
    return graph;
}

void WriteGraph(StoredGraph const& graph, Kernel::ChunkStorage& storage) {
    Bytes chunk;
    for (auto const& object : graph.objects) {
        auto const start = chunk.size();
        auto const fields = WriteFields(object.fields);
        PutVarint(chunk, object.id);
        PutTag(chunk, object.classTag);
        PutVarint(chunk, object.version);
        PutVarint(chunk, fields.size());
        PutBytes(chunk, fields);
        PutChecksum(chunk, start);
    }
    Bytes header{std::byte{c_graphFormat}};
    PutVarint(header, graph.objects.size() + 1);
    PutVarint(header, graph.objects.size());
    PutVarint(header, graph.roots.size());
    for (auto const root : graph.roots)
        PutVarint(header, root);
    PutVarint(header, 1);
    PutVarint(header, 1);
    PutVarint(header, 1);
    PutChecksum(header, 0);
    for (auto const number : storage.ListChunks()) {
        if (number > 1)
            storage.RemoveChunk(number);
    }
    storage.WriteChunk(0, header);
    storage.WriteChunk(1, chunk);
}

void ForEachStoredField(StoredFields& fields, std::function<void(StoredFields&, std::size_t)> const& visit) {
    for (std::size_t i = 0; i != fields.size(); ++i) {
        visit(fields, i);
        if (i >= fields.size())
            return;
        auto& elements = fields[i].elements;
        for (std::size_t element = 0; element < elements.size();
             element = element + 1 == elements.size() ? elements.size() : elements.size() - 1) {
            if (elements[element])
                ForEachStoredField(*elements[element], visit);
        }
    }
}

} // namespace Support
