#pragma once
// The differences of the 21-constant stress step, a row at a time.
//
// AniCellTau takes 117 fourth-order differences per cell: the nine plain
// ones and the four behind each of the 27 averages. Every one of them is a
// D- of one velocity along one axis at some index offset (a D+ at i is the
// D- at i + s: the same operations on the same values), and along a row the
// one at (dz, dy, dx) for column x is the one at (dz, dy, 0) for column
// x + dx. So a row needs each distinct (velocity, axis, dz, dy) once, as a
// row of its own: 40 of them. The averages are then sums of four entries of
// those rows, taken in the order of AvgPlus / AvgMinus, and each cell gets
// the bits of the per-cell functions.
//
// The tables below are written as AniAvgDerivs and ElaStrainDerivs are;
// the distinct rows and every look-up are worked out from them at compile
// time, so the loops over x index with constants only and vectorise.

#include "cpu/AniScheme.h"
#include "cpu/SweepPair.h"

#include <utility>

namespace ani
{
namespace rows
{

enum
{
    kUx = 0,
    kUy = 1,
    kUz = 2
};

// An index offset in cells.
struct Off
{
    int dz, dy, dx;
};

constexpr Off operator+(Off a, Off b)
{
    return {a.dz + b.dz, a.dy + b.dy, a.dx + b.dx};
}

constexpr Off operator-(Off a)
{
    return {-a.dz, -a.dy, -a.dx};
}

constexpr Off kO = {0, 0, 0}, kX = {0, 0, 1}, kY = {0, 1, 0}, kZ = {1, 0, 0};

constexpr Off Unit(int axis)
{
    return axis == fd::kAxisX ? kX : axis == fd::kAxisY ? kY : kZ;
}

// One difference as the per-cell code takes it.
struct Diff
{
    int field, axis;
    bool bPlus;
    Off o;
};

// AvgPlus / AvgMinus(f, i, s, a0, a1, b0, b1).
struct AvgDef
{
    int field, axis;
    bool bPlus;
    Off a0, a1, b0, b1;
};

constexpr bool P = true, M = false;

// AniAvgDerivs, in the order of AvgDerivs::v ([axis][k], x axis first).
constexpr AvgDef kAvgDefs[27] = {
    // x axis
    {kUx, fd::kAxisX, P, -kY, kO, -kX, kO},
    {kUx, fd::kAxisX, P, -kZ, kO, -kX, kO},
    {kUx, fd::kAxisX, P, -kZ, kO, -kY, kO},
    {kUy, fd::kAxisX, M, kO, kY, kO, kX},
    {kUy, fd::kAxisX, M, -kZ, kO, kO, kX},
    {kUy, fd::kAxisX, M, -kZ, kO, -kY, kO},
    {kUz, fd::kAxisX, M, kO, kY, kO, kX},
    {kUz, fd::kAxisX, M, kO, kZ, kO, kX},
    {kUz, fd::kAxisX, M, kO, kZ, kO, kY},
    // y axis
    {kUy, fd::kAxisY, P, -kY, kO, -kX, kO},
    {kUy, fd::kAxisY, P, -kZ, kO, -kX, kO},
    {kUy, fd::kAxisY, P, -kZ, kO, -kY, kO},
    {kUx, fd::kAxisY, M, kO, kY, kO, kX},
    {kUx, fd::kAxisY, M, -kZ, kO, kO, kX},
    {kUx, fd::kAxisY, M, -kZ, kO, -kY, kO},
    {kUz, fd::kAxisY, M, -kY, kO, -kX, kO},
    {kUz, fd::kAxisY, M, kO, kZ, -kX, kO},
    {kUz, fd::kAxisY, M, kO, kZ, kO, kY},
    // z axis
    {kUz, fd::kAxisZ, P, -kY, kO, -kX, kO},
    {kUz, fd::kAxisZ, P, -kZ, kO, -kX, kO},
    {kUz, fd::kAxisZ, P, -kZ, kO, -kY, kO},
    {kUx, fd::kAxisZ, M, kO, kY, kO, kX},
    {kUx, fd::kAxisZ, M, kO, kZ, kO, kX},
    {kUx, fd::kAxisZ, M, kO, kZ, kO, kY},
    {kUy, fd::kAxisZ, M, -kY, kO, -kX, kO},
    {kUy, fd::kAxisZ, M, kO, kZ, -kX, kO},
    {kUy, fd::kAxisZ, M, kO, kZ, kO, kY},
};

// ElaStrainDerivs: ex, a2, b2, ey, a1, c2, ez, b1, c1 (StrainDerivs order).
constexpr Diff kPlainDefs[9] = {
    {kUx, fd::kAxisX, P, kO}, {kUy, fd::kAxisX, M, kO}, {kUz, fd::kAxisX, M, kO},
    {kUy, fd::kAxisY, P, kO}, {kUx, fd::kAxisY, M, kO}, {kUz, fd::kAxisY, M, kO},
    {kUz, fd::kAxisZ, P, kO}, {kUx, fd::kAxisZ, M, kO}, {kUy, fd::kAxisZ, M, kO},
};

// The four differences of an average in the order they are summed.
constexpr Diff AvgTerm(const AvgDef& a, int n)
{
    const Off o = n == 0 ? a.a0 + a.b0 : n == 1 ? a.a0 + a.b1 : n == 2 ? a.a1 + a.b0 : a.a1 + a.b1;
    return {a.field, a.axis, a.bPlus, o};
}

// A difference as the D- at an offset.
constexpr Off MinusOffset(const Diff& d)
{
    return d.bPlus ? d.o + Unit(d.axis) : d.o;
}

// A row of differences and the column shifts it is read at.
struct RowDef
{
    int field, axis, dz, dy;
    int dxLo, dxHi;
};

constexpr int kMaxRows = 9 + 4 * 27;

struct RowSet
{
    RowDef r[kMaxRows];
    int n;
};

constexpr int FindRow(const RowSet& s, const Diff& d)
{
    const Off o = MinusOffset(d);
    for (int k = 0; k < s.n; k++)
        if (s.r[k].field == d.field && s.r[k].axis == d.axis && s.r[k].dz == o.dz && s.r[k].dy == o.dy)
            return k;
    return -1;
}

constexpr void AddDiff(RowSet& s, const Diff& d)
{
    const Off o = MinusOffset(d);
    int k = FindRow(s, d);
    if (k < 0)
    {
        k = s.n++;
        s.r[k] = {d.field, d.axis, o.dz, o.dy, o.dx, o.dx};
    }
    s.r[k].dxLo = o.dx < s.r[k].dxLo ? o.dx : s.r[k].dxLo;
    s.r[k].dxHi = o.dx > s.r[k].dxHi ? o.dx : s.r[k].dxHi;
}

constexpr RowSet CollectRows()
{
    RowSet s{};
    for (const Diff& d : kPlainDefs)
        AddDiff(s, d);
    for (const AvgDef& a : kAvgDefs)
        for (int n = 0; n < 4; n++)
            AddDiff(s, AvgTerm(a, n));
    return s;
}

constexpr RowSet kRows = CollectRows();
constexpr int kNumRows = kRows.n;
static_assert(kNumRows == 40, "the 117 differences of a cell fall on 40 rows");

// How far the step reads the velocities below and above a cell along an
// axis: the row at (dz, dy) of a D- along that axis reads from two cells
// below its offset to one above, any other row at its offset only.
constexpr fd::Reach ReachAlong(int axis)
{
    fd::Reach r = {0, 0};
    for (int k = 0; k < kRows.n; k++)
    {
        const RowDef& d = kRows.r[k];
        const int o = axis == fd::kAxisZ ? d.dz : d.dy;
        const int lo = o - (d.axis == axis ? 2 : 0), hi = o + (d.axis == axis ? 1 : 0);
        r.below = -lo > r.below ? -lo : r.below;
        r.above = hi > r.above ? hi : r.above;
    }
    return r;
}
// Along z ([0]) and y ([1]): the averages shifted one row down reach a third
// row below.
constexpr fd::Reach kReach[2] = {ReachAlong(fd::kAxisZ), ReachAlong(fd::kAxisY)};
static_assert(kReach[0].below == 2 && kReach[0].above == 2 && kReach[1].below == 3 && kReach[1].above == 2,
              "the reach of the 21-constant step");

// Rows that differ only in dy are one row of differences met again by the
// next row of cells: a group per (velocity, axis, dz), whose rows a sweep
// keeps in a ring of kSlots, slot (y + dy) & (kSlots - 1), so that a row of
// cells that follows its neighbour in y computes only one row per group.
constexpr int kSlots = 4;

struct GroupSet
{
    int g[kMaxRows];   // group of each row
    int n;
    int dyLo[kMaxRows], dyHi[kMaxRows], dxLo[kMaxRows], dxHi[kMaxRows];
    int first[kMaxRows];   // a row of the group, for its field, axis and dz
};

constexpr GroupSet CollectGroups()
{
    GroupSet s{};
    for (int k = 0; k < kRows.n; k++)
    {
        const RowDef& r = kRows.r[k];
        int g = 0;
        while (g < s.n && !(kRows.r[s.first[g]].field == r.field && kRows.r[s.first[g]].axis == r.axis &&
                            kRows.r[s.first[g]].dz == r.dz))
            g++;
        if (g == s.n)
        {
            s.n++;
            s.first[g] = k;
            s.dyLo[g] = s.dyHi[g] = r.dy;
            s.dxLo[g] = r.dxLo;
            s.dxHi[g] = r.dxHi;
        }
        s.g[k] = g;
        s.dyLo[g] = r.dy < s.dyLo[g] ? r.dy : s.dyLo[g];
        s.dyHi[g] = r.dy > s.dyHi[g] ? r.dy : s.dyHi[g];
        s.dxLo[g] = r.dxLo < s.dxLo[g] ? r.dxLo : s.dxLo[g];
        s.dxHi[g] = r.dxHi > s.dxHi[g] ? r.dxHi : s.dxHi[g];
    }
    return s;
}

constexpr GroupSet kGroups = CollectGroups();
constexpr int kNumGroups = kGroups.n;
static_assert(kNumGroups == 18, "the 40 rows fall into 18 groups along y");

constexpr bool RingHoldsGroups()
{
    for (int g = 0; g < kNumGroups; g++)
        if (kGroups.dyHi[g] - kGroups.dyLo[g] >= kSlots)
            return false;
    return true;
}
static_assert(RingHoldsGroups(), "a group spans more rows than its ring holds");

// Where one difference of column x is found: row r at column x + dx.
struct Tap
{
    int r, dx;
};

constexpr Tap TapOf(const Diff& d)
{
    return {FindRow(kRows, d), MinusOffset(d).dx};
}

// The differences of one row of cells: row[r][x] is the difference of row
// r for column x, for the columns the row is read at. The pointers stay
// fixed along the row, so the row loops index with loop invariants only.
struct DiffRows
{
    const float* row[kNumRows];
};

template <int J>
ONDEX_HD float RowPlain(const DiffRows& p, int x)
{
    constexpr Tap t = TapOf(kPlainDefs[J]);
    return p.row[t.r][x + t.dx];
}

template <int J>
ONDEX_HD float RowAvg(const DiffRows& p, int x)
{
    constexpr Tap t0 = TapOf(AvgTerm(kAvgDefs[J], 0)), t1 = TapOf(AvgTerm(kAvgDefs[J], 1));
    constexpr Tap t2 = TapOf(AvgTerm(kAvgDefs[J], 2)), t3 = TapOf(AvgTerm(kAvgDefs[J], 3));
    const float d = p.row[t0.r][x + t0.dx] + p.row[t1.r][x + t1.dx] + p.row[t2.r][x + t2.dx] +
                    p.row[t3.r][x + t3.dx];
    return 0.25f * d;
}

template <int... J>
ONDEX_HD void RowAvgs(const DiffRows& p, int x, AvgDerivs& a, std::integer_sequence<int, J...>)
{
    ((a.v[J / 9][J % 9] = RowAvg<J>(p, x)), ...);
}

// The nine plain derivatives and the 27 averages of column x, as
// ElaStrainDerivs and AniAvgDerivs give them.
ONDEX_HD void RowDerivs(const DiffRows& p, int x, ela::StrainDerivs& d, AvgDerivs& a)
{
    d.ex = RowPlain<0>(p, x);
    d.a2 = RowPlain<1>(p, x);
    d.b2 = RowPlain<2>(p, x);
    d.ey = RowPlain<3>(p, x);
    d.a1 = RowPlain<4>(p, x);
    d.c2 = RowPlain<5>(p, x);
    d.ez = RowPlain<6>(p, x);
    d.b1 = RowPlain<7>(p, x);
    d.c1 = RowPlain<8>(p, x);
    RowAvgs(p, x, a, std::make_integer_sequence<int, 27>());
}

} // namespace rows
} // namespace ani
