// SPDX-License-Identifier: Apache-2.0
#include "engine/model_host/onnx_outline.h"

#include <algorithm>
#include <functional>
#include <set>

namespace {

// Field numbers of onnx.proto.
constexpr std::uint64_t c_modelGraph = 7;
constexpr std::uint64_t c_graphNode = 1, c_graphInitializer = 5, c_graphInput = 11, c_graphOutput = 12;
constexpr std::uint64_t c_nodeOutput = 2, c_nodeName = 3;
constexpr std::uint64_t c_tensorName = 8;
constexpr std::uint64_t c_valueName = 1, c_valueType = 2, c_typeTensor = 1;
constexpr std::uint64_t c_tensorElementType = 1, c_tensorShape = 2, c_shapeDimension = 1, c_dimensionValue = 1;

// One field of a message: a number, or bytes.
struct Field {
    std::uint64_t number = 0;
    std::uint64_t value = 0;
    std::string_view bytes;
};

// The fields of a message in Protocol Buffers' encoding (protobuf.dev/programming-guides/encoding).
class Message {
public:
    explicit Message(std::string_view bytes) : m_rest(bytes) {}
    // None at the end, or where the message is damaged.
    std::optional<Field> Next() {
        if (m_rest.empty())
            return std::nullopt;
        m_isDamaged = true;
        std::uint64_t key = 0, length = 0;
        if (!TakeNumber(key))
            return std::nullopt;
        Field field{key >> 3, 0, {}};
        switch (key & 7) {
        case 0:
            if (!TakeNumber(field.value))
                return std::nullopt;
            break;
        case 1:
            if (!TakeBytes(8, field.bytes))
                return std::nullopt;
            break;
        case 2:
            if (!TakeNumber(length) || !TakeBytes(length, field.bytes))
                return std::nullopt;
            break;
        case 5:
            if (!TakeBytes(4, field.bytes))
                return std::nullopt;
            break;
        default:
            return std::nullopt;
        }
        m_isDamaged = false;
        return field;
    }
    bool IsDamaged() const { return m_isDamaged; }

private:
    bool TakeNumber(std::uint64_t& number) {
        for (unsigned shift = 0; shift < 64 && !m_rest.empty(); shift += 7) {
            auto const byte = static_cast<unsigned char>(m_rest.front());
            m_rest.remove_prefix(1);
            number |= std::uint64_t{byte & 0x7Fu} << shift;
            if (byte < 0x80)
                return true;
        }
        return false;
    }
    bool TakeBytes(std::uint64_t count, std::string_view& bytes) {
        if (count > m_rest.size())
            return false;
        bytes = m_rest.substr(0, count);
        m_rest.remove_prefix(count);
        return true;
    }

    std::string_view m_rest;
    bool m_isDamaged = false;
};

// False where the message is damaged.
bool ForEachField(std::string_view bytes, std::function<void(Field const&)> const& visit) {
    Message message(bytes);
    while (auto const field = message.Next())
        visit(*field);
    return !message.IsDamaged();
}

std::string_view FindBytes(std::string_view message, std::uint64_t number) {
    std::string_view found;
    ForEachField(message, [&](Field const& field) {
        if (field.number == number)
            found = field.bytes;
    });
    return found;
}

OnnxOutline::Input ReadInput(std::string_view value) {
    OnnxOutline::Input input{std::string(FindBytes(value, c_valueName)), 0, {}};
    ForEachField(FindBytes(FindBytes(value, c_valueType), c_typeTensor), [&](Field const& field) {
        if (field.number == c_tensorElementType)
            input.elementType = field.value;
        if (field.number != c_tensorShape)
            return;
        ForEachField(field.bytes, [&](Field const& dimension) {
            if (dimension.number != c_shapeDimension)
                return;
            std::uint64_t size = 0;
            ForEachField(dimension.bytes, [&](Field const& part) {
                if (part.number == c_dimensionValue)
                    size = part.value;
            });
            input.shape.push_back(size);
        });
    });
    return input;
}

bool MakesOutput(std::string_view node, std::string_view output) {
    bool makes = false;
    ForEachField(node,
                 [&](Field const& field) { makes = makes || (field.number == c_nodeOutput && field.bytes == output); });
    return makes;
}

} // namespace

std::optional<OnnxOutline> OnnxOutline::Read(std::string_view model) {
    std::string_view graph;
    if (!ForEachField(model, [&](Field const& field) {
            if (field.number == c_modelGraph)
                graph = field.bytes;
        }))
        return std::nullopt;
    OnnxOutline outline;
    std::set<std::string, std::less<>> valued;
    bool const isWhole = ForEachField(graph, [&](Field const& field) {
        if (field.number == c_graphInput)
            outline.inputs.push_back(ReadInput(field.bytes));
        if (field.number == c_graphInitializer)
            valued.emplace(FindBytes(field.bytes, c_tensorName));
        if (field.number == c_graphOutput && outline.firstOutput.empty())
            outline.firstOutput = FindBytes(field.bytes, c_valueName);
    });
    if (!isWhole || outline.firstOutput.empty())
        return std::nullopt;
    std::erase_if(outline.inputs, [&](Input const& input) { return valued.contains(input.name); });
    ForEachField(graph, [&](Field const& field) {
        if (field.number == c_graphNode && MakesOutput(field.bytes, outline.firstOutput))
            outline.firstOutputNode = FindBytes(field.bytes, c_nodeName);
    });
    return outline;
}
