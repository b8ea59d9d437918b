// SPDX-License-Identifier: Apache-2.0
// Masks and filters, from drawings to documents, pictures and back.
#include "formats/svg/export.h"
#include "formats/svg/import.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/mask_node.h"
#include "platform/kernel/cast.h"
#include "platform/raster/buffer.h"

#include <gtest/gtest.h>
#include <random>

using namespace Formats::Svg;

namespace {

// A drawing of 40 x 40 units as a document.
struct EffectsDocument {
    explicit EffectsDocument(std::string const& content) {
        std::string const head = content.starts_with("<?xml")
                                     ? ""
                                     : "<svg xmlns='http://www.w3.org/2000/svg' "
                                       "xmlns:xlink='http://www.w3.org/1999/xlink' width='40' height='40'>";
        auto const drawing = Import(head.empty() ? content : head + content + "</svg>", {});
        report = drawing.report;
        controller = DocumentController::CreateNew(drawing.pageSize, Raster::FormatRGBA8, 1);
        Place(drawing, *controller->GetDocument(), *controller->GetCurrentSpread());
    }

    SceneNode& Get(std::size_t index = 0) const {
        Node* child = controller->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain);
        for (; index != 0; --index)
            child = child->GetNextSibling();
        return dynamic_cast<SceneNode&>(*child);
    }
    MaskNode& GetMask(std::size_t index = 0) const {
        Node* child = Get().GetFirstChild(NodeChildListType::Masks);
        for (; index != 0; --index)
            child = child->GetNextSibling();
        return dynamic_cast<MaskNode&>(*child);
    }
    Renderer::FilterSettings const& GetFilter(std::size_t index = 0) const {
        return Kernel::CastPointer<Renderer::Filter const>(Get().GetFilterEffects().at(index).get())->GetSettings();
    }
    // Red, green, blue and alpha over a clear ground.
    std::array<int, 4> GetPixel(int x, int y) const {
        SpreadPictureOptions options;
        options.background = Renderer::Colour().WithAlpha(0);
        auto const target = MakeSpreadPicture(*controller->GetCurrentSpread(), options);
        auto const buffer = target->Render({x, y, x + 1, y + 1});
        std::array<int, 4> pixel{};
        for (int channel = 0; channel != 4; ++channel)
            pixel[static_cast<std::size_t>(channel)] =
                *static_cast<std::uint8_t const*>(std::as_const(*buffer).GetRow(channel, 0));
        return pixel;
    }
    int GetAlpha(int x, int y) const { return GetPixel(x, y)[3]; }

    Report report;
    Kernel::Counted<DocumentController> controller;
};

// Writes a drawing and reads it again: document and text must come back.
std::string ExpectEffectsComeBack(std::string const& content) {
    EffectsDocument const first(content);
    EXPECT_TRUE(first.report.IsEmpty()) << first.report.GetLines().front();
    auto const text = ExportSpread(*first.controller->GetCurrentSpread());
    EXPECT_TRUE(text.report.IsEmpty()) << text.report.GetLines().front();
    EffectsDocument const second(text.text);
    EXPECT_TRUE(second.report.IsEmpty()) << second.report.GetLines().front();
    EXPECT_EQ(ExportSpread(*second.controller->GetCurrentSpread()).text, text.text);
    EXPECT_EQ(first.controller->GetHash(false), second.controller->GetHash(false)) << text.text;
    return text.text;
}

std::string const c_grey = "<rect width='40' height='40' fill='#808080'/>";
std::string const c_masked = "<rect width='40' height='40' mask='url(#m)'/>";

} // namespace

TEST(SvgMasks, ShowByLuminanceOrAlpha) {
    EXPECT_EQ(EffectsDocument("<mask id='m'>" + c_grey + "</mask>" + c_masked).GetAlpha(20, 20), 128);
    EXPECT_EQ(EffectsDocument("<mask id='m' mask-type='alpha'>" + c_grey + "</mask>" + c_masked).GetAlpha(20, 20), 255);
    EXPECT_EQ(EffectsDocument(
                  "<mask id='m' style='mask-type:alpha'><rect width='40' height='40' opacity='.2'/></mask>" + c_masked)
                  .GetAlpha(20, 20),
              51);
    // 0.2159 is the light of half of full scale.
    EXPECT_EQ(EffectsDocument("<mask id='m' color-interpolation='linearRGB'>" + c_grey + "</mask>" + c_masked)
                  .GetAlpha(20, 20),
              55);
    EXPECT_EQ(EffectsDocument("<mask id='m'/>" + c_masked).GetAlpha(20, 20), 0);
    EffectsDocument const missing("<rect width='40' height='40' mask='url(#x)'/>");
    EXPECT_EQ(missing.GetAlpha(20, 20), 255);
    EXPECT_EQ(missing.report.GetCount("missing target of mask"), 1u);
}

