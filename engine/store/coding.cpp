// SPDX-License-Identifier: Apache-2.0
#include "engine/store/coding.h"

#include "platform/kernel/exception.h"

#include <algorithm>
#include <memory>
#include <new>
#include <zstd.h>

namespace Store {

namespace {

// RFC 8878, section 3.1.2: a skippable frame is a magic number and a length, both little-endian, and content that
// decoders pass over.
constexpr std::uint32_t c_skippableMagic = 0x184D2A50;
constexpr std::size_t c_skippableHeaderSize = 8;

constexpr int ToLevel(Effort effort) { return effort == Effort::Quick ? 1 : 3; }

// A context is worth keeping: it holds tables of several hundred KiB.
ZSTD_CCtx* GetCompressor() {
    thread_local std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> const s_context(ZSTD_createCCtx(),
                                                                                      &ZSTD_freeCCtx);
    if (s_context == nullptr)
        throw std::bad_alloc();
    return s_context.get();
}

ZSTD_DCtx* GetDecompressor() {
    thread_local std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> const s_context(ZSTD_createDCtx(),
                                                                                      &ZSTD_freeDCtx);
    if (s_context == nullptr)
        throw std::bad_alloc();
    return s_context.get();
}

void AppendSkippableFrame(std::vector<std::byte>& frame, std::size_t finalSize) {
    auto const content =
        std::max(finalSize, frame.size() + c_skippableHeaderSize) - frame.size() - c_skippableHeaderSize;
    for (auto const word : {c_skippableMagic, static_cast<std::uint32_t>(content)})
        for (unsigned shift = 0; shift != 32; shift += 8)
            frame.push_back(static_cast<std::byte>(word >> shift));
    frame.resize(frame.size() + content);
}

} // namespace

EncodedBytes Encode(std::span<std::byte const> bytes, Effort effort) {
    EncodedBytes result;
    auto const worthwhile = bytes.size() - bytes.size() / 8;
    // The bound lets the compressor write without looking where it is, which is faster than a target that just fits.
    result.frame.resize(ZSTD_compressBound(bytes.size()));
    auto const size = ZSTD_compressCCtx(GetCompressor(), result.frame.data(), result.frame.size(), bytes.data(),
                                        bytes.size(), ToLevel(effort));
    if (ZSTD_isError(size) != 0 || size >= worthwhile) {
        result.frame = {};
        return result;
    }
    result.coding = Coding::Zstandard;
    result.frame.resize(size);
    auto const shortest = static_cast<std::size_t>((bytes.size() + c_maxExpansion - 1) / c_maxExpansion);
    if (size < shortest)
        AppendSkippableFrame(result.frame, shortest);
    return result;
}

std::vector<std::byte> Decode(Coding coding, std::span<std::byte const> stored, std::uint64_t size) {
    if (coding == Coding::Plain) {
        if (stored.size() != size)
            throw Kernel::DamagedDataException("is damaged: a value does not have its length");
        return {stored.begin(), stored.end()};
    }
    if (coding != Coding::Zstandard)
        throw Kernel::DamagedDataException("is damaged: a value has an unknown coding");
    if (size > c_maxValueSize || size > stored.size() * c_maxExpansion ||
        ZSTD_getFrameContentSize(stored.data(), stored.size()) != size)
        throw Kernel::DamagedDataException("is damaged: a compressed value does not have its length");
    std::vector<std::byte> result(static_cast<std::size_t>(size));
    auto const got = ZSTD_decompressDCtx(GetDecompressor(), result.data(), result.size(), stored.data(), stored.size());
    if (ZSTD_isError(got) != 0 || got != result.size())
        throw Kernel::DamagedDataException("is damaged: a compressed value cannot be expanded");
    return result;
}

} // namespace Store
