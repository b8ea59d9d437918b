// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/in_context.h"

#include "engine/kernel/crc32c.h"
#include "engine/kernel/record.h"

#include <algorithm>
#include <new>

namespace Kernel::Detail {

namespace {

// How many values are remembered; one that falls on another's place takes it.
constexpr std::size_t c_sharedValues = 4096;

class Resolver final : public ReferenceVisitor {
public:
    Resolver(InContext& context, std::vector<Counted<Serialisable>>& references)
        : m_context(context), m_references(references) {}
    void Visit(std::uint32_t id) override {
        m_references.emplace_back(id == 0 ? nullptr : m_context.Resolve(id).object);
    }

private:
    InContext& m_context;
    std::vector<Counted<Serialisable>>& m_references;
};

} // namespace

void InContext::Collect(std::uint64_t path, std::byte const* begin, std::byte const* end,
                        std::vector<PreservedField>& fields) {
    auto& field = fields.emplace_back(PreservedField{path, ReadField(begin, end).tag, {begin, end}, {}});
    Resolver resolver(*this, field.references);
    VisitReferences(begin, end, resolver);
}

void InContext::CollectAll(std::byte const* begin, std::byte const* end, std::vector<PreservedField>& fields) {
    while (begin != end) {
        std::byte const* const next = ReadField(begin, end).end;
        Collect(0, begin, next, fields);
        begin = next;
    }
}

void InContext::CollectUnasked(InSerialiser const& in, std::vector<PreservedField>& fields) {
    if (in.m_askedEnd != in.m_end) {
        std::vector<std::byte const*> asked;
        if (in.m_extra != nullptr)
            asked = in.m_extra->asked;
        std::ranges::sort(asked);
        for (std::byte const* at = in.m_askedEnd; at != in.m_end;) {
            std::byte const* const next = ReadField(at, in.m_end).end;
            if (!std::ranges::binary_search(asked, at))
                Collect(in.m_path, at, next, fields);
            at = next;
        }
    }
    if (in.m_extra == nullptr)
        return;
    for (auto const& nested : in.m_extra->nested)
        CollectUnasked(nested, fields);
}

bool InContext::IsAllAsked(InSerialiser const& in) {
    if (in.m_askedEnd != in.m_end)
        return false;
    return in.m_extra == nullptr || std::ranges::all_of(in.m_extra->nested, &InContext::IsAllAsked);
}

std::uint64_t InContext::GetTagBits(std::byte const* begin, std::byte const* end, unsigned depth) {
    auto& known = m_tags[depth % m_tags.size()];
    if (known.begin == begin && known.end == end)
        return known.bits;
    std::uint64_t bits = 0;
    for (std::byte const* at = begin; at != end;) {
        auto const field = ReadField(at, end);
        bits |= GetTagBit(field.tag);
        at = field.end;
    }
    known = {begin, end, bits};
    return bits;
}

std::unique_ptr<InExtra> InContext::TakeExtra() {
    if (m_extras.empty())
        return std::make_unique<InExtra>();
    auto extra = std::move(m_extras.back());
    m_extras.pop_back();
    return extra;
}

void InContext::GiveExtra(std::unique_ptr<InExtra> extra) noexcept {
    extra->asked.clear();
    extra->nested.clear();
    extra->arrays.clear();
    try {
        m_extras.push_back(std::move(extra));
    } catch (std::bad_alloc const&) {
        // It is not kept.
    }
}

InContext::SharedValue& InContext::FindSharedValue(std::byte const* begin, std::byte const* end) {
    if (m_sharedValues.empty())
        m_sharedValues.resize(c_sharedValues);
    return m_sharedValues[ComputeCrc32c(begin, static_cast<std::size_t>(end - begin)) % c_sharedValues];
}

Counted<Serialisable> InContext::ResolveFor(std::uint64_t path, IDTag tag, std::uint32_t index, std::uint32_t id) {
    if (id == 0)
        return {};
    auto const resolved = Resolve(id);
    Counted<Serialisable> object(resolved.object);
    if (resolved.isUnknown) [[unlikely]]
        hidden.push_back({path, tag.GetValue(), index, object});
    return object;
}

} // namespace Kernel::Detail
