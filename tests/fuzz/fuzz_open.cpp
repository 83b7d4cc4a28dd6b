// libFuzzer entry: the bytes become a data file (SEG-Y, SDS or VMG by the
// first byte), optionally with a ".cr2" catalogue beside it, and the file
// object opens it, reads every trace plainly and resampled, and builds a
// small cube from it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "files/SdsPC.h"

static std::string g_dir;

static bool WriteFile(const std::string& path, const uint8_t* p, size_t n)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = n == 0 || fwrite(p, 1, n, f) == n;
    return fclose(f) == 0 && ok;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (g_dir.empty()) {
        char tmpl[] = "/tmp/ondex_fuzz_open_XXXXXX";
        char* d = mkdtemp(tmpl);
        if (!d) return 0;
        g_dir = d;
    }
    if (size < 2) return 0;
    static const char* const kExt[] = {".sgy", ".rec", ".vmg", ".segy"};
    const uint8_t sel = data[0];
    std::string name = g_dir + "/f" + kExt[sel & 3];
    const uint8_t* body = data + 1;
    size_t n = size - 1;
    // With bit 2 set, the tail after the first 1/4 of the body becomes the ".cr2".
    std::string cr2 = name + ".cr2";
    unlink(cr2.c_str());
    unlink((name + ".inf").c_str());
    if ((sel & 4) && n >= 8) {
        size_t split = n - n / 4;
        WriteFile(cr2, body + split, n - split);
        n = split;
    }
    if (!WriteFile(name, body, n)) return 0;

    CSdsPC f;
    if (f.OnOpen(name.c_str(), (sel >> 3) & 1, (sel >> 4) & 1, 0, (sel & 32) ? 1 : 0)) {
        int len = f.m_nTraceLen;
        if (len < 1 || len > 65536) len = 64;
        std::vector<float> buf((size_t)len);
        double axis[3] = {f.m_traseParam[0], f.m_traseParam[1], f.m_traseParam[2] * 0.7};
        double dOut = axis[2] != 0 ? (axis[1] - axis[0]) / axis[2] + 1.5 : 1.0;
        std::vector<float> res;
        if (dOut >= 1 && dOut < 65536) res.resize((size_t)dOut + 1);
        std::vector<float> tmp((size_t)(f.m_nTraceLen > 0 && f.m_nTraceLen < 65536 ? f.m_nTraceLen : 1));
        int nTr = f.m_nTraceCount < 4096 ? f.m_nTraceCount : 4096;
        for (int k = 0; k < nTr; k++) {
            f.GetTrace(k, buf.data(), len);
            if (!res.empty()) f.GetTrace(k, res.data(), axis, tmp.data(), (sel & 64) ? 1.0f : 0.0f);
            C3DPointR s, r;
            f.GetCoord(k, s, r);
        }
        f.GetXYRect(0, CPointR());
        f.GetXYSize(CPointR());
        double x0 = f.m_traseXY[0], x1 = f.m_traseXY[1];
        if (x1 > x0 && x1 - x0 < 1e7) {
            C3DSizeN size(6, 3, 8);
            std::vector<float> cube((size_t)size.Total());
            f.Get3D_buf(size, CCubeR(x0, -10, f.m_traseParam[0], x1, 10, f.m_traseParam[1]), cube.data(), nullptr,
                        0, (sel & 64) ? 1.0f : 0.0f);
        }
        if (f.m_bWrite && f.m_nTraceCount > 0 && f.m_nTraceLen > 0 && f.m_nTraceLen < 65536) {
            std::vector<float> w((size_t)f.m_nTraceLen, 1.25f);
            f.SetTrace(0, w.data(), f.m_nTraceLen);
        }
        if (sel & 128) f.SetInfoHeaderFromFile(name.c_str(), 1);
    }
    return 0;
}
