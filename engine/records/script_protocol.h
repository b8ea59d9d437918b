// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// The messages between the engine and the process that runs a script, over a socket, which the process has as
// descriptor HostSocket::c_descriptor. Both are of one build, so numbers go as they lie, one behind the other without
// gaps.
//
// First the engine sends a Start, the names of the fields and the script, each a 32-bit length and its bytes in UTF-8.
// The process answers with an Answer that says whether the script is one. Then come any number of batches: a Batch and
// its records, each a 32-bit row, the 32-bit size of its fields in bytes, and the fields. A field is a FieldKind and
// then either a double or a 32-bit length and as many bytes of UTF-8.
namespace Records::ScriptProtocol {

inline constexpr std::uint32_t c_magic = 0x52445346;
// Of a message; longer ones are cut.
inline constexpr std::uint32_t c_maximumMessage = 400;
// In one answer.
inline constexpr std::uint32_t c_maximumMessages = 100;
// Of the records of a batch, in bytes. A record that is longer cannot be put to a script.
inline constexpr std::uint64_t c_maximumBatch = std::uint64_t(96) << 20;
// The address space that the process has beside the memory of its script.
inline constexpr std::uint64_t c_ownMemory = std::uint64_t(256) << 20;

struct Start {
    std::uint32_t magic;
    std::uint32_t fieldCount;
    // Milliseconds that one record may take.
    std::uint32_t time;
};

// Followed by as many bytes of records.
struct Batch {
    std::uint32_t magic;
    std::uint32_t recordCount;
    std::uint64_t size;
};

enum class FieldKind : std::uint8_t { Text, Number };

// Started: the script is one. NoScript: followed by a message, and by the end of the process. Done: followed by a
// Verdict of each record, then the messages, each a 32-bit number of a record and the text. TimedOut: `count` is the
// number of the record that took too long, and the process has ended.
enum class Status : std::uint32_t { Started, NoScript, Done, TimedOut };
enum class Verdict : std::uint8_t { Drop, Keep, Failed };

struct Answer {
    std::uint32_t magic;
    Status status;
    // Of messages: a 32-bit length and as many bytes each.
    std::uint32_t count;
};

} // namespace Records::ScriptProtocol
