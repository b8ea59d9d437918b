// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/document/shown_texts.h"
#include "platform/kernel/notification.h"

#include <vector>

class DocumentController;

// Of a command after whose run captions may read otherwise: collects the captions of the objects that it changed, and
// tells of them. A direction begins with PreProcess and ends with PostProcess; in between each object is handed over
// right before it changes and again afterwards. It keeps the captions alive until the next run.
class REDRAFT_ENGINE CaptionCommandHelper {
public:
    CaptionCommandHelper();
    ~CaptionCommandHelper();
    CaptionCommandHelper(CaptionCommandHelper const&) = delete;
    CaptionCommandHelper& operator=(CaptionCommandHelper const&) = delete;

    // Forgets what an earlier run has collected.
    void PreProcess();
    // An object that will change: takes down how its captions lie and read.
    void NoteCaptionParentNode(Node const& node);
    // An object that has changed. An object without captions, or one that has left the tree, makes no difference.
    void HandleCaptionParentNode(Kernel::NonCounted<Node> node);
    // Leaves out captions that have left the tree.
    void PostProcess();
    // Where captions were collected: their areas before and after, and that their texts changed.
    void CaptionNotify(Kernel::NonCounted<DocumentController> controller,
                       std::vector<Kernel::Counted<Kernel::Notification>>& notifications, bool preview);

private:
    std::vector<Kernel::Counted<Node>> m_captions;
    std::vector<ShownTexts> m_before;
    SpreadRects m_changed;
};
