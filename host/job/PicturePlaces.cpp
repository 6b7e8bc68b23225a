#include "host/job/PicturePlaces.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

namespace host
{

namespace
{

constexpr size_t kWaiting = 2;

// Positions are told apart to this part of a place, so that those half-way between two all go to the later one.
constexpr double kGrain = 1.0 / 16384;

// What leaving a picture out costs, beside the squared distances of those that aren't.
constexpr double kCostOfDrop = 100.0;

using Places = std::vector<std::optional<int64_t>>;

// Tries all ways to place the pictures from the first free place on, in their order.
class Trial
{
public:
    Trial(std::span<const double> positions, double farthest) : m_positions(positions), m_farthest(farthest) {}

    Places Best(int64_t free)
    {
        m_places.assign(m_positions.size(), std::nullopt);
        Try(0, free, 0.0);
        return m_best;
    }

private:
    // NOLINTNEXTLINE(misc-no-recursion): as deep as pictures wait, three
    void Try(size_t i, int64_t free, double cost)
    {
        if (cost >= m_cost)
            return;
        if (i == m_positions.size()) {
            m_best = m_places;
            m_cost = cost;
            return;
        }
        const double below = std::floor(m_positions[i]);
        for (const double place : {below + 1.0, below}) {
            const double distance = std::fabs(place - m_positions[i]);
            if (distance > m_farthest || place < static_cast<double>(free))
                continue;
            m_places[i] = static_cast<int64_t>(place);
            Try(i + 1, *m_places[i] + 1, cost + distance * distance);
        }
        m_places[i].reset();
        Try(i + 1, free, cost + kCostOfDrop);
    }

    std::span<const double> m_positions;
    double m_farthest;
    Places m_places;
    Places m_best;
    double m_cost = std::numeric_limits<double>::infinity();
};

} // namespace

std::optional<PicturePlaces::Placed> PicturePlaces::Put(Item picture, double position)
{
    m_waiting.push_back(
        {std::move(picture), std::round(position / kGrain) * kGrain, std::nullopt, std::exchange(m_droppedLast, 0)});
    Settle();
    return m_waiting.size() > kWaiting ? TakeFirst() : std::nullopt;
}

std::optional<PicturePlaces::Placed> PicturePlaces::TakeFirst()
{
    if (m_waiting.empty())
        return std::nullopt;
    Placed placed = {std::move(m_waiting.front().picture), *m_waiting.front().place};
    m_waiting.erase(m_waiting.begin());
    m_free = placed.place + 1;
    return placed;
}

// Gives all that wait a place, and leaves out what finds none.
void PicturePlaces::Settle()
{
    std::vector<double> positions;
    for (const Waiting& waiting : m_waiting)
        positions.push_back(waiting.position);
    const Places places = Trial(positions, m_farthest).Best(m_free);
    for (size_t i = 0; i < places.size(); ++i) {
        m_waiting[i].place = places[i];
        m_waiting[i].droppedBefore += std::exchange(m_droppedLast, 0);
        if (!places[i])
            m_droppedLast = m_waiting[i].droppedBefore + 1;
        m_largestRun = std::max({m_largestRun, m_waiting[i].droppedBefore, m_droppedLast});
    }
    m_dropped += static_cast<int64_t>(std::erase_if(m_waiting, [](const Waiting& waiting) { return !waiting.place; }));
}

} // namespace host
