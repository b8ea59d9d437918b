// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/selection/visitor.h"
#include "platform/document/selection_command_proxy_state_manager.h"
#include "platform/kernel/field_list.h"

#include <algorithm>
#include <array>

// Commands that act on the objects of a selection. A command class says which faces it receives, and what it does with
// one object in each direction; the walk, and keeping the states of interfaces for undo, is done here. Header-only, so
// that bases on both sides of the library's border can stand on these templates.

// Runs over the selection in each direction: Do and Redo in one sense, Undo in the other.
template <class T>
class SelectionCommand : public SelectionCommandProxyStateManager, public VisitorT<T> {
public:
    explicit SelectionCommand(Kernel::Counted<Selection const> selection)
        : SelectionCommandProxyStateManager(std::move(selection)) {}
    SelectionCommand() : SelectionCommandProxyStateManager({}) {}

    void Do() override {
        SelectionCommandBase::Do();
        SetDirection(Direction::Do);
        _Visit();
    }
    void Undo() override {
        SetDirection(Direction::Undo);
        _Visit();
        SelectionCommandBase::Undo();
    }
    void Redo() override {
        SelectionCommandBase::Redo();
        SetDirection(Direction::Redo);
        _Visit();
    }
    void Teardown() override {
        SetDirection(Direction::Teardown);
        _Visit();
    }
    virtual bool VisitInReverse() const { return false; }
    virtual bool DoInReverse() const { return m_direction == Direction::Undo ? !VisitInReverse() : VisitInReverse(); }

    // Offers one object to the translators; with `manage`, inside a bracket that keeps its states.
    bool VisitObject(Kernel::NonCounted<Kernel::Countable> object, bool manage) {
        if (!manage || !NeedToManage(object))
            return this->Translate(object);
        StoreInterfaces(object);
        bool const taken = this->Translate(object);
        RestoreInterfaces(object);
        return taken;
    }

protected:
    // The item being visited; the last one after the visit.
    Kernel::Counted<SelectionItem const> GetSelectionItem() const {
        return m_walk == nullptr ? m_lastItem : m_walk->GetItem();
    }
    void PreVisitSubSelection(Kernel::NonCounted<Kernel::Countable> object) {
        if (NeedToManage(object))
            StoreInterfaces(object);
    }
    void PostVisitSubSelection(Kernel::NonCounted<Kernel::Countable> object) {
        if (NeedToManage(object))
            RestoreInterfaces(object);
    }

private:
    // A selection may be larger than any cache: its items are not read, and its objects are fetched ahead, and, as soon
    // as their kind is known, the links of those that are nodes.
    virtual void _Visit() {
        constexpr std::size_t c_ahead = 12, c_held = 16;
        bool const reverse = DoInReverse();
        auto const selection = GetSelection();
        if (!selection || selection->empty())
            return;
        auto const& objects = selection->GetObjects();
        std::size_t const count = objects.size();
        auto const at = [&](std::size_t step) { return reverse ? count - 1 - step : step; };
        // A selection may name nodes that have left the tree. They take no part; but in Undo and Teardown the command
        // itself may be what took them out, and its receiver goes by what it has kept.
        bool const asks = m_direction == Direction::Do || m_direction == Direction::Redo;
        std::array<Node const*, c_held> nodes{};
        auto const fetchLinks = [&](std::size_t step) {
            auto const* const node = Kernel::CastPointer<Node const>(objects[at(step)]);
            nodes[step % c_held] = node;
            if (node != nullptr)
                __builtin_prefetch(static_cast<Node::TreeBaseNDJailCounted const*>(node));
        };
        for (std::size_t step = 0; asks && step != std::min(c_ahead, count); ++step)
            fetchLinks(step);
        Walk walk(*this, *selection);
        for (std::size_t step = 0; step != count; ++step) {
            if (step + 2 * c_ahead < count)
                __builtin_prefetch(objects[at(step + 2 * c_ahead)]);
            if (asks && step + c_ahead < count)
                fetchLinks(step + c_ahead);
            walk.index = at(step);
            auto const* const node = nodes[step % c_held];
            if (node == nullptr || node->IsInDocument())
                VisitObject(Kernel::NonCounted<Kernel::Countable>(objects[walk.index]), true);
        }
    }

