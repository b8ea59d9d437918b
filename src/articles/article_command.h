// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "articles/article_reference.h"
#include "articles/export_tagging_helpers.h"
#include "frame/persistence/persisted.h"
#include "platform/document/command.h"

namespace Commands {

// One notification that the reading order changed. `refresh`: what shows the order reads all of it again.
REDRAFT_API void NotifyOfArticles(DocumentCommand& command, Kernel::NotificationList& notifications,
                                  bool refresh = false);

// Base of the commands on the reading order.
template <class T>
class ArticleCommand : public Persisted<T, DocumentCommand> {
public:
    void Notify(Kernel::NotificationList& notifications) override { NotifyOfArticles(*this, notifications); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        DocumentCommand::Load(in, files, version);
        Kernel::LoadFields(static_cast<T&>(*this), in);
        return true;
    }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }

    static constexpr bool c_storesBaseFirst = true;

protected:
    using Helpers = ExportTaggingHelpers;

    // The beginning of each direction: the order is made while it is still whole.
    Kernel::Counted<DocumentController> Begin(DomainCommand::Direction direction) {
        this->SetDirection(direction);
        Kernel::Counted<DocumentController> controller = this->m_documentController;
        if (controller)
            controller->GetExportArticles();
        this->MarkChanged();
        return controller;
    }
    static void End(Kernel::Counted<DocumentController> const& controller) {
        bool flag = false;
        if (controller)
            controller->UpdateExportArticles(flag);
    }
};

} // namespace Commands
