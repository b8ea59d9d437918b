// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/script_protocol.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct duk_hthread;

// A script in an engine of its own, ready to be asked about records. Nothing that it does to one record is seen by the
// next: the built-in objects are frozen, and it has no others.
class Script {
public:
    // The body of a function, the names of the fields in the order in which records have them, and the bytes that the
    // engine may take.
    Script(std::string_view source, std::vector<std::string> const& fields, std::size_t memory);
    Script(Script const&) = delete;
    Script& operator=(Script const&) = delete;
    ~Script();

    bool IsValid() const { return m_isValid; }
    // The fields as the protocol has them.
    Records::ScriptProtocol::Verdict Run(std::uint32_t row, std::string_view fields);
    // Of the run before, or of the script that is not valid: in one line, with the line of the script where known.
    std::string DescribeFailure();

private:
    struct Memory {
        std::size_t left = 0;
    };
    struct Call;
    bool Compile(std::string_view source);
    bool Prepare(std::string_view source, std::vector<std::string> const& fields);
    static void* Allocate(void* memory, std::size_t size);
    static void* Reallocate(void* memory, void* block, std::size_t size);
    static void Free(void* memory, void* block);
    static int RunProtected(duk_hthread* context, void* call);

    Memory m_memory;
    duk_hthread* m_context = nullptr;
    // The names as the engine keeps them.
    std::vector<void*> m_fields;
    bool m_isValid = false;
};
