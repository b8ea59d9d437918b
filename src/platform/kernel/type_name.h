// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

namespace Kernel {

namespace Detail {

template <class T>
constexpr std::string_view SpelledTypeName() {
    std::string_view text = __PRETTY_FUNCTION__;
    auto const begin = text.find("T = ") + 4;
    auto name = text.substr(begin, text.find_first_of(";]", begin) - begin);
    auto const scope = name.rfind("::");
    return scope == std::string_view::npos ? name : name.substr(scope + 2);
}

template <class T>
constexpr auto MakeTypeName() {
    constexpr auto c_name = SpelledTypeName<T>();
    std::array<char, c_name.size() + 1> result{};
    for (std::size_t i = 0; i != c_name.size(); ++i)
        result[i] = c_name[i];
    return result;
}

template <class T>
inline constexpr auto c_typeName = MakeTypeName<T>();

} // namespace Detail

// The plain name of a class that is no template, without its namespace: "GroupNode". data() ends in a zero byte.
template <class T>
constexpr std::string_view TypeName() {
    return {Detail::c_typeName<T>.data(), Detail::c_typeName<T>.size() - 1};
}

} // namespace Kernel
