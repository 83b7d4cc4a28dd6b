// Pure parts of the shot queue: the group size and the partition of the
// workers into groups.
#pragma once

#include <vector>

// Nodes per shot: 1, or trunc(M / A) + 1 when the peak need M exceeds the
// memory A available per node (A > 0); a positive job value replaces it.
int ChooseGroupSize(double dNeededMB, double dAvailableMB, int nJobGroupSize);

struct SGroupSlot
{
    int nGroup;   // 1-based group number
    int nSize;    // size of the worker's group
    int nRank;    // rank inside the group
};

// Workers 1..nWorkers into nWorkers / g groups of g; the last group takes
// the workers left over. vSlots[r - 1] is worker r; vLeaders the lowest
// worker of each group, ascending. Needs 1 <= g <= nWorkers.
void PlanGroups(int nWorkers, int g, std::vector<SGroupSlot>& vSlots, std::vector<int>& vLeaders);
