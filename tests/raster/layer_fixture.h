// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/dispatch.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/raster/judge.h"

#include <gtest/gtest.h>

// A document with one layer, which is selected.
struct LayerDocument {
    explicit LayerDocument(Kernel::Counted<Raster::DynamicBitmap const> bitmap,
                           Judge::Params const& transform = Judge::Params())
        : controller(DocumentController::CreateNew({600, 500}, Raster::FormatRGBA8, 1)),
          layer(Kernel::MakeCounted<RasterNode>()) {
        layer->SetBitmap(std::move(bitmap));
        layer->SetTransform(transform, false);
        ExampleDocuments::Append(*controller->GetCurrentSpread(), layer);
        ExampleDocuments::Select(*controller, {layer});
    }
    template <class Traits>
    Judge::Planes<Traits> Read() const {
        return Judge::Planes<Traits>(*layer->GetBitmap());
    }

    Kernel::Counted<DocumentController> controller;
    Kernel::Counted<RasterNode> layer;
};

// The number of threads of loops, for a scope.
class ThreadCount {
public:
    explicit ThreadCount(unsigned count) : m_before(Kernel::Dispatch::GetThreadCount()) {
        Kernel::Dispatch::SetThreadCount(count);
    }
    ThreadCount(ThreadCount const&) = delete;
    ThreadCount& operator=(ThreadCount const&) = delete;
    ~ThreadCount() { Kernel::Dispatch::SetThreadCount(m_before); }

private:
    unsigned m_before;
};

template <class Traits>
class EveryFormat : public testing::Test {};

using Formats = testing::Types<Raster::FormatTraits<Raster::FormatRGBA8>, Raster::FormatTraits<Raster::FormatRGBA16>,
                               Raster::FormatTraits<Raster::FormatIA8>, Raster::FormatTraits<Raster::FormatIA16>,
                               Raster::FormatTraits<Raster::FormatCMYKA8>, Raster::FormatTraits<Raster::FormatLABA16>,
                               Raster::FormatTraits<Raster::FormatA8>, Raster::FormatTraits<Raster::FormatA16>,
                               Raster::FormatTraits<Raster::FormatRGBAF>, Raster::FormatTraits<Raster::FormatAF>>;

// A soft mask of the kind that goes with a format: full in the middle, nothing at some edges.
template <class MaskTraits>
Kernel::Counted<Raster::DynamicBitmap> MakeSoftMask(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    Judge::Planes<MaskTraits> planes(width, height);
    for (int y = 0; y != height; ++y) {
        for (int x = 0; x != width; ++x) {
            int const edge = std::min({x, y, width - 1 - x, height - 1 - y});
            double const share = edge < 2 ? 0 : edge > 40 ? 1 : (edge + static_cast<double>(random() % 64) / 64) / 41;
            planes.At(0, x, y) =
                static_cast<typename MaskTraits::Sample>(share * static_cast<double>(Judge::c_full<MaskTraits>));
        }
    }
    auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, MaskTraits::c_format);
    planes.Store(*mask);
    return mask;
}
