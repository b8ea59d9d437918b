// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/bitmap_image.h"

#include "engine/raster/lcms.h"
#include "engine/raster/rescale.h"
#include "platform/kernel/exception.h"
#include "platform/raster/conversion.h"

#include <algorithm>
#include <initializer_list>

namespace Raster {

namespace {

// Embedded, or told by other means. Empty when nothing usable is told.
Kernel::Consolidated<ICCProfile> ReadProfile(ImageInfo const& info, ColourModel model) {
    try {
        Kernel::Consolidated<ICCProfile> profile;
        if (!info.iccProfile.empty())
            profile = ICCProfile::FromData(info.iccProfile);
        else if (!info.isSrgb && info.encodingGamma > 0)
            profile = ICCProfile::FromData(Lcms::MakeGammaProfile(model, info.encodingGamma, info.chromaticities));
        if (profile && profile->GetColourModel() == model)
            return profile;
    } catch (Kernel::Exception const&) {
        // The image is worth more than its profile.
    }
    return {};
}

bool IsTurned(Orientation orientation) { return orientation >= Orientation::LeftTop; }

} // namespace

Format ChooseBitmapFormat(ImageInfo const& info) {
    bool const narrow = info.sampleFormat == SampleFormat::Integer8;
    switch (info.colourModel) {
    case ColourModel::CMYK:
        return FormatCMYKA8;
    case ColourModel::Lab:
        return FormatLABA16;
    case ColourModel::Grey:
        if (info.sampleFormat == SampleFormat::Float32)
            return FormatRGBAF;
        return narrow ? FormatIA8 : FormatIA16;
    default:
        if (info.sampleFormat == SampleFormat::Float32)
            return FormatRGBAF;
        return narrow ? FormatRGBA8 : FormatRGBA16;
    }
}

unsigned GetRoundedBits(ImageInfo const& info) {
    auto const format = GetFormatInfo(ChooseBitmapFormat(info));
    // A float's fraction has 24 bits, its leading one counted; half and single floats are kept as they are.
    unsigned const kept = format.isFloat ? (info.isFloat ? 32 : 24) : 8 * static_cast<unsigned>(format.sampleBytes);
    unsigned const stored = info.storedBits != 0 ? info.storedBits : 8 * static_cast<unsigned>(info.GetSampleBytes());
    return stored > kept ? kept : 0;
}

// Rows of the image as planes in the bitmap's format, and their way to where they belong: as many as a tile has, or
// fewer where they are very long.
class BitmapReceiver::Band {
public:
    static constexpr std::size_t c_mostBytes = std::size_t{32} << 20;
    // Tiles that stick out of an image of very few rows or columns may take so much; beyond that not more than this
    // many times the pixels in them.
    static constexpr std::size_t c_freeTileBytes = std::size_t{256} << 20;
    static constexpr std::size_t c_mostExpansion = 32;

    Band(ImageInfo const& info, BitmapBase& bitmap)
        : m_bitmap(bitmap),
          m_orientation(info.orientation),
          m_imageFormat(info.sampleFormat),
          m_width(static_cast<int>(info.width)),
          m_height(static_cast<int>(info.height)),
          m_colours(info.colourModel == ColourModel::Grey   ? 1
                    : info.colourModel == ColourModel::CMYK ? 4
                                                            : 3),
          m_hasAlpha(info.hasAlpha),
          m_sampleBytes(static_cast<std::size_t>(bitmap.GetInfo().sampleBytes)),
          m_rows(ChooseRows(m_height, static_cast<std::size_t>(m_width) * m_sampleBytes *
                                          static_cast<std::size_t>(bitmap.GetInfo().channelCount))),
          m_planeBytes(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_rows) * m_sampleBytes),
          m_planes(m_planeBytes * static_cast<std::size_t>(bitmap.GetInfo().channelCount)) {}

    void Add(std::uint32_t y, std::byte const* row) {
        auto const offset = (y - static_cast<std::size_t>(m_top)) * static_cast<std::size_t>(m_width) * m_sampleBytes;
        int const channels = m_bitmap.GetInfo().channelCount;
        for (int c = 0; c != channels; ++c) {
            std::byte* const to = m_planes.data() + static_cast<std::size_t>(c) * m_planeBytes + offset;
            bool const isAlpha = c == channels - 1;
            // A grey image of floats gives all three colours.
            Unpack(row, isAlpha ? (m_hasAlpha ? m_colours : -1) : std::min(c, m_colours - 1), to);
        }
        int const bottom = static_cast<int>(y) + 1;
        // Bands end where tiles do, or at a part of one.
        if (bottom == m_height || (FlipsRows() ? m_height - bottom : bottom) % m_rows == 0) {
            Place(bottom);
            m_top = bottom;
        }
    }

private:
    static int ChooseRows(int height, std::size_t rowBytes) {
        int rows = c_tileSide;
        while (rows > 1 && (static_cast<std::size_t>(rows) * rowBytes > c_mostBytes))
            rows /= 2;
        return height < rows ? height : rows;
    }

