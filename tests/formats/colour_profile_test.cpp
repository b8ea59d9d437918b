// SPDX-License-Identifier: Apache-2.0
#include "formats/colour_profile.h"

#include "formats/export.h"
#include "formats/import.h"
#include "platform/kernel/cast.h"
#include "platform/raster/bitmap_image.h"
#include "platform/renderer/colour_profiles.h"
#include "shapes/flatten_command.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/formats/files.h"
#include "tests/support/ink_profile.h"
#include "tests/support/records.h"

#include <cmath>

namespace {

using Profile = Kernel::Consolidated<Raster::ICCProfile>;

// Of RGB with a gamma of its own, as PNG tells one.
Profile MakeGammaProfile(double gamma) {
    Raster::DecodedImage image;
    image.info.width = image.info.height = 1;
    image.info.encodingGamma = 1 / gamma;
    image.samples.resize(3);
    return Raster::MakeBitmapFromImage(image)->GetProfile();
}

// The sample that shows sRGB's `value` of 0..255 where samples have that gamma (IEC 61966-2-1).
int FromSrgb(int value, double gamma) {
    double const encoded = value / 255.0;
    double const linear = encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
    return static_cast<int>(std::lround(255 * std::pow(linear, 1 / gamma)));
}

class ColourProfiles : public FilesTest {
protected:
    // An opaque picture of one colour.
    std::string WritePicture(std::string const& name, Profile const& profile, bool isSrgb = false) const {
        Raster::ImageInfo info;
        info.width = 4;
        info.height = 3;
        info.isSrgb = isSrgb;
        if (profile)
            info.iccProfile.assign(profile->GetData().begin(), profile->GetData().end());
        std::string bytes;
        Raster::EncodePng(
            info, [](std::uint32_t, std::span<std::byte> row) { std::ranges::fill(row, std::byte(100)); },
            [&](std::span<std::byte const> part) {
                bytes.append(reinterpret_cast<char const*>(part.data()), part.size());
            });
        return Write(name, bytes);
    }
    Raster::DecodedImage Decode(std::string const& name) const {
        auto const bytes = Read(name);
        return Raster::DecodeImage(std::as_bytes(std::span(bytes)));
    }
    static Profile GetProfile(DocumentController const& document) {
        return document.GetProfiles().Get(Raster::ColourModel::RGB);
    }
    static bool Holds(Raster::DecodedImage const& image, Profile const& profile) {
        return std::ranges::equal(image.info.iccProfile, profile->GetData());
    }
};

constexpr std::string_view c_grey =
    "<svg xmlns='http://www.w3.org/2000/svg' width='4' height='3'><rect width='4' height='3' fill='#808080'/></svg>";

TEST_F(ColourProfiles, APicturesProfileBecomesTheDocuments) {
    auto const gamma = MakeGammaProfile(1.8);
    auto const document = Formats::Import(WritePicture("a.png", gamma));
    EXPECT_EQ(gamma, GetProfile(*document));
    document->Save(PathOf("a.redraft"));
    auto const opened = DocumentController::Open(PathOf("a.redraft"), false);
    EXPECT_EQ(gamma, GetProfile(*opened));
    EXPECT_EQ(document->GetHash(true), opened->GetHash(true));
    opened->CheckStoredValues();
    EXPECT_EQ(gamma, GetProfile(*opened->MakeCopy()));
    // Saved again without having been read.
    auto const unread = DocumentController::Open(PathOf("a.redraft"), false);
    unread->Save(PathOf("b.redraft"));
    EXPECT_EQ(gamma, GetProfile(*DocumentController::Open(PathOf("b.redraft"), false)));
}

TEST_F(ColourProfiles, AreAPartOfWhatADocumentIs) {
    auto const plain = DocumentController::CreateNew({10, 10}, Raster::FormatRGBA8, 1);
    auto const other = DocumentController::CreateNew({10, 10}, Raster::FormatRGBA8, 1);
    EXPECT_EQ(Raster::ICCProfileSet(), other->GetProfiles());
    Formats::SetDocumentProfile(*other, MakeGammaProfile(1.8));
    EXPECT_NE(plain->GetHash(false), other->GetHash(false));
    Formats::SetDocumentProfile(*other, Raster::ICCManager::GetInstance().GetDefaultProfile(Raster::ColourModel::RGB));
    EXPECT_EQ(plain->GetHash(false), other->GetHash(false));
}

TEST_F(ColourProfiles, OneThatCannotBeReadIsToldWhenItIsNeeded) {
    auto const document = DocumentController::CreateNew({10, 10}, Raster::FormatRGBA8, 1);
    Formats::SetDocumentProfile(*document, MakeGammaProfile(1.8));
    // Without the values that a file has beside its objects.
    auto const roots = Support::LoadFromMemory(
        Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(document->GetDocument())}));
    auto const loaded = Kernel::Cast<DocumentNode>(roots.at(0));
    EXPECT_EQ(1u, loaded->GetSpreads().size());
    EXPECT_EQ("is damaged: the document's colour profile cannot be read", MessageOf([&] { loaded->GetProfiles(); }));
}

