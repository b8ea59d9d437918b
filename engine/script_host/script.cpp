// SPDX-License-Identifier: Apache-2.0
#include "engine/script_host/script.h"

#include <cstdlib>
#include <cstring>
#include <duktape.h>
#include <malloc.h>
#include <unistd.h>

using namespace Records::ScriptProtocol;

namespace {

// On the engine's stack, below all else: the function, then the fields' names.
constexpr duk_idx_t c_function = 0;

// Everything that can be reached is frozen, so that a script cannot keep anything for the next record and gives the
// same answers however the records are shared among processes.
constexpr char const* c_freezing = R"((function (root) {
    delete root.Duktape;
    var seen = [], waiting = [root];
    function add(value) {
        if (value !== null && (typeof value === "object" || typeof value === "function") && seen.indexOf(value) < 0) {
            seen.push(value);
            waiting.push(value);
        }
    }
    seen.push(root);
    while (waiting.length !== 0) {
        var object = waiting.pop();
        add(Object.getPrototypeOf(object));
        Object.getOwnPropertyNames(object).concat(Object.getOwnPropertySymbols(object)).forEach(function (name) {
            var property = Object.getOwnPropertyDescriptor(object, name);
            add(property.value);
            add(property.get);
            add(property.set);
        });
    }
    seen.forEach(function (object) {
        try {
            Object.freeze(object);
        } catch (unfreezable) {
        }
    });
}))";

[[noreturn]] void OnFatal(void*, char const*) { _exit(5); }

// The engine keeps characters beyond the first plane as two halves of three bytes each, as those of its own sources.
void PushText(duk_context* context, std::string_view text) {
    auto const isLong = [](char byte) { return static_cast<unsigned char>(byte) >= 0xF0; };
    std::size_t at = 0;
    while (at != text.size() && !isLong(text[at]))
        ++at;
    if (at == text.size()) {
        duk_push_lstring(context, text.data(), text.size());
        return;
    }
    // In the engine's memory, which is bounded and is given back whatever is thrown.
    auto* const buffer = static_cast<char*>(duk_push_fixed_buffer(context, text.size() + text.size() / 2 + 6));
    std::size_t size = at;
    std::memcpy(buffer, text.data(), at);
    while (at != text.size()) {
        if (!isLong(text[at]) || text.size() - at < 4) {
            buffer[size++] = text[at++];
            continue;
        }
        auto const bits = [&](std::size_t index) { return static_cast<unsigned char>(text[at + index]) & 0x3Fu; };
        unsigned const character =
            ((static_cast<unsigned char>(text[at]) & 7u) << 18 | bits(1) << 12 | bits(2) << 6 | bits(3)) - 0x10000u;
        for (unsigned const half : {0xD800u | (character >> 10 & 0x3FFu), 0xDC00u | (character & 0x3FFu)}) {
            buffer[size++] = static_cast<char>(0xE0u | half >> 12);
            buffer[size++] = static_cast<char>(0x80u | (half >> 6 & 0x3Fu));
            buffer[size++] = static_cast<char>(0x80u | (half & 0x3Fu));
        }
        at += 4;
    }
    duk_push_lstring(context, buffer, size);
    duk_remove(context, -2);
}

// The other way round.
std::string ToUtf8(std::string_view text) {
    std::string result;
    auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    for (std::size_t at = 0; at < text.size(); ++at) {
        bool const isPair = text.size() - at >= 6 && byte(at) == 0xED && (byte(at + 1) & 0xF0) == 0xA0 &&
                            byte(at + 3) == 0xED && (byte(at + 4) & 0xF0) == 0xB0;
        if (!isPair) {
            result.push_back(text[at]);
            continue;
        }
        unsigned const high = (byte(at + 1) & 0xFu) << 6 | (byte(at + 2) & 0x3Fu);
        unsigned const low = (byte(at + 4) & 0xFu) << 6 | (byte(at + 5) & 0x3Fu);
        unsigned const character = 0x10000u + (high << 10 | low);
        result.push_back(static_cast<char>(0xF0u | character >> 18));
        result.push_back(static_cast<char>(0x80u | (character >> 12 & 0x3Fu)));
        result.push_back(static_cast<char>(0x80u | (character >> 6 & 0x3Fu)));
        result.push_back(static_cast<char>(0x80u | (character & 0x3Fu)));
        at += 5;
    }
    return result;
}

// Numbers by chance that are the same for a record each time.
std::uint64_t s_chance = 0;

duk_ret_t Random(duk_context* context) {
    // splitmix64 (Steele, Lea and Flood 2014).
    std::uint64_t bits = s_chance += 0x9E3779B97F4A7C15u;
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9u;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EBu;
    duk_push_number(context, static_cast<double>((bits ^ bits >> 31) >> 11) * 0x1p-53);
    return 1;
}

} // namespace

struct Script::Call {
    Script& script;
    std::uint32_t row;
    std::string_view fields;
};

Script::Script(std::string_view source, std::vector<std::string> const& fields, std::size_t memory) : m_memory{memory} {
    m_context = duk_create_heap(&Allocate, &Reallocate, &Free, &m_memory, &OnFatal);
    if (m_context == nullptr)
        OnFatal(nullptr, nullptr);
    m_isValid = Prepare(source, fields);
}

Script::~Script() { duk_destroy_heap(m_context); }

