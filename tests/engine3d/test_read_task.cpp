// The engine's keys of the job file: ReadTask3D, ReadTask1D and the signal's
// LoadParamsFromIniFile, fed with the lines as the job reader keeps them.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "cpu/Calc3D_OMP.h"
#include "engine1d/Calc1D.h"
#include "run/OndexApp.h"

namespace
{

std::vector<CString> Lines(std::initializer_list<const char*> l)
{
    std::vector<CString> v;
    for (const char* p : l)
        v.push_back(CString(p));
    return v;
}

bool HasLine(const std::vector<CString>& v, const char* psz)
{
    for (const CString& s : v)
        if (s == psz)
            return true;
    return false;
}

struct Engine3D
{
    std::unique_ptr<COndexApp> app;
    std::unique_ptr<CCalc3D_OMP> eng;
    explicit Engine3D(int nType, const char* pszQ = "")
    {
        app.reset(new COndexApp());
        app->m_Type = nType;
        app->m_strModelQ = pszQ;
        eng.reset(new CCalc3D_OMP(*app));
    }
};

} // namespace

// Absorbing strip, PML slab and stencil half-width by method and PML.
TEST(ReadTask3D, StripWidthsByMethodAndPml)
{
    struct Case
    {
        int nType;
        const char* pszPml;   // null: key absent
        int nTaper, nPML, nHalo;
    } cases[] = {
        {101, nullptr, 26, 21, 2}, {101, "PML=1", 26, 21, 2}, {101, "PML=0", 38, 21, 2},
        {102, "PML = 1", 26, 21, 2}, {103, "PML=0", 38, 21, 2},
        {104, "PML=1", 23, 19, 3}, {104, "PML=0", 38, 21, 3}, {104, nullptr, 23, 19, 3},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.nType) + " " + (c.pszPml ? c.pszPml : "absent"));
        Engine3D e(c.nType);
        auto lines = Lines({"[modeling]", "[Source]", "Frequency=30"});
        if (c.pszPml)
            lines.insert(lines.begin() + 1, CString(c.pszPml));
        ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(c.nTaper, e.eng->m_nTaper);
        EXPECT_EQ(c.nPML, e.eng->m_nPML);
        EXPECT_EQ(c.nHalo, e.eng->m_nHalo);
        EXPECT_EQ(c.pszPml == nullptr || CString(c.pszPml).Find('1') >= 0, e.eng->m_bPML);
    }
}

TEST(ReadTask3D, SurfaceType)
{
    struct Case
    {
        const char* pszLine;
        int nResult, nSurf;
    } cases[] = {{"SurfType=0", 0, 0}, {"SurfType=1", 0, 1}, {"SurfType=2", 1, 2}, {"SurfType=-1", 1, -1}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszLine);
        Engine3D e(102);
        auto lines = Lines({"[modeling]", c.pszLine, "PML=0", "[Source]", "Frequency=30"});
        EXPECT_EQ(c.nResult, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(c.nSurf, e.eng->m_nSurfType);
        // A rejected surface stops the reading: the later keys stay.
        EXPECT_EQ(c.nResult != 0, HasLine(lines, "PML=0"));
    }
}

TEST(ReadTask3D, UserCubeAndMargin)
{
    Engine3D e(101);
    auto lines = Lines({"[modeling]", "X0=100", "X1=900", "Y0=200", "Y1=800", "Z0=0", "Z1=1500", "Margin=250",
                        "[Source]", "Frequency=30"});
    ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_EQ(100.0, e.eng->m_cubeModel.x0);
    EXPECT_EQ(900.0, e.eng->m_cubeModel.x1);
    EXPECT_EQ(200.0, e.eng->m_cubeModel.y0);
    EXPECT_EQ(800.0, e.eng->m_cubeModel.y1);
    EXPECT_EQ(0.0, e.eng->m_cubeModel.z0);
    EXPECT_EQ(1500.0, e.eng->m_cubeModel.z1);
    EXPECT_TRUE(e.eng->m_cubeSim == e.eng->m_cubeModel);
    EXPECT_EQ(250.0, e.eng->m_dMargin);

    // One value missing: no cube, and the simulation cube is left unset.
    Engine3D f(101);
    auto lines2 = Lines({"[modeling]", "X0=100", "X1=900", "Y0=200", "Y1=800", "Z0=0", "[Source]", "Frequency=30"});
    ASSERT_EQ(0, f.eng->ReadTask3D("runtask.ini", lines2));
    EXPECT_TRUE(f.eng->m_cubeModel.IsEmpty());
    EXPECT_TRUE(f.eng->m_cubeSim.IsEmpty());
}

