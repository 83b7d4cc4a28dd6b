#include "base/Types.h"
#include "common/TestUtil.h"

#include <cmath>
#include <string>
#include <sys/stat.h>

namespace
{

const double NS = -9999.25;

bool is_dir(const std::string& p)
{
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

// ------------------------------------------------------------------- cubes

TEST(CCubeRTest, IntersectTable)
{
    struct Case { const char* what; CCubeR a, b; bool result; CCubeR expected; } cases[] = {
        {"overlap", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(5, -5, 2, 15, 5, 20), true,
         CCubeR(5, 0, 2, 10, 5, 10)},
        {"contained", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(2, 3, 4, 5, 6, 7), true,
         CCubeR(2, 3, 4, 5, 6, 7)},
        {"touch at an x face", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(10, 0, 0, 20, 10, 10), true,
         CCubeR(10, 0, 0, 10, 10, 10)},
        {"touch at a corner", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(10, 10, 10, 20, 20, 20), true,
         CCubeR(10, 10, 10, 10, 10, 10)},
        {"apart in z only", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(0, 0, 10.5, 10, 10, 20), false,
         CCubeR()},
        {"apart in y only", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(0, -5, 0, 10, -0.001, 10), false,
         CCubeR()},
        {"other not set", CCubeR(0, 0, 0, 10, 10, 10), CCubeR(), false, CCubeR()},
        {"this not set", CCubeR(), CCubeR(0, 0, 0, 10, 10, 10), false, CCubeR()},
    };
    for (Case& c : cases)
    {
        SCOPED_TRACE(c.what);
        CCubeR r = c.a;
        EXPECT_EQ(r.Intersect(c.b), c.result);
        EXPECT_EQ(r, c.expected);
    }
}

// The job's open model bounds come from the model file: only the values
// left "not set" change, each from its own counterpart.
TEST(CCubeRTest, FillUnsetTakesOnlyTheOpenValues)
{
    const CCubeR file(1, 2, 3, 4, 5, 6);
    CCubeR c;
    c.x0 = 10, c.z1 = 60;
    c.FillUnset(file);
    EXPECT_EQ(c, CCubeR(10, 2, 3, 4, 5, 60));
    CCubeR full(7, 8, 9, 10, 11, 12);
    full.FillUnset(file);
    EXPECT_EQ(full, CCubeR(7, 8, 9, 10, 11, 12));
}

TEST(CCubeRTest, IsPointInsideIsInclusiveForCubeAndRect)
{
    CCubeR c(0, 0, 0, 10, 20, 30);
    struct Case { C3DPointR p; bool inside; } cases[] = {
        {C3DPointR(5, 5, 5), true},     {C3DPointR(0, 0, 0), true},
        {C3DPointR(10, 20, 30), true},  {C3DPointR(10, 0, 15), true},
        {C3DPointR(-1e-9, 5, 5), false}, {C3DPointR(5, 20.001, 5), false},
        {C3DPointR(5, 5, 30.5), false}, {C3DPointR(5, 5, -0.1), false},
    };
    for (const Case& k : cases)
        EXPECT_EQ(c.IsPointInside(k.p), k.inside) << k.p.x << "," << k.p.y << "," << k.p.z;
    EXPECT_FALSE(CCubeR().IsPointInside(C3DPointR(NS, NS, NS)));
    // The rectangle alike, its high edges included.
    const CRectR r(0, 0, 10, 20);
    EXPECT_TRUE(r.IsPointInside(CPointR(10, 20)) && r.IsPointInside(CPointR(0, 0)));
    EXPECT_FALSE(r.IsPointInside(CPointR(10.001, 5)) || r.IsPointInside(CPointR(5, -0.1)));
}

// ------------------------------------------------------------------ biline

// Rows y=0 and y=1 of 3 x 2 grids; in h the middle of the first row is no
// data, and a negative value counts as no data too.
TEST(BilineTest, InteriorEdgesAndNoData)
{
    const float g[] = {1, 2, 3, 5, 6, 7}, h[] = {1, 0, 3, -1, 4, 4};
    struct Case { const float* grid; double x, y, expected; } cases[] = {
        {g, 0, 0, 1}, {g, 2, 0, 3}, {g, 0, 1, 5}, {g, 2, 1, 7},
        {g, 0.5, 0.5, 3.5}, {g, 1.25, 1, 6.25}, {g, 1.5, 0.25, 3.5}, {g, 2, 0.5, 5},
        {h, 0.4, 0, 1},   // nearer to the valid value
        {h, 0.6, 0, 0},   // nearer to the no-data value
        {h, 0.5, 0, 1},   // halfway: the left one
        {h, 0.2, 1, -1},
        // At x = 1.5 row 0 has a = 0 (no data), b = 3 and u == v, so r0 = a = 0;
        // row 1 gives 4. r0 is no data, so the nearer row wins.
        {h, 1.5, 0.3, 0},
        {h, 1.5, 0.7, 4},
        {h, 2, 0.25, 3.25},   // both rows valid at x = 2: 3 and 4 blend
    };
    for (const Case& c : cases)
        EXPECT_NEAR(biline(CSizeN(3, 2), c.grid, c.x, c.y), c.expected, c.grid == g ? 1e-12 : 1e-6)
            << c.x << "," << c.y;
}

// ------------------------------------------------------------------ make_dir

TEST(MakeDirTest, MakesParentsAndAcceptsExisting)
{
    testutil::TempDir dir(true, "ondex_base");
    EXPECT_EQ(make_dir("a/b/c"), 0);
    EXPECT_TRUE(is_dir("a/b/c"));
    EXPECT_EQ(make_dir("a/b/c"), 0);   // nothing to do
    EXPECT_EQ(make_dir("a/x//y/"), 0);
    EXPECT_TRUE(is_dir("a/x/y"));

    std::string abs = dir.path() + "/p/q/r";
    EXPECT_EQ(make_dir(abs.c_str()), 0);
    EXPECT_TRUE(is_dir(abs));
}
