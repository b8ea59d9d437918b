// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/importer.h"
#include "platform/document/mask_node.h"
#include "platform/kernel/cast.h"

#include <cmath>

namespace Formats::Svg {

namespace {

Renderer::MaskKind FindKind(Element const& mask) {
    if (mask.GetOwnStyle().maskByAlpha)
        return Renderer::MaskKind::Alpha;
    return mask.GetStyle().isLinear ? Renderer::MaskKind::LinearLuminance : Renderer::MaskKind::Luminance;
}

} // namespace

// CSS Masking 1, section 8. A mask of a mask takes away from what the first shows, as two masks of one object do.
bool Importer::ApplyMask(Element const& element, SceneNode& node) {
    auto const box = GetContentBounds(node, false);
    std::optional<Element> mask = element;
    while (!mask->GetOwnStyle().mask.empty()) {
        mask = mask->Follow(mask->GetOwnStyle().mask, {ElementKind::Mask}, "mask");
        // A missing mask masks nothing.
        if (!mask)
            return true;
        bool const isOfBox =
            ParseUnits(mask->Find(Name::MaskUnits), Units::ObjectBoundingBox) == Units::ObjectBoundingBox;
        bool const isContentOfBox =
            ParseUnits(mask->Find(Name::MaskContentUnits), Units::UserSpaceOnUse) == Units::ObjectBoundingBox;
        Viewport const& viewport = element.GetViewport();
        auto resolve = [&](Name name, Length missing, double viewportSide, double boxSide) {
            Length const length = mask->GetLength(name, missing);
            return isOfBox ? length.Resolve(1) * boxSide : length.Resolve(viewportSide);
        };
        double const width = resolve(Name::Width, {120, true}, viewport.width, box.GetWidth());
        double const height = resolve(Name::Height, {120, true}, viewport.height, box.GetHeight());
        double const left = resolve(Name::X, {-10, true}, viewport.width, box.GetWidth()) + (isOfBox ? box.left : 0);
        double const top = resolve(Name::Y, {-10, true}, viewport.height, box.GetHeight()) + (isOfBox ? box.top : 0);
        Kernel::RectT<double> const region{left, top, left + width, top + height};
        if (!IsFinite(region) || region.IsEmpty() || (isContentOfBox && box.IsEmpty())) {
            m_drawing.GetReport().Add("empty mask", element.Describe());
            return false;
        }
        auto const masking = Kernel::MakeCounted<MaskNode>(FindKind(*mask));
        auto const content = Kernel::MakeCounted<GroupNode>();
        ContextPaints const outer = std::exchange(m_contextPaints, {});
        BuildChildren(*mask, *content);
        m_contextPaints = outer;
        Matrix const toNode =
            isContentOfBox ? Translation(box.left, box.top) * Scale(box.GetWidth(), box.GetHeight()) : Matrix();
        while (Node* const child = content->GetFirstChild(NodeChildListType::Plain)) {
            auto const moved = child->RemoveFromParent();
            if (auto* const scene = Kernel::CastPointer<SceneNode>(moved.get()))
                scene->SetTransform(WithoutNegativeZeros(toNode * scene->GetMatrix()), false);
            masking->InsertChild(NodeChildListType::Plain, moved, nullptr);
        }
        ClipToRectangle(region, *masking);
        if (std::string title = mask->GetTitle(); !title.empty())
            masking->SetUserDescription(Kernel::String(title));
        node.InsertChild(NodeChildListType::Masks, masking, nullptr);
    }
    return true;
}

} // namespace Formats::Svg
