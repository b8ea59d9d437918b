// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/transform.h"
#include "platform/kernel/export.h"
#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>

namespace Geometry {

enum class SegmentKind : std::uint8_t { Line = 0, Cubic = 1 };

// One piece of a contour. A line keeps its ends in its controls too, so that it may be taken for the cubic that covers
// the same points.
struct Segment {
    SegmentKind kind = SegmentKind::Line;
    PointDbl start, control1, control2, end;

    static Segment Line(PointDbl from, PointDbl to) { return {SegmentKind::Line, from, from, to, to}; }
    static Segment Cubic(PointDbl p0, PointDbl p1, PointDbl p2, PointDbl p3) {
        return {SegmentKind::Cubic, p0, p1, p2, p3};
    }
    Segment Transformed(Transform const& transform) const {
        return {kind, transform.Apply(start), transform.Apply(control1), transform.Apply(control2),
                transform.Apply(end)};
    }
    friend bool operator==(Segment const&, Segment const&) = default;
};

// One contour of straight lines and cubic Béziers, open or closed.
//
// All points and segment kinds stand in one block of memory: 16 bytes a point, one bit a segment. A closed contour of
// four lines takes less than 200 bytes with its reference count. By convention a curve is changed by its only owner
// and never again once it is shared. Coordinates may be any double; operations say what they do with those that are
// not finite.
class REDRAFT_ENGINE CurveDbl final : public Kernel::Serialisable {
public:
    CurveDbl() = default;
    CurveDbl(CurveDbl const& other);
    CurveDbl& operator=(CurveDbl const&) = delete;
    ~CurveDbl() override;

    Kernel::Counted<CurveDbl> Clone() const;

    // Building. MoveTo starts an empty curve; the others throw Kernel::Exception when no start has been set or the
    // curve is closed. QuadraticTo is raised to the cubic of exactly the same points.
    void MoveTo(PointDbl start);
    void LineTo(PointDbl end);
    void QuadraticTo(PointDbl control, PointDbl end);
    void CubicTo(PointDbl control1, PointDbl control2, PointDbl end);
    // Closes the contour by a straight line, which is not stored: a last line that already goes back to the start is
    // taken away for it, so that equal outlines are equal values.
    void Close();
    // Room for so many points and segments in all, for a builder that knows them. Does nothing before MoveTo.
    void Reserve(std::size_t points, std::size_t segments);
    // Gives back memory that building left over.
    void ShrinkToFit();

    // No point at all. A curve of one point and no segment is not empty.
    bool empty() const { return m_block == nullptr; }
    bool IsClosed() const { return m_block != nullptr && m_block->closed; }
    PointDbl GetStart() const { return m_block == nullptr ? PointDbl{} : Points()[0]; }
    PointDbl GetEnd() const { return m_block == nullptr || IsClosed() ? GetStart() : GetLastPoint(); }

    // The stored points in order: the start, then one point for each line and three for each cubic.
    std::span<PointDbl const> GetPoints() const {
        return m_block == nullptr ? std::span<PointDbl const>() : std::span(Points(), m_block->pointCount);
    }
    // Number of segments that are walked, the unstored closing line counted.
    std::size_t GetSegmentCount() const;
    // The segment at an index below GetSegmentCount(). Costs a count over the kinds before it, 64 at a time.
    Segment GetSegment(std::size_t index) const;

    class SegmentIterator;
    class SegmentRange;
    SegmentRange GetSegments() const;

    void ApplyTransform(Transform const& transform);
    // The same points walked the other way. A closed curve keeps its start.
    void Reverse();

    // Bounds of the points on the curve, with extrema of the cubics and not their control points; of the transformed
    // curve when a transform is given. Empty for an empty curve and where a coordinate is not finite.
    std::optional<RectDbl> GetBounds(Transform const& transform = {}) const;
    // Signed area by Green's theorem, exact for the cubics up to rounding. Positive when the contour turns from the x
    // axis to the y axis. An open curve counts as closed by a line.
    double GetArea() const;
    // Length of the walked segments in the curve's own units, to a relative error of about 1e-9.
    double GetLength() const;

    friend REDRAFT_ENGINE bool operator==(CurveDbl const& a, CurveDbl const& b);
    // Equal for equal curves, on every machine.
    std::size_t GetHash() const;
    // Bytes that this object holds, its reference count counted, the allocator's own overhead not.
    std::size_t GetMemoryUse() const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    // Followed by pointCapacity points and by the kinds, one bit a segment, in words of 64.
    struct Block {
        std::uint32_t pointCount = 0;
        std::uint32_t pointCapacity = 0;
        std::uint32_t segmentCount = 0;
        std::uint32_t wordCapacity : 31 = 0;
        std::uint32_t closed : 1 = 0;
    };

    PointDbl* Points() { return reinterpret_cast<PointDbl*>(m_block + 1); }
    PointDbl const* Points() const { return reinterpret_cast<PointDbl const*>(m_block + 1); }
    std::uint64_t* Kinds() { return reinterpret_cast<std::uint64_t*>(Points() + m_block->pointCapacity); }
    std::uint64_t const* Kinds() const {
        return reinterpret_cast<std::uint64_t const*>(Points() + m_block->pointCapacity);
    }
    PointDbl GetLastPoint() const { return Points()[m_block->pointCount - 1]; }
    bool IsCubic(std::size_t segment) const { return (Kinds()[segment / 64] >> (segment % 64) & 1) != 0; }
    bool HasClosingLine() const;
    void CheckOpen() const;
    void Reallocate(std::size_t points, std::size_t words);
    PointDbl* Append(SegmentKind kind);
    void Free();

    Block* m_block = nullptr;
};

// Walks the segments of a curve from start to end, the closing line included.
class CurveDbl::SegmentIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Segment;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Segment;

    SegmentIterator() = default;
    SegmentIterator(CurveDbl const* curve, std::size_t index) : m_curve(curve), m_index(index) {}
    Segment operator*() const {
        auto const* const p = m_curve->Points() + m_point;
        if (m_index == m_curve->m_block->segmentCount)
            return Segment::Line(p[0], m_curve->Points()[0]);
        return m_curve->IsCubic(m_index) ? Segment::Cubic(p[0], p[1], p[2], p[3]) : Segment::Line(p[0], p[1]);
    }
    SegmentIterator& operator++() {
        if (m_index < m_curve->m_block->segmentCount)
            m_point += m_curve->IsCubic(m_index) ? 3 : 1;
        ++m_index;
        return *this;
    }
    SegmentIterator operator++(int) {
        auto const before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(SegmentIterator const& a, SegmentIterator const& b) { return a.m_index == b.m_index; }

private:
    CurveDbl const* m_curve = nullptr;
    std::size_t m_index = 0;
    std::size_t m_point = 0;
};

class CurveDbl::SegmentRange {
public:
    explicit SegmentRange(CurveDbl const& curve) : m_curve(&curve), m_count(curve.GetSegmentCount()) {}
    SegmentIterator begin() const { return {m_curve, 0}; }
    SegmentIterator end() const { return {m_curve, m_count}; }

private:
    CurveDbl const* m_curve;
    std::size_t m_count;
};

inline CurveDbl::SegmentRange CurveDbl::GetSegments() const { return SegmentRange(*this); }

} // namespace Geometry
