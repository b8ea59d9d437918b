// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/geometry/poly_curve.h"
#include "platform/renderer/line_style.h"
#include "platform/story/attributes.h"

namespace EPub {
class AccessibilityMetadata;
}

// How masters are carried over when pages move.
enum class MasterMigrationStrategy : std::uint32_t { Keep = 0, Adapt = 1, Drop = 2 };

// The values that new documents start with. Not part of the document's state.
class REDRAFT_ENGINE DocumentDefaults final : public Kernel::Serialisable {
public:
    Kernel::Counted<Renderer::FillDescriptor const> GetGuidesFillDescriptor() const { return m_guidesFill; }
    void SetGuidesFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> const& fill);
    // The line of new objects; empty: none.
    Kernel::Counted<Renderer::LineStyleDescriptor const> GetLineStyleDescriptor() const { return m_line; }
    void SetLineStyleDescriptor(Kernel::Counted<Renderer::LineStyleDescriptor const> const& line);
    // The paint of lines; empty: none, which is black where a command makes a line.
    Kernel::Counted<Renderer::FillDescriptor const> GetPenFillDescriptor() const { return m_penFill; }
    void SetPenFillDescriptor(Kernel::Counted<Renderer::FillDescriptor const> const& fill);
    // The attributes of new text; never null.
    Kernel::Counted<Story::GlyphAtts const> const& GetGlyphAtts() const { return m_glyphAtts; }
    void SetGlyphAtts(Kernel::Counted<Story::GlyphAtts const> const& atts);
    Kernel::Counted<Story::ParagraphAtts const> const& GetParagraphAtts() const { return m_paragraphAtts; }
    void SetParagraphAtts(Kernel::Counted<Story::ParagraphAtts const> const& atts);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Kernel::Counted<Renderer::FillDescriptor const> m_guidesFill, m_penFill;
    Kernel::Counted<Renderer::LineStyleDescriptor const> m_line;
    Kernel::Counted<Story::GlyphAtts const> m_glyphAtts = Story::GlyphAtts::GetDefault();
    Kernel::Counted<Story::ParagraphAtts const> m_paragraphAtts = Story::ParagraphAtts::GetDefault();
};

// How pages are kept in order when they are added, moved and removed.
class REDRAFT_ENGINE PageManagementOptions final : public Kernel::Serialisable {
public:
    bool GetShouldAnchorToSpine() const { return m_anchorToSpine; }
    void SetShouldAnchorToSpine(bool anchor);
    MasterMigrationStrategy GetMasterMigrationStrategy() const { return m_masterMigration; }
    void SetMasterMigrationStrategy(MasterMigrationStrategy strategy);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    bool m_anchorToSpine = true;
    MasterMigrationStrategy m_masterMigration = MasterMigrationStrategy::Keep;
};

// The settings of a document that are no nodes.
class REDRAFT_ENGINE DocumentSettings final : public Kernel::Serialisable {
public:
    bool shouldReflowPages = false;
    bool scaleOverrideEnabled = false;
    int scaleOverrideFlags = 0;
    Kernel::Counted<PageManagementOptions> pageManagement = Kernel::MakeCounted<PageManagementOptions>();
    std::vector<Kernel::Counted<Geometry::CurveDbl>> pressureProfiles;
    // Null: none was set.
    Kernel::Counted<EPub::AccessibilityMetadata const> accessibility;

    DocumentSettings();
    ~DocumentSettings() override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
};
