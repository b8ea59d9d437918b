// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/source_text.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>
#include <zlib.h>

using Formats::DrawingLimits;
using namespace Formats::Svg;

namespace {

std::string Gzip(std::string_view text) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(deflateBound(&stream, text.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

std::string Utf16(std::u16string_view text, bool bigEndian, bool withMark) {
    std::string out;
    auto add = [&](unsigned unit) {
        out += static_cast<char>(bigEndian ? unit >> 8 : unit & 255);
        out += static_cast<char>(bigEndian ? unit & 255 : unit >> 8);
    };
    if (withMark)
        add(0xFEFF);
    for (char16_t const unit : text)
        add(unit);
    return out;
}

std::string Read(std::string_view bytes, DrawingLimits const& limits = {}) {
    Report report;
    return ReadSourceText(bytes, limits, report);
}

std::string Refusal(std::string_view bytes, DrawingLimits const& limits = {}) {
    try {
        Read(bytes, limits);
    } catch (Kernel::Exception const& refused) {
        return refused.what();
    }
    return "accepted";
}

} // namespace

TEST(SvgSourceText, PlainUtf8StaysAndItsMarkGoes) {
    EXPECT_EQ(Read("<svg>\xC3\xA4</svg>"), "<svg>\xC3\xA4</svg>");
    EXPECT_EQ(Read("\xEF\xBB\xBF<svg/>"), "<svg/>");
}

TEST(SvgSourceText, Utf16OfBothByteOrdersIsConvertedWithAndWithoutMark) {
    for (bool const bigEndian : {false, true})
        for (bool const withMark : {false, true})
            EXPECT_EQ(Read(Utf16(u"<a>\u00E4\u20AC\U0001F4A9</a>", bigEndian, withMark)),
                      "<a>\xC3\xA4\xE2\x82\xAC\xF0\x9F\x92\xA9</a>");
}

TEST(SvgSourceText, LoneSurrogatesAndHalfUnitsAreReplacedAndCounted) {
    Report report;
    std::string bytes = Utf16(u"<a>", false, true);
    bytes += std::string("\x00\xD8", 2);
    bytes += Utf16(u"x", false, false);
    bytes += "y";
    EXPECT_EQ(DecodeToUtf8(bytes, {}, report), "<a>\xEF\xBF\xBDx");
    EXPECT_EQ(report.GetCount("malformed characters"), 2u);
}

TEST(SvgSourceText, DeclaredLatin1IsConverted) {
    EXPECT_EQ(Read("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4\x80</a>"),
              "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xA4\xE2\x82\xAC</a>");
}

TEST(SvgSourceText, UnknownEncodingIsRefusedByName) {
    EXPECT_EQ(Refusal("<?xml version='1.0' encoding='EBCDIC-1'?><a/>"), "the encoding ebcdic-1 is not supported");
}

TEST(SvgSourceText, MalformedUtf8IsReplacedByMaximalParts) {
    Report report;
    EXPECT_EQ(DecodeToUtf8("a\xE6\x97z\xFF\xED\xA0\x80", {}, report),
              "a\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(report.GetCount("malformed characters"), 5u);
}

TEST(SvgSourceText, ZeroBytesAreRefused) {
    EXPECT_EQ(Refusal(std::string_view("<svg>\0</svg>", 12)), "the source holds zero bytes: it is not XML");
}

TEST(SvgSourceText, CompressedSourceIsRead) { EXPECT_EQ(Read(Gzip("<svg/>")), "<svg/>"); }

TEST(SvgSourceText, EveryTruncationOfACompressedSourceIsRefused) {
    std::string const whole = Gzip("<svg><g id='a'/><g id='b'/></svg>");
    for (std::size_t length = 2; length < whole.size(); ++length)
        EXPECT_EQ(Refusal(whole.substr(0, length)), "the compressed data ends too early") << length;
}

TEST(SvgSourceText, DamagedCompressedSourceIsRefused) {
    std::string damaged = Gzip("<svg><g id='a'/><g id='b'/></svg>");
    damaged[damaged.size() - 6] ^= 1;
    EXPECT_EQ(Refusal(damaged), "the compressed data is damaged");
}

TEST(SvgSourceText, CompressedSourceMayNotGrowBeyondTheRatio) {
    DrawingLimits limits;
    limits.inflateFreeBytes = 1000;
    limits.inflateRatio = 20;
    std::string const bomb = Gzip(std::string(1'000'000, ' '));
    EXPECT_EQ(Refusal(bomb, limits), "the compressed data grows beyond " + std::to_string(bomb.size() * 20) + " bytes");
    limits.inflateFreeBytes = 1'000'000;
    EXPECT_EQ(Read(bomb, limits).size(), 1'000'000u);
}

TEST(SvgSourceText, InternalEntitiesAreExpandedInTextAndAttributes) {
    EXPECT_EQ(Read("<!DOCTYPE svg [<!ENTITY st \"fill:red\"><!ENTITY g '<g id=\"x\"/>'>]><svg style='&st;'>&g;</svg>"),
              "<svg style='fill:red'><g id=\"x\"/></svg>");
}

TEST(SvgSourceText, EntitiesMayHoldEntities) {
    EXPECT_EQ(Read("<!DOCTYPE svg [<!ENTITY a \"1&b;\"><!ENTITY b \"2\">]><svg x='&a;&b;'/>"), "<svg x='122'/>");
}

TEST(SvgSourceText, AQuoteInAnEntityDoesNotEndTheAttribute) {
    EXPECT_EQ(Read("<!DOCTYPE svg [<!ENTITY q 'a\"b'>]><svg x=\"&q;\" y='&q;'/>"), "<svg x=\"a&quot;b\" y='a\"b'/>");
}

TEST(SvgSourceText, EntitiesInCommentsAndCharacterDataStay) {
    EXPECT_EQ(Read("<!DOCTYPE svg [<!ENTITY a '1'>]><svg><!--&a;--><![CDATA[&a;]]>&a;&unknown;&amp;</svg>"),
              "<svg><!--&a;--><![CDATA[&a;]]>1&unknown;&amp;</svg>");
}

TEST(SvgSourceText, TheFirstDeclarationOfAnEntityBinds) {
    EXPECT_EQ(Read("<!DOCTYPE svg [<!ENTITY a '1'><!ENTITY a '2'>]><svg x='&a;'/>"), "<svg x='1'/>");
}

TEST(SvgSourceText, OtherDeclarationsAreSteppedOver) {
    EXPECT_EQ(Read("<?xml version='1.0'?><!-- ] --><!DOCTYPE svg PUBLIC \"-//a>\" \"b]\" [<!ELEMENT x (y)>"
                   "<!ATTLIST x y CDATA '>'><!-- <!ENTITY a '2'> --><?pi ]?><!ENTITY a '1'>]  ><svg x='&a;'/>"),
              "<?xml version='1.0'?><!-- ] --><svg x='1'/>");
}

TEST(SvgSourceText, ExternalEntitiesAreNeverReadAndCounted) {
    Report report;
    EXPECT_EQ(ExpandEntities("<!DOCTYPE svg [<!ENTITY x SYSTEM 'file:///etc/hostname'>]><svg>&x;</svg>", {}, report),
              "<svg></svg>");
    EXPECT_EQ(report.GetCount("external entity"), 1u);
}

TEST(SvgSourceText, EntitiesThatHoldThemselvesAreRefused) {
    EXPECT_EQ(Refusal("<!DOCTYPE svg [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><svg>&a;</svg>"),
              "the entity a contains itself");
}

TEST(SvgSourceText, ExponentialEntitiesAreRefusedWhetherTheyAreLongOrEmpty) {
    for (std::string_view const core : {"ha", ""}) {
        std::string source = "<!DOCTYPE svg [<!ENTITY l0 '" + std::string(core) + "'>";
        for (int i = 1; i < 12; ++i) {
            std::string const inner = "&l" + std::to_string(i - 1) + ";";
            source += "<!ENTITY l" + std::to_string(i) + " '";
            for (int k = 0; k < 10; ++k)
                source += inner;
            source += "'>";
        }
        EXPECT_EQ(Refusal(source + "]><svg>&l11;</svg>"), "there are more than 1000000 references to entities");
    }
}

TEST(SvgSourceText, EntitiesThatExpandToTooMuchAreRefused) {
    DrawingLimits limits;
    limits.entityBytes = 1000;
    std::string const source = "<!DOCTYPE svg [<!ENTITY a '" + std::string(100, 'x') + "'>]><svg>";
    EXPECT_EQ(Refusal(source + "&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;</svg>", limits),
              "entities expand to more than 1000 bytes");
    EXPECT_EQ(Read(source + "&a;</svg>", limits), "<svg>" + std::string(100, 'x') + "</svg>");
}

TEST(SvgSourceText, AnOpenDocumentTypeIsRefused) {
    EXPECT_EQ(Refusal("<!DOCTYPE svg [<!ENTITY a '1'>"), "the document type declaration has no end");
    EXPECT_EQ(Refusal("<!DOCTYPE svg [<!ENTITY a '1>]>"), "a quotation in the document type declaration has no end");
}
