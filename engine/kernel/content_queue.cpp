// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/content_queue.h"

#include "platform/kernel/hashed_by_content.h"

#include <xxhash.h>

namespace Kernel::Detail {

namespace {

// Deeper than values of any class are nested. Only a forged graph has values that hold each other, or chains of them;
// beyond this depth they count as objects.
constexpr std::size_t c_maxValueDepth = 16;

} // namespace

bool ContentQueue::IsValue(Serialisable const& object) {
    auto const* const properties = object.GetObjectClassProperties();
    auto& known = m_classes[(reinterpret_cast<std::uintptr_t>(properties) >> 4) % m_classes.size()];
    if (known.properties != properties) [[unlikely]]
        known = {properties, HashedByContent::Includes(properties)};
    return known.isValue;
}

std::uint32_t ContentQueue::GetReferenceId(Serialisable const& object) {
    return IsValue(object) ? GetValueId(object) : m_objects.GetReferenceId(object);
}

std::uint32_t ContentQueue::GetValueId(Serialisable const& value) {
    auto const [place, isNew] = m_values.try_emplace(&value);
    if (!isNew)
        return place->second.id != 0 ? place->second.id : m_objects.GetReferenceId(value);
    if (m_depth == c_maxValueDepth) {
        m_values.erase(place);
        return m_objects.GetReferenceId(value);
    }
    auto& number = place->second;
    number.value = Counted<Serialisable const>(&value);
    auto const digest = ComputeDigest(value);
    auto const found = m_byContent.find(digest);
    number.id = found != m_byContent.end() ? found->second : m_objects.GetReferenceId(value);
    m_byContent.emplace(digest, number.id);
    return number.id;
}

Hash128 ContentQueue::ComputeDigest(Serialisable const& value) {
    if (m_depth == m_contexts.size())
        m_contexts.push_back(std::make_unique<OutContext>(*this, Purpose::Hash));
    auto& context = *m_contexts[m_depth++];
    context.buffer.clear();
    try {
        context.WriteCanonical(value);
    } catch (...) {
        --m_depth;
        throw;
    }
    --m_depth;
    auto const digest = XXH3_128bits(context.buffer.data(), context.buffer.size());
    return {digest.high64, digest.low64};
}

} // namespace Kernel::Detail
