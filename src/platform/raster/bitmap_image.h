// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/codec.h"
#include "platform/raster/dynamic_bitmap.h"

namespace Raster {

// The format nearest to an image's pixels: grey and RGB of 8 and 16 bits as they are, CMYK in 8 bits, Lab in 16, floats
// as RGB floats.
REDRAFT_ENGINE Format ChooseBitmapFormat(ImageInfo const& info);

// The bits of a sample that a bitmap of that format keeps of the image's, where they are fewer than the file has: then
// the samples are rounded. 0 where nothing is lost.
REDRAFT_ENGINE unsigned GetRoundedBits(ImageInfo const& info);

// Makes a bitmap of an image while it is decoded, a band of tiles at a time. The bitmap stands upright, whatever the
// image's orientation is. Pixels without alpha are opaque. The profile is the embedded one, or one made of the file's
// gamma and chromaticities; one that cannot be read, or is for other colours, is left out, as colours of unknown
// meaning count as the format's default.
class REDRAFT_ENGINE BitmapReceiver final : public ImageReceiver {
public:
    explicit BitmapReceiver(MipmapMode mipmaps = MipmapMode::None);
    ~BitmapReceiver() override;
    void Begin(ImageInfo const& info) override;
    void ReceiveRow(std::uint32_t y, std::span<std::byte const> row) override;

    ImageInfo const& GetInfo() const { return m_info; }
    // When the decoder has returned; the receiver keeps nothing.
    Kernel::Counted<DynamicBitmap> Finish();

private:
    class Band;

    MipmapMode m_mipmaps;
    ImageInfo m_info;
    Kernel::Counted<BitmapBase> m_bitmap;
    Kernel::Consolidated<ICCProfile> m_profile;
    std::unique_ptr<Band> m_band;
};

REDRAFT_ENGINE Kernel::Counted<DynamicBitmap> MakeBitmapFromImage(DecodedImage const& image,
                                                                  MipmapMode mipmaps = MipmapMode::None);

enum class ImageFileType { Png, Tiff, Jpeg };

// The format that a file holds pixels of a format in. Masks become grey images; their format is one of masks.
REDRAFT_ENGINE Format ChooseFileFormat(Format format, ImageFileType type);

// How a bitmap is written as an image file.
struct ImageFileOptions {
    ImageFileType type = ImageFileType::Png;
    // Pixels per inch, 0 for none.
    double dpiX = 0;
    double dpiY = 0;
    // Of JPEG, 1 to 100.
    int quality = c_usualJpegQuality;
    // Whether alpha is left out where every pixel is opaque. JPEG has none in any case.
    bool dropOpaqueAlpha = false;
    // Polled with each row when it is not null; Kernel::AbortException.
    bool const* abort = nullptr;
};

// Writes a bitmap as an image file with its profile. Masks become grey images. PNG holds grey and RGB of 8 and 16 bits:
// other colours become sRGB, of 8 bits for CMYK, else of 16. JPEG holds grey, RGB and CMYK of 8 bits; Lab becomes sRGB,
// and a bitmap that is not opaque is refused. Errors as EncodePng, EncodeTiff and EncodeJpeg.
REDRAFT_ENGINE void EncodeBitmap(DynamicBitmap const& bitmap, ImageFileOptions const& options, ByteSink const& sink);

// Whether all pixels have full alpha; false for masks. Reads what is pending.
REDRAFT_ENGINE bool IsOpaque(DynamicBitmap const& bitmap);

// Gives a bitmap without a profile that of its format's default, where the document that it goes into has another one
// for such colours.
REDRAFT_ENGINE void KeepDefaultProfile(DynamicBitmap& bitmap, ICCProfileSet const& documentProfiles);

// The bitmap itself, or where it has no profile of its own and the set has another than the default, one that shares
// its pixels and has the set's.
REDRAFT_ENGINE Kernel::Counted<DynamicBitmap const> WithProfileOf(Kernel::Counted<DynamicBitmap const> bitmap,
                                                                  ICCProfileSet const& profiles);

// A bitmap of the same pixels that stands upright, where `bitmap` is one whose first row and column belong as
// `orientation` says. Throws Kernel::Exception for masks.
REDRAFT_ENGINE Kernel::Counted<DynamicBitmap> MakeUpright(DynamicBitmap const& bitmap, Orientation orientation);

} // namespace Raster
