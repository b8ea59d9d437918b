// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/layout_epoch.h"

#include <atomic>

namespace {

std::atomic<std::uint64_t> s_epoch{1};
std::atomic<bool> s_placesMatter{false};

} // namespace

std::uint64_t LayoutEpoch::Get() noexcept { return s_epoch.load(std::memory_order_acquire); }

void LayoutEpoch::Advance() noexcept { s_epoch.fetch_add(1, std::memory_order_release); }

void LayoutEpoch::AdvanceForPlaces() noexcept {
    if (s_placesMatter.load(std::memory_order_relaxed))
        Advance();
}

void LayoutEpoch::LetPlacesMatter() noexcept {
    if (!s_placesMatter.exchange(true))
        Advance();
}
