// SPDX-License-Identifier: Apache-2.0
#include "publishing/exported_text.h"

#include "platform/document/text_field_data_source.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/files.h"
#include "platform/story/table.h"
#include "platform/story/unicode_story_exporter.h"

namespace Commands {

Kernel::Counted<Story::Language const> FindLanguage(TextNode const& text, DocumentController const& document) {
    auto const begin = text.GetStory()->gbegin();
    auto const atts = document.GetTextStyleSheet()->Resolve(begin.GetGlyphAtts(), begin.GetParagraphAtts());
    return Story::Language::Make(atts->Get(Story::GlyphAtt::String::Language));
}

Story::RtfPart MakeRtfPart(TextNode const& text) {
    constexpr double c_resolutionScale = c_unitsPerInch / c_pointsPerInch;
    auto const* const frame = Kernel::CastPointer<FrameTextNode const>(&text);
    auto const scale = frame == nullptr ? Raster::AffineTransform::Params() : frame->GetTextUiScale();
    Story::RtfPart part;
    part.story = text.GetStory();
    part.fields = Story::FieldDataSourceRef(new TextFieldDataSource(text.GetTextFlow()));
    part.scaleX = c_resolutionScale / scale.a;
    part.scaleY = c_resolutionScale / scale.d;
    return part;
}

Kernel::String MakePlainText(TextNode const& text) {
    auto const story = text.GetStory();
    Kernel::Counted<TextFieldDataSource const> const fields(new TextFieldDataSource(text.GetTextFlow()));
    auto const* const frame = Kernel::CastPointer<TextFrameInterface const>(&text);
    auto const table = frame == nullptr ? Kernel::Counted<Story::Table const>() : frame->GetTable();
    Story::UnicodeStoryExporter exporter({}, fields, table, true, true);
    exporter.Visit(story->Bind(story->GetClientAll()));
    return exporter.GetText();
}

WrittenFile WriteFile(Kernel::String const& path, std::span<std::byte const> bytes) {
    using File = Kernel::File;
    File file;
    if (!file.Open(path.c_str(), File::AccessMode::Create, File::ShareMode::Exclusive, File::VisibilityMode::Normal))
        return WrittenFile::NotOpened;
    try {
        file.Write(bytes);
        file.Close();
        return WrittenFile::Whole;
    } catch (Kernel::FileException const&) {
        return WrittenFile::Failed;
    }
}

} // namespace Commands