TEST(SvgMasks, HaveTheRegionOfTheirUnits) {
    std::string const white = "<rect x='-99' y='-99' width='999' height='999' fill='white'/>";
    std::string const object =
        "<rect x='10' y='10' width='20' height='20' stroke='red' stroke-width='10' mask='url(#m)'/>";
    // The box without the line, and a tenth around it.
    EffectsDocument const ofBox("<mask id='m'>" + white + "</mask>" + object);
    EXPECT_EQ(ofBox.GetAlpha(9, 20), 255);
    EXPECT_EQ(ofBox.GetAlpha(7, 20), 0);
    EffectsDocument const ofUser("<mask id='m' maskUnits='userSpaceOnUse' x='50%' y='0' width='5' height='100%'>" +
                                 white + "</mask>" + object);
    EXPECT_EQ(ofUser.GetAlpha(22, 20), 255);
    EXPECT_EQ(ofUser.GetAlpha(18, 20), 0);
    EXPECT_EQ(ofUser.GetAlpha(26, 20), 0);
    EffectsDocument const content("<mask id='m' maskContentUnits='objectBoundingBox'><rect width='.5' height='1' "
                                  "fill='white'/></mask>" +
                                  object);
    EXPECT_EQ(content.GetAlpha(18, 20), 255);
    EXPECT_EQ(content.GetAlpha(22, 20), 0);
    EffectsDocument const empty("<mask id='m' width='0'>" + white + "</mask>" + object);
    EXPECT_EQ(empty.GetAlpha(20, 20), 0);
    EXPECT_EQ(empty.report.GetCount("empty mask"), 1u);
}

TEST(SvgMasks, OfGroupsTextsInstancesAndMasksTakeAway) {
    std::string const mask =
        "<mask id='m' maskUnits='userSpaceOnUse' x='0' y='0' width='40' height='40'><rect width='20' "
        "height='40' fill='white'/></mask>";
    for (std::string const object :
         {"<g mask='url(#m)'><rect width='40' height='40'/><rect width='9' height='9'/></g>",
          "<defs><rect id='r' width='40' height='40'/></defs><use xlink:href='#r' mask='url(#m)'/>",
          "<svg x='0' width='40' height='40' mask='url(#m)'><rect x='-9' width='90' height='40'/></svg>",
          "<text y='36' font-size='60' mask='url(#m)'>&#x2588;&#x2588;</text>",
          "<rect width='40' height='40' mask='url(#m)' opacity='.99' transform='translate(0)'/>"}) {
        EffectsDocument const document(mask + object);
        EXPECT_GT(document.GetAlpha(10, 20), 200) << object;
        EXPECT_EQ(document.GetAlpha(30, 20), 0) << object;
    }
    EffectsDocument const nested(
        "<mask id='n' maskUnits='userSpaceOnUse' x='0' y='0' width='40' height='40'><rect "
        "width='40' height='20' fill='white'/></mask><mask id='m' mask='url(#n)'><rect width='20' "
        "height='40' fill='white'/></mask>" +
        c_masked);
    EXPECT_EQ(nested.GetAlpha(10, 10), 255);
    EXPECT_EQ(nested.GetAlpha(10, 30), 0);
    EXPECT_EQ(nested.GetAlpha(30, 10), 0);
    // Content of a mask that has a mask.
    EffectsDocument const inside(mask + "<mask id='o'><rect width='40' height='40' fill='white' mask='url(#m)'/></mask>"
                                        "<rect width='40' height='40' mask='url(#o)'/>");
    EXPECT_EQ(inside.GetAlpha(10, 10), 255);
    EXPECT_EQ(inside.GetAlpha(30, 10), 0);
    EffectsDocument const circle("<mask id='m'><rect width='9' height='9' fill='white' mask='url(#m)'/></mask>" +
                                 c_masked);
    EXPECT_EQ(circle.report.GetCount("circular reference"), 1u);
}

TEST(SvgMasks, HiddenOnesAndOtherNodesOfTheirListMaskNothing) {
    EffectsDocument const document("<mask id='m'>" + c_grey + "</mask>" + c_masked);
    document.GetMask().SetVisible(false);
    EXPECT_EQ(document.GetAlpha(20, 20), 255);
    document.GetMask().SetVisible(true);
    document.GetMask().SetMaskKind(Renderer::MaskKind::Alpha);
    EXPECT_EQ(document.GetAlpha(20, 20), 255);
    document.GetMask().RemoveFromParent();
    document.Get().InsertChild(NodeChildListType::Masks, Kernel::MakeCounted<GroupNode>(), nullptr);
    EXPECT_EQ(document.GetAlpha(20, 20), 255);
}

