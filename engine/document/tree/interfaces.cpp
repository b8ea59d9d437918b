// SPDX-License-Identifier: Apache-2.0
#include "platform/document/interfaces.h"

#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>
#include <map>

Kernel::Counted<ShapeDefinition const> ShapeInterface::GetShapeDefinition() const {
    return Kernel::Counted<ShapeDefinition const>(static_cast<ShapeDefinition const*>(FindState(InterfaceId::Shape)));
}

void ShapeInterface::SetShapeDefinition(Kernel::Counted<ShapeDefinition const> definition) {
    SetState(InterfaceId::Shape, std::move(definition));
}

void BlendModeInterface::SetBlendMode(Renderer::BlendMode mode) {
    EditState<BlendModeState>([&](auto& state) { state.blendMode = mode; });
}

void BlendModeInterface::SetIsolated(bool isolated) {
    EditState<BlendModeState>([&](auto& state) { state.isolated = isolated; });
}

void VisibilityInterface::SetVisible(bool visible) {
    EditState<VisibilityState>([&](auto& state) { state.visible = visible; });
}

void FilterEffectsInterface::SetFilterEffects(std::vector<Kernel::Counted<Kernel::Serialisable>> effects) {
    EditState<FilterEffectsState>([&](auto& state) { state.effects = std::move(effects); });
}

Raster::AffineTransform::Params TransformInterface::GetTransform(bool toSpread, bool withFrameTextScale) const {
    auto result = toSpread ? GetParentToSpreadTransform() * m_matrix : m_matrix;
    if (withFrameTextScale)
        result = result * GetFrameTextScale();
    return result;
}

void TransformInterface::Transform(Raster::AffineTransform::Params transform, bool inSpread) {
    if (!inSpread) {
        StoreMatrix(transform * m_matrix);
        return;
    }
    auto const toSpread = GetParentToSpreadTransform();
    StoreMatrix(toSpread.GetInverse() * transform * toSpread * m_matrix);
}

void TransformInterface::SetTransform(Raster::AffineTransform::Params transform, bool inSpread) {
    StoreMatrix(inSpread ? GetParentToSpreadTransform().GetInverse() * transform : transform);
}

void TransformInterface::SetFrameTextScale(Raster::AffineTransform::Params scale) {
    EditState<TransformState>([&](auto& state) { state.frameTextScale = scale; });
}

void TransformInterface::ScaleFrameText(Raster::AffineTransform::Params transform) {
    if (transform.IsIdentity())
        return;
    EditState<TransformState>([&](auto& state) { state.frameTextScale = transform * state.frameTextScale; });
}

void TransformInterface::SetTransformConstraints(unsigned constraints) {
    EditState<TransformState>([&](auto& state) { state.constraints = constraints; });
}

void TransformInterface::CopyFrom(TransformInterface const& other, bool constraints, bool matrix, bool frameTextScale) {
    if (matrix)
        SetTransform(other.GetMatrix(), false);
    EditState<TransformState>([&](auto& state) {
        auto const& source = other.GetState<TransformState>();
        if (constraints)
            state.constraints = source.constraints;
        if (frameTextScale)
            state.frameTextScale = source.frameTextScale;
    });
}

Kernel::Counted<TransformSnapshot const> TransformInterface::TakeSnapshot() const {
    auto const& state = GetState<TransformState>();
    auto snapshot = Kernel::MakeCounted<TransformSnapshot>();
    snapshot->matrix = m_matrix;
    snapshot->frameTextScale = state.frameTextScale;
    snapshot->constraints = state.constraints;
    return snapshot;
}

void TransformInterface::PutSnapshot(TransformSnapshot const& snapshot) {
    SetTransform(snapshot.matrix, false);
    EditState<TransformState>([&](auto& state) {
        state.frameTextScale = snapshot.frameTextScale;
        state.constraints = snapshot.constraints;
    });
}

Kernel::Counted<Renderer::FillDescriptor const> BrushFillInterface::GetBrushFillDescriptor(bool) const {
    return GetState<BrushFillState>().fill;
}

void BrushFillInterface::SetBrushFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> fill, bool) {
    EditState<BrushFillState>([&](auto& state) { state.fill = std::move(fill); });
}

void BrushFillInterface::SetBrushFillContentType(ContentType type) {
    EditState<BrushFillState>([&](auto& state) { state.contentType = type; });
}

bool BrushFillInterface::IsBrushFillNone() const {
    auto const& fill = GetState<BrushFillState>().fill;
    return !fill || fill->IsFillNone();
}

bool BrushFillInterface::IsBrushFillVisible(double tolerance) const {
    auto const& fill = GetState<BrushFillState>().fill;
    return fill && fill->IsFillVisible(tolerance);
}

void TransparencyInterface::SetOpacity(double opacity) {
    double const clamped = std::isnan(opacity) ? 1 : std::clamp(opacity, 0.0, 1.0);
    EditState<TransparencyState>([&](auto& state) { state.opacity = clamped; });
}

// The draw order of an object is kept once, by its DrawOrderInterface: the flag of a line is for lines of text and for
// defaults. A line that has it is taken without it, and the object told. Lines of older documents may still have it,
// where it says nothing.
void LineStyleInterface::SetLineStyleDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor const> line) {
    auto* const order = line && line->GetDrawBehindFill()
                            ? Kernel::CastPointer<DrawOrderInterface>(static_cast<AttributeOwner*>(this))
                            : nullptr;
    if (order != nullptr) {
        auto const plain = line->Clone();
        plain->SetDrawBehindFill(false);
        line = plain;
        order->SetLineBehindFill(true);
        if (auto const& own = GetState<LineStyleState>().line; own && *own == *line)
            return;
    }
    EditState<LineStyleState>([&](auto& state) { state.line = std::move(line); });
}

