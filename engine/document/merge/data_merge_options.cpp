// SPDX-License-Identifier: Apache-2.0
#include "platform/document/data_merge_options.h"

#include "platform/document/data_merge_warnings_notification.h"
#include "platform/kernel/field_value.h"

#include <algorithm>

// DataMergeFetcher

Kernel::Counted<DataMergeFetcher> DataMergeFetcher::MakeWithContent(Kernel::String name, Kernel::String content) {
    auto const fetcher = Kernel::MakeCounted<DataMergeFetcher>(std::move(name));
    fetcher->m_content = std::move(content);
    fetcher->m_hasContent = true;
    return fetcher;
}

bool DataMergeFetcher::IsEqualTo(DataMergeFetcher const& other) const {
    return m_path == other.m_path && m_hasContent == other.m_hasContent && m_content == other.m_content;
}

// DataMergeParser

bool DataMergeParser::IsEqualTo(DataMergeParser const& other) const {
    return m_options == other.m_options && m_locale == other.m_locale;
}

namespace {

// Of an enumeration whose last value is `last`; a value beyond it, which a newer program may have written, counts as 0.
template <class E>
void LoadNumber(Kernel::InSerialiser const& in, Kernel::IDTag tag, E& value, E last) {
    std::uint32_t number = 0;
    if (Kernel::LoadValue(in, tag, number))
        value = number <= static_cast<std::uint32_t>(last) ? static_cast<E>(number) : E{};
}

void LoadCharacter(Kernel::InSerialiser const& in, Kernel::IDTag tag, char& value) {
    std::uint32_t number = 0;
    if (Kernel::LoadValue(in, tag, number))
        value = number < 0x80 ? static_cast<char>(number) : char{};
}

} // namespace

void DataMergeParser::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Frmt", static_cast<std::uint32_t>(m_options.format));
    Kernel::SaveValue(out, "Enco", static_cast<std::uint32_t>(m_options.encoding));
    Kernel::SaveValue(out, "Head", static_cast<std::uint32_t>(m_options.header));
    Kernel::SaveValue(out, "Deli", static_cast<std::uint32_t>(static_cast<unsigned char>(m_options.delimiter)));
    Kernel::SaveValue(out, "Quot", static_cast<std::uint32_t>(static_cast<unsigned char>(m_options.quote)));
    Kernel::SaveValue(out, "Deci", static_cast<std::uint32_t>(static_cast<unsigned char>(m_options.decimalMark)));
    Kernel::SaveValue(out, "Shee", m_options.sheet);
    Kernel::SaveValue(out, "Loca", m_locale);
}

bool DataMergeParser::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    LoadNumber(in, "Frmt", m_options.format, Records::FileFormat::Spreadsheet);
    LoadNumber(in, "Enco", m_options.encoding, Records::Encoding::Windows1252);
    LoadNumber(in, "Head", m_options.header, Records::HeaderRow::Absent);
    LoadCharacter(in, "Deli", m_options.delimiter);
    LoadCharacter(in, "Quot", m_options.quote);
    LoadCharacter(in, "Deci", m_options.decimalMark);
    Kernel::LoadValue(in, "Shee", m_options.sheet);
    Kernel::LoadValue(in, "Loca", m_locale);
    return true;
}

// DataMergeWarningSink

DataMergeWarningsNotification::~DataMergeWarningsNotification() = default;

void DataMergeWarningSink::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications,
                                  Kernel::Counted<DocumentController const> controller) const {
    if (!IsEmpty())
        notifications.push_back(Kernel::MakeCounted<DataMergeWarningsNotification>(
            controller, Kernel::Counted<DataMergeWarningSink const>(this), m_sourceName));
}
