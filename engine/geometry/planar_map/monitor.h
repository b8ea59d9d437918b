// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve_intersection_graph.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace Geometry::Planar {

// The abort flag and the progress of one build.
class Monitor {
public:
    Monitor(bool const* abort, Kernel::Counted<CurveIntersectionGraph::ProgressReporter> reporter)
        : m_abort(abort), m_reporter(std::move(reporter)) {}

    // Throws Kernel::AbortException once the flag is set.
    void Check() const {
        if (Kernel::IsAbortSet(m_abort))
            throw Kernel::AbortException();
    }
    // For work on another thread: the same abort flag, and no progress.
    Monitor ForThread() const { return Monitor(m_abort, nullptr); }
    // To be called after each small piece of work, of about a microsecond or less.
    void Tick() {
        if ((++m_ticks & 63) == 0)
            Check();
    }
    // A build goes through stages that each take a section of the whole, and these through steps.
    void SetStage(float from, float to) {
        m_from = from;
        m_to = to;
        SetStep(0, 1);
    }
    void SetStep(float from, float to) {
        m_stepFrom = from;
        m_stepTo = to;
        Report(0);
    }
    void Report(float partOfStep) {
        Check();
        float const value = m_from + (m_to - m_from) * (m_stepFrom + (m_stepTo - m_stepFrom) * partOfStep);
        if (m_reporter && (value >= m_reported + 0.01f || (value >= 1 && m_reported < 1))) {
            m_reported = std::min(value, 1.0f);
            m_reporter->Progress(m_reported);
        }
    }

private:
    bool const* m_abort;
    Kernel::Counted<CurveIntersectionGraph::ProgressReporter> m_reporter;
    std::size_t m_ticks = 0;
    float m_from = 0, m_to = 1, m_stepFrom = 0, m_stepTo = 1, m_reported = -1;
};

// Makes an empty vector that long, with the abort flag read in between.
template <class T>
void Fill(std::vector<T>& values, std::size_t size, T const& value, Monitor const& monitor) {
    constexpr std::size_t c_step = 65536;
    values.reserve(size);
    while (values.size() != size) {
        values.resize(std::min(size, values.size() + c_step), value);
        monitor.Check();
    }
}

// Sorts in runs that are merged, so that the abort flag is read every few milliseconds whatever the length.
template <class T, class Less>
void Sort(std::vector<T>& values, Less less, Monitor& monitor) {
    constexpr std::size_t c_run = 8192;
    std::size_t const count = values.size();
    for (std::size_t i = 0; i < count; i += c_run) {
        std::sort(values.begin() + static_cast<std::ptrdiff_t>(i),
                  values.begin() + static_cast<std::ptrdiff_t>(std::min(i + c_run, count)), less);
        monitor.Check();
    }
    if (count <= c_run)
        return;
    std::vector<T> merged;
    merged.reserve(count);
    for (std::size_t width = c_run; width < count; width *= 2) {
        merged.clear();
        for (std::size_t left = 0; left < count; left += 2 * width) {
            std::size_t i = left, j = std::min(left + width, count);
            std::size_t const middle = j, right = std::min(left + 2 * width, count);
            while (i < middle || j < right) {
                if (j == right || (i < middle && !less(values[j], values[i])))
                    merged.push_back(values[i++]);
                else
                    merged.push_back(values[j++]);
                if ((merged.size() & 8191) == 0)
                    monitor.Check();
            }
        }
        values.swap(merged);
    }
}

} // namespace Geometry::Planar
