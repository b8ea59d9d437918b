// SPDX-License-Identifier: Apache-2.0
#include "shapes/text/art_text.h"

#include "shapes/outlines/child_copies.h"
#include "shapes/outlines/whole_style.h"
#include "shapes/text/laid_out_text.h"

#include <cmath>

namespace Commands {

namespace {

constexpr double c_identityTolerance = 1e-6;

bool IsNearlyIdentity(Raster::AffineTransform::Params const& p) {
    auto const isNear = [](double a, double b) { return std::fabs(a - b) <= c_identityTolerance; };
    return isNear(p.a, 1) && isNear(p.b, 0) && isNear(p.tx, 0) && isNear(p.c, 0) && isNear(p.d, 1) && isNear(p.ty, 0);
}

Kernel::Counted<ArtTextNode> MakeArtTextOfColumn(FrameTextNode const& frame, Story::ComposedFrame const& composed,
                                                 Story::ComposedColumn const& column, LaidOutText& text,
                                                 Kernel::Counted<DocumentController const> const& controller) {
    auto const story = text.CopyColumn(column);
    story->SetWritingMode(frame.GetStory()->GetWritingMode());
    auto const scale = frame.GetTextRenderScale();
    if (!IsNearlyIdentity(scale))
        story->FormatText(*Story::TransformDelta(scale, true));
    auto node =
        Kernel::MakeCounted<ArtTextNode>(story, composed.GetGeometry().renderScale.Apply(column.GetArtOrigin()));
    TakeWholeStyle(frame, *controller->GetDocument())->Apply(node, controller, false);
    node->SetTransform(frame.GetTransform(false, false), false);
    node->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    for (auto const& copy : CopyChildren(frame))
        node->InsertChild(copy.list, copy.node, nullptr);
    return node;
}

} // namespace

Kernel::Counted<Node> MakeArtText(FrameTextNode const& frame, Story::ComposedFrame const& composed,
                                  Kernel::Counted<DocumentController const> const& controller) {
    std::vector<Kernel::Counted<Node>> columns;
    LaidOutText text;
    for (auto const& column : composed) {
        if (!column->empty())
            columns.push_back(MakeArtTextOfColumn(frame, composed, *column, text, controller));
    }
    if (columns.empty())
        return {};
    auto result = columns.front();
    if (columns.size() > 1) {
        result = Kernel::MakeCounted<GroupNode>();
        for (auto const& column : columns)
            result->InsertChild(NodeChildListType::Plain, column, nullptr);
    }
    result->SetUserDescription(frame.GetDescription(false));
    return result;
}

} // namespace Commands
