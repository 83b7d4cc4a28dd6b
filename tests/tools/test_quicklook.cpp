// tools/quicklook on small results written by the project's writers: a
// gather of two components, a snapshot film of two rows, a 3D cube. Every
// picture must have its planned size and show the data: the pixels inside
// the panels must spread (a blank or constant picture fails).

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sys/stat.h>
#include <string>
#include <vector>

#include "files/SdsPC.h"

namespace
{

using testutil::FileExists;
using testutil::TempDir;

const std::string kSource = ONDEX_SOURCE_DIR;
const std::string kExporter = std::string(ONDEX_BINARY_DIR) + "/ondex_quicklook_export";

// A gather of 24 traces on a line through the source, 100 samples of 4 ms:
// a dipping event per component.
void WriteGather(const std::string& name, double dSlope)
{
    const int n = 24, ns = 100;
    std::vector<float> data((size_t)n * ns);
    std::vector<SDS_TRACEINFO> info(n);
    for (int k = 0; k < n; k++)
    {
        memset(&info[k], 0, sizeof(SDS_TRACEINFO));
        info[k].fSrcX = 500, info[k].fSrcY = 300, info[k].fRecX = (float)(400 + 10 * k), info[k].fRecY = 300;
        for (int j = 0; j < ns; j++)
            data[k + (size_t)j * n] = (float)sin(2 * M_PI * (j * 0.004 - dSlope * fabs(k - 10.0)) / 0.04);
    }
    CSdsPC w;
    ASSERT_TRUE(w.OnSave(name.c_str(), data.data(), CRectR(0, 0, 1, 396), CSizeN(n, ns), 0, 0, false, info.data(),
                         DU_MSEC));
}

TEST(Quicklook, PicturesOfGatherFilmAndCube)
{
    if (!FileExists(kExporter))
        GTEST_SKIP() << "the exporter is not built: " << kExporter;
    std::string out;
    if (testutil::Run("/usr/bin/python3 -c 'import matplotlib, numpy, PIL'", out) != 0)
        GTEST_SKIP() << "python3-matplotlib, python3-numpy or python3-pil is missing: " << out;
    TempDir dir;
    const std::string res = dir / "results";
    ASSERT_EQ(0, mkdir(res.c_str(), 0755));

    WriteGather(res + "/m+Gath3DAPUz-1.sgy", 0.002);
    WriteGather(res + "/m+Gath3DAPUc-1.sgy", 0.004);

    // A film of two rows, 30 x 20 samples, components Z and C: rings.
    {
        const int nx = 30, nz = 20;
        std::vector<float> pz(nx * nz), pc(nx * nz);
        CSdsPC w;
        for (int row = 0; row < 2; row++)
        {
            for (int j = 0; j < nz; j++)
                for (int i = 0; i < nx; i++)
                {
                    const double r = hypot(i - 15.0, j - 2.0);
                    pz[j * nx + i] = (float)cos(r / (2.0 + row));
                    pc[j * nx + i] = (float)sin(r / (2.0 + row));
                }
            C3DSizeN size(nx, nz, 1);
            CCubeR cube(0, 0, 0.1 * (row + 1), 290, 190, 0.1 * (row + 1));
            CPointR src(150, 20);
            char letters[] = "ZC";
            ASSERT_TRUE(w.OnAddToVMG_SNAP((res + "/m+Snap3DAPU-1.vmg").c_str(), size, cube, letters, src, pz.data(),
                                          pc.data(), nullptr, nullptr));
        }
    }

    // A cube of 16 x 12 x 10 nodes at 10 m: a spherical shell.
    {
        const std::string name = res + "/m+3DSnap3DAPUc(t=0.1)-1.sgy";
        CSdsPC w;
        C3DPointR src(80, 60, 50);
        ASSERT_TRUE(w.Create3D_file(name.c_str(), C3DSizeN(16, 12, 10), CCubeR(0, 0, 0, 150, 110, 90), 0, DU_M, 0,
                                    &src));
        CSdsPC c;
        ASSERT_TRUE(c.OnOpen(name.c_str(), 1));
        std::vector<float> tr(10);
        for (int t = 0; t < c.m_nTraceCount; t++)
        {
            C3DPointR s, r;
            ASSERT_TRUE(c.GetCoord(t, s, r));
            for (int k = 0; k < 10; k++)
                tr[k] = (float)cos(sqrt(pow(r.x - 80, 2) + pow(r.y - 60, 2) + pow(10 * k - 50, 2)) / 15);
            ASSERT_TRUE(c.SetTrace(t, tr.data(), 10));
        }
    }

    const std::string pics = dir / "pics";
    ASSERT_EQ(0, testutil::Run(kSource + "/tools/quicklook -o " + pics + " " + res, out)) << out;

    // Size (width, height) of each picture and how its data is seen: a gray
    // gather by the spread of a column through the middle of its first panel,
    // the red-blue pictures by their share of coloured pixels.
    const std::string script =
        "import sys, numpy as np\n"
        "from PIL import Image\n"
        "d = sys.argv[1]\n"
        "def check(n, w, h, least, gray=False):\n"
        "    a = np.asarray(Image.open(d + '/' + n).convert('RGB'), dtype=float) / 255\n"
        "    assert a.shape[:2] == (h, w), (n, a.shape)\n"
        "    v = a[int(0.2 * h):int(0.8 * h), int(0.27 * w), 0].std() if gray else "
        "(abs(a[..., 0] - a[..., 2]) > 0.2).mean()\n"
        "    assert v > least, (n, v)\n"
        "check('m+Gath3DAPU-1-shot1.png', 720, 600, 0.2, True)\n"
        "check('m+Snap3DAPU-1-frame1-row001.png', 1000, 380, 0.1)\n"
        "check('m+Snap3DAPU-1-frame1-row002.png', 1000, 380, 0.1)\n"
        "check('m+3DSnap3DAPUc(t=0.1)-1.png', 1500, 480, 0.1)\n"
        "g = Image.open(d + '/m+Snap3DAPU-1.gif')\n"
        "assert (g.size, g.n_frames) == ((1000, 380), 2), (g.size, g.n_frames)\n";
    ASSERT_TRUE(testutil::WriteFile(dir / "check.py", script));
    EXPECT_EQ(0, testutil::Run("/usr/bin/python3 " + dir / "check.py" + " " + pics, out)) << out;

    // A path that is neither a folder nor a file is refused with a line.
    EXPECT_NE(0, testutil::Run(kSource + "/tools/quicklook " + dir / "nothing", out));
    EXPECT_NE(std::string::npos, out.find("Error! ")) << out;
}

} // namespace
