// Names of result files, the per-shot template the merge formats, and the
// recovery test built on them.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "FakeEngine.h"
#include "common/TestUtil.h"

namespace
{

struct Named : FakeJob
{
    Named(int nType, const char* pszDir, const char* pszModel, int nSource) : FakeJob(nType)
    {
        app->m_strOutputDir = pszDir;
        app->m_strModelPW = pszModel;
        eng->m_nSourceType = nSource;
        eng->m_nShot = 12;
    }
};

} // namespace

TEST(FileName, Examples)
{
    struct Case
    {
        int nMethod;
        const char* pszDir;
        const char* pszModel;
        int nSource;
        int nType;
        char cComp;
        bool bTemplate, bMerged, bTimeMerge;
        double rValue;
        const char* pszExpected;
    } cases[] = {
        {102, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'Z', false, false, true, 0.0, "/data/out/salt+Gath3DEPZz-12.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'C', false, false, true, 0.0, "/data/out/salt+Gath3DAPZc-12.sgy"},
        {102, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'X', false, true, true, 0.0, "/data/out/salt+Gath3DEPZx.sgy"},
        {102, "/data/out/", "c:\\work\\salt.mod", 3, 0, 'X', true, false, true, 0.0, "/data/out/salt+Gath3DEPZx-%d.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 1, ' ', false, false, true, 0.0, "/data/out/salt+Snap3DAPZ-12.vmg"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 2, ' ', false, false, false, 0.0,
         "/data/out/salt+Time3DAPZ(MaxEnergy)_1000_2000_10.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 2, ' ', false, false, true, 1.0, "/data/out/salt+Time3DAPZ(MaxDiv)-12.sgy"},
        {101, "/data/out/", "c:\\work\\salt.mod", 3, 2, ' ', false, false, false, 2.0, "/data/out/salt+Time3DAPZ.sgy"},
        {102, "/data/out/", "/models/salt.mod", 3, 3, 'Z', false, false, true, 0.5, "/data/out/salt+3DSnap3DEPZz(t=0.5)-12.sgy"},
        {100, "", "", 0, 0, 'Y', false, false, true, 0.0, "Model+Gath3DIPUy-12.sgy"},
        {103, "", "dir/m", 4, 7, 'Q', false, false, true, 0.0, "m+Unknown3DNPUQ-12.sgy"},
        {104, "./out/", "model", 1, 0, 'X', false, false, true, 0.0, "./out/model+Gath3DNPXx-12.sgy"},
        {101, "../out/", "model", 2, 0, 'X', false, false, true, 0.0, ".+Gath3DAPYx-12.sgy"},
        {101, "../out/", "model.segy", 2, 0, 'X', false, false, true, 0.0, "../out/model+Gath3DAPYx-12.sgy"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszExpected);
        Named n(c.nMethod, c.pszDir, c.pszModel, c.nSource);
        n.eng->m_bTimeMerge = c.bTimeMerge;
        n.eng->m_ptShot = C3DPointR(1000.5, 2000.0, 10.0);
        EXPECT_STREQ(c.pszExpected, n.eng->GetFileName(c.nType, c.cComp, c.bTemplate, c.bMerged, c.rValue));
    }
}

// Recovery: a shot is passed over only when all four gather files exist.
TEST(IsCalcNeeded, Recovery)
{
    testutil::TempDir tmp;
    ASSERT_TRUE(tmp.ok());
    const std::string dir = tmp.path() + "/";

    Named n(102, dir.c_str(), "salt.mod", 3);
    n.eng->m_nShot = 5;
    n.app->m_bRecovery = false;
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));
    EXPECT_EQ(5, n.eng->m_nShot);   // untouched without recovery

    n.app->m_bRecovery = true;
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));
    EXPECT_EQ(12, n.eng->m_nShot);

    const char* comps[4] = {"x", "y", "z", "c"};
    std::string names[4];
    for (int i = 0; i < 4; i++)
        names[i] = dir + "salt+Gath3DEPZ" + comps[i] + "-12.sgy";
    for (int i = 0; i < 3; i++)
        ASSERT_TRUE(testutil::WriteFile(names[i], ""));
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));   // three of four: computed again
    ASSERT_TRUE(testutil::WriteFile(names[3], ""));
    EXPECT_FALSE(n.eng->IsCalcNeeded(12));
    EXPECT_TRUE(n.eng->IsCalcNeeded(13));   // another shot has no files

    // Any one missing is enough, the first one included.
    remove(names[0].c_str());
    EXPECT_TRUE(n.eng->IsCalcNeeded(12));
}

// The template the merge formats with each shot number gives back exactly the
// names the shots were written under.
TEST(ResultNames, TemplateFormatsToTheShotName)
{
    struct Case
    {
        const char* pszDir;
        const char* pszModel;
        int nType;
        char cComp;
        double rValue;
    } const cases[] = {
        {"/data/out/", "salt.sgy", 0, 'X', 0.0},
        {"/data/100%/", "salt.sgy", 0, 'Z', 0.0},
        {"", "a%%b.sgy", 0, 'C', 0.0},
        {"run%d/", "m%s%n.sgy", 1, ' ', 0.0},
        {"", "50%done.sgy", 2, ' ', 1.0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.pszDir) + c.pszModel);
        Named n(101, c.pszDir, c.pszModel, 3);
        CFakeEngine* eng = n.eng.get();
        for (int nShot : {1, 7, 12345})
        {
            eng->m_nShot = nShot;
            const CString strShot = eng->GetFileName(c.nType, c.cComp, false, false, c.rValue);
            const CString strTemplate = eng->GetFileName(c.nType, c.cComp, true, false, c.rValue);
            EXPECT_STREQ((const char*)strShot, (const char*)CString(0, strTemplate, nShot));
        }
    }
}
