// Group size and partition of the workers of a cluster run.
#include <gtest/gtest.h>

#include <vector>

#include "run/Scheduler.h"

namespace
{
struct GroupSizeCase { double needed, available; int job; int expected; };

TEST(Scheduler, GroupSize)
{
    const GroupSizeCase cases[] = {
        {500, 1000, 0, 1},      // fits
        {1000, 1000, 0, 1},     // exactly fits
        {1001, 1000, 0, 2},
        {2500, 1000, 0, 3},
        {3000, 1000, 0, 4},     // trunc(M / A) + 1, also on an exact multiple
        {5000, 0, 0, 1},        // no memory figure: one node per shot
        {5000, 1000, 1, 1},     // the job's word stands, even if it does not fit
        {100, 1000, 3, 3},
        {5000, 1000, -2, 6},    // a non-positive job value is no value
    };
    for (const GroupSizeCase& c : cases)
        EXPECT_EQ(ChooseGroupSize(c.needed, c.available, c.job), c.expected)
            << c.needed << " / " << c.available << " job " << c.job;
}

struct Slot { int group, size, rank; };

struct PlanCase { int workers, g; std::vector<int> leaders; std::vector<Slot> slots; };

TEST(Scheduler, Partition)
{
    const PlanCase cases[] = {
        {7, 3, {1, 4}, {{1, 3, 0}, {1, 3, 1}, {1, 3, 2}, {2, 4, 0}, {2, 4, 1}, {2, 4, 2}, {2, 4, 3}}},
        {6, 3, {1, 4}, {{1, 3, 0}, {1, 3, 1}, {1, 3, 2}, {2, 3, 0}, {2, 3, 1}, {2, 3, 2}}},
        {5, 2, {1, 3}, {{1, 2, 0}, {1, 2, 1}, {2, 3, 0}, {2, 3, 1}, {2, 3, 2}}},
        {3, 3, {1}, {{1, 3, 0}, {1, 3, 1}, {1, 3, 2}}},
        {5, 4, {1}, {{1, 5, 0}, {1, 5, 1}, {1, 5, 2}, {1, 5, 3}, {1, 5, 4}}},
        {3, 1, {1, 2, 3}, {{1, 1, 0}, {2, 1, 0}, {3, 1, 0}}},
    };
    for (const PlanCase& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.workers) + " workers, g " + std::to_string(c.g));
        std::vector<SGroupSlot> slots;
        std::vector<int> leaders;
        PlanGroups(c.workers, c.g, slots, leaders);
        EXPECT_EQ(leaders, c.leaders);
        ASSERT_EQ(slots.size(), c.slots.size());
        for (size_t i = 0; i < slots.size(); ++i)
        {
            SCOPED_TRACE(i + 1);
            EXPECT_EQ(slots[i].nGroup, c.slots[i].group);
            EXPECT_EQ(slots[i].nSize, c.slots[i].size);
            EXPECT_EQ(slots[i].nRank, c.slots[i].rank);
        }
    }
}

} // namespace
