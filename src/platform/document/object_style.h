// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/interfaces.h"
#include "platform/raster/icc_manager.h"
#include "platform/story/style_sheet.h"

class DocumentController;

// Which parts of an object's appearance a style takes over.
struct ObjectStyleMask {
    bool fill = true;
    // With where it stands to the fill.
    bool line = true;
    bool opacity = true;
    bool blendMode = true;
    bool effects = true;
    bool contour = true;
    // Fill and line of a text's frame.
    bool frame = true;
};

// The paint that a style gives to an area.
class REDRAFT_ENGINE ObjectStyleBrush final : public virtual Kernel::Countable {
public:
    explicit ObjectStyleBrush(Kernel::Counted<Renderer::FillDescriptor const> fill) : m_fill(std::move(fill)) {}
    ~ObjectStyleBrush() override;
    // Null: no fill.
    Kernel::Counted<Renderer::FillDescriptor const> const& GetFill() const { return m_fill; }

private:
    Kernel::Counted<Renderer::FillDescriptor const> m_fill;
};

// A snapshot of an object's appearance, to be given to others. Values are shared with the object, so that taking and
// applying one costs some pointers. Place and name are no part of an appearance.
class REDRAFT_ENGINE ObjectStyle final : public virtual Kernel::Countable {
public:
    ObjectStyle() = default;
    ~ObjectStyle() override;

    // Replaces all that the style holds by the appearance of `object`, as far as the mask goes and the object has the
    // interfaces. Fill and line of a text node belong to its text or to its frame, as their content type says.
    // `format` and `profiles` are those of the object's document, what the colours are meant in; `textStyles` are the
    // styles of its texts, null where there are none. `withVisibility`: whether the object is shown is taken over too.
    void Set(Kernel::Counted<Kernel::Countable const> const& object, Raster::Format format,
             Raster::ICCManager::ICCProfileSet const& profiles, Kernel::Counted<Story::StyleSheet const> textStyles,
             ObjectStyleMask const& mask, Kernel::String name, bool withVisibility);
    // The appearance of one outline. The object can hold no second fill: the alpha of its representative colour becomes
    // opacity, which is the same for plain transparency, on top of the opacity that the style holds.
    void SetForRendering(Kernel::Counted<Renderer::FillDescriptor const> mainFill,
                         Kernel::Counted<Renderer::FillDescriptor const> lineFill,
                         Kernel::Counted<Renderer::FillDescriptor const> secondFill,
                         Kernel::Counted<Renderer::LineStyleDescriptor const> line);
    // Fill and line of the frame take the place of the object's own.
    void ConvertFrameToMain();
    // Takes the brushes of object and frame out, and puts them back.
    void ClearFill(Kernel::Counted<ObjectStyleBrush>& main, Kernel::Counted<ObjectStyleBrush>& frame);
    void RestoreFill(Kernel::Counted<ObjectStyleBrush> const& main, Kernel::Counted<ObjectStyleBrush> const& frame);
    // False: an object that gets the style has no contour.
    void SetHasContour(bool hasContour);

    // Gives an object all that the style holds and the object has an interface for. `resetRest`: of the look, what the
    // style says nothing of goes back to its default; otherwise it stays as it is. The controller is that of the
    // object's document and may be null: colours keep the model that they were chosen in, so that nothing is asked of
    // it.
    void Apply(Kernel::Counted<Kernel::Countable> object, Kernel::Counted<DocumentController const> controller,
               bool resetRest) const;

    Kernel::String const& GetName() const { return m_name; }
    Raster::Format GetFormat() const { return m_format; }
    Raster::ICCManager::ICCProfileSet const& GetProfiles() const { return m_profiles; }
    Kernel::Counted<Story::StyleSheet const> const& GetTextStyles() const { return m_textStyles; }
    Kernel::Counted<ObjectStyleBrush> const& GetBrush() const { return m_brush; }
    Kernel::Counted<ObjectStyleBrush> const& GetFrameBrush() const { return m_frameBrush; }

private:
    // A line with its paint.
    struct Line {
        Kernel::Counted<Renderer::LineStyleDescriptor const> line;
        Kernel::Counted<Renderer::FillDescriptor const> penFill;
        bool isSet = false;
    };

    Kernel::String m_name;
    Raster::Format m_format = Raster::FormatRGBA8;
    Raster::ICCManager::ICCProfileSet m_profiles;
    Kernel::Counted<Story::StyleSheet const> m_textStyles;
    // Null: the style says nothing of the fill.
    Kernel::Counted<ObjectStyleBrush> m_brush, m_frameBrush;
    Line m_line, m_frameLine;
    // Each with the state that it has; a null state is the default.
    struct Part {
        Kernel::Counted<InterfaceState const> state;
        bool isSet = false;
    };
    Part m_drawOrder, m_opacity, m_blendMode, m_effects, m_contour, m_visibility;
};