TEST(SvgMasks, AreClonedAndSavedWithTheirNode) {
    EffectsDocument const document("<mask id='m' mask-type='alpha'>" + c_grey + "</mask>" + c_masked);
    CloneContext context(CloneType::Copy);
    auto const copy = document.Get().Clone(context);
    auto const* const mask = dynamic_cast<MaskNode const*>(copy->GetFirstChild(NodeChildListType::Masks));
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->GetMaskKind(), Renderer::MaskKind::Alpha);
    EXPECT_TRUE(mask->HasChildren(NodeChildListType::Plain));
}

TEST(SvgMasks, ComeBack) {
    ExpectEffectsComeBack("<mask id='m'>" + c_grey + "</mask>" + c_masked);
    ExpectEffectsComeBack(
        "<mask id='m' mask-type='alpha' x='.1' y='.3' width='.7' height='.33'><title>soft</title><g "
        "transform='rotate(7)' opacity='.3'><rect id='in' width='9' height='8' fill='#123'/></g></mask>" +
        c_masked + "<g mask='url(#m)'><rect width='3' height='5'/></g>");
    ExpectEffectsComeBack(
        "<mask id='m' maskContentUnits='objectBoundingBox' color-interpolation='linearRGB'><circle r='.3' "
        "cx='.5' cy='.5' fill='red'/></mask><rect x='3' y='.7' width='10' height='11' mask='url(#m)'/>");
    ExpectEffectsComeBack("<defs><rect id='s' width='9' height='9'/></defs><mask id='n'>" + c_grey +
                          "</mask><mask id='m' mask='url(#n)'><use xlink:href='#s'/><g mask='url(#n)'>" + c_grey +
                          "</g></mask><g id='g' opacity='.5' clip-path='url(#c)' mask='url(#m)'><use xlink:href='#s' "
                          "mask='url(#n)'/></g><clipPath id='c'><circle r='20'/></clipPath>");
}

TEST(SvgFilters, AreReadWithTheirUnitsAndNames) {
    EffectsDocument const document(
        "<filter id='base' x='1' y='2' width='50%' height='4' filterUnits='userSpaceOnUse'/>"
        "<filter id='f' xlink:href='#base' primitiveUnits='objectBoundingBox' color-interpolation-filters='sRGB'>"
        "<feGaussianBlur in='SourceAlpha' stdDeviation='.1 .2' result='b' x='10%' height='.5'/>"
        "<feOffset dx='.3' dy='-.4' color-interpolation-filters='linearRGB'/>"
        "<feFlood flood-color='rgb(10%,20%,30%)' flood-opacity='.5'/>"
        "<feBlend in='b' in2='SourceGraphic' mode='color-dodge'/>"
        "<feComposite operator='arithmetic' k1='.1' k4='.2'/>"
        "<feMerge><feMergeNode in='b'/><feMergeNode/></feMerge></filter>"
        "<rect width='10' height='10' filter='url(#f)'/>");
    EXPECT_TRUE(document.report.IsEmpty());
    auto const& settings = document.GetFilter();
    EXPECT_FALSE(settings.isRegionOfBox);
    EXPECT_TRUE(settings.arePrimitivesOfBox);
    EXPECT_EQ(settings.GetRegion(), (Kernel::RectT<double>{1, 2, 21, 6}));
    ASSERT_EQ(settings.primitives.size(), 6u);
    auto const& p = settings.primitives;
    EXPECT_EQ(p[0].kind, Renderer::FilterPrimitiveKind::GaussianBlur);
    EXPECT_EQ(p[0].inputs, std::vector<Kernel::String>{"SourceAlpha"});
    EXPECT_EQ(p[0].result, Kernel::String("b"));
    EXPECT_EQ(p[0].deviationY, 0.2);
    EXPECT_EQ(p[0].givenSides, 9u);
    EXPECT_EQ(p[0].left, 0.1);
    EXPECT_FALSE(p[0].isLinear);
    EXPECT_TRUE(p[1].isLinear);
    EXPECT_EQ(p[1].offsetY, -0.4);
    EXPECT_EQ(p[2].colour, Renderer::Colour::FromRGB(0.1f, 0.2f, 0.3f, 0.5f));
    EXPECT_EQ(p[3].blendMode, Renderer::BlendMode::ColourDodge);
    EXPECT_EQ(p[4].numbers, (std::vector<double>{0.1, 0, 0, 0.2}));
    EXPECT_EQ(p[5].inputs, (std::vector<Kernel::String>{"b", {}}));
}

