// SPDX-License-Identifier: Apache-2.0
#include "platform/document/line_commands.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/geometry/transform.h"
#include "platform/kernel/cast.h"

#include <iterator>
#include <unordered_set>

using Renderer::FillDescriptor, Renderer::LineStyle, Renderer::LineStyleArrowHead, Renderer::LineStyleDescriptor;

ContentTypeEnumSerialiser const& ContentTypeEnumSerialiser::GetInstance() {
    static ContentTypeEnumSerialiser const s_instance;
    return s_instance;
}

ContentTypeEnumSerialiser::ContentTypeEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {{0, "Object"}, {1, "Frame"}};
    RegisterEnumSet(c_entries, std::size(c_entries));
}

BaseSetLineDescriptorCommand::BaseSetLineDescriptorCommand()
    : BaseSetLineCommand(ContentType::Object, false, true, LineCommandDefaultsMode::SelectionOnly, {}) {}
BaseSetLineDescriptorCommand::~BaseSetLineDescriptorCommand() = default;

BaseSetLineDescriptorCommand::BaseSetLineDescriptorCommand(ContentType contentType, bool useTextStyle, bool canMerge,
                                                           LineCommandDefaultsMode defaultsMode, bool makesLines,
                                                           Kernel::Counted<Selection const> selection)
    : BaseSetLineCommand(contentType, useTextStyle, canMerge, defaultsMode, std::move(selection)),
      m_makesLines(makesLines) {}

void BaseSetLineDescriptorCommand::Do() {
    ForgetKeptStates();
    m_hasOldDefault = false;
    if (m_defaultsMode != LineCommandDefaultsMode::SelectionOnly)
        DoDefaults();
    m_areas.Around(GetShownSelection(), [this] { BaseSetLineCommand::Do(); });
    m_stacks = HasKeptStates() || m_hasOldDefault;
}

void BaseSetLineDescriptorCommand::Undo() {
    m_areas.Around(GetShownSelection(), [this] { BaseSetLineCommand::Undo(); });
    if (m_hasOldDefault)
        m_documentController->GetDocumentDefaults()->SetLineStyleDescriptor(m_oldDefault);
}

void BaseSetLineDescriptorCommand::Redo() {
    if (m_hasOldDefault)
        m_documentController->GetDocumentDefaults()->SetLineStyleDescriptor(m_newDefault);
    m_areas.Around(GetShownSelection(), [this] { BaseSetLineCommand::Redo(); });
}

Kernel::Counted<Selection const> BaseSetLineDescriptorCommand::GetShownSelection() {
    auto const selection = GetSelection();
    if (!selection || m_contentType != ContentType::Object)
        return selection;
    std::vector<Kernel::Counted<Node>> others;
    std::unordered_set<TextNode const*> stories;
    for (auto* const object : selection->GetObjects()) {
        auto const* const text = Kernel::CastPointer<TextNode const>(object);
        auto const flow = text == nullptr ? nullptr : text->GetTextFlow();
        if (flow && flow->size() > 1 && stories.insert(flow->GetFirst().get()).second)
            others.insert(others.end(), flow->begin(), flow->end());
    }
    if (others.empty())
        return selection;
    auto const selected = selection->GetNodes();
    others.insert(others.end(), selected.begin(), selected.end());
    return Kernel::MakeCounted<Selection const>(others);
}

void BaseSetLineDescriptorCommand::DoDefaults() {
    auto const defaults = m_documentController->GetDocumentDefaults();
    auto const old = defaults->GetLineStyleDescriptor();
    auto const changed = MakeChanged(old, 1);
    if (!changed || (old && *changed == *old))
        return;
    m_hasOldDefault = true;
    m_oldDefault = old;
    m_newDefault = changed;
    defaults->SetLineStyleDescriptor(changed);
}

