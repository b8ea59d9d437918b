// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/generative_interface.h"
#include "platform/document/nodes.h"

// A picture that a model has made, with the others that it made for the same prompt. It shows the chosen one, under the
// mask of its generations; one pixel is one unit of node space, unless the generation's transform says otherwise.
class REDRAFT_ENGINE GeneratedImageNode final : public SceneNode, public GenerativeInterface, public BaseBoxInterface {
public:
    GeneratedImageNode() = default;
    // The chosen generation, with the mask in its alpha; null without generations. Made anew only when the generations,
    // the mask or the choice are others than the last time.
    Kernel::Counted<Raster::DynamicBitmap const> GetShownBitmap() const;
    // From the pixels of the shown bitmap to the node's space.
    Raster::AffineTransform::Params GetShownTransform() const;

    // In the node's own space; empty without generations. There is no bleed.
    Kernel::RectT<double> GetBaseBox(bool includeBleed) const override;
    Kernel::RectT<double> GetOwnBounds(Raster::AffineTransform::Params const& toSpread,
                                       bool includeLines) const override;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    Kernel::String GetDefaultDescription() const override;

private:
    // The bitmap that was made last, and the state that it was made from.
    mutable std::mutex m_shownMutex;
    mutable Kernel::Counted<InterfaceState const> m_shownState;
    mutable Kernel::Counted<Raster::DynamicBitmap const> m_shown;
};
