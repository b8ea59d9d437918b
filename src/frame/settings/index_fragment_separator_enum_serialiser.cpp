// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/index_fragment_separator_enum_serialiser.h"

#include <iterator>

namespace Commands {

IndexFragmentSeparatorEnumSerialiser const& IndexFragmentSeparatorEnumSerialiser::GetInstance() {
    static IndexFragmentSeparatorEnumSerialiser const s_instance;
    return s_instance;
}

// Required: the values have no names.
IndexFragmentSeparatorEnumSerialiser::IndexFragmentSeparatorEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {{0, nullptr}, {1, nullptr}, {2, nullptr}, {3, nullptr},
                                              {4, nullptr}, {5, nullptr}, {6, nullptr}};
    RegisterEnumSet(c_entries, std::size(c_entries));
}

} // namespace Commands
