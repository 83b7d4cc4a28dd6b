#pragma once
// Two whole time steps in one pass over memory, for any scheme whose step is
// a velocity half step and a stress (or pressure) half step: each grid is
// read and written about once per two steps instead of twice.
//
// The four half steps ("sub-steps" 0..3: velocity, stress, velocity,
// stress) run as a wavefront over the planes: sub-step s of plane j - lag[s]
// runs in stage j. The rows of a plane go in tiles; sub-step s of tile t
// covers the rows from y0 + t*R - shift[s] on, so a tile needs only the
// tiles before it. Thread t % T runs tile t, waiting on the stage counter of
// the thread that runs tile t-1 (kept kLead stages ahead): a pipeline with no
// barrier. Each cell gets the bits of the four plain sweeps.
//
// The lags and shifts follow from how far each half step reads (its reach
// along z and along y, below and above the cell). Between sub-steps s and
// s+1 the gap must cover
//   - the reach above of s+1: its reads of what s wrote are done, in the
//     tile's own rows and planes;
//   - the reach below of s: s+1 overwrites what s read, and must neither do
//     so before s has read it in this tile nor in rows the next tile still
//     has to read.

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include <omp.h>

#include "cpu/FDScheme.h"

namespace fd
{

// How far a half step reads its input fields, in cells along one axis.
struct Reach
{
    int below, above;
};

struct PairPlan
{
    int lag[4];     // planes behind sub-step 0
    int shift[4];   // rows behind sub-step 0
};

// u: the velocity step's reads of the stresses, t: the stress step's reads
// of the velocities; [0] along z, [1] along y.
constexpr PairPlan MakePairPlan(const Reach (&u)[2], const Reach (&t)[2])
{
    PairPlan p = {};
    for (int a = 0; a < 2; a++)
    {
        const int g01 = std::max(t[a].above, u[a].below), g12 = std::max(u[a].above, t[a].below);
        int* const o = a == 0 ? p.lag : p.shift;
        o[0] = 0;
        o[1] = g01;
        o[2] = g01 + g12;
        o[3] = 2 * g01 + g12;
    }
    return p;
}

namespace pair
{
constexpr int kLead = 4;

// Done stages of a thread, as tile * (stages + 1) + stage, on a line of its own.
struct alignas(64) Progress
{
    std::atomic<int64_t> n{-1};
};

inline void WaitFor(const Progress& p, int64_t n)
{
    for (int spin = 0; p.n.load(std::memory_order_acquire) < n; spin++)
        if (spin > 1000)
            std::this_thread::yield();   // the machine may be shared: give the core away
}
} // namespace pair

// The pass over box b in tiles of nTileRows rows. makeRows() is called once
// per thread; what it returns is called as rows(s, z, ya, yb) for the rows
// [ya, yb) of plane z in sub-step s, and returns false when its NaN check saw
// one. Nothing may touch the fields during the pass.
template <class MakeRows>
bool SweepTwoSteps(const Box& b, int nTileRows, const PairPlan& plan, MakeRows makeRows)
{
    using pair::Progress;
    const int nRows = b.y1 - b.y0 + 1, nPlanes = b.z1 - b.z0 + 1;
    if (nRows <= 0 || nPlanes <= 0 || b.x1 < b.x0)
        return true;
    const int R = std::max(4, nTileRows);
    const int nTiles = (nRows + R - 1) / R, nStages = nPlanes + plan.lag[3];
    unsigned char bOk = 1;   // only ever cleared
    std::vector<Progress> progress((size_t)std::max(1, omp_get_max_threads()));
#pragma omp parallel
    {
        auto rows = makeRows();
        const int me = omp_get_thread_num(), nThreads = omp_get_num_threads();
        for (int t = me; t < nTiles; t += nThreads)
        {
            int y0[4], y1[4];   // rows [y0, y1) of each sub-step
            for (int s = 0; s < 4; s++)
            {
                y0[s] = t == 0 ? b.y0 : std::max(b.y0, b.y0 + t * R - plan.shift[s]);
                y1[s] = t == nTiles - 1 ? b.y1 + 1 : std::max(b.y0, b.y0 + (t + 1) * R - plan.shift[s]);
            }
            const Progress& before = progress[(size_t)((t - 1 + nThreads) % nThreads)];
            for (int j = 0; j < nStages; j++)
            {
                if (t > 0)
                    pair::WaitFor(before, (int64_t)(t - 1) * (nStages + 1) + std::min(j + 1 + pair::kLead, nStages));
                for (int s = 0; s < 4; s++)
                {
                    const int z = b.z0 + j - plan.lag[s];
                    if (z >= b.z0 && z <= b.z1 && y0[s] < y1[s] && !rows(s, z, y0[s], y1[s]))
                    {
#pragma omp atomic write
                        bOk = 0;
                    }
                }
                progress[(size_t)me].n.store((int64_t)t * (nStages + 1) + j + 1, std::memory_order_release);
            }
        }
    }
    return bOk != 0;
}

} // namespace fd