    bool IsOneOf(std::initializer_list<Orientation> values) const {
        return std::find(values.begin(), values.end(), m_orientation) != values.end();
    }
    // In the upright image: does its x (or, turned, its y) shrink with the stored one?
    bool FlipsX() const {
        using enum Orientation;
        return IsOneOf({TopRight, BottomRight, RightTop, RightBottom});
    }
    bool FlipsY() const {
        using enum Orientation;
        return IsOneOf({BottomRight, BottomLeft, RightBottom, LeftBottom});
    }
    // Does the last stored row come first?
    bool FlipsRows() const { return IsTurned(m_orientation) ? FlipsX() : FlipsY(); }

    // One channel of a row; -1: opaque.
    void Unpack(std::byte const* row, int channel, std::byte* to) const {
        switch (m_imageFormat) {
        case SampleFormat::Integer8:
            return UnpackFrom<std::uint8_t>(row, channel, to);
        case SampleFormat::Integer16:
            return UnpackFrom<std::uint16_t>(row, channel, to);
        case SampleFormat::Float32:
            return UnpackFrom<float>(row, channel, to);
        }
    }

    template <class From>
    void UnpackFrom(std::byte const* row, int channel, std::byte* to) const {
        switch (m_sampleBytes) {
        case 1:
            return UnpackTo<From, std::uint8_t>(row, channel, to);
        case 2:
            return UnpackTo<From, std::uint16_t>(row, channel, to);
        default:
            return UnpackTo<From, float>(row, channel, to);
        }
    }

    template <class From, class To>
    void UnpackTo(std::byte const* row, int channel, std::byte* to) const {
        auto* const out = reinterpret_cast<To*>(to);
        if (channel < 0) {
            std::fill_n(out, m_width, ChannelBase<To, ChannelRole::Alpha>::c_maximum);
            return;
        }
        std::size_t const step = static_cast<std::size_t>(m_colours + m_hasAlpha) * sizeof(From);
        row += static_cast<std::size_t>(channel) * sizeof(From);
        for (int x = 0; x != m_width; ++x, row += step) {
            From sample;
            std::memcpy(&sample, row, sizeof sample);
            out[x] = Rescale<From, To>(sample);
        }
    }

    // Writes the band's rows, whose first is m_top, to where the orientation has them.
    void Place(int bottom) {
        switch (m_sampleBytes) {
        case 1:
            return PlaceSamples<std::uint8_t>(bottom);
        case 2:
            return PlaceSamples<std::uint16_t>(bottom);
        default:
            return PlaceSamples<float>(bottom);
        }
    }

    template <class Sample>
    void PlaceSamples(int bottom) {
        int const rows = bottom - m_top;
        bool const turned = IsTurned(m_orientation);
        bool const flipsX = FlipsX(), flipsY = FlipsY();
        int const width = turned ? rows : m_width, height = turned ? m_width : rows;
        Kernel::RectT<int> place{0, 0, width, height};
        int const along = FlipsRows() ? m_height - bottom : m_top;
        (turned ? place.left : place.top) += along;
        (turned ? place.right : place.bottom) += along;
        std::vector<Sample> upright;
        for (int c = 0; c != m_bitmap.GetInfo().channelCount; ++c) {
            auto const* const stored =
                reinterpret_cast<Sample const*>(m_planes.data() + static_cast<std::size_t>(c) * m_planeBytes);
            Sample const* samples = stored;
            if (m_orientation != Orientation::TopLeft) {
                upright.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
                for (int y = 0; y != height; ++y) {
                    for (int x = 0; x != width; ++x) {
                        int const u = flipsX ? width - 1 - x : x, v = flipsY ? height - 1 - y : y;
                        auto const from = turned ? static_cast<std::size_t>(u) * static_cast<std::size_t>(m_width) +
                                                       static_cast<std::size_t>(v)
                                                 : static_cast<std::size_t>(v) * static_cast<std::size_t>(m_width) +
                                                       static_cast<std::size_t>(u);
                        upright[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                static_cast<std::size_t>(x)] = stored[from];
                    }
                }
                samples = upright.data();
            }
            auto& plane = m_bitmap.GetPlane(c);
            if (m_rows < c_tileSide && IsFirstInTiles(along, rows))
                FillTilesOfOneValue(plane, place, samples);
            plane.WriteSamples(place, samples, static_cast<std::size_t>(width) * sizeof(Sample));
            RequireInProportion(static_cast<std::size_t>(bottom));
        }
    }

