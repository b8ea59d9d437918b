// SPDX-License-Identifier: Apache-2.0
#include "platform/document/generated_image_node.h"

#include "platform/document/node_spaces.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>

namespace {

using Bitmap = Kernel::Counted<Raster::DynamicBitmap const>;
using Generation = GenerativeInterface::Generation;

Kernel::RectT<double> BoxOf(Raster::DynamicBitmap const& bitmap) {
    return {0, 0, static_cast<double>(bitmap.GetWidth()), static_cast<double>(bitmap.GetHeight())};
}

bool IsAlphaOnly(Raster::DynamicBitmap const& bitmap) {
    auto const info = Raster::GetFormatInfo(bitmap.GetFormat());
    return info.channelCount == 1 && info.colourModel == Raster::ColourModel::AlphaOnly;
}

template <class Sample>
Sample Multiply(Sample alpha, Sample mask) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return alpha * mask;
    } else {
        constexpr std::uint64_t c_maximum = std::numeric_limits<Sample>::max();
        return static_cast<Sample>((std::uint64_t{alpha} * mask + c_maximum / 2) / c_maximum);
    }
}

// The part of one tile of alpha that lies under the mask.
template <class Sample>
void MultiplyTile(Raster::Tile& alpha, Raster::Tile const& mask, int width, int height) {
    auto const* const factors = static_cast<Sample const*>(mask.GetConstBuffer());
    auto* const samples = static_cast<Sample*>(alpha.GetMutableBuffer());
    for (int y = 0; y != height; ++y) {
        for (int x = 0; x != width; ++x) {
            auto& sample = samples[y * Raster::c_tileSide + x];
            sample = Multiply(sample, factors[y * Raster::c_tileSide + x]);
        }
    }
}

template <class Sample>
void MultiplyAlpha(Raster::RegionBase& alpha, Raster::RegionBase const& mask, Sample full) {
    auto const opaque = Raster::ToSampleBits(full);
    for (int tileY = 0; tileY < std::min(alpha.GetTilesDown(), mask.GetTilesDown()); ++tileY) {
        for (int tileX = 0; tileX < std::min(alpha.GetTilesAcross(), mask.GetTilesAcross()); ++tileX) {
            auto const factors = mask.GetConstTile(tileX, tileY);
            if (factors.GetConstant() == opaque)
                continue;
            MultiplyTile<Sample>(alpha.GetMutableTile(tileX, tileY), factors,
                                 std::min(alpha.GetTileWidth(tileX), mask.GetTileWidth(tileX)),
                                 std::min(alpha.GetTileHeight(tileY), mask.GetTileHeight(tileY)));
        }
    }
}

bool HidesNothing(Raster::BitmapBase const& mask) {
    bool isOpaque = true;
    Raster::VisitFormat(mask.GetFormat(), [&](auto traits) {
        auto const opaque = Raster::ToSampleBits(decltype(traits)::c_maximum);
        mask.GetPlane(0).ForEachTile(
            [&](Raster::Tile const& tile, int, int) { isOpaque = isOpaque && tile.GetConstant() == opaque; });
    });
    return isOpaque;
}

// The image with the mask in its alpha; the image itself where the mask hides nothing.
Bitmap ApplyMask(Bitmap const& image, Bitmap const& mask) {
    if (!mask || mask->IsEmpty() || HidesNothing(*mask->GetBase()))
        return image;
    image->ForceDelayLoad(nullptr);
    mask->ForceDelayLoad(nullptr);
    auto factors = mask->GetBase().ToCounted();
    auto const wanted = image->GetBase()->GetInfo().maskFormat;
    if (mask->GetFormat() != wanted)
        factors =
            Raster::ConvertBitmap(*factors, *Raster::PixelConverter::MakePlain(mask->GetFormat(), wanted), nullptr);
    auto const shown = image->Clone(nullptr);
    auto& base = shown->GetMutableBase();
    Raster::VisitFormat(base.GetFormat(), [&](auto traits) {
        using Traits = decltype(traits);
        MultiplyAlpha(base.GetPlane(Traits::c_alphaIndex), factors->GetPlane(0), Traits::c_maximum);
    });
    base.FinishChange(base.GetBounds());
    return shown;
}

} // namespace

// Generation

Generation::Generation(Kernel::String prompt, Kernel::Counted<Raster::DynamicBitmap const> image,
                       Kernel::Consolidated<Raster::ICCProfile> profile,
                       Raster::AffineTransform::Params const& transform)
    : m_prompt(std::move(prompt)), m_image(std::move(image)), m_transform(transform) {
    if (!m_image || m_image->IsEmpty())
        throw Kernel::Exception("a generated picture has no pixels");
    if (profile && profile->GetColourModel() != Raster::GetFormatInfo(m_image->GetFormat()).colourModel)
        throw Kernel::Exception("the profile of a generated picture is for other colours");
    if (m_image->GetProfile() == profile)
        return;
    auto const own = m_image->Clone(nullptr);
    own->SetProfile(std::move(profile));
    m_image = own;
}

