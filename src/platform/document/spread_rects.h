// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/kernel/notification.h"

#include <memory>

class DocumentController;
class Selection;
class ShownTexts;

// A rectangle of one spread, in spread space.
struct REDRAFT_ENGINE SpreadRect {
    Kernel::Counted<SpreadNode> spread;
    Kernel::RectT<double> rect;

    SpreadRect() = default;
    // The spread that `node` stands on.
    SpreadRect(Node const& node, Kernel::RectT<double> bounds);
    static constexpr Kernel::ClassUID GetClassUID() { return {"SpRe"}; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Sprd", &SpreadRect::spread}, Kernel::Field{"Rect", &SpreadRect::rect}};
    }
};

// The area that a change touched, spread by spread: it must be painted again.
class REDRAFT_ENGINE SpreadRects {
public:
    void Append(SpreadRect rect);
    // Adds the area in which a change of the node's appearance can be seen: its bounds or, where its parent draws it as
    // a clip or as a part of an outline, those of the parent. One rectangle a spread is kept. Nothing for a node that
    // is on no spread.
    void IncludeWhereShown(Node const& node);
    // The same areas for many nodes, found faster.
    void IncludeWhereShown(std::vector<Node const*> const& nodes);
    std::vector<SpreadRect> const& GetRects() const { return m_rects; }
    // The union of the rectangles on one spread.
    Kernel::RectT<double> GetUnion(Kernel::NonCounted<SpreadNode const> spread) const;
    bool IsEmpty() const { return m_rects.empty(); }

    static constexpr Kernel::ClassUID GetClassUID() { return {"SpRs"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    void Save(Kernel::OutSerialiser& out) const;
    bool Load(Kernel::InSerialiser const& in, Kernel::ClassUID uid, unsigned short version);
    // The older form of the field: one rectangle under `tag`, of no told spread. False when it is missing.
    bool LoadLegacy(Kernel::InSerialiser const& in, Kernel::IDTag tag);

private:
    SpreadRect* Find(SpreadNode const* spread);
    void IncludeBounds(Node const& shown);

    std::vector<SpreadRect> m_rects;
};

// The areas that one change touched; filled by Do, Undo and Redo, read by Notify.
class REDRAFT_ENGINE ChangeResult {
public:
    void AddNode(Kernel::Counted<Node> node);
    void AddRect(SpreadRect rect) { m_rects.Append(std::move(rect)); }
    SpreadRects const& GetRects() const { return m_rects; }
    void Notify(Kernel::NonCounted<DocumentController> controller, bool preview,
                std::vector<Kernel::Counted<Kernel::Notification>>& notifications) const;
    // The same for the objects of a selection.
    void Notify(Kernel::NotificationList& notifications, Kernel::Counted<DocumentController> const& controller,
                Kernel::Counted<Selection const> const& selection, bool preview) const;
    void Clear();

private:
    friend class TextNode;
    std::vector<Kernel::Counted<Node>> m_nodes;
    SpreadRects m_rects;
    // How texts lay before the change that is under way.
    std::shared_ptr<ShownTexts const> m_textsBefore;
};
