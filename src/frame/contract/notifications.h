// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_notification.h"
#include "platform/document/index_topics_changed_notification.h"
#include "platform/document/new_selection_notification.h"
#include "platform/document/view_point_data.h"

// The notifications that the commands of this library raise, beside those of the document model. They are read-only
// once built.

class REDRAFT_API UIColoursChangedNotification final : public Kernel::Notification {};
class REDRAFT_API GenerationsChangedNotification final : public Kernel::Notification {};
class REDRAFT_API EnsureSelectionVisibleNotification final : public Kernel::Notification {};

class REDRAFT_API GuidesChangedNotification final : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
    int GetDedupeId() const override { return 6; }
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override;
    bool RequiredForPreviewing() override { return true; }
};

// A notification that says no more than that something of a document changed, and is never part of a preview.
class REDRAFT_API PlainDocumentNotification : public DocumentNotification {
public:
    explicit PlainDocumentNotification(Kernel::Counted<DocumentController const> const& controller)
        : DocumentNotification(controller, false) {}
};

class REDRAFT_API CSSFilesChangedNotification final : public PlainDocumentNotification {
    using PlainDocumentNotification::PlainDocumentNotification;
};
class REDRAFT_API DocumentUnitChangedNotification final : public PlainDocumentNotification {
    using PlainDocumentNotification::PlainDocumentNotification;
};
class REDRAFT_API ReflowPagesSettingChangedNotification final : public PlainDocumentNotification {
    using PlainDocumentNotification::PlainDocumentNotification;
};
class REDRAFT_API ScaleOverrideSettingsChangedNotification final : public PlainDocumentNotification {
    using PlainDocumentNotification::PlainDocumentNotification;
};
class REDRAFT_API RecommendToolNotification : public PlainDocumentNotification {
    using PlainDocumentNotification::PlainDocumentNotification;
};

namespace Notifications {
class REDRAFT_API EPubCoverInfoChangedNotification final : public PlainDocumentNotification {
    using PlainDocumentNotification::PlainDocumentNotification;
};
} // namespace Notifications

class REDRAFT_API RecommendSpecificToolNotification final : public RecommendToolNotification {
public:
    // The tool's number is the front end's; the object is what the tool should work on.
    RecommendSpecificToolNotification(int tool, Kernel::Counted<DocumentController const> const& controller,
                                      Kernel::Counted<Kernel::Countable> object)
        : RecommendToolNotification(controller), m_tool(tool), m_object(std::move(object)) {}
    int GetTool() const { return m_tool; }
    Kernel::Counted<Kernel::Countable> const& GetObject() const { return m_object; }

private:
    int m_tool;
    Kernel::Counted<Kernel::Countable> m_object;
};

class REDRAFT_API AvailableFieldsChangedNotification final : public DocumentNotification {
public:
    AvailableFieldsChangedNotification(Kernel::Counted<DocumentController const> const& controller, bool namesChanged)
        : DocumentNotification(controller, false), m_namesChanged(namesChanged) {}
    int GetDedupeId() const override { return 10; }
    bool HaveNamesChanged() const { return m_namesChanged; }

private:
    bool m_namesChanged;
};

// Something of the reading order changed.
class REDRAFT_API ExportArticlesChangedNotification final : public DocumentNotification {
public:
    // `isRenaming`: the user gives an entry another name, and nothing else has changed. `collector`: the entry to show;
    // null for none.
    ExportArticlesChangedNotification(Kernel::Counted<DocumentController const> const& controller, bool isRenaming);
    ExportArticlesChangedNotification(Kernel::Counted<DocumentController const> const& controller, bool isRenaming,
                                      Kernel::Counted<ExportArticleCollector> collector);
    ~ExportArticlesChangedNotification() override;
    bool ShouldForwardToFrontEnd() override { return IsActiveDocumentController(); }
    bool IsRenaming() const { return m_isRenaming; }
    Kernel::Counted<ExportArticleCollector> const& GetCollector() const { return m_collector; }

private:
    bool m_isRenaming;
    Kernel::Counted<ExportArticleCollector> m_collector;
};