TEST(SvgFilters, WithoutACounterpartAreNamedAndLeftOut) {
    for (std::string const primitive : {"feTurbulence", "feImage", "feDiffuseLighting", "feMorphology", "feTile"}) {
        EffectsDocument const document("<filter id='f'><feOffset/><" + primitive +
                                       "/></filter><rect width='40' height='40' filter='url(#f)'/>");
        EXPECT_EQ(document.report.GetCount("filter with " + primitive), 1u);
        EXPECT_EQ(document.GetAlpha(20, 20), 255);
    }
    EffectsDocument const input("<filter id='f'><feOffset in='BackgroundImage'/></filter><rect width='4' height='4' "
                                "filter='url(#f)'/>");
    EXPECT_EQ(input.report.GetCount("filter with BackgroundImage"), 1u);
    EffectsDocument const missing("<rect width='40' height='40' filter='url(#x)'/>");
    EXPECT_EQ(missing.report.GetCount("missing target of filter"), 1u);
    EXPECT_EQ(missing.GetAlpha(20, 20), 255);
    for (std::string const value :
         {"blur(", "blur(3", "blur(-3px)", "url(#f", "shrink(3)", "drop-shadow(3px)", "blur(3px) x"}) {
        EffectsDocument const document("<rect width='40' height='40' filter='" + value + "'/>");
        EXPECT_EQ(document.report.GetCount("invalid value of filter"), 1u) << value;
        EXPECT_EQ(document.GetAlpha(20, 20), 255);
    }
    // A filter of nothing shows nothing.
    EXPECT_EQ(EffectsDocument("<filter id='f'/><rect width='40' height='40' filter='url(#f)'/>").GetAlpha(20, 20), 0);
}

TEST(SvgFilters, AreDrawnInTheSpaceOfTheirObject) {
    std::string const filter =
        "<filter id='f' x='-100%' y='-100%' width='300%' height='300%'><feOffset dx='5'/></filter>";
    EffectsDocument const scaled(filter + "<rect width='5' height='5' filter='url(#f)' transform='scale(2)'/>");
    EXPECT_EQ(scaled.GetAlpha(9, 5), 0);
    EXPECT_EQ(scaled.GetAlpha(11, 5), 255);
    EffectsDocument const turned(filter + "<rect width='5' height='5' filter='url(#f)' transform='translate(20 20) "
                                          "rotate(90)'/>");
    EXPECT_EQ(turned.GetAlpha(17, 26), 255);
    EXPECT_EQ(turned.GetAlpha(17, 23), 0);
    // Opacity, mask and clip come after the filter.
    EffectsDocument const around(filter + "<clipPath id='c'><rect width='8' height='9'/></clipPath><g filter='url(#f)' "
                                          "opacity='.2' clip-path='url(#c)'><rect width='5' height='5'/></g>");
    EXPECT_EQ(around.GetAlpha(6, 2), 51);
    EXPECT_EQ(around.GetAlpha(9, 2), 0);
    // The second effect works on what the first one made.
    EffectsDocument const chain(filter + "<rect width='5' height='5' style='filter:url(#f) drop-shadow(0 9px red)'/>");
    EXPECT_EQ(chain.GetPixel(7, 2), (std::array<int, 4>{0, 0, 0, 255}));
    EXPECT_EQ(chain.GetPixel(7, 11), (std::array<int, 4>{255, 0, 0, 255}));
    EXPECT_EQ(chain.GetAlpha(2, 2), 0);
}

TEST(SvgFilters, GrowTheBoundsOfTheirNode) {
    EffectsDocument const document("<filter id='f' x='-100%' y='-100%' width='300%' height='300%'><feGaussianBlur "
                                   "stdDeviation='1'/><feOffset dx='5'/></filter><rect x='10' y='10' width='10' "
                                   "height='10' filter='url(#f)'/>");
    auto const bounds = document.Get().GetBounds(true);
    EXPECT_LE(bounds.left, 12);
    EXPECT_GE(bounds.left, 10);
    EXPECT_GE(bounds.right, 28);
    EXPECT_LE(bounds.right, 30);
    // The box that units refer to stays.
    EXPECT_EQ(document.Get().GetBounds(false), (Kernel::RectT<double>{10, 10, 20, 20}));
}

