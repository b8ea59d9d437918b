// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/text_update_command.h"
#include "platform/kernel/stored_class.h"
#include "platform/story/index_text.h"

// Makes the text of the document's generated indices anew, from its topics and marks and the pages of these.
class REDRAFT_ENGINE UpdateIndexCommand final : public Kernel::StoredClass<UpdateIndexCommand, TextUpdateCommand> {
public:
    // The keys of the texts that stand between the parts of an index. Stored in documents.
    static constexpr std::string_view AfterTopicTag = "AfterTopic";
    static constexpr std::string_view BetweenListItemsTag = "BetweenListItems";
    static constexpr std::string_view BetweenRangesTag = "BetweenRanges";
    static constexpr std::string_view BeforeCrossReferencesTag = "BeforeCrossReferences";
    static constexpr std::string_view SeeTag = "See";
    static constexpr std::string_view SeeAlsoTag = "SeeAlso";
    static constexpr std::string_view AfterCrossReferencesTag = "AfterCrossReferences";

    // With an attribute another index is put where the selection begins: in the place of an empty paragraph, else in
    // front of the one that stands there. Its id is one that no other index of the document has.
    explicit UpdateIndexCommand(Kernel::Counted<Story::IndexAtt const> att = {},
                                Kernel::Counted<Selection const> selection = {});
    ~UpdateIndexCommand() override;
    // The ids of the indices in a story, in its order.
    static std::vector<Kernel::String> FindIds(Story::Story const& story);

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    static Kernel::ClassProperties const* GetTypeClassProperties();

protected:
    void UpdateTexts(BeforeChange const& beforeChange) override;

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() { return Kernel::FieldList{Kernel::Field{"IAtt", &UpdateIndexCommand::m_att}}; }
    static constexpr int c_maximumPasses = 8;

    Kernel::Counted<Story::IndexAtt const> m_att;
};