TEST_F(ColourProfiles, AreThoseThatPicturesAreDrawnIn) {
    auto const gamma = MakeGammaProfile(1.8);
    auto const document = Formats::Import(WritePicture("a.png", gamma));
    Formats::ExportOptions drawn;
    drawn.scale = 2;
    Formats::Export(*document, PathOf("drawn.png"), drawn);
    auto const image = Decode("drawn.png");
    EXPECT_TRUE(Holds(image, gamma));
    EXPECT_EQ(100, std::to_integer<int>(image.samples[0]));
    // Its own pixels, and those of a layer without a profile of its own, as a flattened one is.
    Formats::Export(*document, PathOf("own.png"));
    EXPECT_TRUE(Holds(Decode("own.png"), gamma));
    auto& layer =
        *Kernel::CastPointer<RasterNode>(document->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain));
    layer.SetBitmap(Kernel::MakeCounted<Raster::DynamicBitmap>(
        Kernel::Counted<Raster::BitmapBase>(layer.GetBitmap()->GetBase()->Clone(nullptr))));
    for (char const* name : {"flat.png", "flat.tif"}) {
        Formats::Export(*document, PathOf(name));
        EXPECT_TRUE(Holds(Decode(name), gamma)) << name;
        EXPECT_EQ(100, std::to_integer<int>(Decode(name).samples[0])) << name;
    }
}

TEST_F(ColourProfiles, ColoursOfDrawingsStayWhatTheyAre) {
    Formats::ImportOptions options;
    options.profile = MakeGammaProfile(1.8);
    auto const document = Formats::Import(Write("grey.svg", c_grey), options);
    Formats::Export(*document, PathOf("grey.png"));
    EXPECT_NEAR(FromSrgb(128, 1.8), std::to_integer<int>(Decode("grey.png").samples[0]), 1);
    EXPECT_NE(128, FromSrgb(128, 1.8));
    // Back in sRGB.
    Formats::Export(*document, PathOf("back.svg"));
    Formats::Export(*Formats::Import(PathOf("back.svg")), PathOf("back.png"));
    EXPECT_NEAR(128, std::to_integer<int>(Decode("back.png").samples[0]), 1);
    // Placed, too.
    auto const picture = Formats::Import(WritePicture("a.png", MakeGammaProfile(2.6)));
    Formats::Place(*picture, PathOf("grey.svg"));
    Formats::Export(*picture, PathOf("placed.png"));
    EXPECT_NEAR(FromSrgb(128, 2.6), std::to_integer<int>(Decode("placed.png").samples[0]), 1);
}

TEST_F(ColourProfiles, APictureThatSaysItIsSrgbStaysThat) {
    auto const gamma = MakeGammaProfile(1.8);
    Formats::ImportOptions options;
    options.profile = gamma;
    Formats::ExportOptions drawn;
    drawn.scale = 1;
    auto const marked = Formats::Import(WritePicture("marked.png", {}, true), options);
    Formats::Export(*marked, PathOf("out.png"), drawn);
    EXPECT_NEAR(FromSrgb(100, 1.8), std::to_integer<int>(Decode("out.png").samples[0]), 1);
    // Numbers of unknown meaning are the document's.
    auto const unknown = Formats::Import(WritePicture("unknown.png", {}), options);
    Formats::Export(*unknown, PathOf("out2.png"), drawn);
    EXPECT_EQ(100, std::to_integer<int>(Decode("out2.png").samples[0]));
    // One with a profile of its own keeps it, in a document that has another.
    auto const own = Formats::Import(WritePicture("own.png", MakeGammaProfile(2.6)), options);
    EXPECT_EQ(gamma, GetProfile(*own));
    Formats::Export(*own, PathOf("out3.png"), drawn);
    EXPECT_NEAR(255 * std::pow(100 / 255.0, 2.6 / 1.8), std::to_integer<int>(Decode("out3.png").samples[0]), 1);
}

