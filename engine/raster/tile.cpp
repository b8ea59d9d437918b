// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/tile.h"

#include "engine/raster/tile_block.h"

namespace Raster {

Tile::Tile(int sampleBytes) noexcept : m_block(TileBlock::MakeConstant(sampleBytes, 0)) {}

Tile Tile::MakeConstant(int sampleBytes, std::uint32_t sampleBits) {
    return Tile(TileBlock::MakeConstant(sampleBytes, sampleBits));
}

Tile::Tile(Tile const& other) noexcept : m_block(other.m_block) {
    if (m_block != nullptr)
        m_block->Acquire();
}

Tile::Tile(Tile&& other) noexcept : m_block(std::exchange(other.m_block, nullptr)) {}

Tile::~Tile() {
    if (m_block != nullptr)
        m_block->Release();
}

int Tile::GetSampleBytes() const noexcept { return m_block->GetSampleBytes(); }

bool Tile::IsPendingDelayLoad() const noexcept { return m_block->IsPending(); }

void Tile::Load() const {
    if (m_block->IsPending() || m_block->IsOnlyOnDevice())
        m_block->GetSamples();
}

std::optional<std::uint32_t> Tile::GetConstant() const noexcept {
    if (m_block->IsConstant())
        return m_block->GetConstant();
    return std::nullopt;
}

TileKey Tile::GetKey(int width, int height) const {
    return m_block->IsBeingWritten() ? m_block->ComputeKey(width, height) : m_block->GetKey(width, height);
}

void Tile::IncrementRefCountConst() const {
    Load();
    m_block->Acquire();
}

void Tile::DecrementRefCountConst() const noexcept { m_block->Release(); }

void Tile::IncrementRefCountMutable() {
    GetMutableBuffer();
    m_block->BeginWriting();
}

void Tile::DecrementRefCountMutable() noexcept { m_block->EndWriting(); }

void const* Tile::GetConstBuffer() const { return m_block->GetSamples(); }

void* Tile::GetMutableBuffer() {
    // While samples are being written to, other handles of them are those of readers that pass.
    if (!m_block->IsWritable() && !m_block->IsBeingWritten())
        *this = GetCopy();
    return m_block->GetOwnSamples(false);
}

void* Tile::GetBufferForOverwriting() {
    if (!m_block->IsWritable() && !m_block->IsBeingWritten())
        *this = Tile(TileBlock::MakeSamples(GetSampleBytes()));
    return m_block->GetOwnSamples(true);
}

Tile Tile::GetCopy() const {
    Tile copy(TileBlock::MakeSamples(GetSampleBytes()));
    void* const samples = copy.m_block->GetOwnSamples(true);
    // The value rather than its buffer, which need not exist for this.
    if (m_block->IsConstant())
        FillSamples(samples, GetSampleBytes(), c_tileSamples, m_block->GetConstant());
    else
        std::memcpy(samples, m_block->GetSamples(), GetBytes());
    return copy;
}

bool Tile::IsBeingWritten() const noexcept { return m_block->IsBeingWritten(); }

std::size_t Tile::GetAllocatedBytes() noexcept { return TileBlock::GetAllocatedBytes(); }

} // namespace Raster