TEST(SvgFilters, HugeRegionsAndDeviationsAreDrawnAtOnce) {
    for (std::string const filter :
         {"<filter id='f' filterUnits='userSpaceOnUse' x='-1e6' y='-1e6' width='2e6' height='2e6'>",
          "<filter id='f' x='-1e6' y='-1e6' width='2e6' height='2e6'>"}) {
        for (std::string const primitive :
             {"<feFlood/>", "<feGaussianBlur stdDeviation='1e5'/>", "<feOffset dx='1e6'/>",
              "<feGaussianBlur stdDeviation='nan'/>", "<feGaussianBlur stdDeviation='1e38 0'/>"}) {
            EffectsDocument const document(filter + primitive +
                                           "</filter><rect width='10' height='10' filter='url(#f)'/>");
            auto const bounds = document.Get().GetBounds(true);
            EXPECT_TRUE(std::isfinite(bounds.GetWidth()));
            EXPECT_LE(document.GetAlpha(5, 5), 255);
        }
    }
}

TEST(SvgFilters, ComeBack) {
    std::string const filters =
        "<filter id='a'><feGaussianBlur stdDeviation='3.3 0'/></filter>"
        "<filter id='b' x='0.1' y='.2' width='0.3' height='1.1' primitiveUnits='objectBoundingBox'><feOffset dx='.1' "
        "dy='1e-9' "
        "result='o'/><feBlend in='o' in2='SourceAlpha' mode='soft-light' x='.1' width='.3'/></filter>"
        "<filter id='c' filterUnits='userSpaceOnUse' x='-3' y='1' width='20' height='30' "
        "color-interpolation-filters='sRGB'>"
        "<feDropShadow stdDeviation='.7' dx='-1' dy='7' flood-color='rgb(10.3%,20%,30%)' flood-opacity='.123'/>"
        "<feColorMatrix type='saturate' values='.3'/><feColorMatrix type='luminanceToAlpha'/><feComponentTransfer>"
        "<feFuncR type='table' tableValues='0 .3 1'/><feFuncG type='gamma' amplitude='2'/><feFuncA type='linear' "
        "slope='.3'/><feFuncB type='discrete' tableValues='1 0'/></feComponentTransfer>"
        "<feComposite operator='xor' in2='SourceGraphic'/><feComposite operator='arithmetic' k2='.3'/>"
        "<feMerge result='m'><feMergeNode/><feMergeNode in='SourceGraphic'/></feMerge><feFlood flood-color='lime'/>"
        "<feComposite in='m'/></filter>";
    std::string objects;
    for (std::string const value : {"url(#a)", "url(#b)", "url(#c)", "url(#c) url(#a)", "blur(3px)", "sepia(30%)",
                                    "drop-shadow(1px 2px 3px rgba(1,2,3,.4)) hue-rotate(40deg)", "contrast(.3)"})
        objects += "<g opacity='.7' filter='" + value + "'><rect width='10' height='11' filter='" + value + "'/></g>";
    ExpectEffectsComeBack(filters + objects);
}

TEST(SvgFilters, RandomOnesComeBack) {
    std::mt19937 random(11);
    auto const number = [&] { return std::to_string(static_cast<int>(random() % 2000) / 7.0); };
    auto const input = [&](int i) {
        std::string const names[] = {"", "SourceGraphic", "SourceAlpha", "r" + std::to_string(random() % 6)};
        std::string const& name = names[random() % 4];
        return name.empty() ? "" : " in" + std::string(i == 2 ? "2" : "") + "='" + name + "'";
    };
    for (int i = 0; i != 60; ++i) {
        std::string filter = "<filter id='f' x='-" + number() + "' width='" + number() + "'>";
        for (unsigned n = 0; n != 6; ++n) {
            std::string const rest = input(1) + " result='r" + std::to_string(n) + "'" +
                                     (random() % 3 == 0 ? " x='" + number() + "'" : "") +
                                     (random() % 2 == 0 ? " color-interpolation-filters='sRGB'" : "") + "/>";
            std::string const kinds[] = {"<feGaussianBlur stdDeviation='" + number() + " " + number() + "'",
                                         "<feOffset dx='" + number() + "'",
                                         "<feFlood flood-opacity='." + std::to_string(random() % 1000) + "'",
                                         "<feBlend mode='multiply'" + input(2),
                                         "<feComposite operator='in'" + input(2),
                                         "<feDropShadow dy='-" + number() + "'"};
            filter += kinds[random() % 6] + rest;
        }
        ExpectEffectsComeBack(filter + "</filter><rect width='7' height='8' filter='url(#f)'/>");
    }
}
