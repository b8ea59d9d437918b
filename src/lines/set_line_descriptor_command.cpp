// SPDX-License-Identifier: Apache-2.0
#include "lines/set_line_descriptor_command.h"

#include "lines/set_scale_line_style_command.h"

namespace Commands {

SetLineDescriptorCommand::SetLineDescriptorCommand(Kernel::Counted<Renderer::LineStyleDescriptor> descriptor, int mask,
                                                   ContentType contentType, bool useTextStyle, bool canMerge,
                                                   LineCommandDefaultsMode defaultsMode,
                                                   Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)),
      m_descriptor(std::move(descriptor)),
      m_mask(mask),
      m_contentType(contentType),
      m_useTextStyle(useTextStyle),
      m_canMerge(canMerge),
      m_defaultsMode(defaultsMode) {}

Kernel::LocalisedString SetLineDescriptorCommand::GetDescription() const {
    switch (m_mask) {
    case 1 << 0:
        return Kernel::LocalisedString("Set line type", "Command description");
    case 1 << 1:
    case 1 << 8:
        return Kernel::LocalisedString("Set line weight", "Command description");
    case 1 << 2:
        return Kernel::LocalisedString("Set line brush", "Command description");
    case 1 << 3:
        return Kernel::LocalisedString("Set line cap style", "Command description");
    case 1 << 4:
        return Kernel::LocalisedString("Set line join style", "Command description");
    case 1 << 5:
        return Kernel::LocalisedString("Set line mitre limit", "Command description");
    case 1 << 6:
        return Kernel::LocalisedString("Set line dash pattern", "Command description");
    case 1 << 7:
        return Kernel::LocalisedString("Set line dash phase", "Command description");
    case 1 << 9:
        return Kernel::LocalisedString("Set line alignment", "Command description");
    case 1 << 10:
        return Kernel::LocalisedString("Set line draw order", "Command description");
    case 1 << 11:
        return Kernel::LocalisedString("Set line scale with object", "Command description");
    case 1 << 12:
    case 1 << 13:
    case 1 << 14:
    case 1 << 15:
    case 1 << 16:
        return Kernel::LocalisedString("Set line arrow head properties", "Command description");
    case 1 << 17:
        return Kernel::LocalisedString("Set line pressure profile", "Command description");
    default:
        return Kernel::LocalisedString("Set linestyle", "Command description");
    }
}

// One inner command for each group of properties that the mask names.
void SetLineDescriptorCommand::Init() {
    auto const& line = *m_descriptor;
    auto const isMeant = [&](int bit) { return m_mask == 0 || (m_mask >> bit & 1) != 0; };
    auto const add = [&]<class C>(std::type_identity<C>, auto... own) {
        m_commands.Append(
            Kernel::MakeCounted<C>(own..., m_contentType, m_useTextStyle, m_canMerge, m_defaultsMode, m_selection));
    };
    if (m_mask == 0 || (m_mask & 0x1ff) != 0)
        add(std::type_identity<SetLineStyleCommand>(), line.GetLineStyle(), m_mask);
    if (isMeant(9))
        add(std::type_identity<SetLineAlignmentCommand>(), line.GetStrokeAlignment());
    if (isMeant(10))
        add(std::type_identity<SetDrawLineBehindFillCommand>(), line.GetDrawBehindFill());
    if (isMeant(11))
        add(std::type_identity<SetScaleLineStyleCommand>(), line.GetScaleWithObject());
    Kernel::Counted<Renderer::LineStyleArrowHead const> const front = line.GetFrontArrowHead(),
                                                              back = line.GetBackArrowHead(), none;
    if (isMeant(12))
        add(std::type_identity<SetStrokeArrowHeadsCommand>(), true, front, false, none, false);
    if (isMeant(13))
        add(std::type_identity<SetStrokeArrowHeadsCommand>(), false, none, true, back, false);
    if (isMeant(14))
        add(std::type_identity<SetStrokeArrowHeadAlignmentCommand>(), line.GetArrowHeadsBeyondEnds());
    if (isMeant(15) && front)
        add(std::type_identity<SetStrokeArrowHeadScaleCommand>(), true, front->GetScaleX(), false, 1.0);
    if (isMeant(16) && back)
        add(std::type_identity<SetStrokeArrowHeadScaleCommand>(), false, 1.0, true, back->GetScaleX());
    if (isMeant(17))
        add(std::type_identity<SetLineStylePressureCommand>(), line.GetPressure());
}

void SetLineDescriptorCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    SelectionCommandBase::PostDequeueWithMutableController(controller);
    if (m_descriptor && m_commands.IsEmpty())
        Init();
    m_commands.PostDequeueWithMutableController(controller);
}

void SetLineDescriptorCommand::Do() {
    SetDirection(Direction::Do);
    for (auto const& inner : m_commands.Get())
        InnerCommands::DoOne(*this, *inner);
    MarkChanged();
}

void SetLineDescriptorCommand::Undo() {
    SetDirection(Direction::Undo);
    auto const& commands = m_commands.Get();
    for (auto inner = commands.rbegin(); inner != commands.rend(); ++inner) {
        if (!IsSkipped(**inner))
            InnerCommands::UndoOne(**inner);
    }
    MarkChanged();
}

void SetLineDescriptorCommand::Redo() {
    SetDirection(Direction::Redo);
    for (auto const& inner : m_commands.Get()) {
        if (!IsSkipped(*inner))
            InnerCommands::RedoOne(*inner);
    }
    MarkChanged();
}

void SetLineDescriptorCommand::Notify(Kernel::NotificationList& notifications) {
    for (auto const& inner : m_commands.Get()) {
        if (m_direction == Direction::Do || !IsSkipped(*inner))
            inner->Notify(notifications);
    }
}

bool SetLineDescriptorCommand::CanOnlyOperateOnCurrentSpread() const {
    auto const& commands = m_commands.Get();
    return std::any_of(commands.begin(), commands.end(),
                       [](auto const& inner) { return inner->CanOnlyOperateOnCurrentSpread(); });
}

bool SetLineDescriptorCommand::CanMerge(Kernel::Counted<Command const> newer) const {
    auto const other = Kernel::Cast<SetLineDescriptorCommand const>(newer);
    if (!other || !IsSelectionEqualTo(other->m_selection) || m_mask != other->m_mask)
        return false;
    auto const &own = m_commands.Get(), &others = other->m_commands.Get();
    return std::equal(own.begin(), own.end(), others.begin(), others.end(),
                      [](auto const& a, auto const& b) { return a->CanMerge(b); });
}

bool SetLineDescriptorCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!CanMerge(newer))
        return false;
    auto const other = Kernel::Cast<SetLineDescriptorCommand const>(newer);
    for (std::size_t i = 0; i != m_commands.Get().size(); ++i)
        m_commands.Get()[i]->Merge(other->m_commands.Get()[i]);
    m_descriptor = other->m_descriptor;
    m_mask = other->m_mask;
    m_contentType = other->m_contentType;
    m_useTextStyle = other->m_useTextStyle;
    m_canMerge = other->m_canMerge;
    m_defaultsMode = other->m_defaultsMode;
    MarkChanged();
    return true;
}

bool SetLineDescriptorCommand::ValidateUntrusted() {
    return SelectionCommandBase::ValidateUntrusted() && m_commands.ValidateUntrusted();
}

void SetLineDescriptorCommand::SetPreview(bool preview) {
    SelectionCommandBase::SetPreview(preview);
    m_commands.SetPreview(preview);
}

void SetLineDescriptorCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    SelectionCommandBase::PostLoad(controller);
    if (m_commands.PostLoad(controller))
        MarkChanged();
}

} // namespace Commands
