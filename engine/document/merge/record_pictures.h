// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/data_merge_source.h"
#include "platform/document/nodes.h"

// Pictures that fields of records name, in the places of objects.

// The picture of a file, from this process's memory where it was read before and has not changed. Throws
// Kernel::Exception.
Kernel::Counted<Raster::DynamicBitmap const> ReadRecordPicture(Kernel::String const& path);

// The place of an object that can show a picture, in its own space: of pictures and shapes. Empty for other objects.
Kernel::RectT<double> GetPicturePlace(SceneNode const& node);
// Lays a picture over a place, whole, as large as it can be, and in its middle.
Raster::AffineTransform::Params FitPicture(Kernel::RectT<double> const& place, Raster::DynamicBitmap const& picture);
// Fills a shape with a picture.
Kernel::Counted<Renderer::FillDescriptor const> MakePictureFill(Kernel::Counted<Raster::DynamicBitmap const> picture,
                                                                Raster::AffineTransform::Params const& place);

// The picture that an object shows in the place of its own content.
struct ShownPicture {
    // False: the object shows its own content.
    bool isShown = false;
    // Null: none, because the field is empty or its picture cannot be read.
    Kernel::Counted<Raster::DynamicBitmap const> bitmap;
    Raster::AffineTransform::Params pixelsToObject;
};
ShownPicture FindShownPicture(SceneNode const& node);

// Makes a picture the object's own content; null: it becomes empty.
void PutPicture(SceneNode& node, Kernel::Counted<Raster::DynamicBitmap const> picture);