// Viscoelastic keys are read only for the elastic methods with a Q model.
TEST(ReadTask3D, ViscoElasticConditions)
{
    struct Case
    {
        int nType;
        const char* pszQ;
        const char* pszL;
        int nL;
        bool bApparent;
        bool bLRead;
    } cases[] = {
        {102, "q.sgy", "L=3", 3, true, true},   {103, "q.sgy", "L=10", 10, true, true},
        {102, "q.sgy", "L=11", 0, false, true}, {102, "q.sgy", "L=0", 0, false, true},
        {102, "", "L=3", 0, false, false},      {101, "q.sgy", "L=3", 0, false, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.nType) + " " + c.pszQ + " " + c.pszL);
        Engine3D e(c.nType, c.pszQ);
        auto lines = Lines({"[ViscoElastic]", c.pszL, "UseApparentVelocity=1", "[Source]", "Frequency=30"});
        ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(c.nL, e.eng->m_nViscoL);
        EXPECT_EQ(c.bApparent, e.eng->m_bApparentVelocity);
        EXPECT_EQ(!c.bLRead, HasLine(lines, c.pszL));
        EXPECT_EQ(!c.bApparent, HasLine(lines, "UseApparentVelocity=1"));
    }
}

TEST(ReadTask3D, MeshAndSourceDirection)
{
    struct Case
    {
        int nType;
        const char* pszLine;   // a further [Source] line
        float k[6];
    } cases[] = {
        {8, nullptr, {0, 0, 0, 0, 1, 0}},                 // default axis "XZ"
        {8, "DoubleCoupleAxis=yx", {0, 0, 0, 1, 0, 0}},
        {8, "DoubleCoupleAxis=ZX", {0, 0, 0, 0, 1, 0}},
        {8, "DoubleCoupleAxis=ZY", {0, 0, 0, 0, 0, 1}},
        {8, "DoubleCoupleAxis=XYZ", {0, 0, 0, 1, 0, 0}},  // two characters count
        {8, "DoubleCoupleAxis=Xy", {0, 0, 0, 0, 0, 0}},
        {8, "DoubleCoupleAxis=", {0, 0, 0, 0, 0, 0}},
        {3, "DoubleCoupleAxis=XY", {0, 0, 0, 0, 0, 0}},   // not read for other types
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszLine ? c.pszLine : "no axis");
        Engine3D e(102);
        auto lines = Lines({"[Mesh]", "dx=12.5", "dt=0.001", "[Source]", "Frequency=30"});
        lines.push_back(CString(CString(0, "Type=%d", c.nType)));
        if (c.pszLine)
            lines.push_back(CString(c.pszLine));
        ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(12.5, e.eng->m_dx);
        EXPECT_EQ(0.001, e.eng->m_dt);
        EXPECT_EQ(c.nType, e.eng->m_nSourceType);
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(c.k[i], e.eng->m_fK[i]) << "K index " << i;
        if (c.pszLine)
        {
            EXPECT_EQ(c.nType != 8, HasLine(lines, c.pszLine));
        }
    }

    Engine3D e(104);
    auto lines = Lines({"[Source]", "Type=9", "K11=1", "K22=2", "K33=3", "K12=0.5", "K13=-1", "K23=0.25",
                        "SuppressSV=0", "Frequency=30"});
    ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
    const float expected[6] = {1, 2, 3, 0.5f, -1, 0.25f};
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(expected[i], e.eng->m_fK[i]);
    EXPECT_FALSE(e.eng->m_bSuppressSV);
}

