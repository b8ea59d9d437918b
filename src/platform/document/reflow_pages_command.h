// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/nodes.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/stored_class.h"

// Lays the pages of the document out on its spreads again: the pages of each spread side by side from its left edge,
// in their order, and the spread's box around them.
class REDRAFT_ENGINE ReflowPagesCommand final : public Kernel::StoredClass<ReflowPagesCommand, DocumentCommand> {
public:
    // Spreads before `firstSpread` stay as they are.
    explicit ReflowPagesCommand(int firstSpread);
    ~ReflowPagesCommand() override;

    Kernel::LocalisedString GetDescription() const override;
    void Do() override;
    void Undo() override;
    void Redo() override;
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override;
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    ReflowPagesCommand();
    void Apply(std::vector<Kernel::RectT<double>> const& pageBoxes,
               std::vector<Kernel::RectT<double>> const& spreadBoxes);

    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = ReflowPagesCommand;
        return Kernel::FieldList{
            Kernel::Field{"Firs", &This::m_firstSpread},   Kernel::Field{"Page", &This::m_pages},
            Kernel::Field{"Sprd", &This::m_spreads},       Kernel::Field{"OlPB", &This::m_oldPageBoxes},
            Kernel::Field{"NwPB", &This::m_newPageBoxes},  Kernel::Field{"OlSB", &This::m_oldSpreadBoxes},
            Kernel::Field{"NwSB", &This::m_newSpreadBoxes}};
    }

    int m_firstSpread = 0;
    std::vector<Kernel::Counted<Node>> m_pages, m_spreads;
    std::vector<Kernel::RectT<double>> m_oldPageBoxes, m_newPageBoxes, m_oldSpreadBoxes, m_newSpreadBoxes;
};