    // Where a visit stands, so that its items need not be counted one by one.
    struct Walk {
        Walk(SelectionCommand& visiting, Selection const& visited)
            : command(visiting), selection(visited), outer(visiting.m_walk) {
            command.m_walk = this;
        }
        Walk(Walk const&) = delete;
        Walk& operator=(Walk const&) = delete;
        ~Walk() {
            command.m_lastItem = GetItem();
            command.m_walk = outer;
        }
        Kernel::Counted<SelectionItem const> GetItem() const { return selection.begin()[static_cast<long>(index)]; }

        SelectionCommand& command;
        Selection const& selection;
        Walk* const outer;
        std::size_t index = 0;
    };

    Walk* m_walk = nullptr;
    Kernel::Counted<SelectionItem const> m_lastItem;
};

// The same over a selection in its order of use. Given none, it takes the document's when it is first asked: that
// first call answers empty, the next one the selection.
template <class T>
class OrderedSelectionCommand : public SelectionCommand<T> {
public:
    explicit OrderedSelectionCommand(Kernel::Counted<Selection const> selection)
        : m_givenSelection(std::move(selection)) {}
    OrderedSelectionCommand() = default;

    Kernel::Counted<Selection const> const& GetOrigSelection() const { return m_givenSelection; }

    Kernel::Counted<Selection const> GetSelection() override {
        ResolveOrder();
        if (!this->m_selection) {
            m_givenSelection = this->CreateSelectionOrdered();
            this->m_selectionFromDocument = true;
            this->m_selectionResolved = true;
        } else if (!this->m_selectionResolved) {
            this->m_selectionFromDocument = false;
            this->m_selectionResolved = true;
        }
        return this->m_selection;
    }
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override {
        ResolveOrder();
        SelectionCommandBase::PostDequeueWithMutableController(controller);
    }

    void Save(Kernel::OutSerialiser& out) const override {
        Kernel::SaveValue(out, "OSCo", m_givenSelection);
        SelectionCommandProxyStateManager::Save(out);
    }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        Kernel::LoadValue(in, "OSCo", m_givenSelection);
        return SelectionCommandProxyStateManager::Load(in, files, version);
    }

private:
    void ResolveOrder() {
        if (!this->m_selection && m_givenSelection)
            this->m_selection = m_givenSelection->GetOrdered();
    }

    Kernel::Counted<Selection const> m_givenSelection;
};

// A command that receives one interface.
template <class T, class I>
class SelectionCommandWithSingleInterface : public SelectionCommand<T> {
public:
    explicit SelectionCommandWithSingleInterface(Kernel::Counted<Selection const> selection)
        : SelectionCommand<T>(std::move(selection)) {
        this->AppendTranslator(std::make_unique<TerminatingTranslatorT<T, I>>());
    }
    SelectionCommandWithSingleInterface() : SelectionCommandWithSingleInterface(Kernel::Counted<Selection const>()) {}

    void Receive(Kernel::NonCounted<I> face) { ReceiveInterface(face); }
    void Save(Kernel::OutSerialiser& out) const override { SelectionCommandProxyStateManager::Save(out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        return SelectionCommandProxyStateManager::Load(in, files, version);
    }

protected:
    bool ShouldOperateOnMasterItems() override { return false; }
    virtual void ReceiveInterface(Kernel::NonCounted<I> face) = 0;
};

// A command that receives nodes of every kind.
template <class T>
class SelectionCommandWithNodeInterfaces : public SelectionCommand<T> {
public:
    explicit SelectionCommandWithNodeInterfaces(Kernel::Counted<Selection const> selection)
        : SelectionCommand<T>(std::move(selection)) {
        this->AppendTranslator(std::make_unique<TerminatingTranslatorT<T, Node>>());
    }
    SelectionCommandWithNodeInterfaces() : SelectionCommandWithNodeInterfaces(Kernel::Counted<Selection const>()) {}

    void Receive(Kernel::NonCounted<Node> node) { ReceiveNode(node); }
    void Save(Kernel::OutSerialiser& out) const override { SelectionCommandProxyStateManager::Save(out); }
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override {
        return SelectionCommandProxyStateManager::Load(in, files, version);
    }

protected:
    virtual void ReceiveNode(Kernel::NonCounted<Node> node) = 0;
};