    void RequireInProportion(std::size_t rows) const {
        auto const taken = Tile::GetAllocatedBytes();
        auto const limit = c_mostExpansion * rows * static_cast<std::size_t>(m_width) * m_sampleBytes *
                           static_cast<std::size_t>(m_bitmap.GetInfo().channelCount);
        if (taken > m_takenBefore + std::max(c_freeTileBytes, limit))
            throw Kernel::Exception("is too narrow for a bitmap: " + std::to_string(m_width) + " x " +
                                    std::to_string(m_height) + " pixels would take memory out of proportion");
    }

    // Whether nothing has been written to these tiles yet.
    bool IsFirstInTiles(int along, int rows) const {
        int const end = along + rows;
        return FlipsRows() ? end == m_height || end % c_tileSide == 0 : along % c_tileSide == 0;
    }

    // Tiles whose first samples are all alike take that value, so that they need no samples while it goes on.
    template <class Sample>
    void FillTilesOfOneValue(RegionBase& plane, Kernel::RectT<int> const& place, Sample const* samples) const {
        bool const turned = IsTurned(m_orientation);
        auto const pitch = static_cast<std::size_t>(place.GetWidth());
        auto const last = (turned ? place.GetHeight() : place.GetWidth());
        for (int first = 0; first < last; first += c_tileSide) {
            int const end = std::min(first + c_tileSide, last);
            Kernel::RectT<int> const part = turned ? Kernel::RectT<int>{0, first, place.GetWidth(), end}
                                                   : Kernel::RectT<int>{first, 0, end, place.GetHeight()};
            Sample const value =
                samples[static_cast<std::size_t>(part.top) * pitch + static_cast<std::size_t>(part.left)];
            bool isOne = true;
            for (int y = part.top; y != part.bottom && isOne; ++y) {
                auto const* const row = samples + static_cast<std::size_t>(y) * pitch;
                isOne = std::all_of(row + part.left, row + part.right,
                                    [&](Sample sample) { return std::memcmp(&sample, &value, sizeof value) == 0; });
            }
            if (!isOne)
                continue;
            auto const tileEdge = [](int x) { return x / c_tileSide * c_tileSide; };
            int const left = tileEdge(place.left + part.left), top = tileEdge(place.top + part.top);
            std::uint32_t bits = 0;
            std::memcpy(&bits, &value, sizeof value);
            plane.FillSamples({left, top, std::min(left + c_tileSide, plane.GetWidth()),
                               std::min(top + c_tileSide, plane.GetHeight())},
                              bits);
        }
    }

    BitmapBase& m_bitmap;
    Orientation m_orientation;
    SampleFormat m_imageFormat;
    int m_width;
    int m_height;
    int m_colours;
    bool m_hasAlpha;
    std::size_t m_sampleBytes;
    // At most in a band; a power of two unless it is all rows.
    int m_rows;
    std::size_t m_planeBytes;
    std::size_t m_takenBefore = Tile::GetAllocatedBytes();
    std::vector<std::byte> m_planes;
    int m_top = 0;
};

BitmapReceiver::BitmapReceiver(MipmapMode mipmaps) : m_mipmaps(mipmaps) {}
BitmapReceiver::~BitmapReceiver() = default;

void BitmapReceiver::Begin(ImageInfo const& info) {
    m_info = info;
    constexpr auto c_maximum = static_cast<std::uint32_t>(c_maximumSide);
    if (info.width == 0 || info.height == 0 || info.width > c_maximum || info.height > c_maximum)
        throw Kernel::Exception("an image of " + std::to_string(info.width) + " x " + std::to_string(info.height) +
                                " pixels is too large for a bitmap");
    auto width = static_cast<int>(info.width), height = static_cast<int>(info.height);
    if (IsTurned(info.orientation))
        std::swap(width, height);
    Format const format = ChooseBitmapFormat(info);
    m_bitmap = BitmapBase::Create(width, height, format, m_mipmaps);
    m_profile = ReadProfile(info, GetFormatInfo(format).colourModel);
    m_band = std::make_unique<Band>(m_info, *m_bitmap);
}

