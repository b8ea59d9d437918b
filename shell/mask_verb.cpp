// SPDX-License-Identifier: Apache-2.0
#include "shell/mask_verb.h"

#include "shell/interrupt.h"
#include "shell/pixel_mask.h"
#include "shell/selector.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/kernel/cast.h"

namespace Shell {

namespace {

constexpr NumberRange c_feathers{0, 1e6};

Kernel::Counted<RasterNode> FindNamedLayer(DocumentController& document, std::string_view selector) {
    auto const nodes = FindNodes(document, selector);
    auto* const layer = nodes.size() == 1 ? Kernel::CastPointer<RasterNode>(nodes.front().get()) : nullptr;
    if (layer == nullptr)
        throw ValueError("needs one layer of pixels, a RasterNode, not " + Quote(selector));
    return Kernel::Counted<RasterNode>(layer);
}

// The format that names the document's channels.
Raster::Format GetChannelFormat(DocumentController& document, RasterNode const* layer) {
    auto const bitmap = layer == nullptr ? nullptr : layer->GetBitmap();
    return bitmap && !bitmap->IsEmpty() ? bitmap->GetFormat() : document.GetDocument()->GetFormat();
}

std::string DescribePixels(SelectionRasterNode const& selection) {
    if (selection.IsSelectNone())
        return "no selection, effects change whole layers";
    if (selection.IsSelectAllOrNone())
        return "all";
    auto const mask = selection.GetBitmap();
    auto const size = std::to_string(mask->GetWidth()) + " x " + std::to_string(mask->GetHeight());
    auto const kind = ", a mask of " + size + ", " + Raster::GetFormatName(mask->GetFormat());
    auto const box = selection.GetSelectedSpreadBox();
    if (box == c_noBox)
        return "none" + kind;
    return "in " + std::to_string(box.left) + "," + std::to_string(box.top) + "," + std::to_string(box.right) + "," +
           std::to_string(box.bottom) + kind;
}

std::vector<std::string_view> ListChannels(int channels, Raster::Format format) {
    std::vector<std::string_view> listed;
    auto const& names = GetChannelNames(format);
    for (std::size_t c = 0; c != names.size(); ++c) {
        if (channels >> c & 1)
            listed.push_back(names[c]);
    }
    return listed;
}

std::string DescribeChannels(int channels, Raster::Format format) {
    if (channels == -1)
        return "all";
    std::string text;
    for (auto const name : ListChannels(channels, format))
        text += (text.empty() ? "" : ", ") + std::string(name);
    return text.empty() ? "none" : text;
}

} // namespace

void WriteMask(JsonWriter& json, DocumentController& document) {
    auto const selection = document.GetRasterSelection();
    json.Key("pixels");
    if (selection->IsSelectNone()) {
        json.Value(nullptr);
    } else if (selection->IsSelectAllOrNone()) {
        json.Value("all");
    } else {
        auto const mask = selection->GetBitmap();
        auto const box = selection->GetSelectedSpreadBox();
        json.BeginObject();
        if (box == c_noBox)
            json.Member("box", nullptr);
        else
            json.Member(
                "box", Kernel::RectT<double>{double(box.left), double(box.top), double(box.right), double(box.bottom)});
        json.Member("width", mask->GetWidth());
        json.Member("height", mask->GetHeight());
        json.Member("format", Raster::GetFormatName(mask->GetFormat()));
        json.Member("transform", selection->GetRasterToDomainTransform());
        json.EndObject();
    }
    json.Key("channels");
    auto const channels = document.GetChannelMask();
    if (channels == -1) {
        json.Value("all");
        return;
    }
    json.BeginArray();
    for (auto const name : ListChannels(channels, GetChannelFormat(document, FindMaskLayer(document).get())))
        json.Value(name);
    json.EndArray();
}

void PrintMask(Session& session, DocumentController& document, bool evenIfPlain) {
    auto const selection = document.GetRasterSelection();
    auto const channels = document.GetChannelMask();
    if (evenIfPlain || !selection->IsSelectNone())
        session.Print("pixels    " + DescribePixels(*selection) + "\n");
    if (evenIfPlain || channels != -1)
        session.Print("channels  " +
                      DescribeChannels(channels, GetChannelFormat(document, FindMaskLayer(document).get())) + "\n");
}

ExitStatus RunMask(Session& session, Arguments const& arguments) {
    if (session.IsInScript() && arguments.Has("-o"))
        throw Failure(ExitStatus::Usage, "-o", "has no place in a script, which saves at its end");
    auto const shape = arguments.Find("SHAPE");
    for (auto const option : {"--feather", "--invert", "--pixels"}) {
        if (!shape && arguments.Has(option))
            throw Failure(ExitStatus::Usage, option, "needs a SHAPE");
    }
    auto& document = session.Open(arguments);
    if (auto const target = arguments.Find("-o"))
        session.SaveTo(*target, arguments.Has("--force"));
    auto const path = session.GetDocumentPath();
    auto const selector = arguments.Find("--layer");
    MaskRequest request;
    request.layer = selector ? ParseOption("--layer", [&] { return FindNamedLayer(document, *selector); })
                             : FindMaskLayer(document);
    if (auto const feather = arguments.Find("--feather"))
        request.feather = ParseOption("--feather", [&] { return ParseNumber(*feather, c_feathers); });
    request.invert = arguments.Has("--invert");
    request.inPixels = arguments.Has("--pixels");
    Kernel::Counted<SelectionRasterNode> selection;
    if (shape) {
        request.shape = *shape;
        bool abort = false;
        Interrupt::Scope const interrupt(&abort);
        selection = Guarded(ExitStatus::Input, path, [&] {
            return ParseOption("SHAPE", [&] { return MakePixelSelection(document, request, &abort); });
        });
    }
    if (auto const channels = arguments.Find("--channels")) {
        document.SetChannelMask(ParseOption(
            "--channels", [&] { return ParseChannels(*channels, GetChannelFormat(document, request.layer.get())); }));
        session.MarkChanged();
    }
    if (selection) {
        document.SetRasterSelection(selection);
        session.MarkChanged();
    }
    if (session.IsJson()) {
        session.Json().BeginObject();
        WriteMask(session.Json(), document);
        session.Json().EndObject();
    } else {
        PrintMask(session, document, true);
    }
    return ExitStatus::Done;
}

} // namespace Shell
