// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

// The keys of the texts that stand between the parts of a generated index. Stored in documents.
class UpdateIndexCommand {
public:
    static constexpr std::string_view AfterTopicTag = "AfterTopic";
    static constexpr std::string_view BetweenListItemsTag = "BetweenListItems";
    static constexpr std::string_view BetweenRangesTag = "BetweenRanges";
    static constexpr std::string_view BeforeCrossReferencesTag = "BeforeCrossReferences";
    static constexpr std::string_view SeeTag = "See";
    static constexpr std::string_view SeeAlsoTag = "SeeAlso";
    static constexpr std::string_view AfterCrossReferencesTag = "AfterCrossReferences";
};
