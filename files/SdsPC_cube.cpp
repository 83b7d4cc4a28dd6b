// CSdsPC cubes: a new empty cube file on a regular (X, Y) grid, and a regular
// cube in memory built from any open trace file.
#include "files/SdsPC.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/Output.h"

namespace {

double NodeStep(double a0, double a1, int n)
{
    return n > 1 ? (a1 - a0) / (n - 1) : 0.0;
}

bool WriteAll(FILE* fp, const void* p, size_t n)
{
    return fwrite(p, 1, n, fp) == n;
}

}  // namespace

// ------------------------------------------------------------- Create3D_file

bool CSdsPC::Create3D_file(const char* szFile, C3DSizeN size, CCubeR cube, float reserved1, DATAUNIT unit,
                           int reserved2, C3DPointR* pSrc)
{
    (void)reserved1;
    (void)reserved2;
    time_t t0 = time(nullptr);
    u_Print("Create3D_file started in %s\n", ctime(&t0));
    if (!szFile) return false;

    std::string name = szFile;
    size_t slash = name.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        std::string dir = name.substr(0, slash);
        if (access(dir.c_str(), F_OK) != 0) {
            u_Print("Create3D_file error: %s is not accessed\n", dir.c_str());
            return false;
        }
    }
    unlink((name + ".inf").c_str());
    unlink((name + ".cr2").c_str());
    unlink((name + ".cr0").c_str());

    size_t len = name.size();
    if (len < 5 || name[len - 4] != '.') return false;
    std::string ext = name.substr(len - 3);
    for (char& c : ext) c = (char)tolower((unsigned char)c);
    TYPEFILE type;
    if (ext == "rec" || ext == "sec") type = SDS;
    else if (ext == "sgy") type = SGY;
    else {
        u_Print("Create3D_file (%s) error: format is not supported\n", szFile);
        return false;
    }

    int nx = size.nx, ny = size.ny, nz = size.nz;
    if (!(nx >= 2 && ny >= 2 && nz >= 2)) {
        if (ny == 1 && nx >= 2 && nz >= 2) {
            CRectR rect(cube.x0, cube.z0, cube.x1, cube.z1);
            return OnSave(szFile, nullptr, rect, CSizeN(nx, nz), 0, 0, false, nullptr, DU_SAME);
        }
        if (nx == 1 && ny >= 2 && nz >= 2) {
            CRectR rect(cube.y0, cube.z0, cube.y1, cube.z1);
            return OnSave(szFile, nullptr, rect, CSizeN(ny, nz), 0, 0, true, nullptr, DU_SAME);
        }
        u_Print("Create3D_file (%s), size error: X=%d, Y=%d, Z=%d\n", szFile, nx, ny, nz);
        return false;
    }
    // DU_SAME means the unit of this object, as for the writers.
    if (unit == DU_SAME) unit = m_DataUnit;

    double dx = NodeStep(cube.x0, cube.x1, nx);
    double dy = NodeStep(cube.y0, cube.y1, ny);
    double dz = NodeStep(cube.z0, cube.z1, nz);
    double tp[3] = {cube.z0, cube.z1, dz};

    FILE* fp = fopen(szFile, "wb");
    if (!fp) {
        u_Print("Create3D_file (%s), open file error", szFile);
        return false;
    }

    SDS_TRACEHEADER sdsHead;
    int sdsBytes = nz * 4;
    if (type == SDS) {
        int p[2] = {1, 1};
        SDS_TRACEINFO zero;
        memset(&zero, 0, sizeof(zero));
        sdsHead = CreateSDSHeaderTrace(p, zero, tp, unit, 0);
        int b = GetTraceLenSDS(&sdsHead);
        if (b > 0) sdsBytes = b;  // the header's own count decides what a reader walks by
    }
    size_t nTraceBytes = (size_t)(type == SDS ? sdsBytes : nz * 4);
    std::vector<unsigned char> zeros;
    try {
        zeros.assign(nTraceBytes, 0);
    } catch (const std::bad_alloc&) {
        fclose(fp);
        u_Print("Memory allocation error %dB", nz * 4);
        return false;
    }

    int64_t fileLen = type == SGY ? (int64_t)nx * ny * ((int64_t)nz * 4 + 240) + 3600
                                  : (int64_t)nx * ny * ((int64_t)nz * 4 + 80);
    u_Print("File length is %d MB", (int)(fileLen / 1000000));

    bool bRot = bRotate;
    double c = 1.0, s = 0.0;
    if (bRot) {
        double vx = rXx0 - rX00, vy = rYx0 - rY00, L = sqrt(vx * vx + vy * vy);
        if (L < 0.001) bRot = false;
        else {
            c = vx / L;
            s = vy / L;
        }
    }
    auto Node = [&](int ix, int iy, double& X, double& Y) {
        double x = ix * dx + cube.x0, y = cube.y0 + iy * dy;
        if (bRot) {
            X = x * c + rX00 - y * s;
            Y = y * c + rY00 + x * s;
        } else {
            X = x;
            Y = y;
        }
    };

    bool bWriteFailed = false;
    if (type == SGY) {
        SGY_FILEHEADER fh = CreateSGYHeaderFile(nx * ny, tp, unit, 0);
        if (!WriteAll(fp, &fh, sizeof(fh))) {
            u_Print("Create3D_file (%s), write error\n", szFile);
            fclose(fp);
            return false;
        }
        for (int iy = 0; iy < ny; iy++) {
            double sx = 0, sy = 0, sz = 0;
            for (int ix = 0; ix < nx; ix++) {
                double X, Y;
                Node(ix, iy, X, Y);
                if (pSrc) {
                    sx = pSrc->x;
                    sy = pSrc->y;
                    sz = pSrc->z;
                } else if (ix == 0 || PROMAX) {
                    sx = X;
                    sy = Y;
                    sz = 0;
                }
                SDS_TRACEINFO info;
                memset(&info, 0, sizeof(info));
                info.fSrcX = (float)sx;
                info.fSrcY = (float)sy;
                info.fSrcZ = (float)sz;
                info.fRecX = (float)X;
                info.fRecY = (float)Y;
                info.fRecZ = 0.0f;
                info.nPart = iy;
                int p[2] = {iy * nx + ix + 1, ix + 1};
                SGY_TRACEHEADER th = CreateSGYHeaderTrace(p, info, tp, unit);
                if (!WriteAll(fp, &th, sizeof(th)) || !WriteAll(fp, zeros.data(), zeros.size())) {
                    u_Print("Create3D_file (%s), write error: X=%g (point=%d), Y=%g (point=%d)\n", szFile, X, ix, Y,
                            iy);
                    bWriteFailed = true;
                    break;
                }
            }
        }
    } else {
        for (int iy = 0; iy < ny; iy++) {
            double sx = 0, sy = 0;
            for (int ix = 0; ix < nx; ix++) {
                double X, Y;
                Node(ix, iy, X, Y);
                if (ix == 0 || PROMAX) {
                    sx = X;
                    sy = Y;
                }
                SDS_TRACEHEADER h = sdsHead;
                int32_t id = iy * nx + ix;
                h.nId = id;
                h.nId2 = id;
                h.nPart = id;
                h.nInLine = ix;
                h.nSrcX = NearestInt32(ScaleCoordinate((float)sx, COOR_SCALER));
                h.nRecX = NearestInt32(ScaleCoordinate((float)X, COOR_SCALER));
                h.nSrcY = NearestInt32(ScaleCoordinate((float)sy, COOR_SCALER));
                h.nRecY = NearestInt32(ScaleCoordinate((float)Y, COOR_SCALER));
                h.nMidX = (int32_t)(((int64_t)h.nSrcX + h.nRecX) / 2);
                h.nVar32 = 0;
                if (!WriteAll(fp, &h, sizeof(h)) || !WriteAll(fp, zeros.data(), zeros.size())) {
                    u_Print("Create3D_file (%s), write error: X=%g (point=%d), Y=%g (point=%d)\n", szFile, X, ix, Y,
                            iy);
                    bWriteFailed = true;
                    break;
                }
            }
        }
    }
    if (fclose(fp) != 0) bWriteFailed = true;

    if (type == SGY) {
        double km = 1.0;
        if (unit == DU_SEC) {
            if (dz / 0.001 / 0.001 > 32000) km = 1000.0;
            if (dz / 0.001 > 32000) km = 1000000.0;
        } else if (dz / 0.001 > 32000) {
            km = 1000.0;
        }
        if (km != 1.0) {
            FILE* fi = fopen((name + ".inf").c_str(), "wb");
            if (fi) {
                fprintf(fi, "[Reform]\nkmTrs=%f\n", km);
                fclose(fi);
            }
        }
    }
    u_Print("Create3D_file(%s) elapsed time %6.0f seconds.\n\n", szFile, difftime(time(nullptr), t0));
    // A cube with a lost line is not a complete file: callers must not take it for one.
    return !bWriteFailed;
}

