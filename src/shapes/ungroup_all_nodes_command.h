// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shapes/ungroup_base.h"

namespace Commands {

// Dissolves every group at any depth below the selection. Groups inside linked instances of symbols stay.
class REDRAFT_API UngroupAllNodesCommand final
    : public Persisted<UngroupAllNodesCommand, UngroupBase<UngroupAllNodesCommand>> {
public:
    UngroupAllNodesCommand();

    static bool CanApplyTo(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Ungroup all", "Command description");
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;

    void Receive(Kernel::NonCounted<GroupNode> group);

private:
    friend struct Kernel::FieldAccess;
    friend class UngroupBase<UngroupAllNodesCommand>;
    static constexpr auto Fields() {
        using This = UngroupAllNodesCommand;
        return Kernel::FieldList{
            Kernel::Field{"UndR", &This::m_undoRecords}, Kernel::Field{"NewS", &This::m_newSelection},
            Kernel::Field{"OldS", &This::m_oldSelection}, Kernel::Field{"InvR", &This::m_invalidRect}};
    }
    void PutChildBack(UngroupChildRecord const& record, bool relax);
};

} // namespace Commands
