// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/scripted_models.h"

#include "platform/raster/dynamic_bitmap.h"
#include "tests/examples/scenes/raster_documents.h"

namespace ExampleDocuments {

namespace {

Raster::DynamicPixel MakePixel(double red, double green, double blue, double alpha) {
    Raster::DynamicPixel pixel(Raster::FormatRGBA8);
    double const samples[] = {red, green, blue, alpha};
    for (int c = 0; c != 4; ++c)
        pixel.SetSample(c, samples[c]);
    return pixel;
}

} // namespace

Kernel::Counted<Raster::DynamicBitmap> MakeModelPicture(int width, int height, bool isPlain) {
    if (!isPlain)
        return MakePicture(width, height, Raster::FormatRGBA8);
    auto picture = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, Raster::FormatRGBA8);
    picture->Clear(MakePixel(140, 190, 160, 255));
    auto& base = picture->GetMutableBase();
    base.Fill({width / 8, height / 8, width / 2, height * 3 / 4}, MakePixel(200, 30, 40, 255));
    base.Fill({width / 3, height / 2, width * 7 / 8, height * 7 / 8}, MakePixel(20, 60, 160, 255));
    return picture;
}

Learning::RemoteInference::Result ScriptedGenerator::Generate(Request const& request, Answer& answer,
                                                              Learning::InferenceCall const& call) {
    requests.push_back(request);
    call.Report(0.5f);
    if (during)
        during(request, call);
    if (!rewritten.empty())
        answer.prompt = rewritten;
    if (result.code != Inference::Answered)
        return result;
    for (int i = 0; i != request.count; ++i) {
        auto const size = sizes[std::min(static_cast<std::size_t>(i), sizes.size() - 1)];
        answer.images.push_back(MakeModelPicture(size.width, size.height, isPlain));
    }
    return result;
}

Learning::RemoteInference::Result ScriptedRemover::RemoveBackground(Kernel::Counted<Raster::DynamicBitmap const> image,
                                                                    Raster::ICCProfileSet const&,
                                                                    Kernel::Counted<Raster::DynamicBitmap>& answer,
                                                                    Learning::InferenceCall const& call) {
    ++requestCount;
    call.Report(0.5f);
    if (during)
        during(call);
    Result result;
    if (!results.empty()) {
        result = results.front();
        results.pop_front();
    }
    if (result.code != Learning::RemoteInference::Answered)
        return result;
    auto const& source = *image->GetBase();
    auto const wanted = format.value_or(source.GetFormat());
    answer = Kernel::MakeCounted<Raster::DynamicBitmap>(
        Raster::ConvertBitmap(source, *Raster::PixelConverter::MakePlain(source.GetFormat(), wanted), nullptr));
    auto& base = answer->GetMutableBase();
    auto& alpha = base.GetPlane(base.GetInfo().channelCount - 1);
    int const width = base.GetWidth(), height = base.GetHeight();
    alpha.FillSamples({0, 0, std::max(1, width / 3), height}, 0);
    alpha.FillSamples({width - width / 5, 0, width, height}, 0);
    base.FinishChange(base.GetBounds());
    return result;
}

ScriptedModels::ScriptedModels() {
    auto& inference = Learning::RemoteInference::GetInstance();
    inference.SetImageGenerator(generator);
    inference.SetBackgroundRemover(remover);
}

ScriptedModels::~ScriptedModels() {
    auto& inference = Learning::RemoteInference::GetInstance();
    inference.SetImageGenerator({});
    inference.SetBackgroundRemover({});
}

void UseGenerator(std::vector<Kernel::SizeT<int>> const& sizes, bool isPlain) {
    auto const generator = Kernel::MakeCounted<ScriptedGenerator>();
    generator->sizes = sizes;
    generator->isPlain = isPlain;
    Learning::RemoteInference::GetInstance().SetImageGenerator(generator);
}

void UseRemover(std::optional<Raster::Format> format) {
    auto const remover = Kernel::MakeCounted<ScriptedRemover>();
    remover->format = format;
    Learning::RemoteInference::GetInstance().SetBackgroundRemover(remover);
}

} // namespace ExampleDocuments
