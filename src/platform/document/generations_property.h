// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/raster/icc_manager.h"

#include <memory>

class StoredProfiles;

// A generated object as a document remembers it, outside of the tree, with the format and the profiles that its bitmaps
// were made for.
class REDRAFT_ENGINE GenerationsProperty final : public Kernel::Serialisable {
public:
    // The node is a copy of the property's own, and never enters a tree.
    GenerationsProperty(Kernel::Counted<Node const> const& node, Raster::Format format,
                        Raster::ICCManager::ICCProfileSet const& profiles);
    ~GenerationsProperty() override;

    // Null when a damaged document names none.
    Kernel::Counted<Node const> const& GetNode() const { return m_node; }
    Raster::Format GetFormat() const { return m_format; }
    // Throws Kernel::DamagedDataException when the document's file cannot give one of them.
    Raster::ICCManager::ICCProfileSet GetProfiles() const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    GenerationsProperty();

    Kernel::Counted<Node const> m_node;
    Raster::Format m_format{};
    // Null: the defaults.
    std::shared_ptr<StoredProfiles const> m_profiles;
};
