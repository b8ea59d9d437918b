// SPDX-License-Identifier: Apache-2.0
#include "platform/epub/flowing_epub_exporter.h"

#include "engine/epub/exporter_state.h"
#include "engine/epub/package_documents.h"
#include "engine/epub/zip_archive.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/epub/css_file.h"

#include <list>
#include <utility>

namespace EPub {

FlowingEPubExporter::~FlowingEPubExporter() = default;

void FlowingEPubExporter::Start(Kernel::String const& path, Kernel::Counted<Kernel::Countable const> source) {
    GetState().isPackage = true;
    HtmlExporter::Start(path, std::move(source));
}

bool FlowingEPubExporter::Finish() {
    auto& state = GetState();
    state.source.reset();
    if (!state.file.IsOpen())
        return false;
    std::string const folder = "EPUB/";
    ZipArchive archive;
    // Readers look for these bytes at the beginning of the file (EPUB Open Container Format 3.2, section 4.3).
    archive.Add("mimetype", "application/epub+zip", ZipArchive::Method::Stored);
    archive.Add("META-INF/container.xml",
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<container version=\"1.0\" xmlns=\"urn:oasis:names:tc:opendocument:xmlns:container\">\n"
                "<rootfiles>\n"
                "<rootfile full-path=\"EPUB/Package.opf\" media-type=\"application/oebps-package+xml\"/>\n"
                "</rootfiles>\n"
                "</container>\n");
    // A book without a page is none.
    if (state.parts.empty())
        state.parts.push_back({"Story1.xhtml", {}, "<p><br/></p>\n", {}, {}});
    // The archive reads them when it ends.
    std::list<std::string> texts;
    std::list<DeflatedText::Result> compressed;
    auto const add = [&](std::string const& path, std::string text) {
        archive.Add(folder + path, texts.emplace_back(std::move(text)));
    };
    add("Package.opf", MakePackageDocument(state));
    add(c_navigationPath, MakeNavigationDocument(state, GetCallbacks()));
    add(c_styleSheetPath, state.classes.MakeSheet(state.isVertical));
    for (std::size_t i = 0; i != state.settings->cssFiles.size(); ++i)
        add(GetCssPath(*state.settings, i), state.settings->cssFiles[i]->GetText().ToStdString());
    if (state.settings->cover) {
        add(c_coverPath, MakeCoverDocument(state, GetCallbacks()));
        // Compressed already.
        archive.Add(folder + c_coverPicturePath, state.settings->cover->png, ZipArchive::Method::Stored);
    }
    for (auto& part : state.parts) {
        if (part.compressed == nullptr) {
            add(part.file.ToStdString(), MakePartBegin(state, part) + part.body + std::string(c_partEnd));
            part.body = {};
            continue;
        }
        part.compressed->Append(std::exchange(part.body, {}) + std::string(c_partEnd));
        archive.Add(folder + part.file.ToStdString(), compressed.emplace_back(part.compressed->Finish()));
    }
    for (auto const& picture : state.pictures)
        archive.Add(folder + picture.name, picture.png, ZipArchive::Method::Stored);
    return state.WriteFile(archive.Finish());
}

} // namespace EPub
