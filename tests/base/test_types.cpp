#include "base/Types.h"
#include "base_test_util.h"

#include <cerrno>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace
{

const double NS = -9999.25;

bool is_dir(const std::string& p)
{
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void expect_cube(const CCubeR& c, double x0, double y0, double z0, double x1, double y1, double z1)
{
    EXPECT_EQ(c.x0, x0);
    EXPECT_EQ(c.y0, y0);
    EXPECT_EQ(c.z0, z0);
    EXPECT_EQ(c.x1, x1);
    EXPECT_EQ(c.y1, y1);
    EXPECT_EQ(c.z1, z1);
}

} // namespace

// ------------------------------------------------------------------- cubes

TEST(CCubeRTest, DefaultIsNotSetAndAnySentinelMakesItEmpty)
{
    CCubeR c;
    expect_cube(c, NS, NS, NS, NS, NS, NS);
    EXPECT_TRUE(c.IsEmpty());

    CCubeR full(0, 0, 0, 1, 1, 1);
    EXPECT_FALSE(full.IsEmpty());
    double CCubeR::*fields[] = {&CCubeR::x0, &CCubeR::y0, &CCubeR::z0,
                                &CCubeR::x1, &CCubeR::y1, &CCubeR::z1};
    for (auto f : fields)
    {
        CCubeR d = full;
        d.*f = NS;
        EXPECT_TRUE(d.IsEmpty());
    }
}

TEST(CCubeRTest, ExpandStartsFromPointThenGrows)
{
    CCubeR c;
    c.Expand(C3DPointR(10, 20, 30));
    expect_cube(c, 10, 20, 30, 10, 20, 30);
    c.Expand(C3DPointR(5, 25, 30));
    expect_cube(c, 5, 20, 30, 10, 25, 30);
    c.Expand(C3DPointR(7, 21, -4));
    expect_cube(c, 5, 20, -4, 10, 25, 30);

    // One sentinel is enough to restart from the point.
    CCubeR d(0, 0, 0, 100, 100, NS);
    d.Expand(C3DPointR(1, 2, 3));
    expect_cube(d, 1, 2, 3, 1, 2, 3);
}

TEST(CCubeRTest, IntersectTable)
{
    struct Case
    {
        const char* what;
        CCubeR a, b;
        bool result;
        CCubeR expected;
    } cases[] = {
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
        expect_cube(r, c.expected.x0, c.expected.y0, c.expected.z0, c.expected.x1, c.expected.y1,
                    c.expected.z1);
    }
}

TEST(CCubeRTest, IsPointInsideIsInclusive)
{
    CCubeR c(0, 0, 0, 10, 20, 30);
    struct Case
    {
        C3DPointR p;
        bool inside;
    } cases[] = {
        {C3DPointR(5, 5, 5), true},     {C3DPointR(0, 0, 0), true},
        {C3DPointR(10, 20, 30), true},  {C3DPointR(10, 0, 15), true},
        {C3DPointR(-1e-9, 5, 5), false}, {C3DPointR(5, 20.001, 5), false},
        {C3DPointR(5, 5, 30.5), false}, {C3DPointR(5, 5, -0.1), false},
    };
    for (const Case& k : cases)
        EXPECT_EQ(c.IsPointInside(k.p), k.inside) << k.p.x << "," << k.p.y << "," << k.p.z;
    EXPECT_FALSE(CCubeR().IsPointInside(C3DPointR(NS, NS, NS)));
}

// ------------------------------------------------------------------ points

TEST(PointTest, ComparisonsAndOrderedSets)
{
    EXPECT_TRUE(C3DPointR(1, 2, 3) == C3DPointR(1, 2, 3));
    EXPECT_TRUE(C3DPointR(1, 2, 3) != C3DPointR(1, 2, 3.0000001));
    EXPECT_TRUE(C3DPointR(1, 5, 5) < C3DPointR(2, 0, 0));
    EXPECT_TRUE(C3DPointR(1, 2, 5) < C3DPointR(1, 3, 0));
    EXPECT_TRUE(C3DPointR(1, 2, 3) < C3DPointR(1, 2, 4));
    EXPECT_FALSE(C3DPointR(1, 2, 3) < C3DPointR(1, 2, 3));

    std::set<_C3DPoint> s;
    s.insert({1, 2, 3});
    s.insert({1, 2, 3});
    s.insert({1, 2, 2});
    s.insert({0, 9, 9});
    ASSERT_EQ(s.size(), 3u);
    EXPECT_EQ(s.begin()->x, 0);
    EXPECT_EQ(std::next(s.begin())->z, 2);

    std::set<C3DPointN> n;
    n.insert(C3DPointN(2, 0, 0));
    n.insert(C3DPointN(1, 1, 1));
    n.insert(C3DPointN(1, 1, 0));
    n.insert(C3DPointN(1, 1, 0));
    ASSERT_EQ(n.size(), 3u);
    EXPECT_EQ(*n.begin(), C3DPointN(1, 1, 0));
    EXPECT_EQ(*n.rbegin(), C3DPointN(2, 0, 0));
}

TEST(SizeTest, ProductsAreKept)
{
    CSizeN s(7, 3);
    EXPECT_EQ(s.nxy, 21);
    s.Set(4, 5);
    EXPECT_EQ(s.nxy, 20);
    C3DSizeN t(10, 20, 30);
    EXPECT_EQ(t.nxy, 200);
    EXPECT_EQ(t.Total(), 6000);
    C3DSizeN big(2000, 2000, 1000);
    EXPECT_EQ(big.Total(), 4000000000LL);
}

// ------------------------------------------------------------------ biline

TEST(BilineTest, InteriorAndEdges)
{
    // Rows y=0 and y=1 of a 3 x 2 grid.
    const float g[] = {1, 2, 3, 5, 6, 7};
    CSizeN sz(3, 2);
    struct Case
    {
        double x, y, expected;
    } cases[] = {
        {0, 0, 1},        {2, 0, 3},         {0, 1, 5},        {2, 1, 7},
        {0.5, 0.5, 3.5},  {1.25, 0, 2.25},   {1.25, 1, 6.25},  {1.5, 0.25, 3.5},
        {2, 0.5, 5},      {1, 1, 6},
    };
    for (const Case& c : cases)
        EXPECT_NEAR(biline(sz, g, c.x, c.y), c.expected, 1e-12) << c.x << "," << c.y;
}

TEST(BilineTest, NoDataIsNeverBlended)
{
    // Middle value of the first row is no data; negative counts as no data.
    const float g[] = {1, 0, 3, -1, 4, 4};
    CSizeN sz(3, 2);
    struct Case
    {
        double x, y, expected;
    } cases[] = {
        {0.4, 0, 1},   // nearer to the valid value
        {0.6, 0, 0},   // nearer to the no-data value
        {0.5, 0, 1},   // halfway: the left one
        {1.7, 0, 3},
        {0.2, 1, -1},
        {0.8, 1, 4},
        {2, 1, 4},
        // At x = 1.5 row 0 has a = 0 (no data), b = 3 and u == v, so r0 = a = 0;
        // row 1 gives 4. r0 is no data, so the nearer row wins.
        {1.5, 0.3, 0},
        {1.5, 0.7, 4},
        // Both rows valid at x = 2: 3 and 4 blend.
        {2, 0.25, 3.25},
    };
    for (const Case& c : cases)
        EXPECT_NEAR(biline(sz, g, c.x, c.y), c.expected, 1e-6) << c.x << "," << c.y;
}

TEST(BilineTest, OutsideAndDegenerateGrids)
{
    const float g[] = {1, 2, 4, 8, 16, 32};
    CSizeN sz(3, 2);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double outside[][2] = {{-0.001, 0}, {2.0000001, 0}, {0, -1e-9}, {0, 1.5}, {nan, 0}, {0, nan}};
    for (auto& p : outside)
        EXPECT_EQ(biline(sz, g, p[0], p[1]), NS) << p[0] << "," << p[1];

    // One column: along y only.
    CSizeN col(1, 3);
    EXPECT_NEAR(biline(col, g, 0, 1.5), 3, 1e-12);
    EXPECT_NEAR(biline(col, g, 0, 2), 4, 1e-12);
    EXPECT_NEAR(biline(col, g, 0, 0.25), 1.25, 1e-12);
    EXPECT_EQ(biline(col, g, 0.5, 1), NS);

    // One row: along x only.
    CSizeN row(3, 1);
    EXPECT_NEAR(biline(row, g, 1.5, 0), 3, 1e-12);
    EXPECT_NEAR(biline(row, g, 2, 0), 4, 1e-12);
    EXPECT_EQ(biline(row, g, 1, 0.1), NS);

    CSizeN one(1, 1);
    const float v[] = {7.5f};
    EXPECT_EQ(biline(one, v, 0, 0), 7.5);
    EXPECT_EQ(biline(one, v, 0, 0.1), NS);

    EXPECT_EQ(biline(CSizeN(0, 0), g, 0, 0), NS);
    EXPECT_EQ(biline(sz, nullptr, 0, 0), NS);
}

// ------------------------------------------------------------------ make_dir

TEST(MakeDirTest, MakesParentsAndAcceptsExisting)
{
    basetest::ScratchDir dir;
    EXPECT_EQ(make_dir("a/b/c"), 0);
    EXPECT_TRUE(is_dir("a/b/c"));
    EXPECT_EQ(make_dir("a/b/c"), 0);   // nothing to do
    EXPECT_EQ(make_dir("a/x//y/"), 0);
    EXPECT_TRUE(is_dir("a/x/y"));

    std::string abs = dir.path() + "/p/q/r";
    EXPECT_EQ(make_dir(abs.c_str()), 0);
    EXPECT_TRUE(is_dir(abs));
}

TEST(MakeDirTest, FailuresAreReported)
{
    basetest::ScratchDir dir;
    FILE* f = fopen("plain", "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    EXPECT_NE(make_dir("plain/sub"), 0);
    EXPECT_FALSE(is_dir("plain/sub"));

    EXPECT_EQ(make_dir(nullptr), -1);
    EXPECT_EQ(make_dir(""), -1);
    std::string longPath(5000, 'd');
    EXPECT_EQ(make_dir(longPath.c_str()), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

// ------------------------------------------------------------- shared_ptr1

TEST(SharedPtr1Test, LastOwnerClosesTheStream)
{
    basetest::ScratchDir dir;
    for (int variant = 0; variant < 2; variant++)
    {
        SCOPED_TRACE(variant);
        std::string name = "f" + std::to_string(variant);
        FILE* fp = fopen(name.c_str(), "w");
        ASSERT_NE(fp, nullptr);
        shared_ptr1<FILE> a = variant == 0 ? shared_ptr1<FILE>(fp, file_deleter)
                                           : shared_ptr1<FILE>(fp, smart_file_deleter<FILE>());
        fputs("abc", a.get());   // stays in the stream buffer until fclose
        {
            shared_ptr1<FILE> b(a);
            shared_ptr1<FILE> c;
            c = b;
            EXPECT_EQ(a.use_count(), 3);
            b.reset();
            EXPECT_EQ(b.get(), nullptr);
            EXPECT_EQ(a.use_count(), 2);
        }
        EXPECT_EQ(a.use_count(), 1);
        EXPECT_EQ(basetest::read_file(name), "");
        a.reset();
        EXPECT_EQ(basetest::read_file(name), "abc");
    }
    // A null stream is fine for both deleters.
    shared_ptr1<FILE> n1(nullptr, file_deleter);
    shared_ptr1<FILE> n2(nullptr, smart_file_deleter<FILE>());
}

// ----------------------------------------------------------- geo-referenced

TEST(GeoPointInfoTest, ValuesAndPresentFlags)
{
    CBasePoint p;
    double v = 1;
    EXPECT_FALSE(p.GetValue(0, v));
    EXPECT_TRUE(p.SetValue(3, 2.5, true));
    EXPECT_TRUE(p.GetValue(3, v));
    EXPECT_EQ(v, 2.5);

    EXPECT_TRUE(p.SetValue(4, 9.0, false));
    EXPECT_FALSE(p.GetValue(4, v));
    EXPECT_TRUE(p.SetValuePresent(4, true));
    EXPECT_TRUE(p.GetValue(4, v));
    EXPECT_EQ(v, 0.0);

    for (int bad : {-1, 10, 1000})
    {
        EXPECT_FALSE(p.SetValue(bad, 1.0, true));
        EXPECT_FALSE(p.SetValuePresent(bad, true));
        EXPECT_FALSE(p.GetValue(bad, v));
    }
    p.Clear();
    EXPECT_FALSE(p.GetValue(3, v));
}
