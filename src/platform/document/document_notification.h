// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/document/spread_rects.h"
#include "platform/kernel/notification.h"

// A notification about one document.
class REDRAFT_ENGINE DocumentNotification : public Kernel::Notification {
public:
    DocumentNotification(Kernel::Counted<DocumentController const> const& controller, bool preview);
    // Two notifications about one document and of one kind, preview or not, merge into the older.
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override;
    // False: a preview does without it.
    virtual bool RequiredForPreviewing();
    virtual bool FrontEndProcessingTimeIsCritical();
    // True: the frame must not hold the document lock while it delivers.
    virtual bool MustProcessWithoutDocumentLock();

    Kernel::Counted<DocumentController const> const& GetDocumentController() const { return m_controller; }
    bool IsPreview() const { return m_preview; }

protected:
    // True while the document is the one that the user works on.
    bool IsActiveDocumentController() const;

private:
    Kernel::Counted<DocumentController const> m_controller;
    bool m_preview;
};

// Something must be painted again.
class REDRAFT_ENGINE InvalidateDocumentNotification : public DocumentNotification {
public:
    // `area` is in the space of the current spread. `allSpreads`: the area counts on every spread. `onlyOverlays`:
    // tool marks change and no content. `immediately`: do not wait for a pause.
    InvalidateDocumentNotification(Kernel::Counted<DocumentController const> const& controller,
                                   Kernel::RectT<double> const& area, Kernel::Counted<Selection const> const& selection,
                                   bool preview, bool allSpreads, bool onlyOverlays, bool immediately);
    InvalidateDocumentNotification(Kernel::Counted<DocumentController const> const& controller,
                                   SpreadRects const& areas, Kernel::Counted<Selection const> const& selection,
                                   bool preview, bool allSpreads, bool onlyOverlays, bool immediately);
    int GetDedupeId() const override;
    // Areas are united; the newer selection holds.
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override;
    bool ShouldForwardToFrontEnd() override;
    bool RequiredForPreviewing() override;

    Kernel::RectT<double> const& GetArea() const { return m_area; }
    SpreadRects const& GetSpreadRects() const { return m_areas; }
    Kernel::Counted<Selection const> const& GetSelection() const { return m_selection; }
    bool IsAllSpreads() const { return m_allSpreads; }
    bool IsOnlyOverlays() const { return m_onlyOverlays; }
    bool IsImmediate() const { return m_immediately; }

private:
    Kernel::RectT<double> m_area;
    SpreadRects m_areas;
    Kernel::Counted<Selection const> m_selection;
    bool m_allSpreads, m_onlyOverlays, m_immediately;
};

// Nodes came, went or moved in the tree.
class REDRAFT_ENGINE DocumentStructureChangedNotification : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
    int GetDedupeId() const override;
};

class REDRAFT_ENGINE NodesChangedNotification : public DocumentNotification {
public:
    NodesChangedNotification(Kernel::Counted<Selection const> selection,
                             Kernel::Counted<DocumentController const> const& controller, bool preview)
        : DocumentNotification(controller, preview), m_selection(std::move(selection)) {}
    bool RequiredForPreviewing() override { return false; }
    Kernel::Counted<Selection const> const& GetSelection() const { return m_selection; }

private:
    Kernel::Counted<Selection const> m_selection;
};

// `aspect` is a word of the front end's that says what of the nodes changed; 0: whatever there is.
class REDRAFT_ENGINE NodesAttributesChangedNotification final : public NodesChangedNotification {
public:
    NodesAttributesChangedNotification(Kernel::Counted<Selection const> selection,
                                       Kernel::Counted<DocumentController const> const& controller, bool preview,
                                       int aspect = 0)
        : NodesChangedNotification(std::move(selection), controller, preview), m_aspect(aspect) {}
    bool RequiredForPreviewing() override { return true; }
    int GetAspect() const { return m_aspect; }

private:
    int m_aspect;
};

class REDRAFT_ENGINE StoryChangedNotification : public DocumentNotification {
public:
    StoryChangedNotification(Kernel::Counted<DocumentController const> const& controller,
                             Kernel::Counted<Selection const> const& selection, bool preview);
    Kernel::Counted<Selection const> const& GetSelection() const { return m_selection; }

private:
    Kernel::Counted<Selection const> m_selection;
};

class REDRAFT_ENGINE SymbolsChangedNotification : public DocumentNotification {
public:
    explicit SymbolsChangedNotification(Kernel::Counted<DocumentController const> const& controller);
    int GetDedupeId() const override;
};

class REDRAFT_ENGINE MetadataChangedNotification : public DocumentNotification {
public:
    MetadataChangedNotification(Kernel::Counted<DocumentController const> const& controller,
                                Kernel::Counted<Selection const> selection, bool preview);
    Kernel::Counted<Selection const> const& GetSelection() const { return m_selection; }

private:
    Kernel::Counted<Selection const> m_selection;
};

// Other parts of the document are exported from now on, or to other files.
class REDRAFT_ENGINE ExportablesChangedNotification final : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
};

// Asks the front end to show a panel.
class REDRAFT_ENGINE ShowPanelNotification : public DocumentNotification {
public:
    enum class Panel : std::uint32_t { None = 0, Layers = 1, Text = 3, Merge = 4, Generations = 10 };
    // The reason for the update, a number whose meaning belongs to the panel.
    class REDRAFT_ENGINE ShowPanelInfo : public virtual Kernel::Countable {};

    ShowPanelNotification(Kernel::Counted<DocumentController const> const& controller, Panel panel,
                          Kernel::Counted<ShowPanelInfo> info);
    Panel GetPanel() const { return m_panel; }
    Kernel::Counted<ShowPanelInfo> const& GetInfo() const { return m_info; }

private:
    Panel m_panel;
    Kernel::Counted<ShowPanelInfo> m_info;
};
