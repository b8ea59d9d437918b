// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/selection.h"
#include "platform/kernel/field_list.h"

#include <any>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <typeindex>
#include <vector>

struct RecordCard;

// The names of an enumeration's values for programs outside, in the order of the values from 0 on. Specialised beside
// the command that takes the enumeration.
template <class E>
inline constexpr std::span<std::string_view const> c_outsideNames{};

// Values of an enumeration together, as programs outside give them: bit n stands for the value n.
template <class E>
struct OutsideFlags {
    using Enumeration = E;
    static constexpr std::uint32_t c_all = (std::uint32_t{1} << c_outsideNames<E>.size()) - 1;

    std::uint32_t bits = c_all;
    operator int() const { return static_cast<int>(bits); }
};

// One argument of a command, or member of a record, as programs outside the library know it.
struct ArgumentCard {
    std::string_view name;
    std::string_view help;
    // The type of its value in the std::any that a form takes.
    std::type_index type;
    // Empty when the argument must be given.
    std::any defaultValue;
    // Of an enumeration: the names of its values, and the value at a position among them, and the position of a value.
    std::span<std::string_view const> names = {};
    std::any (*valueAt)(std::size_t position) = nullptr;
    std::size_t (*positionOf)(std::any const& value) = nullptr;
    // Of several values of an enumeration at once: the value for bits by the positions of names, and back.
    std::any (*flagsOf)(std::uint32_t bits) = nullptr;
    std::uint32_t (*bitsOf)(std::any const& value) = nullptr;
    // Null but for records.
    RecordCard const* record = nullptr;
    // Of a number, or of each of several: its unit and the values that it may have. Whoever makes the command asks
    // IsInRange; the form does not.
    Kernel::ValueRange range = {};
    // Whether all numbers of the value are in the range; true for values of other types.
    bool (*isInRange)(std::any const& value, Kernel::ValueRange const& range) = nullptr;
    bool IsInRange(std::any const& value) const { return isInRange == nullptr || isInRange(value, range); }
};

// A value that is made of named members.
struct RecordCard {
    std::vector<ArgumentCard> members;
    // Takes one value a member, in their order. Throws std::bad_any_cast for values of other types.
    std::any (*make)(std::vector<std::any> const& values);
};

// The description of a command class for programs that list commands or make them from text. It follows from the named
// fields of the class's list, and lives as long as the class is registered.
struct REDRAFT_API CommandCard {
    // One way to make the command.
    struct Form {
        std::vector<ArgumentCard> arguments;
        // Its constructor takes the selection; otherwise the command asks the document for it, if it needs one.
        bool takesSelection = false;
        // Takes one value an argument, in their order. Throws std::bad_any_cast for values of other types.
        std::function<Kernel::Counted<DocumentCommand>(std::vector<std::any> const& values,
                                                       Kernel::Counted<Selection const> selection)>
            make;
    };

    // The plain name of the class.
    std::string className;
    // The name that programs outside show, where it does not follow from the class's; otherwise empty.
    std::string_view outsideName;
    std::vector<Form> forms;
    // Why the class has no form; empty when it has one.
    std::string_view reason;
    // Asks the class whether it would run on a selection; empty for classes that do not say.
    std::function<bool(Kernel::Counted<Selection const>)> canApplyTo;
    // Programs do not run the command on other selections, on which it would do harm.
    bool runsOnlyWhereItApplies = false;
    // Works on all selected objects together: they have to be of one spread, and hidden ones count.
    bool combinesObjects = false;
    // The things that Undo leaves changed on purpose, as one sentence; empty when it leaves nothing.
    std::string_view keptByUndo;

    static void Register(CommandCard card);
    static void Unregister(std::string_view className);
    // In order of registration.
    static std::vector<CommandCard> const& GetAll();
};
