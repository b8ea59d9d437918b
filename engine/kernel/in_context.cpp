// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/in_context.h"

#include "engine/kernel/record.h"

#include <algorithm>

namespace Kernel::Detail {

namespace {

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
        CollectUnasked(*nested, fields);
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
