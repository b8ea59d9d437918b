// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/contract/notifications.h"
#include "frame/persistence/persisted.h"
#include "merge/data_merge_update.h"
#include "merge/merge_references.h"
#include "platform/document/set_data_merge_preview_command.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

namespace Commands {

// By which names the values of an enumeration of filters are stored.
template <class E>
inline constexpr auto c_dataMergeEnumNames = nullptr;
template <>
inline constexpr auto c_dataMergeEnumNames<DataMergeRuleOperator> = &DataMergeRuleOperatorEnumSerialiser::GetInstance;
template <>
inline constexpr auto c_dataMergeEnumNames<DataMergeRuleAggregateFunction> =
    &DataMergeRuleAggregateFunctionEnumSerialiser::GetInstance;
template <>
inline constexpr auto c_dataMergeEnumNames<DataMergeProcessFilter::Action> =
    &DataMergeProcessFilterActionEnumSerialiser::GetInstance;

// Gives a property of an object of a merge source's filters another value, takes the source through its filters again
// and has the fields of the document show what comes out. F is the object's class, V the value's type. A derived class
// says how the property is read and written.
template <class F, class V>
class SetDataMergeFilterPropertyCommand
    : public Persisted<SetDataMergeFilterPropertyCommand<F, V>, DataMergeUpdateCommand> {
public:
    void Do() override {
        this->SetDirection(DomainCommand::Direction::Do);
        m_oldPreviewRow = RequireSource(m_source).GetPreviewRow();
        m_oldValue = GetValue(RequireTarget());
        Put(m_newValue);
        this->m_updatePreviewCommand = DoUpdatePreview(*this, m_source);
    }
    void Undo() override {
        this->SetDirection(DomainCommand::Direction::Undo);
        Put(m_oldValue);
        m_source->SetPreviewRow(m_oldPreviewRow);
        UndoUpdatePreview(this->m_updatePreviewCommand);
    }
    void Redo() override {
        this->SetDirection(DomainCommand::Direction::Redo);
        Put(m_newValue);
        RedoUpdatePreview(this->m_updatePreviewCommand);
    }
    void Notify(Kernel::NotificationList& notifications) override {
        auto const controller = this->GetDocumentController();
        if (m_warnings)
            m_warnings->Notify(notifications, controller);
        notifications.push_back(
            Kernel::MakeCounted<DataMergeFilterOptionsChangedNotification>(controller, this->m_preview, m_source));
        NotifyOfUpdatePreview(*this, this->m_updatePreviewCommand, notifications);
    }
    // Required: commands merge whether or not they are previews.
    bool Merge(Kernel::Counted<Command const> newer) override {
        auto const other = Kernel::Cast<SetDataMergeFilterPropertyCommand const>(newer);
        if (!other || other->GetObjectClassProperties() != this->GetObjectClassProperties() ||
            other->m_target != m_target)
            return false;
        m_newValue = other->m_newValue;
        return true;
    }

protected:
    SetDataMergeFilterPropertyCommand() = default;
    SetDataMergeFilterPropertyCommand(Kernel::JailCounted<DataMergeSource> source, Kernel::JailCounted<F> target,
                                      V value)
        : m_source(std::move(source)), m_target(std::move(target)), m_newValue(std::move(value)) {}

    // Neither is called without a source and a target.
    virtual V GetValue(Kernel::JailCounted<F> target) const = 0;
    // The direction is that of the step, for values that have an effect on others.
    virtual void SetValue(Kernel::Counted<F> target, V const& value, DomainCommand::Direction direction) = 0;

    Kernel::JailCounted<DataMergeSource> m_source;
    Kernel::JailCounted<F> m_target;
    V m_oldValue{}, m_newValue{};

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = SetDataMergeFilterPropertyCommand;
        constexpr Kernel::Field c_new{"valu", &This::m_newValue}, c_old{"olvl", &This::m_oldValue};
        constexpr Kernel::Field c_target{"trgt", &This::m_target};
        constexpr Kernel::Field c_source{"srce", &This::m_source};
        constexpr Kernel::Field c_preview{"udcm", &This::m_updatePreviewCommand};
        constexpr Kernel::Field c_row{"olpv", &This::m_oldPreviewRow};
        if constexpr (std::is_enum_v<V>) {
            constexpr auto c_names = c_dataMergeEnumNames<V>;
            return Kernel::FieldList{
                c_new.EnumBy(c_names), c_old.EnumBy(c_names), c_target, c_source, c_preview, c_row};
        } else {
            return Kernel::FieldList{c_new, c_old, c_target, c_source, c_preview, c_row};
        }
    }

