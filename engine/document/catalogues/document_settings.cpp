// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_settings.h"

#include "platform/document/edit_journal.h"
#include "platform/epub/accessibility_metadata.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_value.h"

void DocumentDefaults::SetGuidesFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> const& fill) {
    EditJournal::NoteValue(*this, m_guidesFill);
    m_guidesFill = fill;
    MarkChanged();
}

void DocumentDefaults::SetLineStyleDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor const> const& line) {
    EditJournal::NoteValue(*this, m_line);
    m_line = line;
    MarkChanged();
}

void DocumentDefaults::SetPenFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> const& fill) {
    EditJournal::NoteValue(*this, m_penFill);
    m_penFill = fill;
    MarkChanged();
}

void DocumentDefaults::SetGlyphAtts(Kernel::Counted<Story::GlyphAtts const> const& atts) {
    EditJournal::NoteValue(*this, m_glyphAtts);
    m_glyphAtts = atts ? atts : Story::GlyphAtts::GetDefault();
    MarkChanged();
}

void DocumentDefaults::SetParagraphAtts(Kernel::Counted<Story::ParagraphAtts const> const& atts) {
    EditJournal::NoteValue(*this, m_paragraphAtts);
    m_paragraphAtts = atts ? atts : Story::ParagraphAtts::GetDefault();
    MarkChanged();
}

Kernel::Counted<Kernel::Serialisable> DocumentDefaults::CreateObject() {
    return Kernel::MakeCounted<DocumentDefaults>();
}

void DocumentDefaults::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "GFil", m_guidesFill);
    if (m_line)
        Kernel::SaveValue(out, "Line", m_line);
    if (m_penFill)
        Kernel::SaveValue(out, "PenF", m_penFill);
    if (!m_glyphAtts->empty())
        Kernel::SaveValue(out, "GlAt", m_glyphAtts);
    if (!m_paragraphAtts->empty())
        Kernel::SaveValue(out, "PaAt", m_paragraphAtts);
}

bool DocumentDefaults::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "GFil", m_guidesFill);
    Kernel::LoadValue(in, "Line", m_line);
    Kernel::LoadValue(in, "PenF", m_penFill);
    Kernel::LoadValue(in, "GlAt", m_glyphAtts);
    Kernel::LoadValue(in, "PaAt", m_paragraphAtts);
    if (!m_glyphAtts)
        m_glyphAtts = Story::GlyphAtts::GetDefault();
    if (!m_paragraphAtts)
        m_paragraphAtts = Story::ParagraphAtts::GetDefault();
    return true;
}

void PageManagementOptions::SetShouldAnchorToSpine(bool anchor) {
    EditJournal::NoteValue(*this, m_anchorToSpine);
    m_anchorToSpine = anchor;
    MarkChanged();
}

void PageManagementOptions::SetMasterMigrationStrategy(MasterMigrationStrategy strategy) {
    EditJournal::NoteValue(*this, m_masterMigration);
    m_masterMigration = strategy;
    MarkChanged();
}

Kernel::Counted<Kernel::Serialisable> PageManagementOptions::CreateObject() {
    return Kernel::MakeCounted<PageManagementOptions>();
}

void PageManagementOptions::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Spin", m_anchorToSpine);
    Kernel::SaveValue(out, "MMig", m_masterMigration);
}

bool PageManagementOptions::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Spin", m_anchorToSpine);
    Kernel::LoadValue(in, "MMig", m_masterMigration);
    return true;
}

DocumentSettings::DocumentSettings() = default;
DocumentSettings::~DocumentSettings() = default;

Kernel::Counted<Kernel::Serialisable> DocumentSettings::CreateObject() {
    return Kernel::MakeCounted<DocumentSettings>();
}

void DocumentSettings::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Refl", shouldReflowPages);
    Kernel::SaveValue(out, "ScEn", scaleOverrideEnabled);
    Kernel::SaveValue(out, "ScFl", scaleOverrideFlags);
    Kernel::SaveValue(out, "PgMO", pageManagement);
    Kernel::SaveValue(out, "Prof", pressureProfiles);
    if (accessibility)
        Kernel::SaveValue(out, "Accs", accessibility);
}

bool DocumentSettings::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Refl", shouldReflowPages);
    Kernel::LoadValue(in, "ScEn", scaleOverrideEnabled);
    Kernel::LoadValue(in, "ScFl", scaleOverrideFlags);
    Kernel::LoadValue(in, "PgMO", pageManagement);
    Kernel::LoadValue(in, "Prof", pressureProfiles);
    Kernel::LoadValue(in, "Accs", accessibility);
    if (!pageManagement)
        throw Kernel::DamagedDataException("the settings are damaged: the page options are missing");
    for (auto const& profile : pressureProfiles) {
        if (!profile)
            throw Kernel::DamagedDataException("the settings are damaged: a pressure profile is missing");
    }
    return true;
}
