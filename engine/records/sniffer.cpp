// SPDX-License-Identifier: Apache-2.0
#include "engine/records/sniffer.h"

#include "engine/records/abort_look.h"
#include "engine/records/field_types.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <map>

namespace Records {

namespace {

constexpr std::size_t c_mostRecords = 1000, c_fewestQuotedFields = 2, c_fewestYears = 2;
constexpr double c_refusedScore = 0.001;

struct Trial {
    std::vector<std::vector<std::string>> records;
    std::size_t columnCount = 0, oddFields = 0, fields = 0, quotedFields = 0;
    double score = 0;
    // More than half of the records have that many columns.
    bool isAgreed = false;
};

// Takes the sample in one way. The better all records agree in the number of their fields, the more there are of these,
// and the fewer are odd, the higher the score; 0 where fields are not divided at all.
Trial Try(std::string_view sample, bool isWhole, Dialect const& dialect, AbortLook& look) {
    Trial trial;
    TextBuffer text;
    std::copy(sample.begin(), sample.end(), text.Extend(sample.size()));
    text.SetSize(sample.size());
    RecordReader reader(dialect, c_maximumColumns);
    reader.SetText(text.GetView(), isWhole);
    std::map<std::size_t, std::size_t> counts;
    try {
        while (trial.records.size() != c_mostRecords) {
            auto const outcome = reader.Read();
            look.Spend(10);
            if (outcome == RecordReader::Outcome::Blank)
                continue;
            if (outcome != RecordReader::Outcome::Record)
                break;
            auto& record = trial.records.emplace_back();
            for (auto const span : reader.GetFields()) {
                record.emplace_back(reader.GetText(span));
                ++trial.fields;
                trial.quotedFields += (span.begin & FieldSpan::c_own) != 0 ||
                                      (span.begin != 0 && text.GetData()[span.begin - 1] == dialect.quote);
            }
            look.Spend(100 * record.size());
            ++counts[record.size()];
            trial.oddFields += reader.GetOddFields().size();
            reader.GetFields().clear();
        }
    } catch (Kernel::AbortException const&) {
        throw;
    } catch (Kernel::Exception const&) {
        // So many fields are hardly meant, unless nothing else divides the data: then reading them says so.
        trial.score = c_refusedScore;
        return trial;
    }
    std::size_t most = 0;
    for (auto const& [columns, count] : counts) {
        if (count >= most) {
            most = count;
            trial.columnCount = columns;
        }
    }
    if (trial.columnCount < 2)
        return trial;
    trial.isAgreed = 2 * most > trial.records.size();
    auto const records = static_cast<double>(trial.records.size());
    auto const share = static_cast<double>(most) / records;
    trial.score = share * share * (1 + 0.05 * static_cast<double>(std::min<std::size_t>(trial.columnCount, 20)));
    if (trial.records[0].size() != trial.columnCount)
        trial.score /= 2;
    trial.score /= 1 + static_cast<double>(trial.oddFields) / records;
    return trial;
}

char FindLineEnd(std::string_view sample) {
    return sample.find('\n') == std::string_view::npos && sample.find('\r') != std::string_view::npos ? '\r' : '\n';
}

bool IsYear(std::string_view field) {
    return field.size() == 4 && (field.starts_with("19") || field.starts_with("20")) &&
           FindReadings(field, c_numberWithPoint) != 0;
}

std::string_view const c_delimiters = ",;\t|";

// Of text that nothing seems to divide: a character that does not occur.
char FindUnusedDelimiter(std::string_view sample) {
    for (auto const c : c_delimiters) {
        if (sample.find(c) == std::string_view::npos)
            return c;
    }
    return c_delimiters[0];
}

} // namespace

bool LooksLikeHeader(std::vector<std::vector<std::string>> const& records, std::size_t columnCount) {
    if (records.size() < 2)
        return true;
    bool isLikeOthers = false;
    std::size_t years = 0;
    for (std::size_t column = 0; column != columnCount; ++column) {
        auto others = c_allReadings;
        bool isEmpty = true, areYears = true;
        for (std::size_t i = 1; i != records.size(); ++i) {
            if (column < records[i].size() && !records[i][column].empty()) {
                isEmpty = false;
                areYears = areYears && IsYear(records[i][column]);
                others = FindReadings(records[i][column], others);
            }
        }
        auto const first = column < records[0].size() ? std::string_view(records[0][column]) : std::string_view();
        if (isEmpty || others == 0 || first.empty())
            continue;
        if (FindReadings(first, others) == 0)
            return true;
        isLikeOthers = true;
        years += IsYear(first) && !areYears;
    }
    return !isLikeOthers || years >= c_fewestYears;
}

Sniffed Sniff(std::string_view sample, bool isWhole, ReadOptions const& options, bool hasTabEnding, bool const* abort) {
    AbortLook look(abort);
    Sniffed sniffed;
    auto& dialect = sniffed.dialect;
    dialect.lineEnd = FindLineEnd(sample);
    auto delimiter = options.delimiter;
    if (sample.starts_with("sep=") && sample.size() > 5 && (sample[5] == '\r' || sample[5] == '\n')) {
        sniffed.begin = std::min(sample.find(dialect.lineEnd), sample.size() - 1) + 1;
        if (delimiter == 0)
            delimiter = sample[4];
        sample.remove_prefix(sniffed.begin);
    }
    dialect.quote = options.quote == 0 ? '"' : options.quote;
    Trial best;
    dialect.delimiter = delimiter == 0 ? FindUnusedDelimiter(sample) : delimiter;
    auto const tryDelimiters = [&](char quote) {
        for (auto const c : delimiter == 0 ? c_delimiters : std::string_view(&delimiter, 1)) {
            auto trial = Try(sample, isWhole, {c, quote, dialect.lineEnd}, look);
            if (c == '\t' && hasTabEnding)
                trial.score *= 2;
            if (trial.score > best.score) {
                best = std::move(trial);
                dialect.delimiter = c;
                dialect.quote = quote;
            }
        }
    };
    tryDelimiters(dialect.quote);
    // Apostrophes quote where no quotation mark does and a good part of the fields is between them.
    if (options.quote == 0 && best.quotedFields == 0) {
        auto const plain = dialect;
        auto const trial = Try(sample, isWhole, {dialect.delimiter, '\'', dialect.lineEnd}, look);
        if (trial.quotedFields >= c_fewestQuotedFields && trial.quotedFields * 10 >= trial.fields &&
            trial.oddFields == 0) {
            best.score = 0;
            tryDelimiters('\'');
        }
        if (best.score == 0)
            dialect = plain;
    }
    if (best.score == 0)
        best = Try(sample, isWhole, dialect, look);
    sniffed.columnCount = best.isAgreed ? best.columnCount : 0;
    sniffed.hasHeader = options.header == HeaderRow::Automatic ? LooksLikeHeader(best.records, best.columnCount)
                                                               : options.header == HeaderRow::Present;
    return sniffed;
}

} // namespace Records
