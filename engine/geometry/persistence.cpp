// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/poly_curve.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/hashed_by_content.h"

#include <bit>
#include <cstring>
#include <span>

namespace Geometry {

namespace {

template <class T>
void SaveArray(Kernel::OutSerialiser& out, Kernel::IDTag tag, std::span<T const> values) {
    out.SaveTypeArrayI(tag, Kernel::PropTraits<T>::c_type, values.data(), sizeof(T), values.size());
}

template <class T>
std::byte const* LoadArray(Kernel::InSerialiser const& in, Kernel::IDTag tag, std::size_t& count) {
    return static_cast<std::byte const*>(in.LoadTypeArrayI(tag, Kernel::PropTraits<T>::c_type, sizeof(T), count));
}

} // namespace

// The tag of the points is missing in an empty curve, that of the kinds where all segments are lines.
void CurveDbl::Save(Kernel::OutSerialiser& out) const {
    if (m_block == nullptr)
        return;
    SaveArray(out, "Pnts", GetPoints());
    std::span const kinds(Kinds(), (m_block->segmentCount + 63) / 64);
    bool const closed = IsClosed();
    if (m_block->pointCount != m_block->segmentCount + 1)
        SaveArray(out, "Kind", kinds);
    out.SaveType("Clos", closed);
}

bool CurveDbl::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Free();
    std::size_t pointCount = 0, wordCount = 0;
    auto const* const points = LoadArray<PointDbl>(in, "Pnts", pointCount);
    if (points == nullptr || pointCount == 0)
        return true;
    auto const* const kinds = LoadArray<std::uint64_t>(in, "Kind", wordCount);
    std::size_t cubics = 0;
    for (std::size_t i = 0; kinds != nullptr && i != wordCount; ++i) {
        std::uint64_t word;
        std::memcpy(&word, kinds + i * sizeof word, sizeof word);
        cubics += static_cast<std::size_t>(std::popcount(word));
    }
    // The counts follow from each other; bits beyond the last segment would break that.
    if (2 * cubics > pointCount - 1)
        return false;
    std::size_t const segments = pointCount - 1 - 2 * cubics, words = (segments + 63) / 64;
    if (kinds != nullptr && (words != wordCount || cubics > segments))
        return false;
    Reallocate(pointCount, words);
    std::memcpy(static_cast<void*>(Points()), points, pointCount * sizeof(PointDbl));
    if (kinds != nullptr)
        std::memcpy(Kinds(), kinds, words * sizeof(std::uint64_t));
    if (segments % 64 != 0 && (Kinds()[words - 1] >> (segments % 64)) != 0) {
        Free();
        return false;
    }
    m_block->pointCount = static_cast<std::uint32_t>(pointCount);
    m_block->segmentCount = static_cast<std::uint32_t>(segments);
    bool closed = false;
    in.LoadType("Clos", closed);
    m_block->closed = closed ? 1 : 0;
    return true;
}

Kernel::ClassProperties const* CurveDbl::GetTypeClassProperties() {
    static Kernel::ClassProperties const s_properties(
        "GCur", [] { return Kernel::Counted<Kernel::Serialisable>(new CurveDbl); }, 1, nullptr, nullptr, "CurveDbl");
    return &s_properties;
}

void PolyCurveDbl::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Curv", m_curves); }

bool PolyCurveDbl::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    m_curves.clear();
    Kernel::LoadValue(in, "Curv", m_curves);
    std::erase_if(m_curves, [](auto const& curve) { return !curve; });
    return true;
}

Kernel::ClassProperties const* PolyCurveDbl::GetTypeClassProperties() {
    static Kernel::ClassProperties const s_properties(
        "GPCu", [] { return Kernel::Counted<Kernel::Serialisable>(new PolyCurveDbl); }, 1, nullptr, nullptr,
        "PolyCurveDbl");
    return &s_properties;
}

static Kernel::ClassPropertiesBase::Init const s_curve(CurveDbl::GetTypeClassProperties());
static Kernel::HashedByContent const s_curveIsValue(CurveDbl::GetTypeClassProperties());
static Kernel::HashedByContent const s_polyCurveIsValue(PolyCurveDbl::GetTypeClassProperties());
static Kernel::ClassPropertiesBase::Init const s_polyCurve(PolyCurveDbl::GetTypeClassProperties());

} // namespace Geometry
