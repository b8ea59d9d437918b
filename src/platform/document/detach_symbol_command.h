// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/node.h"
#include "platform/document/selection.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/stored_class.h"

// How far the end of a link reaches below the node.
enum class UnlinkRecurse : std::uint32_t { NodeOnly = 0, Instance = 1, Nested = 2 };

// Turns linked instances of symbols into independent nodes that look the same.
class REDRAFT_ENGINE DetachSymbolCommand final : public Kernel::StoredClass<DetachSymbolCommand, DocumentCommand> {
public:
    // `keepLook`: the nodes keep what the link gave them. `recurse`: Instance frees an instance's own nodes, Nested
    // also those of instances inside it. `selectResult`: the detached nodes become the document's selection.
    DetachSymbolCommand(Kernel::Counted<Selection const> selection, bool keepLook, UnlinkRecurse recurse,
                        bool selectResult);
    ~DetachSymbolCommand() override;

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    Kernel::Counted<Selection const> GetSelection() override { return m_selection; }

    static Kernel::ClassProperties const* GetTypeClassProperties();
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    DetachSymbolCommand();
    void SetLinks(bool linked);

    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DetachSymbolCommand;
        return Kernel::FieldList{
            Kernel::Field{"Sele", &This::m_selection},   Kernel::Field{"Keep", &This::m_keepLook},
            Kernel::Field{"Recu", &This::m_recurse},     Kernel::Field{"SelR", &This::m_selectResult},
            Kernel::Field{"Node", &This::m_nodes},       Kernel::Field{"Srcs", &This::m_sources},
            Kernel::Field{"OldS", &This::m_oldSelection}};
    }

    Kernel::Counted<Selection const> m_selection;
    bool m_keepLook = true;
    UnlinkRecurse m_recurse = UnlinkRecurse::Instance;
    bool m_selectResult = false;
    // Every node that was freed, in tree order, and what it was linked to.
    std::vector<Kernel::Counted<Node>> m_nodes;
    std::vector<Kernel::Counted<Node>> m_sources;
    Kernel::Counted<Selection const> m_oldSelection;
};
