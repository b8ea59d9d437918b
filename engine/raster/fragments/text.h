// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/hardware_driver.h"

#include <initializer_list>
#include <string>
#include <string_view>

// Texts of kernels, as their fragments are made.
namespace Raster::Fragments {

inline constexpr int c_languageCount = 2;
constexpr bool IsLanguage(int language) {
    return language == c_kernelLanguageCuda || language == c_kernelLanguageOpenCL;
}

// The one address of a text, which is the same for equal texts, and lives as long as the process. From any thread.
char const* Keep(std::string const& text);

// The template with the values in place of %1, %2, ... A placeholder without a value, and a % without a digit behind
// it, stay as they are; what the values hold is not looked into.
std::string Fill(std::string_view pattern, std::initializer_list<std::string_view> values);

// A name for a text, letters and digits, the same in every process.
std::string GetName(std::string_view text);

// A text that both languages share; null for a language that does not exist.
inline char const* ForBoth(int language, char const* text) { return IsLanguage(language) ? text : nullptr; }

} // namespace Raster::Fragments
