// SPDX-License-Identifier: Apache-2.0
#include "platform/document/flowing_epub_helpers.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/epub_cover_info.h"
#include "platform/document/pinned_node.h"
#include "platform/document/text_field_data_source.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"
#include "platform/kernel/cast.h"
#include "platform/raster/bitmap_image.h"
#include "platform/story/reading_direction.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <map>
#include <mutex>
#include <string_view>

namespace FlowingEPubHelpers {

namespace {

// The key of metadata under which a node has its text for readers that do not see it.
constexpr char c_alternativeText[] = "alt";
// More than any reader's screen has.
constexpr double c_maximumPixels = 16e6;

std::string_view GetFileStem(std::string_view path) {
    auto const name = path.substr(path.find_last_of("/\\") + 1);
    auto const point = name.rfind('.');
    return point == 0 || point == name.npos ? name : name.substr(0, point);
}

std::string FormatTime(std::int64_t secondsSinceEpoch) {
    using namespace std::chrono;
    // Years of four digits.
    auto const seconds = std::clamp<std::int64_t>(secondsSinceEpoch, 0, 253402300799);
    sys_seconds const time{std::chrono::seconds(seconds)};
    auto const day = floor<days>(time);
    year_month_day const date(day);
    hh_mm_ss const clock(time - day);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

// RFC 9562, section 5.8: a UUID made in a way of one's own. The same document has the same one.
std::string MakeIdentifier(DocumentController const& document) {
    auto hash = document.GetHash(false);
    hash[6] = (hash[6] & std::byte{0x0F}) | std::byte{0x80};
    hash[8] = (hash[8] & std::byte{0x3F}) | std::byte{0x80};
    std::string text = "urn:uuid:";
    for (std::size_t i = 0; i != hash.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text += '-';
        auto const byte = std::to_integer<unsigned>(hash[i]);
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

bool IsRightToLeft(Story::Language const& language) {
    auto const name = language.GetIdentifier().view();
    auto const first = name.substr(0, name.find_first_of("-_"));
    constexpr std::array<std::string_view, 11> c_languages{"ar", "arc", "dv",  "fa", "he", "nqo",
                                                           "ps", "sd",  "syr", "ur", "yi"};
    return std::ranges::find(c_languages, first) != c_languages.end();
}

std::vector<std::byte> Encode(Renderer::RasterRenderTarget const& target, bool hasAlpha) {
    auto const& options = target.GetOptions();
    auto const pixels = target.Render({0, 0, options.width, options.height});
    auto const model = Raster::GetFormatInfo(options.format).colourModel;
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(options.width);
    info.height = static_cast<std::uint32_t>(options.height);
    info.colourModel = model;
    info.hasAlpha = hasAlpha;
    auto const& profile = options.profiles.Get(model);
    bool const isDefault = profile == Raster::ICCManager::GetInstance().GetDefaultProfile(model);
    info.isSrgb = isDefault && model == Raster::ColourModel::RGB;
    if (profile && !isDefault)
        info.iccProfile.assign(profile->GetData().begin(), profile->GetData().end());
    auto const channels = static_cast<std::size_t>(Raster::GetFormatInfo(options.format).channelCount);
    std::vector<std::byte> line(channels * info.width), file;
    auto const source = [&](std::uint32_t y, std::span<std::byte> row) {
        auto const top = static_cast<int>(y);
        pixels->ReadPixels({0, top, options.width, top + 1}, line.data(), line.size());
        auto const kept = row.size() / info.width;
        for (std::size_t x = 0; x != info.width; ++x)
            std::copy_n(line.data() + x * channels, kept, row.data() + x * kept);
    };
    Raster::EncodePng(info, source,
                      [&](std::span<std::byte const> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
    return file;
}

std::optional<EPub::Picture> Draw(SpreadNode const& spread, SpreadPictureOptions options, double wantedScale,
                                  Raster::ICCManager::ICCProfileSet const& profiles, Raster::Format format) {
    auto const width = options.area.right - options.area.left, height = options.area.bottom - options.area.top;
    if (!(width > 0) || !(height > 0) || !std::isfinite(width * height))
        return {};
    auto const finest = std::sqrt(c_maximumPixels / (width * height));
    options.scale = std::min(std::clamp(wantedScale, 0.01, 32.0), finest);
    bool const isGrey = Raster::GetFormatInfo(format).colourModel == Raster::ColourModel::Grey;
    options.format = isGrey ? Raster::FormatIA8 : Raster::FormatRGBA8;
    // Grey pixels keep their meaning; all others become what every reader shows.
    options.profiles = isGrey ? profiles : Raster::ICCManager::ICCProfileSet();
    EPub::Picture picture;
    picture.png = Encode(*MakeSpreadPicture(spread, options), options.background.GetAlpha() < 1);
    picture.width = width;
    picture.height = height;
    return picture;
}

std::optional<EPub::Picture> MakeCover(DocumentController const& document, EPub::FlowingEPubOptions const& options) {
    auto const& node = *document.GetDocument();
    auto const info = node.GetEPubCoverInfo();
    if (!info || info->GetKind() == EPubCoverKind::None)
        return {};
    std::optional<EPub::Picture> cover;
    if (info->GetKind() == EPubCoverKind::Picture) {
        if (!info->GetPicture() || info->GetPicture()->IsEmpty())
            return {};
        cover.emplace();
        Raster::EncodeBitmap(
            *Raster::WithProfileOf(info->GetPicture(), node.GetProfiles()), {},
            [&](std::span<std::byte const> bytes) { cover->png.insert(cover->png.end(), bytes.begin(), bytes.end()); });
    } else {
        auto const spreads = node.GetSpreads();
        if (spreads.empty())
            return {};
        auto const* const page =
            Kernel::CastPointer<PageNode const>(spreads.front()->GetFirstChild(NodeChildListType::Pages));
        SpreadPictureOptions picture;
        picture.area = page != nullptr ? page->GetBaseBox(false) : spreads.front()->GetBaseBox(false);
        cover = Draw(*spreads.front(), picture, options.pictureScale, node.GetProfiles(), node.GetFormat());
    }
    if (cover)
        cover->alternativeText = info->GetAlternativeText();
    return cover;
}

// Answers are kept. Compositions on other threads may ask too.
class CachedFieldDataSource final : public Story::FieldDataSource {
public:
    explicit CachedFieldDataSource(Kernel::NonCounted<TextFlow const> flow) : m_source(flow) {}
    std::optional<Kernel::String> GetCustomFieldValue(Kernel::String const& guid) const override {
        return Find(m_values, guid, [&] { return m_source.GetCustomFieldValue(guid); });
    }
    Kernel::String GetPageLabel(std::size_t frame) const override {
        return Find(m_pages, frame, [&] { return m_source.GetPageLabel(frame); });
    }
    Kernel::String GetPageCountLabel() const override { return m_source.GetPageCountLabel(); }
    Kernel::String GetMetadata(Kernel::String const& key) const override {
        return Find(m_metadata, key, [&] { return m_source.GetMetadata(key); });
    }
    Kernel::String GetCaptionNumber() const override { return m_source.GetCaptionNumber(); }
    Kernel::Counted<Story::StyleSheet const> GetStyleSheet() const override { return m_source.GetStyleSheet(); }
    std::optional<Kernel::String> GetMergeFieldValue(Kernel::String const& source, Kernel::String const& field,
                                                     std::uint32_t offset) const override {
        return m_source.GetMergeFieldValue(source, field, offset);
    }

private:
    template <class Key, class Value, class F>
    Value Find(std::map<Key, Value>& answers, Key const& key, F const& ask) const {
        std::lock_guard const lock(m_mutex);
        auto const found = answers.find(key);
        return found != answers.end() ? found->second : answers.emplace(key, ask()).first->second;
    }

    TextFieldDataSource m_source;
    mutable std::mutex m_mutex;
    mutable std::map<Kernel::String, std::optional<Kernel::String>> m_values;
    mutable std::map<std::size_t, Kernel::String> m_pages;
    mutable std::map<Kernel::String, Kernel::String> m_metadata;
};

// The node of a pin, unless it is hidden by itself or by something above it.
Kernel::JailCounted<Node> GetVisibleNode(Kernel::JailCounted<Story::PinInterface> const& pin) {
    auto const pinned = Kernel::Cast<PinnedNode>(pin);
    auto node = pinned ? pinned->GetNode() : Kernel::JailCounted<Node>();
    for (Node const* above = node.get(); above != nullptr; above = above->GetParent()) {
        auto const* const visibility = Kernel::CastPointer<VisibilityInterface const>(above);
        if (visibility != nullptr && !visibility->IsVisible())
            return {};
    }
    return node;
}

} // namespace

Kernel::Counted<EPub::ExportSettings>
ExportSettingsForDocument(Kernel::String const& path, Kernel::Counted<DocumentController const> const& document,
                          Kernel::Counted<EPub::FlowingEPubOptions const> const& options,
                          Kernel::Counted<Story::Language const> const& language, Kernel::JailCounted<Node> const& top,
                          bool isEPub) {
    auto const wishes =
        options ? options : Kernel::Counted<EPub::FlowingEPubOptions const>(new EPub::FlowingEPubOptions);
    auto const settings = Kernel::MakeCounted<EPub::ExportSettings>();
    settings->isEPub = isEPub;
    settings->title = wishes->title.empty() ? Kernel::String(GetFileStem(path.view())) : wishes->title;
    settings->creator = wishes->creator;
    settings->language = language ? language : Story::Language::Make({});
    // The first second of a year in which no document was made: it tells nothing.
    settings->modified = FormatTime(wishes->modified.value_or(946684800));
    settings->identifier = wishes->identifier;
    settings->isRightToLeft = IsRightToLeft(*settings->language);
    if (!document)
        return settings;
    auto const& node = *document->GetDocument();
    if (settings->identifier.empty() && isEPub)
        settings->identifier = MakeIdentifier(*document);
    settings->styles = node.GetTextStyleSheet();
    settings->profiles = node.GetProfiles();
    settings->cssFiles = node.GetCssFiles();
    settings->accessibility = document->GetAccessibilityMetadata();
    if (isEPub)
        settings->cover = MakeCover(*document, *wishes);
    if (auto const text = Kernel::Cast<TextNode>(top))
        settings->isRightToLeft = Story::IsReadRightToLeft(*text->GetStory(), *settings->styles);
    return settings;
}

Kernel::Counted<Story::FieldDataSource> CreateCachedTextDataSourceForStory(Kernel::Counted<Story::Story const> const&,
                                                                           Kernel::JailCounted<TextNode> const& node) {
    return Kernel::MakeCounted<CachedFieldDataSource>(node->GetTextFlow());
}

std::optional<EPub::Picture> MakePicture(Node const& node, EPub::FlowingEPubOptions const& options,
                                         Raster::ICCManager::ICCProfileSet const& profiles, Raster::Format format) {
    auto const* const spread = node.GetSpread();
    if (spread == nullptr)
        return {};
    SpreadPictureOptions picture;
    picture.area = node.GetBounds(true);
    picture.background = picture.background.WithAlpha(0);
    picture.nodes.emplace_back(&node);
    auto made = Draw(*spread, picture, options.pictureScale, profiles, format);
    if (made) {
        auto const told = node.GetMetadataValuesForKey(c_alternativeText);
        made->alternativeText = told.empty() ? node.GetDescription(false) : *told.front();
        made->isDecoration = node.GetMarkAsDecoration();
    }
    return made;
}

void HandlePin(Kernel::JailCounted<Story::PinInterface> const& pin, EPub::HtmlExporter& exporter,
               Raster::ICCManager::ICCProfileSet const& profiles, Raster::Format format,
               std::function<void(Kernel::JailCounted<TextNode>)> const& meetText) {
    auto const node = GetVisibleNode(pin);
    if (!node)
        return;
    if (auto const text = Kernel::Cast<TextNode>(node)) {
        if (meetText)
            meetText(text);
        exporter.WriteStory(text->GetStory());
    } else if (auto const picture = MakePicture(*node, exporter.GetOptions(), profiles, format)) {
        exporter.WritePicture(*picture);
    }
}

bool WritesPinAsImage(Kernel::JailCounted<Story::PinInterface> const& pin) {
    return !Kernel::Cast<TextNode>(GetVisibleNode(pin));
}

} // namespace FlowingEPubHelpers