Kernel::Counted<LineStyleDescriptor const>
BaseSetLineDescriptorCommand::MakeChanged(Kernel::Counted<LineStyleDescriptor const> const& line, double scale) {
    if (!line && !m_makesLines)
        return {};
    auto changed = line ? line->Clone()
                        : Kernel::MakeCounted<LineStyleDescriptor>(
                              Kernel::Consolidated<LineStyle>(Kernel::MakeCounted<LineStyle const>(1.0)));
    ApplyToDescriptor(changed, scale);
    return changed;
}

Kernel::Counted<FillDescriptor const> BaseSetLineDescriptorCommand::GetDefaultPaint() const {
    auto const paint = m_documentController->GetDocumentDefaults()->GetPenFillDescriptor();
    return paint ? paint : Kernel::MakeCounted<FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 0));
}

namespace {

double GetScaleOnSpread(AttributeOwner const& object) {
    auto const* const placed = Kernel::CastPointer<TransformInterface const>(&object);
    return placed == nullptr ? 1.0 : Geometry::Transform(placed->GetTransform(true, false)).GetUniformScale();
}

} // namespace

void BaseSetLineDescriptorCommand::ReceiveInterface(Kernel::NonCounted<LineStyleInterface> object) {
    if (m_direction != Direction::Do || m_defaultsMode == LineCommandDefaultsMode::DefaultsOnly)
        return;
    auto const old = object->GetLineStyleDescriptor();
    auto const changed = MakeChanged(old, GetScaleOnSpread(*object));
    if (!changed)
        return;
    if (!old || !(*changed == *old))
        object->SetLineStyleDescriptor(changed);
    if (!old && !object->GetPenFillDescriptor())
        object->SetPenFillDescriptor(GetDefaultPaint());
    ApplyToObject(object);
}

void BaseSetLineDescriptorCommand::ReceiveInterface(Kernel::NonCounted<TextNode> text,
                                                    Story::StoryRanges const& ranges) {
    using Object = Story::GlyphAtt::Object;
    if (m_direction != Direction::Do || m_defaultsMode == LineCommandDefaultsMode::DefaultsOnly)
        return;
    double const scale = GetScaleOnSpread(*text);
    auto const before = text->GetStory();
    struct Change {
        Story::StoryRange range;
        Kernel::Counted<LineStyleDescriptor const> line;
        bool needsPaint;
    };
    std::vector<Change> changes;
    for (auto range : ranges) {
        range.end = std::min(range.end, before->GetLength());
        // Runs of one set of attributes are changed as one.
        for (auto begin = range.begin; begin < range.end;) {
            auto const atts = before->GetGlyphAtts(begin);
            auto end = begin + 1;
            while (end < range.end && before->GetGlyphAtts(end) == atts)
                ++end;
            auto const old = Kernel::Cast<LineStyleDescriptor const>(atts->Get(Object::LineStyle));
            auto const changed = MakeChanged(old, scale);
            if (changed && (!old || !(*changed == *old)))
                changes.push_back({{begin, end}, changed, !old && !atts->IsSet(Object::LineFill)});
            begin = end;
        }
    }
    if (changes.empty())
        return;
    auto const story = text->GetMutableStory(true);
    for (auto const& change : changes) {
        story->FormatText(change.range, *Story::MakeDelta(Object::LineStyle, change.line));
        if (change.needsPaint)
            story->FormatText(change.range, *Story::MakeDelta(Object::LineFill, GetDefaultPaint()));
    }
    text->OnStoryChange(nullptr, true, Story::StoryChange(Story::StoryChangeType::GlyphAtts, ranges), false);
}

void BaseSetLineDescriptorCommand::Notify(Kernel::NotificationList& notifications) {
    auto const controller = GetDocumentController();
    if (!controller)
        return;
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, m_areas.GetRects(), m_selection, m_preview, false, false, false));
    notifications.push_back(
        Kernel::MakeCounted<NodesAttributesChangedNotification>(GetShownSelection(), controller, m_preview));
    if (ProxyStateManager<StoryInterface>::HasStates())
        notifications.push_back(Kernel::MakeCounted<StoryChangedNotification>(controller, m_selection, m_preview));
}

bool BaseSetLineDescriptorCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    auto const other = Kernel::Cast<BaseSetLineDescriptorCommand const>(newer);
    if (!other || !m_canMerge || !other->m_canMerge)
        return false;
    auto const& own = *this;
    auto const& others = *other;
    return typeid(own) == typeid(others) && m_contentType == other->m_contentType &&
           m_defaultsMode == other->m_defaultsMode && SelectionCommandBase::CanMerge(newer);
}

bool BaseSetLineDescriptorCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!CanMerge(newer))
        return false;
    auto const other = Kernel::Cast<BaseSetLineDescriptorCommand const>(newer);
    TakeArguments(*other);
    MergeStates(*other);
    m_stacks = m_stacks || other->m_stacks;
    if (other->m_hasOldDefault) {
        if (!m_hasOldDefault)
            m_oldDefault = other->m_oldDefault;
        m_hasOldDefault = true;
        m_newDefault = other->m_newDefault;
    }
    return true;
}

void BaseSetLineDescriptorCommand::CopyArgumentsFrom(BaseSetLineDescriptorCommand const& other) {
    m_contentType = other.m_contentType;
    m_useTextStyle = other.m_useTextStyle;
    m_canMerge = other.m_canMerge;
    m_defaultsMode = other.m_defaultsMode;
    m_makesLines = other.m_makesLines;
    m_selection = other.GetGivenSelection();
}

void BaseSetLineDescriptorCommand::Save(Kernel::OutSerialiser& out, Kernel::IDTag oldDefaultTag) const {
    Kernel::SaveValue(out, oldDefaultTag, m_oldDefault);
    Kernel::SaveValue(out, "NewD", m_newDefault);
    Kernel::SaveValue(out, "HasD", m_hasOldDefault);
    out.SaveEnumI("Cont", ContentTypeEnumSerialiser::GetInstance(), static_cast<int>(m_contentType));
    Kernel::SaveValue(out, "UsTs", m_useTextStyle);
    Kernel::SaveValue(out, "CanM", m_canMerge);
    Kernel::SaveValue(out, "DefM", m_defaultsMode);
    Kernel::SaveValue(out, "MkLn", m_makesLines);
    Kernel::SaveValue(out, "Stck", m_stacks);
    SelectionCommandProxyStateManager::Save(out);
}

bool BaseSetLineDescriptorCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                        unsigned short version, Kernel::IDTag oldDefaultTag) {
    Kernel::LoadValue(in, oldDefaultTag, m_oldDefault);
    Kernel::LoadValue(in, "NewD", m_newDefault);
    Kernel::LoadValue(in, "HasD", m_hasOldDefault);
    if (int content = 0; in.LoadEnumI("Cont", ContentTypeEnumSerialiser::GetInstance(), content))
        m_contentType = static_cast<ContentType>(content);
    Kernel::LoadValue(in, "UsTs", m_useTextStyle);
    Kernel::LoadValue(in, "CanM", m_canMerge);
    Kernel::LoadValue(in, "DefM", m_defaultsMode);
    Kernel::LoadValue(in, "MkLn", m_makesLines);
    Kernel::LoadValue(in, "Stck", m_stacks);
    return SelectionCommandProxyStateManager::Load(in, files, version);
}

Kernel::LocalisedString SetLineStyleCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line style", "Command description");
}
Kernel::LocalisedString SetLineAlignmentCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line alignment", "Command description");
}
Kernel::LocalisedString SetDrawLineBehindFillCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line draw order", "Command description");
}
Kernel::LocalisedString SetStrokeArrowHeadsCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line arrow heads", "Command description");
}
Kernel::LocalisedString SetStrokeArrowHeadAlignmentCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line arrow head alignment", "Command description");
}
Kernel::LocalisedString SetStrokeArrowHeadScaleCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line arrow head scale", "Command description");
}
Kernel::LocalisedString SetLineStylePressureCommand::GetDescription() const {
    return Kernel::LocalisedString("Set line pressure profile", "Command description");
}

