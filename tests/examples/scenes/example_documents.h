// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

// Small documents that examples and tests run commands on. Each fills a new document and sets its selection.
namespace ExampleDocuments {

// Two groups with a group inside one of them, and shapes beside them; the groups and a shape are selected. One child is
// framed text scale and one has transform constraints.
void NestedGroups(DocumentController& controller);
// Groups that do something to their members as a whole: one is half clear, one clipped and one hidden. They are
// selected.
void GroupsWithLooks(DocumentController& controller);
// A constraints group whose children have constraints; it is selected.
void ConstraintsGroup(DocumentController& controller);
// A symbol of two shapes with two linked instances; the instances are selected.
void SymbolWithInstances(DocumentController& controller);
// A synced box with content; it is selected.
void CloudSyncedBox(DocumentController& controller);

Kernel::Counted<ShapeNode> MakeRectangle(Kernel::RectT<double> box, double red, double green, double blue);
void Append(Node& parent, Kernel::Counted<Node> child);
void Select(DocumentController& controller, std::vector<Kernel::Counted<Node>> const& nodes);

} // namespace ExampleDocuments