TEST_F(ColourProfiles, ConvertAsTheColourManagementDoes) {
    auto const gamma = MakeGammaProfile(1.8);
    Formats::ImportOptions options;
    options.profile = gamma;
    for (char const* colour : {"#c83214", "#0a64f0", "#20c840", "#fff", "#000"}) {
        auto const source = std::string(c_grey).replace(c_grey.find("#808080"), 7, colour);
        auto const document = Formats::Import(Write("colour.svg", source), options);
        Formats::Export(*document, PathOf("colour.png"));
        auto const drawn = Decode("colour.png");
        Formats::Export(*Formats::Import(PathOf("colour.svg")), PathOf("srgb.png"));
        auto const srgb = Decode("srgb.png");
        auto const from = Raster::BufferBase::Create(1, 1, Raster::FormatRGBA8);
        std::uint8_t pixel[4] = {0, 0, 0, 255};
        for (std::size_t c = 0; c != 3; ++c)
            pixel[c] = std::to_integer<std::uint8_t>(srgb.samples[c]);
        from->WritePixels({0, 0, 1, 1}, pixel, 4);
        auto const to = Raster::BufferBase::Create(1, 1, Raster::FormatRGBA8);
        Raster::ConvertPixels(
            *from, *to,
            *Raster::ICCManager::GetInstance().MakeConverter(Raster::FormatRGBA8, {}, Raster::FormatRGBA8, gamma));
        for (int c = 0; c != 3; ++c)
            EXPECT_NEAR(to->GetPixel(0, 0).GetSample(c),
                        std::to_integer<int>(drawn.samples[static_cast<std::size_t>(c)]), 1)
                << colour;
    }
}

TEST_F(ColourProfiles, OfInkStaysWithTiffFlattenedToo) {
    auto const ink = Support::MakeInkProfile();
    auto const document = DocumentController::CreateNew({8, 6}, Raster::FormatCMYKA8, 1);
    Formats::SetDocumentProfile(*document, ink);
    auto const red = Renderer::Colour::FromRGB(0.8F, 0.2F, 0.3F);
    ExampleDocuments::Append(*document->GetCurrentSpread(),
                             ExampleDocuments::MakeRectangle({0, 0, 8, 6}, red.GetComponents()[0],
                                                             red.GetComponents()[1], red.GetComponents()[2]));
    Raster::ICCProfileSet target;
    target.Set(ink);
    auto const wanted = Renderer::ConvertColour(red, {}, Renderer::ColourFormat::CMYK, target).GetComponents();
    for (char const* name : {"drawn.tif", "flat.tif"}) {
        Formats::Export(*document, PathOf(name));
        auto const image = Decode(name);
        EXPECT_TRUE(Holds(image, ink)) << name;
        EXPECT_EQ(Raster::ColourModel::CMYK, image.info.colourModel);
        for (std::size_t c = 0; c != 4; ++c)
            EXPECT_NEAR(wanted[c] * 255, std::to_integer<int>(image.samples[c]), 1) << name;
        document->Run(Kernel::MakeCounted<Commands::FlattenCommand>());
    }
    // Read back it is the same document format, profile and ink.
    auto const read = Formats::Import(PathOf("flat.tif"));
    EXPECT_EQ(ink, read->GetProfiles().Get(Raster::ColourModel::CMYK));
    // PNG has no ink.
    Formats::Export(*document, PathOf("screen.png"));
    EXPECT_TRUE(Decode("screen.png").info.isSrgb);
}

TEST_F(ColourProfiles, OfOtherColoursAndDamagedOnesAreRefused) {
    auto const grey = Raster::ICCManager::GetInstance().GetDefaultProfile(Raster::ColourModel::Grey);
    Formats::ImportOptions options;
    options.profile = grey;
    EXPECT_EQ("the colour profile is for grey, and the document is in RGB",
              MessageOf([&] { Formats::Import(Write("grey.svg", c_grey), options); }));
    EXPECT_EQ("a colour profile is damaged",
              MessageOf([&] { Formats::ReadColourProfile(Write("a.icc", "not a profile at all")); }));
    auto const bytes = grey->GetData();
    auto const whole = std::string(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    EXPECT_EQ("a colour profile is damaged",
              MessageOf([&] { Formats::ReadColourProfile(Write("b.icc", whole.substr(0, 140))); }));
    EXPECT_EQ(grey, Formats::ReadColourProfile(Write("c.icc", whole)));
}

} // namespace