    Kernel::JailCounted<F> const& RequireTarget() const {
        if (!m_target)
            throw Kernel::Exception("the object of the filters that is to change is missing");
        return m_target;
    }
    void Put(V const& value) {
        auto& source = RequireSource(m_source);
        SetValue(RequireTarget(), value, this->GetDirection());
        UpdateFilters(*this, source);
        m_warnings = source.GetWarnings();
    }

    std::uint32_t m_oldPreviewRow = 0;
    Kernel::Counted<DataMergeWarningSink const> m_warnings;
};

// The same for a clause of a rule, with the values that the clause matched before, for properties that replace them.
template <class V>
class SetDataMergeFilterClausePropertyCommand
    : public Persisted<SetDataMergeFilterClausePropertyCommand<V>,
                       SetDataMergeFilterPropertyCommand<DataMergeRuleClause, V>> {
protected:
    using Base = SetDataMergeFilterPropertyCommand<DataMergeRuleClause, V>;
    SetDataMergeFilterClausePropertyCommand() = default;
    SetDataMergeFilterClausePropertyCommand(Kernel::JailCounted<DataMergeSource> source,
                                            Kernel::JailCounted<DataMergeRuleClause> clause, V value)
        : Persisted<SetDataMergeFilterClausePropertyCommand<V>, Base>(std::move(source), std::move(clause),
                                                                      std::move(value)) {}

    // Replaces the clause's match values by a set that has none of its own, and puts the old ones back by Undo.
    void ReplaceMatchValues(DataMergeRuleClause& clause, bool defaultInclude, DomainCommand::Direction direction) {
        if (direction == DomainCommand::Direction::Do)
            m_oldMatchValues = clause.GetMatchValues();
        bool const isUndo = direction == DomainCommand::Direction::Undo;
        clause.SetMatchValues(isUndo ? m_oldMatchValues : DataMergeValueSet(defaultInclude));
    }

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"olmv", &SetDataMergeFilterClausePropertyCommand::m_oldMatchValues}};
    }

    DataMergeValueSet m_oldMatchValues;
};

// How an object's property is read and written, and called.
template <class Get, class Set>
struct DataMergeProperty {
    // For programs outside, with its help.
    std::string_view argument, help;
    Get get;
    Set set;
};
// Compilers before P1816 deduce no aggregate.
template <class Get, class Set>
DataMergeProperty(std::string_view, std::string_view, Get, Set) -> DataMergeProperty<Get, Set>;

// The name by which programs outside give an object of this class.
template <class F>
constexpr std::string_view GetDataMergeTargetName() {
    if constexpr (std::is_same_v<F, DataMergeRuleClause>)
        return "clause";
    else if constexpr (std::is_same_v<F, DataMergeRule>)
        return "rule";
    else
        return "filter";
}

// Base of the commands themselves: T has a DataMergeProperty c_property.
template <class T, class F, class V, class Base = SetDataMergeFilterPropertyCommand<F, V>>
class DataMergePropertyCommand : public Persisted<T, Base> {
public:
    DataMergePropertyCommand(Kernel::JailCounted<DataMergeSource> source, Kernel::JailCounted<F> target, V value)
        : Persisted<T, Base>(std::move(source), std::move(target), std::move(value)) {}

protected:
    DataMergePropertyCommand() = default;
    V GetValue(Kernel::JailCounted<F> target) const override { return ((*target).*T::c_property.get)(); }
    void SetValue(Kernel::Counted<F> target, V const& value, DomainCommand::Direction) override {
        ((*target).*T::c_property.set)(value);
    }

private:
    friend struct Kernel::FieldAccess;
    static constexpr auto Fields() {
        using This = DataMergePropertyCommand;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::m_source}.template As<DataMergeSourceReference>("source", "the source of the data merge"),
            Unstored{&This::m_target}.template As<DataMergeReference<F>>(GetDataMergeTargetName<F>(),
                                                                         "the object to change"),
            Unstored{&This::m_newValue}.As(T::c_property.argument, T::c_property.help)};
    }
};
template <class T, class V>
using DataMergeClauseCommand =
    DataMergePropertyCommand<T, DataMergeRuleClause, V, SetDataMergeFilterClausePropertyCommand<V>>;

} // namespace Commands