void LineStyleInterface::SetPenFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> fill, bool) {
    EditState<LineStyleState>([&](auto& state) { state.penFill = std::move(fill); });
}

void LineStyleInterface::SetLineStyleContentType(ContentType type) {
    EditState<LineStyleState>([&](auto& state) { state.contentType = type; });
}

bool LineStyleInterface::IsLineStyleVisible() const {
    auto const& state = GetState<LineStyleState>();
    return state.line && !state.line->IsLineStyleNone() && state.penFill &&
           state.line->IsLineStyleVisible(*state.penFill);
}

std::pair<bool, bool> LineStyleInterface::IsLineStyleVisibleFrontBehind() const {
    bool const visible = IsLineStyleVisible();
    bool const behind = visible && GetState<DrawOrderState>().lineBehindFill;
    return {visible && !behind, behind};
}

void MutableCurvesInterface::SetCurves(Kernel::Counted<Geometry::PolyCurveDbl const> curves) {
    EditState<CurvesState>([&](auto& state) { state.curves = std::move(curves); });
}

void MutableCurvesInterface::SetWindingOrderMode(Geometry::WindingOrderMode mode) {
    EditState<CurvesState>([&](auto& state) { state.windingOrderMode = mode; });
}

Kernel::RectT<int> ConstRasterInterface::GetRasterBoundingBox() const {
    auto const bitmap = GetBitmap();
    return bitmap ? Kernel::RectT<int>{0, 0, bitmap->GetWidth(), bitmap->GetHeight()} : Kernel::RectT<int>{};
}

Kernel::Counted<Raster::DynamicBitmap> MutableRasterInterface::GetMutableBitmap() {
    auto const present = GetBitmap();
    if (!present)
        return {};
    auto own = present->Clone(nullptr);
    SetBitmap(own);
    return own;
}

void MutableRasterInterface::SetBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap) {
    EditState<RasterState>([&](auto& state) { state.bitmap = std::move(bitmap); });
}

void GUIDInterface::SetGUID(Kernel::String guid) {
    EditState<GUIDState>([&](auto& state) { state.guid = std::move(guid); });
}

void DataMergeInterface::SetMergeField(Kernel::String source, Kernel::String field, std::uint32_t offset) {
    EditState<DataMergeState>([&](auto& state) {
        state.source = std::move(source);
        state.field = std::move(field);
        state.offset = offset;
    });
}

void ImageResourceInterface::SetImage(Kernel::Counted<Raster::DynamicBitmap const> bitmap, Kernel::String path) {
    EditState<ImageResourceState>([&](auto& state) {
        state.bitmap = std::move(bitmap);
        state.path = std::move(path);
    });
}

void TagInterface::SetTags(std::vector<Kernel::String> tags) {
    EditState<TagState>([&](auto& state) { state.tags = std::move(tags); });
}

void TagInterface::SetMarkAsDecoration(bool isDecoration) {
    EditState<MetadataState>([&](auto& state) { state.isDecoration = isDecoration; });
}

std::vector<Kernel::String const*> TagInterface::GetMetadataValuesForKey(Kernel::String const& key) const {
    auto const& state = GetState<MetadataState>();
    auto const range = std::ranges::equal_range(state.keys, key);
    std::vector<Kernel::String const*> found;
    for (auto each = range.begin(); each != range.end(); ++each)
        found.push_back(&state.values[static_cast<std::size_t>(each - state.keys.begin())]);
    return found;
}

void TagInterface::RemoveMetadataValuesForKey(Kernel::String const& key) {
    if (!std::ranges::binary_search(GetMetadataKeys(), key))
        return;
    EditState<MetadataState>([&](auto& state) {
        auto const range = std::ranges::equal_range(state.keys, key);
        auto const first = range.begin() - state.keys.begin(), last = range.end() - state.keys.begin();
        state.keys.erase(range.begin(), range.end());
        state.values.erase(state.values.begin() + first, state.values.begin() + last);
    });
}

void TagInterface::AddMetadataValueForKey(Kernel::String const& key, Kernel::String const& value) {
    EditState<MetadataState>([&](auto& state) {
        auto const place = std::ranges::upper_bound(state.keys, key);
        state.values.insert(state.values.begin() + (place - state.keys.begin()), value);
        state.keys.insert(place, key);
    });
}

// Keys of a forged file may be in any order, or without a value.
bool MetadataState::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    InterfaceStateT::Load(in, files, version);
    auto const count = std::min(keys.size(), values.size());
    keys.resize(count);
    values.resize(count);
    if (std::ranges::is_sorted(keys))
        return true;
    std::multimap<Kernel::String, Kernel::String> ordered;
    for (std::size_t i = 0; i != count; ++i)
        ordered.emplace(std::move(keys[i]), std::move(values[i]));
    keys.clear();
    values.clear();
    for (auto& [key, value] : ordered) {
        keys.push_back(key);
        values.push_back(std::move(value));
    }
    return true;
}

void EditabilityInterface::SetEditable(bool editable) {
    EditState<EditabilityState>([&](auto& state) { state.editable = editable; });
}

Kernel::String DescriptionInterface::GetDescription(bool withDefault) const {
    auto const& user = GetState<DescriptionState>().userDescription;
    return user.empty() && withDefault ? GetDefaultDescription() : user;
}

void DescriptionInterface::SetUserDescription(Kernel::String description) {
    EditState<DescriptionState>([&](auto& state) { state.userDescription = std::move(description); });
}

void DrawOrderInterface::SetLineBehindFill(bool behind) {
    EditState<DrawOrderState>([&](auto& state) { state.lineBehindFill = behind; });
}

void ContourInterface::SetContourOffset(double offset) {
    EditState<ContourState>([&](auto& state) { state.offset = offset; });
}
