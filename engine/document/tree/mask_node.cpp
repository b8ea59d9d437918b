// SPDX-License-Identifier: Apache-2.0
#include "platform/document/mask_node.h"

#include "platform/document/edit_journal.h"
#include "platform/kernel/cast.h"

void MaskNode::SetMaskKind(Renderer::MaskKind kind) {
    if (m_kind == kind)
        return;
    EditJournal::NoteValue(*this, m_kind);
    m_kind = kind;
    MarkChanged();
}

void MaskNode::CopyMembersFrom(Node const& other) {
    LogicalNode::CopyMembersFrom(other);
    if (auto const* mask = Kernel::CastPointer<MaskNode const>(&other))
        m_kind = mask->m_kind;
}

void MaskNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "MKin", m_kind);
    LogicalNode::Save(out);
}

bool MaskNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "MKin", m_kind);
    if (m_kind > Renderer::MaskKind::LinearLuminance)
        m_kind = Renderer::MaskKind::Luminance;
    return LogicalNode::Load(in, files, version);
}

Kernel::Counted<Kernel::Serialisable> MaskNode::CreateObject() { return Kernel::MakeCounted<MaskNode>(); }
