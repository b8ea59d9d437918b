// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/raster_command.h"
#include "platform/kernel/field_list.h"
#include "platform/kernel/type_name.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

// Makes the card of a command class from its field list. The named fields are the arguments of a constructor, in the
// order of the list; a constructor that takes the selection as well has it last. A field that is alone is a constructor
// by itself. A command whose one argument is a record can also be given the record's members.
namespace CardMaking {

template <class T>
inline constexpr std::size_t c_namedCount = std::tuple_size_v<decltype(Kernel::GetNamedFields<T>())>;

template <class T>
constexpr bool IsRecord() {
    if constexpr (std::is_class_v<T>)
        return c_namedCount<T> != 0;
    else
        return false;
}

template <class Record>
RecordCard const& GetRecordCard();

// Whether a value is a number or several: those can have a range.
template <class V>
inline constexpr bool c_isNumber = std::is_arithmetic_v<V> && !std::is_same_v<V, bool>;
template <class V>
inline constexpr bool c_isNumber<std::vector<V>> = c_isNumber<V>;

template <class V>
bool IsInRange(std::any const& value, Kernel::ValueRange const& range) {
    auto const isIn = [&](auto number) {
        return static_cast<double>(number) >= range.least && static_cast<double>(number) <= range.most;
    };
    auto const& given = std::any_cast<V const&>(value);
    if constexpr (std::is_arithmetic_v<V>)
        return isIn(given);
    else
        return std::all_of(given.begin(), given.end(), isIn);
}

template <class F>
ArgumentCard Describe(F const& field) {
    using Value = typename F::Value;
    ArgumentCard card{field.GetName(), field.GetHelp(), typeid(Value), {}};
    card.range = field.GetRange();
    if constexpr (c_isNumber<Value>)
        card.isInRange = &IsInRange<Value>;
    if (auto const defaultValue = field.GetDefault())
        card.defaultValue = *defaultValue;
    if constexpr (std::is_enum_v<Value>) {
        static_assert(!c_outsideNames<Value>.empty(), "the enumeration has no names for programs outside");
        card.names = c_outsideNames<Value>;
        card.valueAt = [](std::size_t position) { return std::any(static_cast<Value>(position)); };
        card.positionOf = [](std::any const& value) { return static_cast<std::size_t>(std::any_cast<Value>(value)); };
    }
    if constexpr (requires { typename Value::Enumeration; }) {
        card.names = c_outsideNames<typename Value::Enumeration>;
        card.flagsOf = [](std::uint32_t bits) { return std::any(Value{bits}); };
        card.bitsOf = [](std::any const& value) { return std::any_cast<Value>(value).bits; };
    }
    if constexpr (IsRecord<Value>())
        card.record = &GetRecordCard<Value>();
    return card;
}

template <class... F>
std::vector<ArgumentCard> DescribeAll(std::tuple<F...> const& fields) {
    return std::apply([](F const&... field) { return std::vector<ArgumentCard>{Describe(field)...}; }, fields);
}

template <class F>
typename F::Value Get(std::vector<std::any> const& values, std::size_t position) {
    return std::any_cast<typename F::Value>(values.at(position));
}

template <class Record, class... F>
std::any MakeRecord(std::vector<std::any> const& values, std::tuple<F...> const& fields) {
    Record record;
    std::size_t position = 0;
    std::apply([&](F const&... field) { ((record.*field.GetMember() = Get<F>(values, position++)), ...); }, fields);
    return record;
}

template <class Record>
RecordCard const& GetRecordCard() {
    static RecordCard const s_card{DescribeAll(Kernel::GetNamedFields<Record>()),
                                   [](std::vector<std::any> const& values) {
                                       return MakeRecord<Record>(values, Kernel::GetNamedFields<Record>());
                                   }};
    return s_card;
}

template <class T, class... F>
inline constexpr bool c_isMade = std::is_constructible_v<T, typename F::Value...> ||
                                 std::is_constructible_v<T, typename F::Value..., Kernel::Counted<Selection const>>;

template <class T, class... F>
CommandCard::Form MakeForm(std::tuple<F...> const& fields) {
    using Given = Kernel::Counted<Selection const>;
    constexpr bool c_takesSelection = !std::is_constructible_v<T, typename F::Value...>;
    static_assert(c_isMade<T, F...>, "no constructor takes the named fields in their order");
    CommandCard::Form form;
    form.arguments = DescribeAll(fields);
    form.takesSelection = c_takesSelection;
    form.make = [](std::vector<std::any> const& values, Given selection) -> Kernel::Counted<DocumentCommand> {
        static_cast<void>(values);
        return [&]<std::size_t... Positions>(std::index_sequence<Positions...>)->Kernel::Counted<DocumentCommand> {
            if constexpr (c_takesSelection)
                return Kernel::MakeCounted<T>(Get<F>(values, Positions)..., std::move(selection));
            else
                return Kernel::MakeCounted<T>(Get<F>(values, Positions)...);
        }
        (std::index_sequence_for<F...>{});
    };
    return form;
}

// The same command by the members of the record that it takes.
inline CommandCard::Form MakeSpreadOutForm(CommandCard::Form const& form) {
    CommandCard::Form spreadOut;
    RecordCard const* const record = form.arguments.front().record;
    spreadOut.arguments = record->members;
    spreadOut.takesSelection = form.takesSelection;
    spreadOut.make = [record, make = form.make](std::vector<std::any> const& values,
                                                Kernel::Counted<Selection const> selection) {
        return make({record->make(values)}, std::move(selection));
    };
    return spreadOut;
}

template <class T, std::size_t... Positions>
std::vector<CommandCard::Form> MakeForms(std::index_sequence<Positions...>) {
    static constexpr auto c_named = Kernel::GetNamedFields<T>();
    std::vector<CommandCard::Form> forms;
    constexpr bool c_anyAlone = (std::get<Positions>(c_named).IsAlone() || ... || false);
    if constexpr (c_anyAlone) {
        static_assert((std::get<Positions>(c_named).IsAlone() && ...), "either all arguments are alone or none");
        (forms.push_back(MakeForm<T>(std::tuple(std::get<Positions>(c_named)))), ...);
    } else {
        forms.push_back(MakeForm<T>(c_named));
        if (forms.front().arguments.size() == 1 && forms.front().arguments.front().record != nullptr)
            forms.push_back(MakeSpreadOutForm(forms.front()));
    }
    return forms;
}

// Whether a selection names layers of pixels.
REDRAFT_API bool HasLayers(Kernel::Counted<Selection const> selection);

template <class T>
CommandCard MakeCard() {
    CommandCard card;
    card.className = std::string(Kernel::TypeName<T>());
    if constexpr (requires { T::c_outsideName; })
        card.outsideName = T::c_outsideName;
    if constexpr (c_namedCount<T> == 0 && !c_isMade<T>)
        card.reason = "its class names none of its arguments";
    else
        card.forms = MakeForms<T>(std::make_index_sequence<c_namedCount<T>>());
    if constexpr (requires(Kernel::Counted<Selection const> selection) { T::CanApplyTo(selection); })
        card.canApplyTo = [](Kernel::Counted<Selection const> selection) { return T::CanApplyTo(selection); };
    else if constexpr (std::derived_from<T, RasterCommand>)
        card.canApplyTo = &HasLayers;
    if constexpr (requires { T::c_runsOnlyWhereItApplies; })
        card.runsOnlyWhereItApplies = T::c_runsOnlyWhereItApplies;
    if constexpr (requires { T::c_combinesObjects; })
        card.combinesObjects = T::c_combinesObjects;
    if constexpr (requires { T::c_keptByUndo; })
        card.keptByUndo = T::c_keptByUndo;
    return card;
}

} // namespace CardMaking
