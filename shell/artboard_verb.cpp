// SPDX-License-Identifier: Apache-2.0
#include "shell/artboards.h"
#include "shell/command_form.h"
#include "shell/selector.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/add_child_nodes_command.h"
#include "platform/document/artboard.h"
#include "platform/kernel/cast.h"

namespace Shell {

Kernel::Counted<Node> FindArtboard(SpreadNode const& spread, std::string_view name) {
    Kernel::Counted<Node> found;
    for (auto const& artboard : GetArtboards(spread)) {
        auto const node = artboard->GetNode().ToCounted();
        if (node->GetDescription(false).view() != name)
            continue;
        if (found)
            throw ValueError("names two artboards, " + Quote(name));
        found = node;
    }
    if (!found)
        throw NoMatch("matches no artboard of the spread: " + Quote(name));
    return found;
}

namespace {

Kernel::Counted<ArtboardNode> MakeArtboard(Arguments const& arguments) {
    auto const box = ParseOption("l,t,r,b", [&] {
        auto const rectangle = ParseRectangle(arguments.Get("l,t,r,b"));
        if (rectangle.IsEmpty())
            throw ValueError("needs a width and a height above 0");
        return rectangle;
    });
    auto artboard = Kernel::MakeCounted<ArtboardNode>(box);
    artboard->SetUserDescription(ParseOption("--name", [&] {
        Kernel::String const name(arguments.Get("--name"));
        if (!Kernel::IsValidUtf8(name.view()))
            throw ValueError("needs text in UTF-8");
        return name;
    }));
    auto const fill = arguments.Find("--fill").value_or("white");
    if (fill != "none")
        artboard->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor const>(
            ParseOption("--fill", [&] { return ParseColour(fill); })));
    return artboard;
}

} // namespace

ExitStatus RunArtboard(Session& session, Arguments const& arguments) {
    if (arguments.Get("add") != "add")
        throw Failure(ExitStatus::Usage, arguments.Get("add"), "is nothing to do with artboards; add is");
    auto const artboard = MakeArtboard(arguments);
    auto& document = session.Open(arguments);
    if (auto const spread = arguments.Find("--spread"))
        document.SetCurrentSpread(ParseOption("--spread", [&] { return FindSpread(document, *spread); }));
    auto const command =
        Kernel::MakeCounted<AddChildNodesCommand>(false, NodeChildListType::Plain, InsertionMode::FrontOfSpread);
    command->AddNode(artboard);
    document.Run(command);
    session.MarkChanged();
    auto const position = document.GetHistory()->GetPosition();
    if (session.IsJson()) {
        auto& json = session.Json();
        json.BeginObject();
        json.Member("id", artboard->GetId());
        json.Member("position", position);
        json.EndObject();
    } else {
        session.Print("artboard #" + std::to_string(artboard->GetId()) + ": step " + std::to_string(position) + "\n");
    }
    return ExitStatus::Done;
}

} // namespace Shell
