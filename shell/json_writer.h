// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"

#include <concepts>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// Writes one JSON value (RFC 8259) piece by piece, in the order in which it is given, without keeping it: output of any
// size and depth takes a few kilobytes. Numbers are in the shortest form that reads back the same; what JSON has no
// number for is null.
class JsonWriter {
public:
    // Takes the text in pieces.
    using Sink = std::function<void(std::string_view)>;
    explicit JsonWriter(Sink sink) : m_sink(std::move(sink)) {}
    JsonWriter(JsonWriter const&) = delete;
    JsonWriter& operator=(JsonWriter const&) = delete;

    void BeginObject() { Begin('{'); }
    void EndObject() { End('}'); }
    void BeginArray() { Begin('['); }
    void EndArray() { End(']'); }
    // Names the value that comes next, inside an object.
    JsonWriter& Key(std::string_view name);

    void Value(std::string_view text);
    void Value(char const* text) { Value(std::string_view(text)); }
    void Value(bool value) { Raw(value ? "true" : "false"); }
    void Value(double value);
    void Value(std::integral auto value) { Raw(std::to_string(value)); }
    void Value(std::nullptr_t) { Raw("null"); }
    void Value(Kernel::RectT<double> const& rectangle);
    void Value(Raster::AffineTransform::Params const& transform);

    template <class T>
    void Member(std::string_view name, T const& value) {
        Key(name).Value(value);
    }
    // Hands over what is still held back.
    void Flush();
    // False as long as nothing has been written.
    bool HasValue() const { return m_hasValue; }

private:
    void Begin(char bracket);
    void End(char bracket);
    void Separate();
    void Raw(std::string_view text);
    void AppendString(std::string_view text);

    Sink m_sink;
    std::string m_buffer;
    // One entry for each open object or array: whether something stands in it already.
    std::vector<bool> m_hasMembers;
    bool m_afterKey = false;
    bool m_hasValue = false;
};

} // namespace Shell
