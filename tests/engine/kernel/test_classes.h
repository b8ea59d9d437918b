// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/object_graph.h"
#include "platform/kernel/serialisable.h"

#include <deque>
#include <map>
#include <vector>

namespace KernelTest {

using Kernel::Counted;
using Kernel::Field;
using Kernel::FieldList;
using Kernel::InSerialiser;
using Kernel::MakeCounted;
using Kernel::OutSerialiser;
using Kernel::Serialisable;
using Kernel::String;

// How many objects of the test classes are alive.
inline int s_alive = 0;

template <class T>
Counted<Serialisable> Create() {
    return Counted<Serialisable>(new T);
}

// A node of a graph of any shape.
class Node : public Serialisable {
public:
    Node() { ++s_alive; }
    explicit Node(int value) : Node() { m_value = value; }
    ~Node() override { --s_alive; }

    void Save(OutSerialiser& out) const override { Kernel::SaveFields(*this, out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short) override {
        Kernel::LoadFields(*this, in);
        return true;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }

    int m_value = 0;
    String m_name;
    Counted<Node> m_left, m_right;
    std::vector<Counted<Node>> m_children;

    static constexpr auto Fields() {
        return FieldList{Field{"Valu", &Node::m_value}, Field{"Name", &Node::m_name}, Field{"Left", &Node::m_left},
                         Field{"Rght", &Node::m_right}, Field{"Chil", &Node::m_children}.OnlyWhenSet()};
    }
    static Kernel::ClassProperties const s_properties;
};
inline Kernel::ClassProperties const Node::s_properties("TsNd", &Create<Node>, 1, nullptr, nullptr, "Node");

// Puts a class into the registry for one test.
struct Registered {
    template <class... Classes>
    explicit Registered(Kernel::ClassProperties const& properties) : m_init(&properties) {}
    Kernel::ClassPropertiesBase::Init m_init;
};

inline Counted<Serialisable const> AsRoot(Counted<Serialisable const> const& object) { return object; }

inline Kernel::ObjectGraph::SaveResult SaveOne(Kernel::ObjectGraph& graph, Counted<Serialisable const> const& root,
                                               Kernel::ChunkStorage& storage) {
    return graph.Save({&root, 1}, storage);
}

template <class T>
Counted<T> LoadOne(Kernel::ObjectGraph& graph, Kernel::ChunkStorage const& storage) {
    Kernel::FileStore files;
    auto const roots = graph.Load(storage, files);
    return Kernel::Cast<T>(roots.at(0));
}

} // namespace KernelTest