void* Script::Allocate(void* memory, std::size_t size) {
    auto& left = static_cast<Memory*>(memory)->left;
    if (size == 0 || size > left)
        return nullptr;
    void* const block = std::malloc(size);
    if (block != nullptr) {
        auto const used = malloc_usable_size(block);
        left -= used < left ? used : left;
    }
    return block;
}

void* Script::Reallocate(void* memory, void* block, std::size_t size) {
    if (block == nullptr)
        return Allocate(memory, size);
    if (size == 0) {
        Free(memory, block);
        return nullptr;
    }
    auto& left = static_cast<Memory*>(memory)->left;
    auto const before = malloc_usable_size(block);
    if (size > before && size - before > left)
        return nullptr;
    void* const moved = std::realloc(block, size);
    if (moved != nullptr) {
        auto const available = left + before, used = malloc_usable_size(moved);
        left = available - (used < available ? used : available);
    }
    return moved;
}

void Script::Free(void* memory, void* block) {
    if (block == nullptr)
        return;
    static_cast<Memory*>(memory)->left += malloc_usable_size(block);
    std::free(block);
}

// On one line with the script's first, so that line numbers are the script's. As an expression and as a declaration: of
// one alone the compiler takes texts that close the function themselves. Without a name, by which a script could keep
// something at its function.
bool Script::Compile(std::string_view source) {
    auto const rest = "(record, index) {\"use strict\"; " + std::string(source) + "\n}";
    auto const compile = [&](std::string const& program, duk_uint_t flags) {
        return duk_pcompile_lstring(m_context, flags, program.data(), program.size()) == 0;
    };
    if (!compile("(function " + rest + ")", DUK_COMPILE_EVAL))
        return false;
    duk_pop(m_context);
    if (!compile("function script" + rest, 0))
        return false;
    duk_pop(m_context);
    return compile("function " + rest, DUK_COMPILE_FUNCTION);
}

bool Script::Prepare(std::string_view source, std::vector<std::string> const& fields) {
    if (!Compile(source))
        return false;
    duk_require_stack(m_context, static_cast<duk_idx_t>(fields.size() + 16));
    for (auto const& field : fields) {
        PushText(m_context, field);
        m_fields.push_back(duk_get_heapptr(m_context, -1));
    }
    duk_push_global_object(m_context);
    duk_get_prop_string(m_context, -1, "Math");
    duk_push_c_function(m_context, &Random, 0);
    duk_put_prop_string(m_context, -2, "random");
    duk_pop_2(m_context);
    if (duk_peval_string(m_context, c_freezing) != 0)
        return false;
    duk_push_global_object(m_context);
    if (duk_pcall(m_context, 1) != 0)
        return false;
    duk_pop(m_context);
    return true;
}

int Script::RunProtected(duk_hthread* context, void* call) {
    auto const& [script, row, fields] = *static_cast<Call*>(call);
    duk_dup(context, c_function);
    // Without a prototype, so that fields may have any names and unknown ones are undefined.
    duk_push_bare_object(context);
    char const* at = fields.data();
    for (void* const name : script.m_fields) {
        auto const kind = static_cast<FieldKind>(*at++);
        if (kind == FieldKind::Number) {
            double number = 0;
            std::memcpy(&number, at, sizeof number);
            at += sizeof number;
            duk_push_number(context, number);
        } else {
            std::uint32_t size = 0;
            std::memcpy(&size, at, sizeof size);
            at += sizeof size;
            PushText(context, {at, size});
            at += size;
        }
        duk_put_prop_heapptr(context, -2, name);
    }
    duk_push_uint(context, row);
    duk_call(context, 2);
    return 1;
}

Verdict Script::Run(std::uint32_t row, std::string_view fields) {
    // The failure of the run before.
    duk_set_top(m_context, static_cast<duk_idx_t>(1 + m_fields.size()));
    s_chance = std::uint64_t(row) << 32;
    Call call{*this, row, fields};
    if (duk_safe_call(m_context, &RunProtected, &call, 0, 1) != DUK_EXEC_SUCCESS)
        return Verdict::Failed;
    bool const keep = duk_to_boolean(m_context, -1) != 0;
    duk_pop(m_context);
    return keep ? Verdict::Keep : Verdict::Drop;
}

std::string Script::DescribeFailure() {
    auto const describe = [](duk_context* context, void*) -> duk_ret_t {
        duk_push_null(context);
        if (duk_is_error(context, -2) != 0) {
            duk_pop(context);
            duk_get_prop_string(context, -1, "lineNumber");
        }
        duk_safe_to_string(context, -2);
        return 2;
    };
    std::string message;
    if (duk_safe_call(m_context, describe, nullptr, 1, 2) == DUK_EXEC_SUCCESS && duk_is_string(m_context, -2) != 0) {
        duk_size_t size = 0;
        char const* const text = duk_get_lstring(m_context, -2, &size);
        message = ToUtf8({text, size});
        if (duk_is_number(m_context, -1) != 0 && message.find("(line ") == std::string::npos)
            message += " (line " + std::to_string(duk_get_int(m_context, -1)) + ")";
    } else {
        message = "it failed";
    }
    duk_pop_2(m_context);
    for (auto& character : message) {
        if (static_cast<unsigned char>(character) < 0x20)
            character = ' ';
    }
    return message;
}
