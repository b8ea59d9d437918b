// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/visitor.h"
#include "platform/document/document_controller.h"

// Brings layers of a document that is not trusted up to date. For a layer with a bitmap: all its pixels are read now,
// so that later work depends no more on the file that they came from; float samples that are no finite numbers become
// 0; and where the layer's transform shrinks it, the mipmap levels that drawing it takes are made, if the bitmap makes
// levels on demand.
class REDRAFT_ENGINE UpdateTransformedRasterNodesVisitor final : public VisitorT<UpdateTransformedRasterNodesVisitor>,
                                                                 public virtual Kernel::Countable {
public:
    // The document is not kept: a command keeps its visitor, and the document may keep the command.
    explicit UpdateTransformedRasterNodesVisitor(Kernel::Counted<DocumentController> const& document);
    ~UpdateTransformedRasterNodesVisitor() override;

    // Offers an object, which may be empty, to the translators. True when one took it. DamagedDataException, by the
    // layer's name, when its pixels cannot be read.
    bool Visit(Kernel::NonCounted<Kernel::Countable> object) { return Translate(object); }
    void Receive(Kernel::NonCounted<RasterNode> layer);
};