void BitmapReceiver::ReceiveRow(std::uint32_t y, std::span<std::byte const> row) { m_band->Add(y, row.data()); }

Kernel::Counted<DynamicBitmap> BitmapReceiver::Finish() {
    if (!m_bitmap)
        throw Kernel::Exception("no image has been decoded");
    m_band.reset();
    m_bitmap->FinishChange(m_bitmap->GetBounds());
    return Kernel::MakeCounted<DynamicBitmap>(std::exchange(m_bitmap, {}), std::exchange(m_profile, {}));
}

Kernel::Counted<DynamicBitmap> MakeBitmapFromImage(DecodedImage const& image, MipmapMode mipmaps) {
    std::size_t const rowBytes = image.info.GetRowBytes();
    if (image.samples.size() != rowBytes * image.info.height)
        throw Kernel::Exception("an image has more or fewer pixels than it says");
    BitmapReceiver receiver(mipmaps);
    receiver.Begin(image.info);
    for (std::uint32_t y = 0; y != image.info.height; ++y)
        receiver.ReceiveRow(y, std::span(image.samples).subspan(y * rowBytes, rowBytes));
    return receiver.Finish();
}

namespace {

Format ChooseJpegFormat(Format format) {
    switch (GetFormatInfo(format).colourModel) {
    case ColourModel::AlphaOnly:
        return FormatA8;
    case ColourModel::Grey:
        return FormatIA8;
    case ColourModel::CMYK:
        return FormatCMYKA8;
    default:
        return FormatRGBA8;
    }
}

} // namespace

Format ChooseFileFormat(Format format, ImageFileType type) {
    if (type == ImageFileType::Jpeg)
        return ChooseJpegFormat(format);
    if (format == FormatAF)
        return FormatA16;
    if (type == ImageFileType::Tiff)
        return format;
    switch (format) {
    case FormatCMYKA8:
        return FormatRGBA8;
    case FormatLABA16:
    case FormatRGBAF:
        return FormatRGBA16;
    default:
        return format;
    }
}

namespace {

ImageInfo DescribeFile(BitmapBase const& bitmap) {
    FormatInfo const& format = bitmap.GetInfo();
    ImageInfo info;
    info.width = static_cast<std::uint32_t>(bitmap.GetWidth());
    info.height = static_cast<std::uint32_t>(bitmap.GetHeight());
    bool const isMask = format.colourModel == ColourModel::AlphaOnly;
    info.colourModel = isMask ? ColourModel::Grey : format.colourModel;
    info.hasAlpha = !isMask;
    info.sampleFormat = format.isFloat            ? SampleFormat::Float32
                        : format.sampleBytes == 1 ? SampleFormat::Integer8
                                                  : SampleFormat::Integer16;
    return info;
}

template <class Sample>
bool HasOnlyFullAlpha(BitmapBase const& bitmap) {
    constexpr auto c_full = ChannelBase<Sample, ChannelRole::Alpha>::c_maximum;
    auto const& alpha = bitmap.GetPlane(bitmap.GetInfo().channelCount - 1);
    std::vector<Sample> row(static_cast<std::size_t>(bitmap.GetWidth()));
    for (int y = 0; y != bitmap.GetHeight(); ++y) {
        alpha.ReadSamples({0, y, bitmap.GetWidth(), y + 1}, row.data(), row.size() * sizeof(Sample));
        if (std::any_of(row.begin(), row.end(), [](Sample sample) { return !(sample >= c_full); }))
            return false;
    }
    return true;
}

bool HasOnlyFullAlpha(BitmapBase const& bitmap) {
    switch (bitmap.GetInfo().sampleBytes) {
    case 1:
        return HasOnlyFullAlpha<std::uint8_t>(bitmap);
    case 2:
        return HasOnlyFullAlpha<std::uint16_t>(bitmap);
    default:
        return HasOnlyFullAlpha<float>(bitmap);
    }
}

} // namespace

bool IsOpaque(DynamicBitmap const& bitmap) {
    return !bitmap.IsEmpty() && bitmap.GetBase()->GetInfo().colourModel != ColourModel::AlphaOnly &&
           HasOnlyFullAlpha(*bitmap.GetBase());
}

