// SPDX-License-Identifier: Apache-2.0
#include "platform/epub/html_exporter.h"

#include "engine/epub/base64.h"
#include "engine/epub/exporter_state.h"
#include "engine/epub/package_documents.h"
#include "engine/epub/story_writer.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"

#include <utility>

namespace EPub {

FlowingEPubOptions::~FlowingEPubOptions() = default;
ExportSettings::ExportSettings() = default;
ExportSettings::~ExportSettings() = default;

namespace {

template <class T>
Kernel::Counted<T const> OrDefault(Kernel::Counted<T const> value) {
    return value ? value : Kernel::Counted<T const>(new T);
}

std::string GetLanguage(ExportSettings const& settings) {
    auto language = settings.language ? CleanLanguage(settings.language->GetIdentifier()) : std::string();
    return language.empty() ? "en" : language;
}

} // namespace

HtmlExporter::State::State(Kernel::Counted<ExportSettings const> exportSettings,
                           Kernel::Counted<FlowingEPubOptions const> exportOptions)
    : settings(OrDefault(std::move(exportSettings))),
      options(OrDefault(std::move(exportOptions))),
      language(GetLanguage(*settings)),
      classes(settings->styles, settings->profiles, language) {}

HtmlExporter::State::Part& HtmlExporter::State::GetPart(Kernel::String const& name, Kernel::String const& title) {
    if (parts.empty() || !(parts.back().file == name))
        parts.push_back({name, title, {}, {}, {}});
    return parts.back();
}

void HtmlExporter::State::CompressBody(Part& part) const {
    constexpr std::size_t c_enough = 1 << 16;
    if (!isPackage || part.body.size() < c_enough)
        return;
    if (part.compressed == nullptr) {
        part.compressed = std::make_unique<DeflatedText>();
        part.compressed->Append(MakePartBegin(*this, part));
    }
    std::string next;
    next.reserve(c_enough + c_enough / 4);
    part.compressed->Append(std::exchange(part.body, std::move(next)));
}

std::string HtmlExporter::State::AddPicture(std::vector<std::byte> const& png) {
    if (!settings->isEPub)
        return "data:image/png;base64," + EncodeBase64(png);
    auto const [place, isNew] = pictureNames.try_emplace(Kernel::ComputeBlobKey(png));
    if (isNew) {
        place->second = "Images/picture" + std::to_string(pictures.size() + 1) + ".png";
        pictures.push_back({place->second, png});
    }
    return place->second;
}

std::string HtmlExporter::State::LookUp(Callbacks const& callbacks, char const* key, char const* fallback) const {
    return callbacks.lookUpString ? callbacks.lookUpString(key, settings->language, fallback).ToStdString() : fallback;
}

bool HtmlExporter::State::WriteFile(std::span<std::byte const> bytes) {
    if (!file.IsOpen())
        return false;
    try {
        file.Write(bytes);
        file.Close();
    } catch (Kernel::FileException const&) {
        return false;
    }
    return true;
}

HtmlExporter::HtmlExporter(Kernel::Counted<ExportSettings const> settings,
                           Kernel::Counted<FlowingEPubOptions const> options)
    : m_state(std::make_unique<State>(std::move(settings), std::move(options))) {}
HtmlExporter::~HtmlExporter() = default;

AnchorRegistry& HtmlExporter::GetAnchorRegistry() { return m_state->anchors; }
ExportSettings const& HtmlExporter::GetSettings() const { return *m_state->settings; }
FlowingEPubOptions const& HtmlExporter::GetOptions() const { return *m_state->options; }

void HtmlExporter::Start(Kernel::String const& path, Kernel::Counted<Kernel::Countable const> source) {
    using File = Kernel::File;
    m_state->source = std::move(source);
    m_state->file.Open(path.c_str(), File::AccessMode::Create, File::ShareMode::Exclusive,
                       File::VisibilityMode::Normal);
}

bool HtmlExporter::ExportStory(Kernel::Counted<Story::Story const> story, Story::StoryPos const& end,
                               Kernel::String const& file, Kernel::String const& title) {
    if (!m_state->file.IsOpen() || !story)
        return false;
    if (m_state->parts.empty())
        m_state->isVertical = story->GetWritingMode() == Story::WritingMode::Vertical;
    auto& part = m_state->GetPart(file, title);
    MarkupWriter markup(part.body);
    std::vector<StoryWriter::PendingNote> notes;
    StoryWriter(*m_state, m_callbacks, part, markup, notes, story).Write(end.GetIndex());
    StoryWriter::WriteNotes(*m_state, m_callbacks, part, markup, std::move(notes));
    return true;
}

bool HtmlExporter::ExportPicture(Picture const& picture, Kernel::String const& file, Kernel::String const& title) {
    if (!m_state->file.IsOpen())
        return false;
    auto& part = m_state->GetPart(file, title);
    MarkupWriter markup(part.body);
    markup.Begin("p");
    WritePictureElement(*m_state, markup, picture);
    markup.End().Raw("\n");
    return true;
}

void HtmlExporter::WritePicture(Picture const& picture) {
    if (!m_state->writers.empty())
        m_state->writers.back()->WritePicture(picture);
}

void HtmlExporter::WriteStory(Kernel::Counted<Story::Story const> story) {
    if (!m_state->writers.empty() && story)
        m_state->writers.back()->WriteInner(story);
}

bool HtmlExporter::Finish() {
    auto const& settings = *m_state->settings;
    std::string page = "<!DOCTYPE html>\n";
    MarkupWriter markup(page);
    markup.Begin("html").Attribute("lang", m_state->language);
    markup.Optional("dir", settings.isRightToLeft ? "rtl" : "").Raw("\n");
    markup.Begin("head").Raw("\n").Begin("meta").Attribute("charset", "utf-8").EndVoid().Raw("\n");
    markup.Begin("title").Text(settings.title.empty() ? "-" : settings.title.view()).End().Raw("\n");
    if (!settings.creator.empty())
        markup.Begin("meta")
            .Attribute("name", "author")
            .Attribute("content", settings.creator.view())
            .EndVoid()
            .Raw("\n");
    auto sheet = m_state->classes.MakeSheet(m_state->isVertical);
    for (auto const& css : settings.cssFiles) {
        if (css)
            sheet += css->GetText().ToStdString() + "\n";
    }
    // Nothing in a style sheet ends the element around it.
    for (auto place = sheet.find("</"); place != sheet.npos; place = sheet.find("</", place))
        sheet.replace(place, 2, "<\\/");
    markup.Begin("style").Raw("\n").Raw(sheet).End().Raw("\n").End().Raw("\n").Begin("body").Raw("\n");
    for (auto const& part : m_state->parts)
        markup.Begin("section").Raw("\n").Raw(part.body).End().Raw("\n");
    markup.End().Raw("\n").End().Raw("\n");
    m_state->source.reset();
    return m_state->WriteFile(std::as_bytes(std::span(page)));
}

} // namespace EPub
