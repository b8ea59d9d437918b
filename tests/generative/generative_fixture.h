// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "platform/document/ai_operation_notification.h"
#include "platform/document/common_property_collections.h"
#include "platform/document/generations_property.h"
#include "platform/document/quorin_controller.h"
#include "tests/examples/scenes/scripted_models.h"
#include "tests/support/documents.h"

#include <gtest/gtest.h>

// Keeps the reports that commands send to the application while they run.
class Reports final : public NotificationListener {
public:
    Reports() { QuorinController::GetInstance().AddListener(this); }
    Reports(Reports const&) = delete;
    Reports& operator=(Reports const&) = delete;
    ~Reports() override { QuorinController::GetInstance().RemoveListener(this); }
    void Receive(Kernel::NonCounted<Kernel::Notification> notification) override {
        all.push_back(notification.ToCounted());
        if (during)
            during();
    }

    // The kinds in their order.
    std::string Kinds() const {
        std::string kinds;
        for (auto const& report : all) {
            kinds += kinds.empty() ? "" : " ";
            kinds += Support::As<AIOperationCompletedNotification>(report) ? "completed"
                     : Support::As<AIOperationFailedNotification>(report)  ? "failed"
                     : Support::As<PromptEnhancedNotification>(report)     ? "enhanced"
                                                                           : "other";
        }
        return kinds;
    }
    // The first one of a kind.
    template <class N>
    Kernel::Counted<N> Get() const {
        for (auto const& report : all) {
            if (auto const found = Support::As<N>(report))
                return found;
        }
        return {};
    }
    AIOperationCompletedNotification const& Completed() const { return *Get<AIOperationCompletedNotification>(); }

    std::vector<Kernel::Counted<Kernel::Notification>> all;
    std::function<void()> during;
};

// The generated objects that a document remembers.
inline std::vector<Kernel::Counted<GenerationsProperty const>> Remembered(DocumentController const& document) {
    std::vector<Kernel::Counted<GenerationsProperty const>> remembered;
    auto const collection =
        CommonPropertyCollections::Find(document, CommonPropertyCollections::tagCollectionGenerationsUID);
    if (!collection)
        return remembered;
    for (auto const leaf : collection->GetChildren(collection->GetRootNode())) {
        EXPECT_EQ("", collection->GetName(leaf).view());
        remembered.push_back(Kernel::Cast<GenerationsProperty const>(collection->GetProperty(leaf)));
    }
    return remembered;
}

// How many notifications of a kind are in a list.
template <class N>
int CountOf(Kernel::NotificationList const& list) {
    int count = 0;
    for (auto const& notification : list)
        count += Support::As<N>(notification) ? 1 : 0;
    return count;
}

inline Learning::RemoteInference::Result Refusal() {
    return {Learning::RemoteInference::Refused, "the service refuses such words"};
}
