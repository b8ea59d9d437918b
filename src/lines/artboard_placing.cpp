// SPDX-License-Identifier: Apache-2.0
#include "lines/artboard_placing.h"

#include <cmath>
#include <functional>
#include <queue>

namespace Commands {

namespace {

using Rect = Kernel::RectT<double>;

bool SpansOverlap(double beginA, double endA, double beginB, double endB) { return beginA < endB && beginB < endA; }
bool IsLeftOf(Rect const& a, Rect const& b) {
    return a.right <= b.left && SpansOverlap(a.top, a.bottom, b.top, b.bottom);
}
bool IsAbove(Rect const& a, Rect const& b) {
    return a.bottom <= b.top && SpansOverlap(a.left, a.right, b.left, b.right);
}

// Places boards one by one: always the first of those whose neighbours have all been placed. Each board counts the
// neighbours that it still waits for.
class Placing {
public:
    explicit Placing(std::span<ArtboardToPlace const> boards) : m_boards(boards), m_waiting(boards.size()) {
        for (std::size_t i = 0; i != boards.size(); ++i)
            FindNeighbours(i);
    }

    std::vector<Rect> Run() {
        for (std::size_t i = 0; i != m_waiting.size(); ++i) {
            if (m_waiting[i].neighbourCount == 0)
                m_ready.push(i);
        }
        std::size_t firstLeft = 0;
        for (std::size_t placed = 0; placed != m_waiting.size(); ++placed) {
            if (m_ready.empty()) {
                // A circle: each of those that are left waits for another one of them.
                while (m_waiting[firstLeft].place)
                    ++firstLeft;
                Place(firstLeft);
            } else {
                auto const next = m_ready.top();
                m_ready.pop();
                Place(next);
            }
        }
        std::vector<Rect> places;
        for (auto const& board : m_waiting)
            places.push_back(*board.place);
        return places;
    }

private:
    struct Waiting {
        std::vector<std::size_t> left, above;
        // Those that wait for this one, once for each way in which it is their neighbour.
        std::vector<std::size_t> dependents;
        std::size_t neighbourCount = 0;
        std::optional<Rect> place;
    };

    void FindNeighbours(std::size_t i) {
        auto const& [box, resize] = m_boards[i];
        auto wanted = box;
        if (resize) {
            wanted.right = box.left + resize->diagonal.x;
            wanted.bottom = box.top + resize->diagonal.y;
        }
        bool const grows = wanted.GetWidth() > box.GetWidth() && wanted.GetHeight() > box.GetHeight();
        for (std::size_t j = 0; j != m_boards.size(); ++j) {
            auto const& other = m_boards[j].box;
            if (j == i)
                continue;
            if (IsLeftOf(other, box) || (grows && IsLeftOf(other, wanted)))
                AddNeighbour(i, m_waiting[i].left, j);
            if (IsAbove(other, box) || (grows && IsAbove(other, wanted)))
                AddNeighbour(i, m_waiting[i].above, j);
        }
    }

    void AddNeighbour(std::size_t i, std::vector<std::size_t>& neighbours, std::size_t j) {
        neighbours.push_back(j);
        m_waiting[j].dependents.push_back(i);
        ++m_waiting[i].neighbourCount;
    }

    // Of the edge of a neighbour that has a place.
    double GetLargestShift(std::vector<std::size_t> const& neighbours, double Rect::*farEdge) const {
        std::optional<double> largest;
        for (auto const j : neighbours) {
            if (!m_waiting[j].place)
                continue;
            double const shift = *m_waiting[j].place.*farEdge - m_boards[j].box.*farEdge;
            if (!std::isnan(shift) && (!largest || shift > *largest))
                largest = shift;
        }
        return largest.value_or(0);
    }

    void Place(std::size_t i) {
        auto const& [box, resize] = m_boards[i];
        double const x = GetLargestShift(m_waiting[i].left, &Rect::right);
        double const y = GetLargestShift(m_waiting[i].above, &Rect::bottom);
        m_waiting[i].place = Rect{box.left + x, box.top + y, box.right + x, box.bottom + y};
        if (resize) {
            m_waiting[i].place->right = m_waiting[i].place->left + resize->boxSize.width;
            m_waiting[i].place->bottom = m_waiting[i].place->top + resize->boxSize.height;
        }
        for (auto const dependent : m_waiting[i].dependents) {
            if (--m_waiting[dependent].neighbourCount == 0 && !m_waiting[dependent].place)
                m_ready.push(dependent);
        }
    }

    std::span<ArtboardToPlace const> m_boards;
    std::vector<Waiting> m_waiting;
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> m_ready;
};

} // namespace

std::vector<Rect> PlaceArtboards(std::span<ArtboardToPlace const> boards) { return Placing(boards).Run(); }

} // namespace Commands
