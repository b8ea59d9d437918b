// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/back_ends.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace ExampleDocuments {

// A picture of a few plain areas, as models make them for tracing, or of smooth colours; in sRGB.
Kernel::Counted<Raster::DynamicBitmap> MakeModelPicture(int width, int height, bool isPlain);

// A generator that answers as it is told, in this process.
class ScriptedGenerator final : public Learning::ImageGenerator {
public:
    using Inference = Learning::RemoteInference;

    Model const& GetDefaultModel() const override { return model; }
    Inference::Result Generate(Request const& request, Answer& answer, Learning::InferenceCall const& call) override;

    Model model{"scripted", "", "", "", 20, 512};
    // Of pictures, as many as there are; the last one goes on.
    std::vector<Kernel::SizeT<int>> sizes{{64, 48}};
    bool isPlain = false;
    // Empty: the prompt stays.
    Kernel::String rewritten;
    Inference::Result result;
    // Run within each request, and may throw.
    std::function<void(Request const&, Learning::InferenceCall const&)> during;
    // As they came.
    std::vector<Request> requests;
};

// A remover of backgrounds that answers as it is told: in `format`, or in the image's own format and colours with the
// alpha of its left third and its right fifth gone.
class ScriptedRemover final : public Learning::BackgroundRemover {
public:
    using Result = Learning::RemoteInference::Result;

    Result RemoveBackground(Kernel::Counted<Raster::DynamicBitmap const> image, Raster::ICCProfileSet const& profiles,
                            Kernel::Counted<Raster::DynamicBitmap>& answer,
                            Learning::InferenceCall const& call) override;

    std::optional<Raster::Format> format;
    // In the order of requests; success behind them.
    std::deque<Result> results;
    std::function<void(Learning::InferenceCall const&)> during;
    int requestCount = 0;
};

// The back ends of the process for a while; afterwards there are none.
class ScriptedModels {
public:
    ScriptedModels();
    ScriptedModels(ScriptedModels const&) = delete;
    ScriptedModels& operator=(ScriptedModels const&) = delete;
    ~ScriptedModels();

    Kernel::Counted<ScriptedGenerator> generator = Kernel::MakeCounted<ScriptedGenerator>();
    Kernel::Counted<ScriptedRemover> remover = Kernel::MakeCounted<ScriptedRemover>();
};

// The generator and the remover of the process from now on, for examples.
void UseGenerator(std::vector<Kernel::SizeT<int>> const& sizes, bool isPlain);
void UseRemover(std::optional<Raster::Format> format);

} // namespace ExampleDocuments
