// SPDX-License-Identifier: Apache-2.0
#include "engine/document/merge/record_pictures.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/files.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/codec.h"
#include "platform/renderer/fill.h"

#include <algorithm>
#include <filesystem>
#include <list>
#include <mutex>

namespace {

namespace Files = std::filesystem;

constexpr std::uint64_t c_largestFile = std::uint64_t(1) << 30;

// The pictures that were read last.
class PictureMemory {
public:
    Kernel::Counted<Raster::DynamicBitmap const> Get(std::string const& path) {
        std::error_code error;
        auto const time = Files::last_write_time(path, error);
        {
            std::lock_guard const lock(m_mutex);
            auto const found = std::ranges::find(m_entries, path, &Entry::path);
            if (found != m_entries.end() && found->time == time) {
                m_entries.splice(m_entries.begin(), m_entries, found);
                return m_entries.front().picture;
            }
        }
        auto const bytes = Kernel::ReadWholeFile(Kernel::String(path), c_largestFile);
        Raster::BitmapReceiver receiver;
        Raster::DecodeImage(bytes, receiver);
        Kernel::Counted<Raster::DynamicBitmap const> const picture = receiver.Finish();
        std::lock_guard const lock(m_mutex);
        std::erase_if(m_entries, [&](Entry const& entry) { return entry.path == path; });
        m_entries.push_front({path, time, picture});
        if (m_entries.size() > c_mostPictures)
            m_entries.pop_back();
        return picture;
    }

private:
    static constexpr std::size_t c_mostPictures = 16;
    struct Entry {
        std::string path;
        Files::file_time_type time;
        Kernel::Counted<Raster::DynamicBitmap const> picture;
    };
    std::mutex m_mutex;
    std::list<Entry> m_entries;
};

} // namespace

Kernel::Counted<Raster::DynamicBitmap const> ReadRecordPicture(Kernel::String const& path) {
    static PictureMemory s_memory;
    return s_memory.Get(path.ToStdString());
}

Kernel::RectT<double> GetPicturePlace(SceneNode const& node) {
    bool const canShow = Kernel::CastPointer<RasterNode const>(&node) != nullptr ||
                         Kernel::CastPointer<CurvesNode const>(&node) != nullptr;
    return canShow ? node.GetOwnBounds({}, false) : Kernel::RectT<double>();
}

Raster::AffineTransform::Params FitPicture(Kernel::RectT<double> const& place, Raster::DynamicBitmap const& picture) {
    double const width = std::max(1, picture.GetWidth()), height = std::max(1, picture.GetHeight());
    double const scale = std::min((place.right - place.left) / width, (place.bottom - place.top) / height);
    return {scale, 0,     (place.left + place.right - width * scale) / 2,
            0,     scale, (place.top + place.bottom - height * scale) / 2};
}

Kernel::Counted<Renderer::FillDescriptor const> MakePictureFill(Kernel::Counted<Raster::DynamicBitmap const> picture,
                                                                Raster::AffineTransform::Params const& place) {
    auto const fill = Kernel::MakeCounted<Renderer::BitmapFill>(std::move(picture));
    return Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::Consolidated<Renderer::Fill>(Kernel::Counted<Renderer::Fill const>(fill)), true, place,
        Renderer::BlendMode::Normal, false);
}

ShownPicture FindShownPicture(SceneNode const& node) {
    ShownPicture shown;
    if (node.GetMergeSource().empty())
        return shown;
    auto const* const document = node.GetDocumentNode();
    auto const source = document == nullptr ? nullptr : FindDataMergeSource(*document, node.GetMergeSource());
    auto const path = source ? source->GetShownValue(node.GetMergeField(), node.GetMergeOffset()) : std::nullopt;
    auto const place = path ? GetPicturePlace(node) : Kernel::RectT<double>();
    if (place.IsEmpty())
        return shown;
    shown.isShown = true;
    if (path->empty())
        return shown;
    try {
        shown.bitmap = ReadRecordPicture(source->FindPicture(path->view()));
        shown.pixelsToObject = FitPicture(place, *shown.bitmap);
    } catch (Kernel::Exception const&) {
        // An output says which pictures cannot be read.
    }
    return shown;
}

void PutPicture(SceneNode& node, Kernel::Counted<Raster::DynamicBitmap const> picture) {
    auto const place = GetPicturePlace(node);
    auto const fit = picture && !place.IsEmpty() ? FitPicture(place, *picture) : Raster::AffineTransform::Params{};
    auto* const raster = Kernel::CastPointer<RasterNode>(&node);
    auto* const image = Kernel::CastPointer<ImageNode>(&node);
    if (raster == nullptr && image == nullptr) {
        if (auto* const brush = Kernel::CastPointer<BrushFillInterface>(&node))
            brush->SetBrushFillDescriptor(picture ? MakePictureFill(picture, fit) : nullptr);
        return;
    }
    if (raster != nullptr)
        raster->SetBitmap(picture);
    else
        image->SetImage(picture, {});
    if (picture)
        node.SetTransform(node.GetTransform(false, false) * fit, false);
}
