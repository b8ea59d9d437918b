// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/stored_class.h"
#include "platform/kernel/string.h"
#include "platform/raster/dynamic_bitmap.h"

// The origin of an e-book's cover.
enum class EPubCoverKind : std::uint32_t {
    // The book has no cover.
    None = 0,
    // A picture of the document's first page.
    FirstPage = 1,
    // A picture of its own.
    Picture = 2
};

// The cover of a document's e-books. An immutable value once it is shared.
class REDRAFT_ENGINE EPubCoverInfo final : public Kernel::StoredClass<EPubCoverInfo, Kernel::Serialisable> {
public:
    // `picture` counts for the kind Picture alone, where null means no cover. `alternativeText`: for readers that do
    // not see the picture.
    EPubCoverInfo(EPubCoverKind kind, Kernel::Counted<Raster::DynamicBitmap const> picture,
                  Kernel::String alternativeText)
        : m_kind(kind), m_picture(std::move(picture)), m_alternativeText(std::move(alternativeText)) {}
    EPubCoverKind GetKind() const { return m_kind; }
    Kernel::Counted<Raster::DynamicBitmap const> const& GetPicture() const { return m_picture; }
    Kernel::String const& GetAlternativeText() const { return m_alternativeText; }

    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend struct Kernel::FieldAccess;
    EPubCoverInfo() = default;
    static constexpr auto Fields() {
        using This = EPubCoverInfo;
        return Kernel::FieldList{Kernel::Field{"Kind", &This::m_kind}, Kernel::Field{"Pict", &This::m_picture},
                                 Kernel::Field{"AltT", &This::m_alternativeText}};
    }

    EPubCoverKind m_kind = EPubCoverKind::None;
    Kernel::Counted<Raster::DynamicBitmap const> m_picture;
    Kernel::String m_alternativeText;
};