Kernel::RectT<double> Generation::GetBox() const { return m_transform.Apply(BoxOf(*m_image)); }

void Generation::ConvertFormatOrProfile(Raster::Format format, Raster::ICCManager::ICCProfileSet profiles) {
    auto const& profile = profiles.Get(Raster::GetFormatInfo(format).colourModel);
    auto const converter =
        Raster::ICCManager::GetInstance().MakeConverter(m_image->GetFormat(), m_image->GetProfile(), format, profile);
    m_image->ForceDelayLoad(nullptr);
    m_image = Kernel::MakeCounted<Raster::DynamicBitmap>(
        Raster::ConvertBitmap(*m_image->GetBase(), *converter, nullptr), profile);
}

// GenerativeInterface

std::vector<Generation> const& GenerativeInterface::GetGenerations() const {
    return GetState<GenerativeState>().generations;
}

void GenerativeInterface::SetGenerations(std::vector<Generation> const& generations) {
    EditState<GenerativeState>([&](auto& state) {
        state.generations = generations;
        state.chosen = 0;
    });
}

std::size_t GenerativeInterface::GetChosenGeneration() const {
    auto const& state = GetState<GenerativeState>();
    return state.generations.empty() ? 0 : std::min<std::size_t>(state.chosen, state.generations.size() - 1);
}

void GenerativeInterface::SetChosenGeneration(std::size_t index) {
    if (index >= GetGenerations().size())
        throw Kernel::Exception("the object has no such generation");
    EditState<GenerativeState>([&](auto& state) { state.chosen = static_cast<std::uint32_t>(index); });
}

Generation const* GenerativeInterface::FindChosenGeneration() const {
    auto const& generations = GetGenerations();
    return generations.empty() ? nullptr : &generations[GetChosenGeneration()];
}

Kernel::Counted<Raster::DynamicBitmap const> GenerativeInterface::GetGenerationMask() const {
    return GetState<GenerativeState>().mask;
}

void GenerativeInterface::SetGenerationMask(Kernel::Counted<Raster::DynamicBitmap const> mask) {
    if (mask && !IsAlphaOnly(*mask))
        throw Kernel::Exception("the mask of generations is a bitmap of alpha only");
    EditState<GenerativeState>([&](auto& state) { state.mask = std::move(mask); });
}

bool GenerativeState::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    if (!InterfaceStateT::Load(in, files, version))
        return false;
    std::erase_if(generations, [](Generation const& generation) { return !generation.m_image; });
    return true;
}

// GeneratedImageNode

// Bitmaps of a damaged document may turn out to be empty, or to be no mask, when they are used.
Kernel::Counted<Raster::DynamicBitmap const> GeneratedImageNode::GetShownBitmap() const {
    auto const* const generation = FindChosenGeneration();
    if (generation == nullptr || generation->GetImage()->IsEmpty())
        return {};
    auto const mask = GetGenerationMask();
    if (!mask || mask->IsEmpty() || !IsAlphaOnly(*mask))
        return generation->GetImage();
    std::lock_guard const lock(m_shownMutex);
    auto const* const state = FindState(InterfaceId::Generative);
    if (m_shownState.get() != state) {
        m_shown = ApplyMask(generation->GetImage(), mask);
        m_shownState = Kernel::Counted<InterfaceState const>(state);
    }
    return m_shown;
}

Raster::AffineTransform::Params GeneratedImageNode::GetShownTransform() const {
    auto const* const generation = FindChosenGeneration();
    return generation == nullptr ? Raster::AffineTransform::Params() : generation->GetTransform();
}

Kernel::RectT<double> GeneratedImageNode::GetBaseBox(bool) const {
    auto const* const generation = FindChosenGeneration();
    return generation == nullptr ? Kernel::RectT<double>() : generation->GetBox();
}

Kernel::RectT<double> GeneratedImageNode::GetOwnBounds(Raster::AffineTransform::Params const& toSpread, bool) const {
    auto const* const generation = FindChosenGeneration();
    if (generation == nullptr)
        return {};
    return (toSpread * generation->GetTransform()).Apply(BoxOf(*generation->GetImage()));
}

Kernel::String GeneratedImageNode::GetDefaultDescription() const { return "Generated image"; }

Kernel::Counted<Kernel::Serialisable> GeneratedImageNode::CreateObject() {
    return Kernel::MakeCounted<GeneratedImageNode>();
}