void SetLineStyleCommand::Apply(LineStyleArguments const& arguments, LineStyleDescriptor& descriptor) {
    if (!arguments.style)
        return;
    auto const& wanted = *arguments.style;
    auto const style =
        descriptor.GetLineStyle() ? descriptor.GetLineStyle()->Clone() : Kernel::MakeCounted<LineStyle>();
    auto const isMeant = [&](int bits) { return arguments.mask == 0 || (arguments.mask & bits) != 0; };
    if (isMeant(1))
        style->SetType(wanted.GetType());
    if (isMeant(2 | 256))
        style->SetWeight(wanted.GetWeight());
    if (isMeant(4))
        style->SetBrush(wanted.GetBrush());
    if (isMeant(8))
        style->SetCap(wanted.GetCap());
    if (isMeant(16))
        style->SetJoin(wanted.GetJoin());
    if (isMeant(32))
        style->SetMitreLimit(wanted.GetMitreLimit());
    if (isMeant(64)) {
        style->SetDashPattern(wanted.GetDashPattern());
        // A pattern alone makes a solid line a dashed one, and none a dashed line a solid one.
        bool const hasDashes = !wanted.GetDashPattern().empty();
        if (!isMeant(1) && style->GetType() == (hasDashes ? Renderer::LineType::Solid : Renderer::LineType::Dashed))
            style->SetType(hasDashes ? Renderer::LineType::Dashed : Renderer::LineType::Solid);
    }
    if (isMeant(128))
        style->SetDashPhase(wanted.GetDashPhase());
    descriptor.SetLineStyle(Kernel::Consolidated<LineStyle>(style));
}

void SetLineAlignmentCommand::Apply(LineAlignmentArguments const& arguments, LineStyleDescriptor& descriptor) {
    descriptor.SetStrokeAlignment(arguments.alignment);
}

void SetDrawLineBehindFillCommand::Apply(DrawLineBehindFillArguments const& arguments,
                                         LineStyleDescriptor& descriptor) {
    descriptor.SetDrawBehindFill(arguments.behind);
}

void SetDrawLineBehindFillCommand::ApplyToObject(Kernel::NonCounted<LineStyleInterface> object) {
    auto* const order = Kernel::CastPointer<DrawOrderInterface>(static_cast<AttributeOwner*>(object.get()));
    if (order != nullptr && order->IsLineBehindFill() != m_arguments.behind)
        order->SetLineBehindFill(m_arguments.behind);
}

void SetStrokeArrowHeadsCommand::Apply(ArrowHeadsArguments const& arguments, LineStyleDescriptor& descriptor) {
    if (arguments.setFront)
        descriptor.SetFrontArrowHead(arguments.front);
    if (arguments.setBack)
        descriptor.SetBackArrowHead(arguments.back);
}

void SetStrokeArrowHeadAlignmentCommand::Apply(ArrowHeadAlignmentArguments const& arguments,
                                               LineStyleDescriptor& descriptor) {
    descriptor.SetArrowHeadsBeyondEnds(arguments.beyondEnds);
}

void SetStrokeArrowHeadScaleCommand::Apply(ArrowHeadScaleArguments const& arguments, LineStyleDescriptor& descriptor) {
    if (auto const head = descriptor.GetFrontArrowHead(); head && arguments.setFront)
        descriptor.SetFrontArrowHead(head->CloneWithNewScale(arguments.front, arguments.front));
    if (auto const head = descriptor.GetBackArrowHead(); head && arguments.setBack)
        descriptor.SetBackArrowHead(head->CloneWithNewScale(arguments.back, arguments.back));
}

void SetLineStylePressureCommand::Apply(LinePressureArguments const& arguments, LineStyleDescriptor& descriptor) {
    descriptor.SetPressure(arguments.pressure);
}
