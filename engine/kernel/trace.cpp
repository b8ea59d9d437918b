// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/trace.h"

#include "platform/kernel/cast.h"

#include <memory>
#include <mutex>

namespace Kernel {

namespace {

std::mutex s_mutex;
std::shared_ptr<Trace::Sink const> s_sink;

} // namespace

void Trace::Write(String const& line) {
    std::shared_ptr<Sink const> sink;
    {
        std::lock_guard const lock(s_mutex);
        sink = s_sink;
    }
    // Called without the lock, so that a sink may trace or replace itself.
    if (sink != nullptr)
        (*sink)(line);
}

void Trace::SetSink(Sink sink) {
    auto next = sink ? std::make_shared<Sink const>(std::move(sink)) : nullptr;
    std::lock_guard const lock(s_mutex);
    s_sink.swap(next);
}

std::uint64_t& CastMissCount() noexcept {
    static thread_local std::uint64_t s_count = 0;
    return s_count;
}

} // namespace Kernel
