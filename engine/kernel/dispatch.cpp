// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/dispatch.h"

#include "engine/kernel/sanitizers.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

// Thread sanitizer does not see the synchronisation inside oneTBB and reports it.
#ifdef REDRAFT_THREAD_SANITIZER
#define REDRAFT_DISPATCH_STD_THREAD
#endif

#ifndef REDRAFT_DISPATCH_STD_THREAD
#include <memory>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#endif

namespace Kernel {

namespace {

unsigned GetDefaultThreadCount() { return std::max(1u, std::thread::hardware_concurrency()); }

std::atomic<unsigned> s_threadCount{0};

unsigned CurrentThreadCount() {
    auto const count = s_threadCount.load(std::memory_order_relaxed);
    return count == 0 ? GetDefaultThreadCount() : count;
}

#ifdef REDRAFT_DISPATCH_STD_THREAD

void RunParallel(Dispatch::Function function, std::size_t count, void* data, Dispatch::DispatchPriority,
                 unsigned threadCount) {
    std::atomic<std::size_t> next{0};
    std::atomic<bool> stopped{false};
    std::mutex mutex;
    std::exception_ptr first;
    auto const work = [&] {
        for (;;) {
            auto const index = next.fetch_add(1);
            if (index >= count || stopped.load())
                return;
            try {
                function(data, index);
            } catch (...) {
                std::lock_guard const lock(mutex);
                if (first == nullptr)
                    first = std::current_exception();
                stopped = true;
            }
        }
    };
    {
        std::vector<std::jthread> helpers;
        helpers.reserve(threadCount);
        for (std::size_t i = 1; i < std::min<std::size_t>(threadCount, count); ++i)
            helpers.emplace_back(work);
        work();
    }
    if (first != nullptr)
        std::rethrow_exception(first);
}

#else

// The arenas of one thread count. Replaced as a whole, so that loops which still run keep theirs.
struct Arenas {
    explicit Arenas(unsigned threads)
        : threadCount(threads),
          limit(tbb::global_control::max_allowed_parallelism, threads),
          low(static_cast<int>(threads), 1, tbb::task_arena::priority::low),
          normal(static_cast<int>(threads), 1, tbb::task_arena::priority::normal),
          high(static_cast<int>(threads), 1, tbb::task_arena::priority::high) {}

    tbb::task_arena& Get(Dispatch::DispatchPriority priority) {
        switch (priority) {
        case Dispatch::DispatchPriority::Background:
        case Dispatch::DispatchPriority::Low:
            return low;
        case Dispatch::DispatchPriority::High:
            return high;
        case Dispatch::DispatchPriority::Normal:
            break;
        }
        return normal;
    }

    unsigned threadCount;
    tbb::global_control limit;
    tbb::task_arena low, normal, high;
};

std::shared_ptr<Arenas> GetArenas(unsigned threadCount) {
    // Never destroyed: a worker may still leave its loop while the process exits.
    static auto& s_mutex = *new std::mutex;
    static auto& s_arenas = *new std::shared_ptr<Arenas>;
    std::lock_guard const lock(s_mutex);
    if (s_arenas == nullptr || s_arenas->threadCount != threadCount) {
        s_arenas.reset();
        s_arenas = std::make_shared<Arenas>(threadCount);
    }
    return s_arenas;
}

void RunParallel(Dispatch::Function function, std::size_t count, void* data, Dispatch::DispatchPriority priority,
                 unsigned threadCount) {
    auto const arenas = GetArenas(threadCount);
    auto const run = [&] {
        tbb::parallel_for(std::size_t{0}, count, [&](std::size_t index) { function(data, index); });
    };
    // A thread that waits for the end of its loop takes no items of others meanwhile: it may hold a lock that those
    // want.
    arenas->Get(priority).execute([&] { tbb::this_task_arena::isolate(run); });
}

#endif

} // namespace

void Dispatch::DispatchParallelFor(Function function, std::size_t count, void* data, DispatchPriority priority,
                                   ThreadPurpose, unsigned) {
    auto const threadCount = CurrentThreadCount();
    if (count > 1 && threadCount > 1) {
        RunParallel(function, count, data, priority, threadCount);
        return;
    }
    for (std::size_t index = 0; index != count; ++index)
        function(data, index);
}

void Dispatch::DispatchParallelFor(std::function<void(std::uint64_t)> const& function, std::uint64_t count,
                                   DispatchPriority priority, ThreadPurpose purpose, int) {
    auto const call = [](void* data, std::size_t index) {
        (*static_cast<std::function<void(std::uint64_t)> const*>(data))(index);
    };
    DispatchParallelFor(call, count, const_cast<std::function<void(std::uint64_t)>*>(&function), priority, purpose, 0u);
}

void Dispatch::SetThreadCount(unsigned count) { s_threadCount.store(std::max(1u, count), std::memory_order_relaxed); }

unsigned Dispatch::GetThreadCount() { return CurrentThreadCount(); }

unsigned Dispatch::GetNumberOfRealCPUs() { return GetDefaultThreadCount(); }

} // namespace Kernel