// ----------------------------------------------------------------- Get3D_buf

bool CSdsPC::Get3D_buf(C3DSizeN size, CCubeR cube, float* pOut, SDS_TRACEINFO_ALL* reserved1, int reserved2,
                       float fMin)
{
    (void)reserved1;
    (void)reserved2;
    time_t t0 = time(nullptr);
    const int nx = size.nx, ny = size.ny, nz = size.nz;
    if (!pOut || nx < 1 || ny < 1 || nz < 1) {
        u_Print("Get3D_buf size error: X=%d, Y=%d, Z=%d\n", nx, ny, nz);
        return false;
    }
    const int64_t nxy = (int64_t)nx * ny;
    const int64_t total = nxy * nz;
    memset(pOut, 0, sizeof(float) * (size_t)total);

    double dx = NodeStep(cube.x0, cube.x1, nx);
    double dy = NodeStep(cube.y0, cube.y1, ny);
    double dz = NodeStep(cube.z0, cube.z1, nz);
    if (!(dx > 0) && !(dy > 0)) {
        u_Print("Get3D_buf step error: X=%g, Y=%g, Z=%g", dx, dy, dz);
        return false;
    }
    if (!(dx > 0)) dx = dy;
    if (!(dy > 0)) dy = dx;
    if (!m_pSR || m_nTraceCount < 1 || !m_fp) {
        u_Print("GetTrace error: isError (%s), %d\n", m_szFileName, 0);
        return false;
    }

    // Both arrays are checked: a failed allocation is a plain failure.
    float* w = new (std::nothrow) float[(size_t)nxy];
    // Two spare floats: the resampled read may round its count up by one.
    float* trace = new (std::nothrow) float[(size_t)nz + 2];
    if (!w || !trace) {
        delete[] w;
        delete[] trace;
        u_Print("Get3D_buf memory allocation error!\n");
        return false;
    }
    memset(w, 0, sizeof(float) * (size_t)nxy);

    // Traces are placed in batches: the corners of a batch are added plane by
    // plane, so that the cube, z slowest, is written along its rows and not a
    // plane apart for every sample. Each node still takes its contributions in
    // the order of the catalogue and of the four corners, so the sums are the
    // same as trace by trace. The batch holds at most 1 MB of samples.
    const int64_t kBatchFloats = 262144;
    int nBatch = (int)std::min<int64_t>(256, std::max<int64_t>(1, kBatchFloats / nz));
    struct Corner {
        int64_t node;
        float w;
        int slot;
    };
    std::vector<float> batch;
    std::vector<Corner> corners;
    std::vector<float> tmp;  // the file's trace, for resampled reads
    try {
        batch.resize((size_t)nBatch * ((size_t)nz + 2));
        corners.reserve((size_t)nBatch * 4);
        if (m_nTraceLen > 0) tmp.resize((size_t)m_nTraceLen);
    } catch (const std::bad_alloc&) {
        nBatch = 1;  // fall back to the single trace buffer
        batch.clear();
    }
    auto flush = [&](int nSlots, const float* slots) {
        (void)nSlots;
        for (int iz = 0; iz < nz; iz++) {
            float* plane = pOut + iz * nxy;
            for (const Corner& c : corners) plane[c.node] += slots[(size_t)c.slot * (nz + 2) + iz] * c.w;
        }
        for (const Corner& c : corners) w[c.node] += c.w;
        corners.clear();
    };

    // Consecutive traces come from one read-ahead block instead of a seek each.
    struct BlockGuard {
        CSdsPC* p;
        ~BlockGuard() { p->SetReadBlock(false); }
    } guard{this};
    SetReadBlock(true);

    // With nz = 1 the axis has step 0: the read then gives the one sample at z0.
    double axis[3] = {cube.z0, cube.z1, dz};
    int nSlot = 0;
    for (int i = 0; i < m_nTraceCount; i++) {
        double X = m_pSR[i].fRecX, Y = m_pSR[i].fRecY;
        double u = (X - cube.x0) / dx, v = (Y - cube.y0) / dy;
        // Far outside the grid no corner can count; also keeps the casts defined.
        if (!(u > -1.0 && u < nx) || !(v > -1.0 && v < ny)) continue;
        float* tr = batch.empty() ? trace : batch.data() + (size_t)nSlot * ((size_t)nz + 2);
        if (!GetTrace(i, tr, axis, tmp.empty() ? nullptr : tmp.data(), fMin)) continue;
        int iu = (int)u, iv = (int)v;
        double a = iu + 1 - u, b = u - iu, c = iv + 1 - v, e = v - iv;
        const int cx[4] = {iu, iu + 1, iu, iu + 1};
        const int cy[4] = {iv, iv, iv + 1, iv + 1};
        const double cw[4] = {a * c, b * c, a * e, b * e};
        bool bUsed = false;
        for (int k = 0; k < 4; k++) {
            if (!(cw[k] > 0) || cx[k] < 0 || cx[k] >= nx || cy[k] < 0 || cy[k] >= ny) continue;
            corners.push_back(Corner{(int64_t)cy[k] * nx + cx[k], (float)cw[k], nSlot});
            bUsed = true;
        }
        if (!bUsed) continue;
        // An invalid sample is NaN for every corner of the trace.
        if (fMin > 0)
            for (int iz = 0; iz < nz; iz++)
                if (tr[iz] < fMin) tr[iz] = NAN;
        if (batch.empty()) {
            flush(1, trace);
        } else if (++nSlot == nBatch) {
            flush(nSlot, batch.data());
            nSlot = 0;
        }
    }
    if (!corners.empty()) flush(nSlot, batch.data());

    bool bAny = false;
    for (int64_t n = 0; n < nxy; n++)
        if (w[n] > 0) bAny = true;
    // Without a single node reached the holes cannot be filled: a failure.
    if (!bAny) {
        delete[] w;
        delete[] trace;
        u_Print("Get3D_buf(%s): no trace lies inside the grid\n", m_szFileName);
        return false;
    }
    for (int iz = 0; iz < nz; iz++) {
        float* plane = pOut + iz * nxy;
        for (int64_t n = 0; n < nxy; n++)
            if (w[n] > 0) plane[n] /= w[n];
    }

    // Fill the holes along the grid lines, pass by pass. Within a pass only
    // nodes of positive weight are sources, and filling never changes them, so
    // the holes of a row are worked out first and then written plane by plane.
    struct Fill {
        int64_t node;
        int64_t src[4];
        double f[4];
        double fs;
    };
    std::vector<Fill> fills;
    fills.reserve((size_t)nx);
    for (;;) {
        bool bNeedPass = false, bFilled = false;
        for (int iy = 0; iy < ny; iy++) {
            fills.clear();
            for (int ix = 0; ix < nx; ix++) {
                int64_t node = (int64_t)iy * nx + ix;
                if (w[node] != 0.0f) continue;
                int dist[4] = {0, 0, 0, 0};  // R, L, U, D
                int64_t src[4] = {-1, -1, -1, -1};
                for (int j = ix + 1; j < nx; j++)
                    if (w[(int64_t)iy * nx + j] > 0) {
                        dist[0] = j - ix;
                        src[0] = (int64_t)iy * nx + j;
                        break;
                    }
                for (int j = ix - 1; j >= 0; j--)
                    if (w[(int64_t)iy * nx + j] > 0) {
                        dist[1] = ix - j;
                        src[1] = (int64_t)iy * nx + j;
                        break;
                    }
                for (int j = iy + 1; j < ny; j++)
                    if (w[(int64_t)j * nx + ix] > 0) {
                        dist[2] = j - iy;
                        src[2] = (int64_t)j * nx + ix;
                        break;
                    }
                for (int j = iy - 1; j >= 0; j--)
                    if (w[(int64_t)j * nx + ix] > 0) {
                        dist[3] = iy - j;
                        src[3] = (int64_t)j * nx + ix;
                        break;
                    }
                int T = dist[0] + dist[1] + dist[2] + dist[3];
                if (T == 0) {
                    bNeedPass = true;
                    continue;
                }
                Fill fl;
                fl.node = node;
                int nFound = 0;
                for (int k = 0; k < 4; k++) {
                    fl.src[k] = src[k];
                    fl.f[k] = dist[k] ? (double)(T - dist[k]) / T : 0.0;
                    if (dist[k]) nFound++;
                }
                if (nFound == 1)
                    for (int k = 0; k < 4; k++)
                        if (dist[k]) fl.f[k] = 1.0;
                fl.fs = fl.f[0] + fl.f[1] + fl.f[2] + fl.f[3];
                fills.push_back(fl);
                w[node] = -99.0f;
                bFilled = true;
            }
            for (int iz = 0; iz < nz && !fills.empty(); iz++) {
                float* plane = pOut + iz * nxy;
                for (const Fill& fl : fills) {
                    double sum = 0.0;
                    for (int k = 0; k < 4; k++)
                        if (fl.src[k] >= 0) sum += (double)plane[fl.src[k]] * fl.f[k];
                    plane[fl.node] = (float)(sum / fl.fs);
                }
            }
        }
        if (!bNeedPass) break;
        // A pass that filled nothing cannot be followed by one that does.
        if (!bFilled) break;
        for (int64_t n = 0; n < nxy; n++)
            if (w[n] == -99.0f) w[n] = 99.0f;
    }

    if (fMin > 0)
        for (int64_t n = 0; n < total; n++)
            if (std::isnan(pOut[n])) pOut[n] = 0.0f;

    delete[] w;
    delete[] trace;
    u_Print("Get3D_buf(%s) elapsed time %6.0f seconds.\n\n", m_szFileName, difftime(time(nullptr), t0));
    return true;
}
