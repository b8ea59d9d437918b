// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/file_store.h"

namespace Raster {

// The document's store as a save sees it. Values that it has already are only mentioned, so that what was never read
// is not read now; others are read, wherever they are, and handed over.
class BlobStore {
public:
    explicit BlobStore(Kernel::BlobSink* sink)
        : m_sink(sink), m_source(dynamic_cast<Kernel::BlobSource const*>(sink)) {}

    // False for a hash or a comparison, which need the keys alone.
    bool TakesValues() const { return m_sink != nullptr; }
    // True when the store has the value. `known` is where the caller would read it from; null for nowhere.
    bool Keep(Kernel::BlobKey const& key, Kernel::BlobSource const* known) {
        if (m_source == nullptr || (m_source != known && !m_source->Has(key)))
            return false;
        m_sink->Keep(key);
        return true;
    }
    void Put(std::span<std::byte const> bytes) { m_sink->Put(bytes); }

private:
    Kernel::BlobSink* m_sink;
    Kernel::BlobSource const* m_source;
};

} // namespace Raster
