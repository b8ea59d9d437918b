// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/kernel/field_list.h"
#include "platform/story/story.h"

class DocumentController;

// On which side of its object a caption stands, as the object itself is turned.
enum class CaptionPosition : std::uint32_t { Below = 0, Above = 1, Left = 2, Right = 3 };

// The description of a caption: its text, how the text looks, and where it stands beside the object. An immutable
// value once it is shared.
class REDRAFT_ENGINE CaptionInfo : public Kernel::Serialisable {
public:
    struct Placing {
        CaptionPosition position = CaptionPosition::Below;
        // Between the object and the caption, in document units (1/96 inch).
        double gap = 8;
        // Of the frame; 0: as wide as the object.
        double width = 0;
        // Of the frame before its text is known; 0: one line of the paragraph style.
        double height = 0;
        static constexpr Kernel::ClassUID GetClassUID() { return {"CpPl"}; }
        static constexpr auto Fields() {
            return Kernel::FieldList{Kernel::Field{"Posi", &Placing::position}, Kernel::Field{"Gap ", &Placing::gap},
                                     Kernel::Field{"Widt", &Placing::width}, Kernel::Field{"Heig", &Placing::height}};
        }
        friend bool operator==(Placing const&, Placing const&) = default;
    };

    CaptionInfo() = default;
    // An empty style name: no style is set. `counterType`: the name that the caption counts by; empty for one that has
    // no number.
    CaptionInfo(Story::GlyphString text, Kernel::String paragraphStyleName, Placing const& placing,
                Kernel::String counterType = {})
        : m_text(std::move(text)),
          m_paragraphStyleName(std::move(paragraphStyleName)),
          m_counterType(std::move(counterType)),
          m_placing(placing) {}

    Story::GlyphString const& GetText() const { return m_text; }
    Kernel::String const& GetParagraphStyleName() const { return m_paragraphStyleName; }
    // Captions of one name are numbered from 1 on: in the order of the pages that they stand on, those of one page in
    // the order of the document's tree, those beside the pages behind all others of their spread.
    Kernel::String const& GetCounterType() const { return m_counterType; }
    Placing const& GetPlacing() const { return m_placing; }

    // Of a caption's frame before its text is known, in document units.
    double GetDefaultFrameHeight(Kernel::Counted<DocumentController const> const& controller) const;
    // The frame, of that height, of a caption of `target`, which stands in a document. The caption is turned as its
    // object is, and neither scaled nor sheared: `transform` becomes the way from the frame's space to the spread's.
    // Captions that the object has already are kept clear of.
    virtual Kernel::RectT<double> GetPositionForCaption(Kernel::JailCounted<Node> const& target, double height,
                                                        Raster::AffineTransform::Params& transform) const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<CaptionInfo>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    Story::GlyphString m_text;
    Kernel::String m_paragraphStyleName;
    Kernel::String m_counterType;
    Placing m_placing;
};
