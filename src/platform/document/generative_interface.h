// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/attributes.h"
#include "platform/kernel/string.h"
#include "platform/raster/affine_transform.h"
#include "platform/raster/dynamic_bitmap.h"

#include <vector>

class GenerativeState;

// An object that holds pictures which a model has made for one prompt, and shows one of them.
class REDRAFT_ENGINE GenerativeInterface : public virtual AttributeOwner {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Generative;

    // One of the pictures, an immutable value.
    class REDRAFT_ENGINE Generation {
    public:
        // `image` has pixels, in the colours of `profile`; an empty profile stands for the default of its colour model.
        // `transform` takes pixels to the object's space. Kernel::Exception for an image without pixels, or a profile
        // of another colour model.
        Generation(Kernel::String prompt, Kernel::Counted<Raster::DynamicBitmap const> image,
                   Kernel::Consolidated<Raster::ICCProfile> profile, Raster::AffineTransform::Params const& transform);

        // The text that it was made from.
        Kernel::String const& GetPrompt() const { return m_prompt; }
        // It has the profile as its own.
        Kernel::Counted<Raster::DynamicBitmap const> const& GetImage() const { return m_image; }
        Kernel::Consolidated<Raster::ICCProfile> GetProfile() const { return m_image->GetProfile(); }
        Raster::AffineTransform::Params const& GetTransform() const { return m_transform; }
        // The image's box in the object's space.
        Kernel::RectT<double> GetBox() const;

        // Converts the image into a format and its profile in a set. Kernel::Exception for a format without pixels, or
        // a profile that cannot be converted to.
        void ConvertFormatOrProfile(Raster::Format format, Raster::ICCManager::ICCProfileSet profiles);

        // Of the same image object.
        friend bool operator==(Generation const&, Generation const&) = default;

        static constexpr Kernel::ClassUID GetClassUID() { return {"Gene"}; }
        static constexpr auto Fields() {
            return Kernel::FieldList{Kernel::Field{"Prmt", &Generation::m_prompt},
                                     Kernel::Field{"Imag", &Generation::m_image},
                                     Kernel::Field{"Xfrm", &Generation::m_transform}};
        }

    private:
        friend struct Kernel::FieldAccess;
        friend class GenerativeState;
        // For loading: without an image, which no other code meets.
        Generation() = default;

        Kernel::String m_prompt;
        Kernel::Counted<Raster::DynamicBitmap const> m_image;
        Raster::AffineTransform::Params m_transform;
    };

    std::vector<Generation> const& GetGenerations() const;
    // The first one is chosen from now on.
    void SetGenerations(std::vector<Generation> const& generations);
    // From 0; 0 when there are none.
    std::size_t GetChosenGeneration() const;
    // Kernel::Exception where there is no such generation.
    void SetChosenGeneration(std::size_t index);
    // Null when there are none.
    Generation const* FindChosenGeneration() const;

    // How much of each pixel of a generation shows, by its alpha; all shows beyond the mask's edges, and without one.
    Kernel::Counted<Raster::DynamicBitmap const> GetGenerationMask() const;
    // A bitmap of an alpha-only format, or null; Kernel::Exception for others.
    void SetGenerationMask(Kernel::Counted<Raster::DynamicBitmap const> mask);
};

class REDRAFT_ENGINE GenerativeState final : public InterfaceStateT<GenerativeState> {
public:
    static constexpr InterfaceId c_interface = InterfaceId::Generative;
    Kernel::Counted<Raster::DynamicBitmap const> mask;
    std::vector<GenerativeInterface::Generation> generations;
    // An index beyond the last one stands for the last one.
    std::uint32_t chosen = 0;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Mask", &GenerativeState::mask},
                                 Kernel::Field{"Gens", &GenerativeState::generations},
                                 Kernel::Field{"Chos", &GenerativeState::chosen}};
    }
    // Generations that lack their image are left out.
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    static Kernel::ClassProperties const* GetTypeClassProperties();
};
