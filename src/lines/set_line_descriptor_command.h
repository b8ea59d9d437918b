// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "lines/line_arguments.h"
#include "platform/document/inner_commands.h"

namespace Commands {

// Sets properties of the lines of a selection, all at once or those that a mask names. It is made of one inner command
// for each group of properties, which it builds when it comes off the queue.
class REDRAFT_API SetLineDescriptorCommand final
    : public Persisted<SetLineDescriptorCommand, SelectionCommand<SetLineDescriptorCommand>> {
public:
    // `mask` is made of bits of LineProperty; 0: all.
    SetLineDescriptorCommand(Kernel::Counted<Renderer::LineStyleDescriptor> descriptor, int mask,
                             ContentType contentType, bool useTextStyle, bool canMerge,
                             LineCommandDefaultsMode defaultsMode, Kernel::Counted<Selection const> selection);

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool CanMerge(Kernel::Counted<Command const> newer) const override;
    bool Merge(Kernel::Counted<Command const> newer) override;
    bool ValidateUntrusted() override;
    void SetPreview(bool preview) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;
    bool CanOnlyOperateOnCurrentSpread() const override;
    bool VisitInReverse() const override { return false; }

    InnerCommands const& GetCommands() const { return m_commands; }

private:
    friend struct Kernel::FieldAccess;
    SetLineDescriptorCommand() : Persisted(Kernel::Counted<Selection const>()) {}
    static constexpr auto Fields() {
        using This = SetLineDescriptorCommand;
        return Kernel::FieldList{
            Kernel::Field{"Line", &This::m_descriptor}.As<LineArgument>("line", "the properties of the line"),
            Kernel::Field{"Mask", &This::m_mask}.As<LinePropertySet>("mask", "which of them are meant",
                                                                     LinePropertySet()),
            Kernel::Field{"Cont", &This::m_contentType}
                .EnumBy(&ContentTypeEnumSerialiser::GetInstance)
                .As("contentType", "of texts, the lines of the text or of its frame", ContentType::Object),
            Kernel::Field{"UsTs", &This::m_useTextStyle}.As("useTextStyle", "the line is meant for the text style too",
                                                            false),
            Kernel::Field{"CanM", &This::m_canMerge}.As("canMerge", "a newer command on the same selection may merge",
                                                        true),
            Kernel::Field{"DefM", &This::m_defaultsMode}.As(
                "defaults", "sets the line of new objects, too, or only that", LineCommandDefaultsMode::SelectionOnly),
            Kernel::Field{"Comm", &This::m_commands}};
    }
    void Init();
    // Outside previews, an inner command that was no step has nothing to undo, to redo or to tell.
    bool IsSkipped(DocumentCommand const& inner) const { return !m_preview && !inner.ShouldStackForUndo(); }

    Kernel::Counted<Renderer::LineStyleDescriptor> m_descriptor;
    int m_mask = 0;
    ContentType m_contentType = ContentType::Object;
    bool m_useTextStyle = false;
    bool m_canMerge = true;
    LineCommandDefaultsMode m_defaultsMode = LineCommandDefaultsMode::SelectionOnly;
    InnerCommands m_commands;
};

} // namespace Commands