TEST(ReadTask3D, SuppressSVOnlyForElasticMethods)
{
    Engine3D a(101);
    auto lines = Lines({"[Source]", "SuppressSV=0", "Frequency=30"});
    ASSERT_EQ(0, a.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_TRUE(a.eng->m_bSuppressSV);
    EXPECT_TRUE(HasLine(lines, "SuppressSV=0"));
}

TEST(ReadTask3D, SnapshotSections)
{
    Engine3D e(102);
    e.eng->m_vSnapShots = {99};
    e.eng->m_vSnapTimes = {9.0};
    auto lines = Lines({"[Mesh]", "dx=10", "[Source]", "Frequency=30",
                        "[Snapshot]", "Every=2", "t0=0.2", "dt=0.05", "Y Offset=1500",
                        "[3DSnapshot]", "dx=20", "dy=25", "dz=30", "Components=XYZCXYZCXYZCXYZ",
                        "Shots=3 -1 0  7 x 12", "Times=0.5 -0.1 1.25 abc 2"});
    ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_EQ(2, e.eng->m_nSnapEvery);
    EXPECT_EQ(0.2, e.eng->m_tSnap0);
    EXPECT_EQ(0.05, e.eng->m_dSnapDt);
    EXPECT_EQ(1500.0, e.eng->m_dSnapYOffset);
    EXPECT_EQ(20.0, e.eng->m_dSnapDx);
    EXPECT_EQ(25.0, e.eng->m_dSnapDy);
    EXPECT_EQ(30.0, e.eng->m_dSnapDz);
    EXPECT_STREQ("XYZCXYZCXYZ", e.eng->m_szSnapComponents);   // at most 11 characters
    EXPECT_EQ((std::vector<int>{3, 0, 7, 12}), e.eng->m_vSnapShots);
    EXPECT_EQ((std::vector<double>{0.5, 1.25, 2.0}), e.eng->m_vSnapTimes);

    // The lists are emptied before reading, also when the keys are absent.
    Engine3D f(102);
    f.eng->m_vSnapShots = {99};
    f.eng->m_vSnapTimes = {9.0};
    auto lines2 = Lines({"[Source]", "Frequency=30"});
    ASSERT_EQ(0, f.eng->ReadTask3D("runtask.ini", lines2));
    EXPECT_TRUE(f.eng->m_vSnapShots.empty());
    EXPECT_TRUE(f.eng->m_vSnapTimes.empty());
    EXPECT_DOUBLE_EQ(0.1, f.eng->m_dSnapDt);
    EXPECT_STREQ("", f.eng->m_szSnapComponents);
}

TEST(ReadTask3D, TimeFieldSection)
{
    struct Case
    {
        const char* pszType;
        int nField;
        double dx, dy, dz;
        bool bSamplingRead;
    } cases[] = {
        {"Type=1", 1, 10.0, 10.0, 10.0, true},   // dx from [Mesh], dy and dz from it
        {"Type=7", 3, 10.0, 10.0, 10.0, true},   // higher bits cleared
        {"Type=4", 0, 0.0, 0.0, 0.0, false},
        {"Type=0", 0, 0.0, 0.0, 0.0, false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszType);
        Engine3D e(101);
        auto lines = Lines({"[Mesh]", "dx=10", "[Source]", "Frequency=30", "[Time]", c.pszType, "Merge=0", "dz=40"});
        ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(c.nField, e.eng->m_nTimeField);
        EXPECT_FALSE(e.eng->m_bTimeMerge);
        EXPECT_EQ(c.dx, e.eng->m_dTimeDx);
        EXPECT_EQ(c.dy, e.eng->m_dTimeDy);
        EXPECT_EQ(c.bSamplingRead ? 40.0 : 0.0, e.eng->m_dTimeDz);
        EXPECT_EQ(!c.bSamplingRead, HasLine(lines, "dz=40"));
    }

    Engine3D e(101);
    auto lines = Lines({"[Mesh]", "dx=10", "[Source]", "Frequency=30", "[Time]", "Type=2", "dx=5"});
    ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_TRUE(e.eng->m_bTimeMerge);
    EXPECT_EQ(5.0, e.eng->m_dTimeDx);
    EXPECT_EQ(5.0, e.eng->m_dTimeDy);   // default: the time field dx
    EXPECT_EQ(5.0, e.eng->m_dTimeDz);
}

TEST(ReadTask3D, SignalFailureIsReturned)
{
    Engine3D e(101);
    auto lines = Lines({"[Source]", "Frequency=0.5", "[Snapshot]", "Every=1"});
    EXPECT_EQ(1, e.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_TRUE(HasLine(lines, "Every=1"));   // nothing read after the failure
    EXPECT_EQ(0, e.eng->m_nSnapEvery);
}

TEST(SignalParams, FileFrequencyAndShift)
{
    struct Case
    {
        std::vector<const char*> lines;
        int nResult;
        const char* pszFile;
        double dFreq, t0;
        int nSignal;
    } cases[] = {
        {{"[Source]", "Frequency=25", "Signal=3", "t0=0.01"}, 0, "", 25.0, 0.01, 3},
        {{"[Source]", "File=wavelet.sgy", "Signal=3", "t0=-0.02"}, 0, "wavelet.sgy", 0.0, -0.02, 0},
        {{"[Source]", "Frequency=0.5"}, 1, "", 0.5, 0.0, 0},
        {{"[Source]"}, 1, "", 0.0, 0.0, 0},
        {{"[Source]", "Frequency=1"}, 0, "", 1.0, 0.0, 0},
        {{}, 1, "", 0.0, 0.0, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.lines.size() > 1 ? c.lines[1] : "no section");
        COndexApp app;
        CSignal3D sig(&app);
        std::vector<CString> lines;
        for (const char* p : c.lines)
            lines.push_back(CString(p));
        EXPECT_EQ(c.nResult, sig.LoadParamsFromIniFile(lines));
        EXPECT_STREQ(c.pszFile, sig.m_strFile);
        EXPECT_EQ(c.dFreq, sig.m_dFreq);   // the initial 20 does not survive
        EXPECT_EQ(c.t0, sig.m_t0);
        EXPECT_EQ(c.nSignal, sig.m_nSignal);
    }
}

TEST(SignalParams, SignalKeyIgnoredWithAFile)
{
    COndexApp app;
    CSignal3D sig(&app);
    auto lines = Lines({"[Source]", "File=w.sgy", "Signal=2"});
    ASSERT_EQ(0, sig.LoadParamsFromIniFile(lines));
    EXPECT_TRUE(HasLine(lines, "Signal=2"));
}

TEST(ReadTask1D, Keys)
{
    struct Case
    {
        std::vector<const char*> lines;
        int nResult;
        int nSurf, nTaper, nSource;
        double dz, dt;
    } cases[] = {
        {{"[modeling]", "SurfType=1", "[Mesh]", "dx=5", "dz=7", "dt=0.0005", "[Source]", "Type=3", "Frequency=30"},
         0, 1, 26, 3, 5.0, 0.0005},
        {{"[modeling]", "PML=0", "[Mesh]", "dz=7", "dt=0.001", "[Source]", "Type=1", "Frequency=30"},
         0, 0, 38, 0, 7.0, 0.001},
        {{"[modeling]", "SurfType=5", "[Source]", "Frequency=30"}, 1, 5, 38, 0, 0.0, 0.0},
        {{"[Source]", "Type=8"}, 1, 0, 26, 0, 0.0, 0.0},   // no signal
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.lines[1]);
        COndexApp app;
        app.m_Type = 100;
        CCalc1D eng(app);
        std::vector<CString> lines;
        for (const char* p : c.lines)
            lines.push_back(CString(p));
        EXPECT_EQ(c.nResult, eng.ReadTask1D(lines));
        EXPECT_EQ(c.nSurf, eng.m_nSurfType);
        EXPECT_EQ(c.nTaper, eng.m_nTaper);
        EXPECT_EQ(21, eng.m_nPML);
        EXPECT_EQ(c.nSource, eng.m_nSourceType);
        EXPECT_EQ(c.dz, eng.m_dz);
        EXPECT_EQ(c.dt, eng.m_dt);
    }
}
