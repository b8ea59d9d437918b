// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/pixel_cursor.h"
#include "platform/raster/pixel_transform.h"

namespace Raster {

namespace Detail {

// The common part of reading accessors of bitmaps and buffers, constant or not. Pixels are addressed in the space of
// the target; the transform leads to the pixel that is read.
template <class Model, class Extend, class Transform, class Cursor>
class PixelReader {
public:
    using Sample = typename Model::Sample;
    using PixelType = typename Model::PixelType;
    using SpanType = typename Model::SpanType;

    PixelType Read(int x, int y) {
        PixelType pixel;
        if (Locate(x, y)) {
            for (int c = 0; c != Model::c_channelCount; ++c)
                pixel.samples[static_cast<std::size_t>(c)] = *m_cursor.template GetSamples<Sample>(c, x, y);
        }
        return pixel;
    }

    // 32 pixels of the row y, from x on.
    void SpanRead(int x, int y, SpanType& span) {
        if constexpr (std::is_same_v<Transform, IdentityTransform>) {
            if (x >= 0 && x + c_spanLength <= m_cursor.GetBitmapWidth() && y >= 0 && y < m_cursor.GetBitmapHeight()) {
                if (!m_cursor.Holds(x, y))
                    m_cursor.Enter(x, y);
                if (x + c_spanLength <= m_cursor.GetRight()) {
                    for (int c = 0; c != Model::c_channelCount; ++c)
                        std::memcpy(span.planes[c], m_cursor.template GetSamples<Sample>(c, x, y),
                                    sizeof span.planes[c]);
                    return;
                }
            }
        }
        for (int i = 0; i != c_spanLength; ++i) {
            PixelType const pixel = Read(x + i, y);
            for (int c = 0; c != Model::c_channelCount; ++c)
                span.planes[c][i] = pixel.samples[static_cast<std::size_t>(c)];
        }
    }

protected:
    template <class Source>
    PixelReader(Source& source, Transform const& transform, AccessorSync sync)
        : m_cursor(source, sync), m_transform(transform) {}

    Cursor m_cursor;

private:
    // Moves the cursor to the pixel that is read for (x, y), and x and y to it. False: the pixel is zero.
    bool Locate(int& x, int& y) {
        if constexpr (!std::is_same_v<Transform, IdentityTransform>) {
            auto const place = TransformPixelCentre(m_transform, x, y);
            x = place.x;
            y = place.y;
        }
        if (!m_cursor.Holds(x, y)) {
            if (!Extend::Resolve(x, y, m_cursor.GetBitmapWidth(), m_cursor.GetBitmapHeight()))
                return false;
            if (!m_cursor.Holds(x, y))
                m_cursor.Enter(x, y);
        } else if (x >= m_cursor.GetBitmapWidth() || y >= m_cursor.GetBitmapHeight()) {
            // The last tiles go beyond the edge.
            if (!Extend::Resolve(x, y, m_cursor.GetBitmapWidth(), m_cursor.GetBitmapHeight()))
                return false;
        }
        return true;
    }

    [[no_unique_address]] Transform m_transform;
};

} // namespace Detail

// Reads pixels of a Bitmap or Buffer. A bitmap is seen as it was when the accessor was opened. Model is the Bitmap or
// Buffer type.
template <class Model, class Extend = Safe, class Transform = IdentityTransform>
class ConstPixelAccessor : public Detail::PixelReader<Model, Extend, Transform, ReadCursor> {
public:
    explicit ConstPixelAccessor(Model const& source, Transform const& transform = {},
                                AccessorSync sync = AccessorSync::Load)
        : Detail::PixelReader<Model, Extend, Transform, ReadCursor>(source, transform, sync) {}
};

// Reads and writes pixels of a Bitmap or Buffer. Only reading goes through the transform. The caller tells the bitmap
// afterwards what has changed (BitmapBase::FinishChange).
template <class Model, class Extend = Safe, class Transform = IdentityTransform>
class PixelAccessor : public Detail::PixelReader<Model, Extend, Transform, WriteCursor> {
public:
    using Base = Detail::PixelReader<Model, Extend, Transform, WriteCursor>;
    using typename Base::PixelType;
    using typename Base::Sample;
    using typename Base::SpanType;

    explicit PixelAccessor(Model& target, Transform const& transform = {}, AccessorSync sync = AccessorSync::Load)
        : Base(target, transform, sync) {}

    // Pixels outside the bitmap are left out. Only channels whose bits are set in `channels` are stored.
    void Write(int x, int y, PixelType const& pixel, int channels = Model::c_allChannels) {
        if (!Safe::Resolve(x, y, m_cursor.GetBitmapWidth(), m_cursor.GetBitmapHeight()))
            return;
        if (!m_cursor.Holds(x, y))
            m_cursor.Enter(x, y);
        for (int c = 0; c != Model::c_channelCount; ++c) {
            if (channels >> c & 1)
                *m_cursor.template GetMutableSamples<Sample>(c, x, y) = pixel.samples[static_cast<std::size_t>(c)];
        }
    }

    // The first `count` pixels of the span, at most 32, to the row y from x on.
    void SpanWrite(int x, int y, SpanType const& span, int count = c_spanLength, int channels = Model::c_allChannels) {
        if (y < 0 || y >= m_cursor.GetBitmapHeight())
            return;
        int done = std::max(0, -x);
        int const end = std::min(count, m_cursor.GetBitmapWidth() - x);
        while (done < end) {
            if (!m_cursor.Holds(x + done, y))
                m_cursor.Enter(x + done, y);
            int const run = std::min(end, m_cursor.GetRight() - x) - done;
            for (int c = 0; c != Model::c_channelCount; ++c) {
                if (channels >> c & 1)
                    std::memcpy(m_cursor.template GetMutableSamples<Sample>(c, x + done, y), span.planes[c] + done,
                                static_cast<std::size_t>(run) * sizeof(Sample));
            }
            done += run;
        }
    }

private:
    using Base::m_cursor;
};

// The product of two samples, full scale times full scale being full scale; rounded to the nearest.
template <class Channel>
constexpr typename Channel::Sample MergeMaskSamples(typename Channel::Sample a, typename Channel::Sample b) {
    if constexpr (Channel::c_isFloat) {
        return a * b;
    } else if constexpr (sizeof(a) == 1) {
        unsigned const t = static_cast<unsigned>(a) * b + 128;
        return static_cast<std::uint8_t>((t + (t >> 8)) >> 8);
    } else {
        std::uint64_t const t = static_cast<std::uint64_t>(a) * b + 32768;
        return static_cast<std::uint16_t>((t + (t >> 16)) >> 16);
    }
}

// Multiplies mask spans sample by sample into `merged`, which may be one of them.
template <class MaskModel>
void PlanarMergeMaskSpans(typename MaskModel::SpanType const& a, typename MaskModel::SpanType const& b,
                          typename MaskModel::SpanType& merged) {
    for (int i = 0; i != c_spanLength; ++i)
        merged.planes[0][i] = MergeMaskSamples<typename MaskModel::template Channel<0>>(a.planes[0][i], b.planes[0][i]);
}

} // namespace Raster
