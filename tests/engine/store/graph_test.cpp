// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/store/content.h"
#include "tests/engine/store/simulated_file_system.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/class_properties.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/object_graph.h"

#include <gtest/gtest.h>

namespace Store {
namespace {

using namespace Testing;

// An object with a number and neighbours.
class Link final : public Kernel::Serialisable {
public:
    void Save(Kernel::OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }

    int m_value = 0;
    std::vector<Kernel::Counted<Link>> m_links;

    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"Valu", &Link::m_value}, Kernel::Field{"Link", &Link::m_links}};
    }
    static Kernel::ClassProperties const s_properties;
};

Kernel::ClassProperties const Link::s_properties(
    "StLk", [] { return Kernel::Counted<Kernel::Serialisable>(new Link); }, 1, nullptr, nullptr, "Link");

constexpr int c_count = 20000;

Kernel::Counted<Link> MakeLinks() {
    auto root = Kernel::MakeCounted<Link>();
    for (int i = 0; i != c_count; ++i) {
        root->m_links.push_back(Kernel::MakeCounted<Link>());
        root->m_links.back()->m_value = i;
    }
    return root;
}

Kernel::ObjectGraph::SaveResult SaveGraph(Container& container, Kernel::ObjectGraph& graph,
                                          Kernel::Counted<Link> const& root) {
    SaveTransaction transaction(container);
    Kernel::Counted<Kernel::Serialisable const> const roots[] = {root};
    auto const result = graph.Save(roots, container, &container);
    transaction.Commit();
    return result;
}

// The sum of all numbers.
long LoadSum(Kernel::Counted<Container> const& container, Kernel::ObjectGraph& graph) {
    ReadSnapshot const snapshot(*container);
    Kernel::FileStore files(container);
    auto const roots = graph.Load(*container, files);
    auto const root = Kernel::Cast<Link>(roots.at(0));
    long sum = 0;
    for (auto const& link : root->m_links)
        sum += link->m_value;
    return sum;
}

TEST(Graph, IsSavedWholeThenByItsChangesAndIsTheOldOrTheNewOneAfterACrash) {
    Kernel::ClassPropertiesBase::Init const registered(&Link::s_properties);
    constexpr long c_oldSum = long{c_count} * (c_count - 1) / 2;
    auto const root = MakeLinks();
    SimulatedFileSystem files;
    Kernel::ObjectGraph graph;
    {
        auto const container = Container::Create("/a", IfExists::Refuse, files);
        auto const whole = SaveGraph(*container, graph, root);
        EXPECT_TRUE(whole.full);
        EXPECT_GT(whole.chunksWritten, 2u);
    }
    auto const saved = files.Clone();
    root->m_links[777]->m_value += 5;
    root->m_links[777]->MarkChanged();
    {
        auto const container = Container::Open("/a", OpenMode::Edit, files);
        auto const change = SaveGraph(*container, graph, root);
        EXPECT_FALSE(change.full);
        EXPECT_EQ(change.chunksWritten, 1u);
    }
    {
        Kernel::ObjectGraph loaded;
        EXPECT_EQ(LoadSum(Container::Open("/a", OpenMode::Read, files), loaded), c_oldSum + 5);
    }

    bool isOver = false;
    for (std::uint64_t operation = 1; !isOver; ++operation) {
        auto const crashing = saved->Clone();
        Kernel::ObjectGraph own;
        crashing->Arm(Fault::Crash, operation);
        GetFailure([&] {
            auto const container = Container::Open("/a", OpenMode::Edit, *crashing);
            Kernel::FileStore store(container);
            auto const links = Kernel::Cast<Link>(own.Load(*container, store).at(0));
            links->m_links[777]->m_value += 5;
            links->m_links[777]->MarkChanged();
            SaveGraph(*container, own, links);
        });
        isOver = !crashing->HasFaultHappened();
        crashing->Restart(static_cast<std::uint32_t>(operation));
        Kernel::ObjectGraph loaded;
        auto const sum = LoadSum(Container::Open("/a", OpenMode::Read, *crashing), loaded);
        EXPECT_TRUE(sum == c_oldSum || sum == c_oldSum + 5) << operation;
    }
}

} // namespace
} // namespace Store
