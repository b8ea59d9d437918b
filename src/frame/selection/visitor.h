// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/cast.h"

#include <memory>
#include <type_traits>
#include <vector>

class Visitor;

// Finds in an object of a selection what a command wants, and hands it over.
class Translator {
public:
    // True when the object was taken: no other translator is asked.
    virtual bool Translate(Kernel::NonCounted<Kernel::Countable> object, Visitor& visitor) = 0;
    virtual ~Translator() = default;
};

// Owns the translators of a command, in the order in which they are asked.
class Visitor {
public:
    virtual ~Visitor() = default;
    // In the order in which they are asked.
    std::vector<std::unique_ptr<Translator>> const& GetTranslators() const { return m_translators; }

protected:
    void AppendTranslator(std::unique_ptr<Translator> translator) { m_translators.push_back(std::move(translator)); }
    bool Translate(Kernel::NonCounted<Kernel::Countable> object) {
        for (auto const& translator : m_translators) {
            if (translator->Translate(object, *this))
                return true;
        }
        return false;
    }

private:
    std::vector<std::unique_ptr<Translator>> m_translators;
};

template <class T>
class VisitorT : public Visitor {};

// Hands objects with the face I to the command T. The first translator that matches ends the search for an object, so
// that their order decides which receiver it gets.
template <class T, class I>
class TerminatingTranslatorT final : public Translator {
public:
    bool Translate(Kernel::NonCounted<Kernel::Countable> object, Visitor& visitor) override {
        I* const face = Kernel::CastPointer<I, Kernel::Countable, TerminatingTranslatorT>(object.get());
        if (face == nullptr)
            return false;
        T* const command = Kernel::CastPointer<T, Visitor, TerminatingTranslatorT>(&visitor);
        if (command == nullptr)
            return false;
        if constexpr (requires { command->Receive(Kernel::NonCounted<I>(face)); })
            command->Receive(Kernel::NonCounted<I>(face));
        else
            command->Receive(Kernel::Counted<I>(face));
        return true;
    }
};
