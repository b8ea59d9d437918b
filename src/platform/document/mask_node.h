// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/renderer/render_target.h"

// A soft mask, in list Masks of the node that it masks and in that node's space. What its plain children draw together
// says how much of the node shows: by its alpha, or by its alpha and how light it is. Where they draw nothing, nothing
// shows. Of several masks each takes away; one that is hidden is none. A mask has clips and masks of its own, as a
// group has.
class REDRAFT_ENGINE MaskNode final : public LogicalNode {
public:
    MaskNode() = default;
    explicit MaskNode(Renderer::MaskKind kind) : m_kind(kind) {}
    Renderer::MaskKind GetMaskKind() const { return m_kind; }
    void SetMaskKind(Renderer::MaskKind kind);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

protected:
    void CopyMembersFrom(Node const& other) override;

private:
    Renderer::MaskKind m_kind = Renderer::MaskKind::Luminance;
};
