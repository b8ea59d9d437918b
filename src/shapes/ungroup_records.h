// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/interfaces.h"
#include "platform/document/node.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

#include <vector>

namespace Commands {

// The state of a child before it moved up out of its group.
struct UngroupChildRecord {
    Kernel::Counted<Node> node;
    Raster::AffineTransform::Params transform;
    Raster::AffineTransform::Params frameTextScale;

    // The node must have a transform.
    void RestoreTransform() const {
        auto* const place = Kernel::CastPointer<TransformInterface>(node.get());
        place->SetTransform(transform, false);
        place->SetFrameTextScale(frameTextScale);
    }

    static constexpr Kernel::ClassUID GetClassUID() { return {"UndR"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Node", &UngroupChildRecord::node},
                                 Kernel::Field{"Xfrm", &UngroupChildRecord::transform},
                                 Kernel::Field{"FTxS", &UngroupChildRecord::frameTextScale}};
    }
};

// A group that was dissolved, and where it stood.
struct UngroupRecord {
    Kernel::Counted<Node> group;
    Kernel::Counted<Node> parent;
    // Empty when the group was the last child.
    Kernel::Counted<Node> nextSibling;
    // In tree order.
    std::vector<UngroupChildRecord> children;

    static constexpr Kernel::ClassUID GetClassUID() { return {"UndR"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    static constexpr auto Fields() {
        return Kernel::FieldList{
            Kernel::Field{"Grou", &UngroupRecord::group}, Kernel::Field{"Pare", &UngroupRecord::parent},
            Kernel::Field{"NexS", &UngroupRecord::nextSibling}, Kernel::Field{"Chil", &UngroupRecord::children}};
    }
};

} // namespace Commands
