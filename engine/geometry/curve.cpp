// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/curve.h"

#include "platform/geometry/curve_operations.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <vector>

namespace Geometry {

namespace {

std::size_t WordsFor(std::size_t segments) { return (segments + 63) / 64; }

// Counts stay far below what a block's 32-bit fields hold.
constexpr std::size_t c_maximumPoints = std::numeric_limits<std::int32_t>::max();

} // namespace

CurveDbl::CurveDbl(CurveDbl const& other) : Countable(other), Serialisable(other) {
    if (other.m_block == nullptr)
        return;
    Reallocate(other.m_block->pointCount, WordsFor(other.m_block->segmentCount));
    m_block->pointCount = other.m_block->pointCount;
    m_block->segmentCount = other.m_block->segmentCount;
    m_block->closed = other.m_block->closed;
    std::copy_n(other.Points(), m_block->pointCount, Points());
    std::copy_n(other.Kinds(), m_block->wordCapacity, Kinds());
}

CurveDbl::~CurveDbl() { Free(); }

void CurveDbl::Free() {
    ::operator delete(m_block);
    m_block = nullptr;
}

Kernel::Counted<CurveDbl> CurveDbl::Clone() const { return Kernel::MakeCounted<CurveDbl>(*this); }

void CurveDbl::Reallocate(std::size_t points, std::size_t words) {
    if (points > c_maximumPoints)
        throw Kernel::Exception("a curve cannot have so many points");
    auto* const block =
        new (::operator new(sizeof(Block) + points * sizeof(PointDbl) + words * sizeof(std::uint64_t))) Block;
    Block* const old = m_block;
    PointDbl const* const oldPoints = old == nullptr ? nullptr : Points();
    std::uint64_t const* const oldKinds = old == nullptr ? nullptr : Kinds();
    block->pointCapacity = static_cast<std::uint32_t>(points);
    block->wordCapacity = static_cast<std::uint32_t>(words) & 0x7FFFFFFFu;
    m_block = block;
    std::size_t keptPoints = 0, keptWords = 0;
    if (old != nullptr) {
        block->pointCount = old->pointCount;
        block->segmentCount = old->segmentCount;
        block->closed = old->closed;
        keptPoints = old->pointCount;
        keptWords = WordsFor(old->segmentCount);
    }
    std::uninitialized_copy_n(oldPoints, keptPoints, Points());
    std::uninitialized_value_construct_n(Points() + keptPoints, points - keptPoints);
    std::uninitialized_copy_n(oldKinds, keptWords, Kinds());
    std::uninitialized_value_construct_n(Kinds() + keptWords, words - keptWords);
    ::operator delete(old);
}

void CurveDbl::Reserve(std::size_t points, std::size_t segments) {
    std::size_t const words = WordsFor(segments);
    if (m_block == nullptr)
        return;
    if (points > m_block->pointCapacity || words > m_block->wordCapacity)
        Reallocate(std::max<std::size_t>(points, m_block->pointCapacity),
                   std::max<std::size_t>(words, m_block->wordCapacity));
}

void CurveDbl::ShrinkToFit() {
    if (m_block == nullptr)
        return;
    std::size_t const words = WordsFor(m_block->segmentCount);
    if (m_block->pointCapacity != m_block->pointCount || m_block->wordCapacity != words)
        Reallocate(m_block->pointCount, words);
}

void CurveDbl::MoveTo(PointDbl start) {
    if (m_block != nullptr)
        throw Kernel::Exception("a curve has one start only");
    Reallocate(1, 0);
    m_block->pointCount = 1;
    Points()[0] = start;
}

void CurveDbl::CheckOpen() const {
    if (m_block == nullptr)
        throw Kernel::Exception("a curve needs a start before its first segment");
    if (m_block->closed)
        throw Kernel::Exception("a closed curve takes no more segments");
}

PointDbl* CurveDbl::Append(SegmentKind kind) {
    CheckOpen();
    MarkChanged();
    std::size_t const added = kind == SegmentKind::Cubic ? 3 : 1;
    std::size_t const points = m_block->pointCount + added, words = WordsFor(m_block->segmentCount + 1);
    if (points > m_block->pointCapacity || words > m_block->wordCapacity)
        Reallocate(std::max<std::size_t>(points, m_block->pointCapacity + m_block->pointCapacity / 2 + 4),
                   std::max<std::size_t>(words, m_block->wordCapacity + m_block->wordCapacity / 2));
    auto* const first = Points() + m_block->pointCount;
    std::uint64_t const bit = std::uint64_t{1} << (m_block->segmentCount % 64);
    auto& word = Kinds()[m_block->segmentCount / 64];
    word = kind == SegmentKind::Cubic ? word | bit : word & ~bit;
    m_block->pointCount = static_cast<std::uint32_t>(points);
    ++m_block->segmentCount;
    return first;
}

void CurveDbl::LineTo(PointDbl end) { *Append(SegmentKind::Line) = end; }

void CurveDbl::QuadraticTo(PointDbl control, PointDbl end) {
    CheckOpen();
    PointDbl const start = GetLastPoint();
    CubicTo({start.x + (control.x - start.x) * (2.0 / 3.0), start.y + (control.y - start.y) * (2.0 / 3.0)},
            {end.x + (control.x - end.x) * (2.0 / 3.0), end.y + (control.y - end.y) * (2.0 / 3.0)}, end);
}

void CurveDbl::CubicTo(PointDbl control1, PointDbl control2, PointDbl end) {
    auto* const p = Append(SegmentKind::Cubic);
    p[0] = control1;
    p[1] = control2;
    p[2] = end;
}

void CurveDbl::Close() {
    CheckOpen();
    MarkChanged();
    std::uint32_t const last = m_block->segmentCount - 1;
    if (m_block->segmentCount > 1 && !IsCubic(last) && GetLastPoint() == Points()[0]) {
        --m_block->segmentCount;
        --m_block->pointCount;
        Kinds()[last / 64] &= ~(std::uint64_t{1} << (last % 64));
    }
    m_block->closed = 1;
}

bool CurveDbl::HasClosingLine() const {
    return m_block->closed != 0 && m_block->segmentCount != 0 && GetLastPoint() != Points()[0];
}

std::size_t CurveDbl::GetSegmentCount() const {
    return m_block == nullptr ? 0 : m_block->segmentCount + std::size_t{HasClosingLine()};
}

Segment CurveDbl::GetSegment(std::size_t index) const {
    if (index >= m_block->segmentCount)
        return Segment::Line(GetLastPoint(), Points()[0]);
    std::size_t cubics = 0;
    for (std::size_t word = 0; word != index / 64; ++word)
        cubics += static_cast<std::size_t>(std::popcount(Kinds()[word]));
    if (index % 64 != 0)
        cubics += static_cast<std::size_t>(std::popcount(Kinds()[index / 64] << (64 - index % 64)));
    auto const* const p = Points() + index + 2 * cubics;
    return IsCubic(index) ? Segment::Cubic(p[0], p[1], p[2], p[3]) : Segment::Line(p[0], p[1]);
}

void CurveDbl::ApplyTransform(Transform const& transform) {
    if (m_block == nullptr || transform.IsIdentity())
        return;
    MarkChanged();
    std::for_each_n(Points(), m_block->pointCount, [&transform](PointDbl& p) { p = transform.Apply(p); });
}

void CurveDbl::Reverse() {
    if (m_block == nullptr)
        return;
    MarkChanged();
    std::vector<Segment> segments;
    segments.reserve(GetSegmentCount());
    for (Segment const& segment : GetSegments())
        segments.push_back(Reversed(segment));
    CurveDbl reversed;
    reversed.MoveTo(GetEnd());
    reversed.Reserve(m_block->pointCapacity, segments.size());
    for (std::size_t i = segments.size(); i-- != 0;) {
        Segment const& segment = segments[i];
        if (segment.kind == SegmentKind::Cubic)
            reversed.CubicTo(segment.control1, segment.control2, segment.end);
        else
            reversed.LineTo(segment.end);
    }
    if (IsClosed())
        reversed.Close();
    std::swap(m_block, reversed.m_block);
}

std::optional<RectDbl> CurveDbl::GetBounds(Transform const& transform) const {
    if (m_block == nullptr)
        return {};
    std::optional<RectDbl> bounds;
    if (!ExtendBounds(Segment::Line(transform.Apply(GetStart()), transform.Apply(GetStart())), bounds))
        return {};
    for (Segment const& segment : GetSegments()) {
        if (!ExtendBounds(transform.IsIdentity() ? segment : segment.Transformed(transform), bounds))
            return {};
    }
    return bounds;
}

double CurveDbl::GetArea() const {
    if (m_block == nullptr)
        return 0;
    // Relative to the start, so that a place far from the origin costs no digits.
    PointDbl const origin = GetStart();
    double twice = 0;
    for (Segment const& s : GetSegments()) {
        twice += (s.start.x - origin.x) * (s.end.y - origin.y) - (s.start.y - origin.y) * (s.end.x - origin.x);
        if (s.kind == SegmentKind::Line)
            continue;
        // The integral of (x dy - y dx) over the cubic less its chord, with the controls a, b, c relative to its start:
        // 3/10 a x b + 3/10 a x c + 3/5 b x c.
        double const ax = s.control1.x - s.start.x, ay = s.control1.y - s.start.y;
        double const bx = s.control2.x - s.start.x, by = s.control2.y - s.start.y;
        double const cx = s.end.x - s.start.x, cy = s.end.y - s.start.y;
        twice += 0.3 * (ax * by - ay * bx) + 0.3 * (ax * cy - ay * cx) + 0.6 * (bx * cy - by * cx);
    }
    return twice / 2;
}

double CurveDbl::GetLength() const {
    double length = 0;
    for (Segment const& segment : GetSegments())
        length += Geometry::GetLength(segment);
    return length;
}

bool operator==(CurveDbl const& a, CurveDbl const& b) {
    if (a.m_block == nullptr || b.m_block == nullptr)
        return a.m_block == b.m_block;
    if (a.m_block->closed != b.m_block->closed || a.m_block->segmentCount != b.m_block->segmentCount)
        return false;
    return std::ranges::equal(a.GetPoints(), b.GetPoints()) &&
           std::equal(a.Kinds(), a.Kinds() + WordsFor(a.m_block->segmentCount), b.Kinds());
}

std::size_t CurveDbl::GetHash() const {
    // FNV-1a over words, with a last mixing as in SplitMix64.
    std::uint64_t hash = 0xcbf29ce484222325u;
    auto const add = [&hash](std::uint64_t word) {
        hash = (hash ^ word) * 0x100000001b3u;
        hash ^= hash >> 29;
    };
    if (m_block != nullptr) {
        add(m_block->segmentCount * 2u + m_block->closed);
        for (PointDbl const& p : GetPoints()) {
            // 0 and -0 are equal and must not differ here.
            add(std::bit_cast<std::uint64_t>(p.x + 0.0));
            add(std::bit_cast<std::uint64_t>(p.y + 0.0));
        }
        std::for_each_n(Kinds(), WordsFor(m_block->segmentCount), add);
    }
    hash = (hash ^ (hash >> 30)) * 0xbf58476d1ce4e5b9u;
    return hash ^ (hash >> 31);
}

std::size_t CurveDbl::GetMemoryUse() const {
    std::size_t bytes = sizeof *this + sizeof(Kernel::CountedControlBlock);
    if (m_block != nullptr)
        bytes +=
            sizeof(Block) + m_block->pointCapacity * sizeof(PointDbl) + m_block->wordCapacity * sizeof(std::uint64_t);
    return bytes;
}

} // namespace Geometry
