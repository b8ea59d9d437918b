// SPDX-License-Identifier: Apache-2.0
#include "platform/document/object_style.h"

#include "platform/kernel/cast.h"

#include <utility>

ObjectStyleBrush::~ObjectStyleBrush() = default;
ObjectStyle::~ObjectStyle() = default;

namespace {

// The state of one interface where the object has it.
template <class I, class Part>
void TakeState(AttributeOwner const* owner, InterfaceId id, bool wanted, Part& part) {
    if (!wanted || Kernel::CastPointer<I const>(owner) == nullptr)
        return;
    part.isSet = true;
    part.state = Kernel::Counted<InterfaceState const>(owner->FindState(id));
}

// A part that is not set holds no state, which is the default.
template <class I, class Part>
void PutState(AttributeOwner* owner, InterfaceId id, Part const& part, bool resetRest) {
    if ((part.isSet || resetRest) && Kernel::CastPointer<I>(owner) != nullptr)
        owner->SetState(id, part.state);
}

} // namespace

void ObjectStyle::Set(Kernel::Counted<Kernel::Countable const> const& object, Raster::Format format,
                      Raster::ICCManager::ICCProfileSet const& profiles,
                      Kernel::Counted<Story::StyleSheet const> textStyles, ObjectStyleMask const& mask,
                      Kernel::String name, bool withVisibility) {
    m_name = std::move(name);
    m_format = format;
    m_profiles = profiles;
    m_textStyles = std::move(textStyles);
    m_brush.reset();
    m_frameBrush.reset();
    m_line = m_frameLine = {};
    m_drawOrder = m_opacity = m_blendMode = m_effects = m_contour = m_visibility = {};
    auto const* const owner = Kernel::CastPointer<AttributeOwner const>(object.get());
    if (owner == nullptr)
        return;
    if (auto const* brush = Kernel::CastPointer<BrushFillInterface const>(owner)) {
        bool const ofFrame = brush->GetBrushFillContentType() == ContentType::Frame;
        if (ofFrame ? mask.frame : mask.fill)
            (ofFrame ? m_frameBrush : m_brush) =
                Kernel::MakeCounted<ObjectStyleBrush>(brush->GetBrushFillDescriptor(true));
    }
    if (auto const* line = Kernel::CastPointer<LineStyleInterface const>(owner)) {
        bool const ofFrame = line->GetLineStyleContentType() == ContentType::Frame;
        if (ofFrame ? mask.frame : mask.line)
            (ofFrame ? m_frameLine : m_line) = {line->GetLineStyleDescriptor(), line->GetPenFillDescriptor(), true};
    }
    TakeState<DrawOrderInterface>(owner, InterfaceId::DrawOrder, mask.line, m_drawOrder);
    TakeState<TransparencyInterface>(owner, InterfaceId::Transparency, mask.opacity, m_opacity);
    TakeState<BlendModeInterface>(owner, InterfaceId::BlendMode, mask.blendMode, m_blendMode);
    TakeState<FilterEffectsInterface>(owner, InterfaceId::FilterEffects, mask.effects, m_effects);
    TakeState<ContourInterface>(owner, InterfaceId::Contour, mask.contour, m_contour);
    TakeState<VisibilityInterface>(owner, InterfaceId::Visibility, withVisibility, m_visibility);
}

void ObjectStyle::SetForRendering(Kernel::Counted<Renderer::FillDescriptor const> mainFill,
                                  Kernel::Counted<Renderer::FillDescriptor const> lineFill,
                                  Kernel::Counted<Renderer::FillDescriptor const> secondFill,
                                  Kernel::Counted<Renderer::LineStyleDescriptor const> line) {
    m_brush = Kernel::MakeCounted<ObjectStyleBrush>(std::move(mainFill));
    m_line = {std::move(line), std::move(lineFill), true};
    double const before =
        m_opacity.state ? static_cast<TransparencyState const&>(*m_opacity.state).opacity : TransparencyState().opacity;
    m_opacity.isSet = true;
    if (secondFill && !secondFill->IsFillNone()) {
        auto opacity = Kernel::MakeCounted<TransparencyState>();
        opacity->opacity = before * static_cast<double>(secondFill->GetFill()->GetRepresentativeColour().GetAlpha());
        m_opacity.state = std::move(opacity);
    }
}

void ObjectStyle::ConvertFrameToMain() {
    m_brush = std::exchange(m_frameBrush, {});
    m_line = std::exchange(m_frameLine, {});
}

void ObjectStyle::ClearFill(Kernel::Counted<ObjectStyleBrush>& main, Kernel::Counted<ObjectStyleBrush>& frame) {
    auto const none = Kernel::MakeCounted<ObjectStyleBrush>(Kernel::Counted<Renderer::FillDescriptor const>());
    main = std::exchange(m_brush, none);
    frame = std::exchange(m_frameBrush, none);
}

void ObjectStyle::RestoreFill(Kernel::Counted<ObjectStyleBrush> const& main,
                              Kernel::Counted<ObjectStyleBrush> const& frame) {
    m_brush = main;
    m_frameBrush = frame;
}

void ObjectStyle::SetHasContour(bool hasContour) {
    if (!hasContour)
        m_contour = {{}, true};
}

void ObjectStyle::Apply(Kernel::Counted<Kernel::Countable> object, Kernel::Counted<DocumentController const>,
                        bool resetRest) const {
    auto* const owner = Kernel::CastPointer<AttributeOwner>(object.get());
    if (owner == nullptr)
        return;
    if (auto* brush = Kernel::CastPointer<BrushFillInterface>(owner)) {
        bool const ofFrame = brush->GetBrushFillContentType() == ContentType::Frame;
        if (auto const& held = ofFrame ? m_frameBrush : m_brush; held || resetRest)
            brush->SetBrushFillDescriptor(held ? held->GetFill() : nullptr);
    }
    if (auto* line = Kernel::CastPointer<LineStyleInterface>(owner)) {
        bool const ofFrame = line->GetLineStyleContentType() == ContentType::Frame;
        if (auto const& held = ofFrame ? m_frameLine : m_line; held.isSet || resetRest) {
            line->SetLineStyleDescriptor(held.line);
            line->SetPenFillDescriptor(held.penFill);
        }
    }
    PutState<DrawOrderInterface>(owner, InterfaceId::DrawOrder, m_drawOrder, resetRest);
    PutState<TransparencyInterface>(owner, InterfaceId::Transparency, m_opacity, resetRest);
    PutState<BlendModeInterface>(owner, InterfaceId::BlendMode, m_blendMode, resetRest);
    PutState<FilterEffectsInterface>(owner, InterfaceId::FilterEffects, m_effects, resetRest);
    PutState<ContourInterface>(owner, InterfaceId::Contour, m_contour, resetRest);
    PutState<VisibilityInterface>(owner, InterfaceId::Visibility, m_visibility, false);
}
