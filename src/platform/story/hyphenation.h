// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <string>

namespace Story {

// Where compiled hyphenation patterns are kept between processes: an absolute path of a folder that only the user can
// write to; it is made when it is needed. Empty, as at first: nowhere, and every process compiles the patterns of the
// languages that it meets, which takes seconds for German. To be called before text is composed.
//
// The folder is a cache: its files may be deleted at any time, and one that is damaged, or was made from another
// dictionary or by another version, is made again.
REDRAFT_ENGINE void SetHyphenationCacheFolder(std::string folder);
REDRAFT_ENGINE std::string GetHyphenationCacheFolder();

} // namespace Story
