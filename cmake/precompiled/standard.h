// SPDX-License-Identifier: Apache-2.0
// Headers that nearly every source reads, compiled once for all of them.
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/geometry_values.h"
#include "platform/kernel/string.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>
