// Loading a text survey: how rows become shots (by id, by position, by
// coordinates), shot numbering, and every refusal with its message.
#include <random>
#include <string>

#include "SurveyTestUtil.h"

namespace
{
using TextSurvey = SurveyTest;

TEST_F(TextSurvey, MissingPathNamesTheJobFileKey)
{
    CSurvey3D s;
    for (const char* path : {(const char*)nullptr, ""})
    {
        std::string out;
        EXPECT_EQ(Quiet([&] { return s.LoadSurvey(path, false); }, &out), 1);
        EXPECT_TRUE(Contains(out, "Error! Survey acquisition geometry file has not been provided.\n")) << out;
        EXPECT_TRUE(Contains(out, "Please specify survey acquisition geometry file in '[Survey]/Geometry' section "
                                  "in 'runtask.ini'.\n"));
        EXPECT_TRUE(Contains(out, "The computation is stopped.\n"));
    }
}

TEST_F(TextSurvey, FilesWithoutUsableRowsHaveNoSourcePoints)
{
    const char* bodies[] = {
        "",
        "; survey of comments only\n# nothing else\n",
        "1 2 3 4 5\n10 20 30 40 50\n",   // rows of five numbers are skipped silently
        "; header\nSX SY SZ RX RY RZ\n1,2,3,4,5,6\n",
    };
    for (const char* body : bodies)
    {
        CSurvey3D s;
        std::string path = WriteFile("bad.txt", body);
        std::string out;
        EXPECT_EQ(LoadQuiet(s, path, false, &out), 1) << body;
        EXPECT_TRUE(Contains(out, "Error! No source points in the survey acquisition geometry file " + path +
                                      ".\nPlease make sure it is properly formatted file.\n")) << out;
        EXPECT_TRUE(Contains(out, "The computation is stopped.\n"));
        EXPECT_TRUE(s.m_vShotPoints.empty());
    }
}

TEST_F(TextSurvey, ShotsByPositionInOrderOfFirstAppearance)
{
    std::string path = WriteFile("pos.txt",
                                 "; sx sy sz rx ry rz\n"
                                 "100 0 5  0 0 0\n"
                                 "100 0 5  10 0 0\n"
                                 "1 2 3 4 5\n"            // short: skipped
                                 "200 0 5  0 0 0\n"
                                 "100 0 5  20 0 0\n"      // first shot again
                                 "100.0005 0 5 30 0 0\n"  // within MIN_DIST of the first
                                 "300 0 5  0 0 0\n");
    CSurvey3D s;
    ASSERT_EQ(LoadQuiet(s, path, false), 0);
    EXPECT_EQ(s.m_vShotPoints, (std::vector<C3DPointR>{{100, 0, 5}, {200, 0, 5}, {300, 0, 5}}));
    EXPECT_TRUE(s.m_vShotIds.empty());
    EXPECT_EQ(s.GetMinShot(), 1);
    EXPECT_EQ(s.GetMaxShot(), 3);
    EXPECT_EQ(std::string((const char*)s.m_strFileName), path);
    EXPECT_FALSE(s.m_bSgySurvey);
}

// Closeness is strict and per coordinate: exactly MIN_DIST apart is apart.
// (Which MIN_DIST a grid step gives is the job's, tests/run.)
TEST_F(TextSurvey, MinDistIsStrictPerCoordinate)
{
    CSurvey3D s;
    CSurvey3D::MIN_DIST = 1.0;
    ASSERT_EQ(LoadQuiet(s, WriteFile("edge.txt", "10 0 0 1 0 0\n11 0 0 1 0 0\n10 0.9 0.9 1 0 0\n"), false), 0);
    EXPECT_EQ(s.m_vShotPoints.size(), 2u);
}

// Garbage of every kind: the loader and the activation answer with a code and
// never crash or hang, whatever the bytes.
TEST_F(TextSurvey, GarbageNeverCrashes)
{
    std::mt19937 next(12345);
    const char alphabet[] = "0123456789 \t.-+eE;#,xnai\n\r";
    for (int round = 0; round < 20; round++)
    {
        std::string body;
        int nLen = 200 + (int)(next() % 4000);
        for (int i = 0; i < nLen; i++)
        {
            if (round % 5 == 4)
                body += (char)(next() & 0xff);   // raw bytes, NUL included
            else
                body += alphabet[next() % (sizeof(alphabet) - 1)];
        }
        // Some rows that surely parse, so that shots exist.
        if (round % 2)
            body += "\n1 2 3 4 5 6 7 8 9\n1 2 3 7 7 7 1 1 9 1 2 3 4 5 6 -5 -6\n";
        std::string path = WriteFile("garbage.txt", body);
        for (bool bUseId : {false, true})
        {
            CSurvey3D s;
            s.m_bUseShotId = bUseId;
            int rc = LoadQuiet(s, path, round % 3 == 0);
            ASSERT_TRUE(rc == 0 || rc == 1);
            if (rc)
                continue;
            ASSERT_FALSE(s.m_vShotPoints.empty());
            for (int nShot = s.GetMinShot(); nShot <= s.GetMaxShot() && nShot < s.GetMinShot() + 50; nShot++)
            {
                int r = ActivateQuiet(s, nShot);
                ASSERT_TRUE(r == 0 || r == 1 || r == -35) << r;
                if (r == 0)
                {
                    EXPECT_FALSE(s.m_vReceivers.empty());
                    EXPECT_FALSE(s.m_vExcitePoints.empty());
                    EXPECT_EQ(s.m_vInline.size(), s.m_vReceivers.size());
                }
            }
            int r = ActivateQuiet(s, -1);
            ASSERT_TRUE(r == 0 || r == 1);
        }
    }
}
}  // namespace