void EncodeBitmap(DynamicBitmap const& bitmap, ImageFileOptions const& options, ByteSink const& sink) {
    if (bitmap.IsEmpty())
        throw Kernel::Exception("there are no pixels to write");
    auto& manager = ICCManager::GetInstance();
    Format const format = ChooseFileFormat(bitmap.GetFormat(), options.type);
    auto profile = bitmap.GetProfile();
    Kernel::Counted<BitmapBase const> pixels(bitmap.GetBase().get());
    if (format != bitmap.GetFormat()) {
        pixels = ConvertBitmap(*pixels, *manager.MakeConverter(bitmap.GetFormat(), profile, format, {}), nullptr);
        profile = {};
    }
    ImageInfo info = DescribeFile(*pixels);
    info.dpiX = options.dpiX;
    info.dpiY = options.dpiY;
    auto const srgb = manager.GetDefaultProfile(ColourModel::RGB);
    if (info.colourModel == ColourModel::RGB && (!profile || profile == srgb))
        info.isSrgb = true;
    else if (profile)
        info.iccProfile.assign(profile->GetData().begin(), profile->GetData().end());
    std::vector<std::byte> withAlpha;
    if (info.hasAlpha && (options.dropOpaqueAlpha || options.type == ImageFileType::Jpeg) &&
        HasOnlyFullAlpha(*pixels)) {
        withAlpha.resize(info.GetRowBytes());
        info.hasAlpha = false;
    }
    auto const readRow = [&](std::uint32_t y, std::span<std::byte> row) {
        if (options.abort != nullptr && *options.abort)
            throw Kernel::AbortException();
        Kernel::RectT<int> const place{0, static_cast<int>(y), pixels->GetWidth(), static_cast<int>(y) + 1};
        if (withAlpha.empty())
            return pixels->ReadPixels(place, row.data(), row.size());
        pixels->ReadPixels(place, withAlpha.data(), withAlpha.size());
        auto const pixelBytes = info.GetChannelCount() * info.GetSampleBytes();
        for (std::size_t x = 0; x != info.width; ++x)
            std::memcpy(row.data() + x * pixelBytes, withAlpha.data() + x * (pixelBytes + info.GetSampleBytes()),
                        pixelBytes);
    };
    if (options.type == ImageFileType::Png)
        EncodePng(info, readRow, sink);
    else if (options.type == ImageFileType::Jpeg)
        EncodeJpeg(info, options.quality, readRow, sink);
    else
        EncodeTiff(info, readRow, sink);
}

void KeepDefaultProfile(DynamicBitmap& bitmap, ICCProfileSet const& documentProfiles) {
    if (bitmap.IsEmpty() || bitmap.GetProfile())
        return;
    auto const model = bitmap.GetBase()->GetInfo().colourModel;
    auto const own = ICCManager::GetInstance().GetDefaultProfile(model);
    if (own && documentProfiles.Get(model) != own)
        bitmap.SetProfile(own);
}

Kernel::Counted<DynamicBitmap const> WithProfileOf(Kernel::Counted<DynamicBitmap const> bitmap,
                                                   ICCProfileSet const& profiles) {
    if (!bitmap || bitmap->IsEmpty())
        return bitmap;
    auto const model = bitmap->GetBase()->GetInfo().colourModel;
    auto const& profile = profiles.Get(model);
    if (!profile || profile == ICCManager::GetInstance().GetDefaultProfile(model) || bitmap->GetProfile())
        return bitmap;
    auto tagged = bitmap->CloneDerived(nullptr);
    tagged->SetProfile(profile);
    return tagged;
}

Kernel::Counted<DynamicBitmap> MakeUpright(DynamicBitmap const& bitmap, Orientation orientation) {
    auto const pixels = bitmap.GetBase();
    ImageInfo info = DescribeFile(*pixels);
    info.orientation = orientation;
    if (!info.hasAlpha)
        throw Kernel::Exception("a mask cannot be turned");
    if (auto const profile = bitmap.GetProfile())
        info.iccProfile.assign(profile->GetData().begin(), profile->GetData().end());
    BitmapReceiver receiver;
    receiver.Begin(info);
    std::vector<std::byte> row(info.GetRowBytes());
    for (std::uint32_t y = 0; y != info.height; ++y) {
        int const top = static_cast<int>(y);
        pixels->ReadPixels({0, top, pixels->GetWidth(), top + 1}, row.data(), row.size());
        receiver.ReceiveRow(y, row);
    }
    return receiver.Finish();
}

} // namespace Raster
