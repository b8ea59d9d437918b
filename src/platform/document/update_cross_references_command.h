// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_update_command.h"
#include "platform/story/cross_reference.h"

// The references of a document that are to be brought up to date, and what they refer to.
class REDRAFT_ENGINE UpdateCrossReferencesCommandHelper {
public:
    struct Reference {
        Kernel::Counted<TextNode> text;
        std::uint32_t index = 0;
    };

protected:
    // The references in the selected texts, or in all texts of the document where `selection` is null: those of one
    // story together, in its order.
    static std::vector<Reference> FindReferences(DocumentNode& document, Selection const* selection);
    // Renews the shown texts until none of them changes, or for as many passes as make sense: a longer text may move
    // its own target to another page. `beforeChange` is called for each text before its first change.
    static void Update(DocumentNode& document, std::vector<Reference> const& references,
                       std::function<void(TextNode& text)> const& beforeChange);
    static constexpr int c_maximumPasses = 8;
};

// Renews the texts that references to other places show. A reference whose anchor is not in the document keeps its
// text.
class REDRAFT_ENGINE UpdateCrossReferencesCommand final
    : public Kernel::StoredClass<UpdateCrossReferencesCommand, TextUpdateCommand>,
      public UpdateCrossReferencesCommandHelper {
public:
    // `inSelection`: only the references that are selected; otherwise all of the document. `alwaysStacks`: it is a step
    // of the history also when all were up to date.
    UpdateCrossReferencesCommand(Kernel::Counted<Selection const> selection, bool inSelection, bool alwaysStacks);

    Kernel::LocalisedString GetDescription() const override;
    bool ShouldStackForUndo() const override { return m_alwaysStacks || HasKeptStates(); }
    Kernel::Counted<DocumentCommand> Clone() const override;

    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void UpdateTexts(BeforeChange const& beforeChange) override;

private:
    UpdateCrossReferencesCommand() : UpdateCrossReferencesCommand(nullptr, true, false) {}
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"InSe", &UpdateCrossReferencesCommand::m_inSelection},
                                 Kernel::Field{"Alwy", &UpdateCrossReferencesCommand::m_alwaysStacks}};
    }

    bool m_inSelection, m_alwaysStacks;
};
