// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_command.h"
#include "platform/document/text_nodes.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/document/visited_stories.h"
#include "text/cross_reference_arguments.h"

namespace Commands {

// Gives the references in the selected text another style, another target, or both, and has them show it.
class REDRAFT_API ChangeCrossReferenceCommand final
    : public Persisted<ChangeCrossReferenceCommand,
                       SelectionCommandWithSingleInterface<ChangeCrossReferenceCommand, StoryInterface>> {
public:
    // A null style leaves the styles, a null target leaves the targets. Histories do not go on beyond a step without a
    // style, or one that found no reference: see IsUnsupportedBeta and CanApplyTo.
    ChangeCrossReferenceCommand(Story::CrossReferenceTargetType targetType,
                                Kernel::Counted<Story::CrossReferenceAtt const> att,
                                Kernel::Counted<Story::AnchorData> anchorData, bool anchorFlag,
                                Kernel::Counted<Selection const> selection);
    ~ChangeCrossReferenceCommand() override;

    static constexpr bool c_runsOnlyWhereItApplies = true;
    // Whether there is a reference in the selected text.
    static bool CanApplyTo(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Edit Cross-Reference", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(Kernel::NotificationList& notifications) override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    bool IsUnsupportedBeta() const override { return !m_att || m_oldUiScales.empty(); }
    bool VisitInReverse() const override { return false; }
    bool DoInReverse() const override { return false; }

    static constexpr bool c_storesBaseFirst = true;

protected:
    // For loading.
    ChangeCrossReferenceCommand();
    bool ShouldOperateOnMasterItems() override { return true; }
    void ReceiveInterface(Kernel::NonCounted<StoryInterface> face) override;

private:
    friend struct Kernel::FieldAccess;
    using Glyph = Story::CrossReferenceGlyph;
    using Params = Raster::AffineTransform::Params;
    static constexpr auto Fields() {
        using This = ChangeCrossReferenceCommand;
        return Kernel::FieldList{
            Kernel::Field{"NTrg", &This::m_targetType}
                .EnumBy(&Story::CrossReferenceTargetTypeEnumSerialiser::GetInstance)
                .As("show", "the part of the target that is shown", Story::CrossReferenceTargetType::Page),
            Kernel::Field{"OTrg", &This::m_oldTargetTypes}.EnumBy(
                &Story::CrossReferenceTargetTypeEnumSerialiser::GetInstance),
            Kernel::Field{"Att_", &This::m_att}.OnlyWhenSet().As<CrossReferenceStyleArgument>(
                "style", "how the references read"),
            Kernel::Field{"OAtt", &This::m_oldAtts},
            Kernel::Field{"OUiS", &This::m_oldUiScales},
            Kernel::Field{"NAnc", &This::m_anchorData}.OnlyWhenSet().As<AnchorReference>(
                "anchor", "the anchor that they lead to, by name or identity; none: as it was",
                AnchorReference::None()),
            Kernel::Field{"OAnc", &This::m_oldAnchors},
            Kernel::Field{"NDCh", &This::m_anchorFlag}.As("anchorFlag", "a word of the editor's, kept with the target",
                                                          false),
            Kernel::Field{"ODch", &This::m_oldAnchorFlags},
            Kernel::Field{"UCmd", &This::m_updateCommand}.OnlyWhenSet()};
    }
    void Keep(TextFlow const& flow, std::vector<Story::StoryPos> const& positions);
    // The scale that each reference has with the new style.
    std::vector<Params> FindScales(TextFlow const& flow, std::vector<Story::StoryPos> const& positions) const;
    void Apply(Glyph& glyph, Params const& scale) const;
    // In the order of the walk.
    void Restore(Glyph& glyph);
    void BeginPass();
    void ForgetAreas();

    Story::CrossReferenceTargetType m_targetType = Story::CrossReferenceTargetType::None;
    Kernel::Counted<Story::CrossReferenceAtt const> m_att;
    Kernel::Counted<Story::AnchorData> m_anchorData;
    bool m_anchorFlag = false;

    // Of each reference that was met, in the order of the walk, which is always the same.
    std::vector<Story::CrossReferenceTargetType> m_oldTargetTypes;
    std::vector<Kernel::Counted<Story::AnchorData>> m_oldAnchors;
    std::vector<Kernel::Counted<Story::CrossReferenceAtt const>> m_oldAtts;
    std::vector<bool> m_oldAnchorFlags;
    std::vector<Raster::AffineTransform::Params> m_oldUiScales;
    // The entry of the next reference in the pass that is under way.
    int m_cursor = 0;

    Kernel::Counted<UpdateCrossReferencesCommand> m_updateCommand;
    // Stands while Do runs: a range for each reference that was changed.
    Kernel::Counted<MutableSelection> m_newSelection;
    VisitedStories m_visitedStories;
    SpreadRects m_invalidationRects;
    ChangeResult m_changeResult;
};

} // namespace Commands