class REDRAFT_API ViewPointChangedNotification final : public DocumentNotification {
public:
    enum Kind { Added = 0, Removed = 1 };
    ViewPointChangedNotification(Kernel::Counted<DocumentController const> const& controller, int kind,
                                 ViewPointData viewPoint)
        : DocumentNotification(controller, false), m_kind(kind), m_viewPoint(std::move(viewPoint)) {}
    // -1: the notification names the view point by its value.
    int GetIndex() const { return m_index; }
    int GetKind() const { return m_kind; }
    ViewPointData const& GetViewPoint() const { return m_viewPoint; }
    Kernel::String const& GetNewName() const { return m_newName; }

private:
    int m_index = -1;
    int m_kind;
    ViewPointData m_viewPoint;
    Kernel::String m_newName;
};

class REDRAFT_API PromptEnhancedNotification final : public DocumentNotification {
public:
    PromptEnhancedNotification(Kernel::String prompt, Kernel::String enhancedPrompt,
                               Kernel::Counted<DocumentController const> const& controller)
        : DocumentNotification(controller, false),
          m_prompt(std::move(prompt)),
          m_enhancedPrompt(std::move(enhancedPrompt)) {}
    Kernel::String const& GetPrompt() const { return m_prompt; }
    Kernel::String const& GetEnhancedPrompt() const { return m_enhancedPrompt; }

private:
    Kernel::String m_prompt, m_enhancedPrompt;
};

// Something of one merge source changed.
class REDRAFT_API DataMergeNotification : public DocumentNotification {
public:
    DataMergeNotification(Kernel::Counted<DocumentController const> const& controller, bool preview,
                          Kernel::Counted<DataMergeSource> source);
    ~DataMergeNotification() override;
    Kernel::Counted<DataMergeSource> const& GetSource() const { return m_source; }

private:
    Kernel::Counted<DataMergeSource> m_source;
};

class REDRAFT_API DataMergeFiltersChangedNotification final : public DataMergeNotification {
    using DataMergeNotification::DataMergeNotification;
};
class REDRAFT_API DataMergeFilterOptionsChangedNotification final : public DataMergeNotification {
    using DataMergeNotification::DataMergeNotification;
};
class REDRAFT_API DataMergeSourceUpdatedNotification final : public DataMergeNotification {
    using DataMergeNotification::DataMergeNotification;
};
class REDRAFT_API DataMergeOptionsChangedNotification final : public DataMergeNotification {
public:
    using DataMergeNotification::DataMergeNotification;
    int GetDedupeId() const override { return 8; }
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override;
};

class REDRAFT_API DescriptionChangedNotification final : public NodesChangedNotification {
public:
    using NodesChangedNotification::NodesChangedNotification;
    bool RequiredForPreviewing() override { return false; }
};

// `aspect` is a word of the front end's that says what of the nodes changed; 0: whatever there is.
class REDRAFT_API NodesDataChangedNotification final : public NodesChangedNotification {
public:
    NodesDataChangedNotification(Kernel::Counted<Selection const> selection,
                                 Kernel::Counted<DocumentController const> const& controller, bool preview,
                                 int aspect = 0)
        : NodesChangedNotification(std::move(selection), controller, preview), m_aspect(aspect) {}
    bool RequiredForPreviewing() override { return true; }
    int GetAspect() const { return m_aspect; }
    int GetReserved() const { return m_reserved; }

private:
    int m_aspect;
    int m_reserved = 0;
};

class REDRAFT_API InvalidateToolNotification : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
    bool MustProcessWithoutDocumentLock() override { return true; }
};

class REDRAFT_API InvalidateToolAllNotification final : public InvalidateToolNotification {
public:
    using InvalidateToolNotification::InvalidateToolNotification;
    bool ShouldForwardToFrontEnd() override { return IsActiveDocumentController(); }
    bool MustProcessWithoutDocumentLock() override { return true; }
};

// Everything must be painted again.
class REDRAFT_API InvalidateDocumentAllNotification final : public InvalidateDocumentNotification {
public:
    InvalidateDocumentAllNotification(Kernel::Counted<DocumentController const> const& controller, bool preview)
        : InvalidateDocumentNotification(controller, Kernel::RectT<double>{}, Kernel::Counted<Selection const>(),
                                         preview, false, false, false) {}
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override;
};
