// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "merge/data_merge_source_command.h"
#include "merge/merge_options_arguments.h"

// The commands that say where the data of a source are and how they are read.
namespace Commands {

// Has a source take its data from somewhere else.
class REDRAFT_API SetDataMergeFetcherOptionsCommand final
    : public DataMergeOptionsCommand<SetDataMergeFetcherOptionsCommand, DataMergeFetcher const> {
public:
    using DataMergeOptionsCommand::DataMergeOptionsCommand;
    static Kernel::Counted<DataMergeFetcher const> Get(DataMergeSource const& source) { return source.GetFetcher(); }
    static void Set(DataMergeSource& source, Kernel::Counted<DataMergeFetcher const> const& fetcher) {
        source.SetFetcher(fetcher);
    }

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeFetcherOptionsCommand() = default;
    static constexpr auto Fields() {
        using This = SetDataMergeFetcherOptionsCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"olft", &This::m_oldOptions},
            Kernel::Field{"nwft", &This::m_newOptions}.As<DataMergeFetcherArgument>("options", "where the data are")};
    }
};

// Has a source read its data in another way.
class REDRAFT_API SetDataMergeParserOptionsCommand final
    : public DataMergeOptionsCommand<SetDataMergeParserOptionsCommand, DataMergeParser> {
public:
    using DataMergeOptionsCommand::DataMergeOptionsCommand;
    static Kernel::Counted<DataMergeParser> Get(DataMergeSource const& source) { return source.GetParser(); }
    static void Set(DataMergeSource& source, Kernel::Counted<DataMergeParser> const& parser) {
        source.SetParser(parser);
    }

private:
    friend struct Kernel::FieldAccess;
    SetDataMergeParserOptionsCommand() = default;
    static constexpr auto Fields() {
        using This = SetDataMergeParserOptionsCommand;
        return Kernel::FieldList{
            Kernel::Field{"targ", &This::m_source}.As<DataMergeSourceReference>("source",
                                                                                "the source of the data merge"),
            Kernel::Field{"olft", &This::m_oldOptions},
            Kernel::Field{"nwft", &This::m_newOptions}.As<DataMergeParserArgument>("options", "how the data are read")};
    }
};

} // namespace Commands
