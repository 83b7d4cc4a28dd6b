// Exports one Ondex result file, read through the project's own reader, as
// raw little-endian float32 plus a small JSON header, for tools/quicklook.py
// to draw. Usage: ondex_quicklook_export <file> <output stem>
// writes <stem>.f32 and <stem>.json. Kinds:
//   gather: traces x samples, with the signed offset of every trace;
//   cube:   a SEG-Y cube whose traces stand on a regular X-Y grid with depth
//           along the samples (3D snapshots, time fields), ny x nx x nz;
//   film:   a VMG snapshot file, frames x components x rows x nz x nx.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "base/Output.h"
#include "base/Types.h"
#include "files/SdsPC.h"

namespace {

bool WriteFloats(const std::string& name, const std::vector<float>& v)
{
    FILE* f = std::fopen(name.c_str(), "wb");
    if (!f) return false;
    const bool ok = v.empty() || std::fwrite(v.data(), sizeof(float), v.size(), f) == v.size();
    return std::fclose(f) == 0 && ok;
}

std::string Json(const std::vector<std::pair<std::string, std::string>>& kv)
{
    std::string s = "{";
    for (size_t i = 0; i < kv.size(); i++)
        s += (i ? ", \"" : "\"") + kv[i].first + "\": " + kv[i].second;
    return s + "}\n";
}

std::string Num(double v)
{
    char b[64];
    std::snprintf(b, sizeof(b), "%.9g", std::isfinite(v) ? v : 0.0);
    return b;
}

std::string List(const std::vector<double>& v)
{
    std::string s = "[";
    for (size_t i = 0; i < v.size(); i++) s += (i ? ", " : "") + Num(v[i]);
    return s + "]";
}

std::string Str(const std::string& v) { return "\"" + v + "\""; }

const char* Unit(DATAUNIT u) { return u == DU_MSEC ? "ms" : u == DU_SEC ? "s" : u == DU_M ? "m" : ""; }

// Sorted distinct values, closer than tol counted as one.
std::vector<double> Distinct(std::vector<double> v, double tol)
{
    std::sort(v.begin(), v.end());
    std::vector<double> out;
    for (double x : v)
        if (out.empty() || x - out.back() > tol) out.push_back(x);
    return out;
}

int ExportFilm(CSdsPC& f, std::string& json, std::vector<float>& data)
{
    // Columns of frame p are the catalogue entries with nPart p, in order.
    const int nFrames = std::max(1, f.m_nMaxPart);
    std::string letters;
    for (int i = 0; i < 8 && f.m_arComponents[i]; i++) letters += f.m_arComponents[i];
    if (letters.empty()) letters = " ";
    const int nz = f.m_nTraceLen;
    std::vector<std::vector<int>> cols(nFrames);
    for (int t = 0; t < f.m_nTraceCount; t++) {
        SDS_TRACEINFO e;
        if (f.Set_pSR(t, &e) && e.nPart >= 0 && e.nPart < nFrames) cols[e.nPart].push_back(t);
    }
    const int nx = (int)cols[0].size();
    if (nx < 1 || nz < 1) return 1;
    // Rows of a frame from its time axis, as the reader reports it once a
    // trace of the frame has been read.
    std::vector<float> tr(nz);
    f.m_nFrame = 0;
    f.m_cComponent = letters[0];
    if (!f.GetTrace(cols[0][0], tr.data(), nz)) return 1;
    const double t0 = f.m_rFrameParam[0], t1 = f.m_rFrameParam[1];
    const double dt = f.m_rFrameParam[2];
    const int nRows = dt > 0 ? (int)std::floor((t1 - t0) / dt + 0.5) + 1 : 1;
    std::vector<double> vSrcX;
    for (int p = 0; p < nFrames; p++) {
        C3DPointR s, r;
        vSrcX.push_back(!cols[p].empty() && f.GetCoord(cols[p][0], s, r) ? s.x : 0.0);
    }
    data.assign((size_t)nFrames * letters.size() * nRows * nz * nx, 0.0f);
    for (int p = 0; p < nFrames; p++)
        for (size_t c = 0; c < letters.size(); c++)
            for (int row = 0; row < nRows; row++) {
                f.m_cComponent = letters[c];
                for (int i = 0; i < nx && i < (int)cols[p].size(); i++) {
                    f.m_nFrame = row;
                    std::fill(tr.begin(), tr.end(), 0.0f);
                    if (!f.GetTrace(cols[p][i], tr.data(), nz)) continue;
                    float* out = &data[((((size_t)p * letters.size() + c) * nRows + row) * nz) * nx];
                    for (int k = 0; k < nz; k++) out[(size_t)k * nx + i] = tr[k];
                }
            }
    C3DPointR s, r0, r1;
    f.GetCoord(cols[0].front(), s, r0);
    f.GetCoord(cols[0].back(), s, r1);
    json = Json({{"kind", Str("film")}, {"frames", Num(nFrames)}, {"components", Str(letters)},
                 {"rows", Num(nRows)}, {"nx", Num(nx)}, {"nz", Num(nz)}, {"x0", Num(r0.x)}, {"x1", Num(r1.x)},
                 {"z0", Num(f.m_traseParam[0])}, {"dz", Num(f.m_traseParam[2])}, {"t0", Num(t0)},
                 {"dt", Num(nRows > 1 ? dt : 0.0)}, {"src_x", List(vSrcX)}});
    return 0;
}

int ExportTraces(CSdsPC& f, std::string& json, std::vector<float>& data)
{
    const int n = f.m_nTraceCount, ns = f.m_nTraceLen;
    if (n < 1 || ns < 1) return 1;
    std::vector<C3DPointR> vSrc(n), vRec(n);
    std::vector<double> vx, vy;
    for (int t = 0; t < n; t++) {
        if (!f.GetCoord(t, vSrc[t], vRec[t])) return 1;
        vx.push_back(vRec[t].x);
        vy.push_back(vRec[t].y);
    }
    data.assign((size_t)n * ns, 0.0f);
    for (int t = 0; t < n; t++)
        if (!f.GetTrace(t, &data[(size_t)t * ns], ns)) std::fprintf(stderr, "trace %d not read\n", t);
    const std::vector<double> ux = Distinct(vx, 1e-3), uy = Distinct(vy, 1e-3);
    const int nx = (int)ux.size(), ny = (int)uy.size();
    // A depth axis over a full X-Y grid is a cube; anything else a gather.
    if (f.m_DataUnit == DU_M && nx >= 2 && ny >= 2 && (long long)nx * ny == n) {
        std::vector<float> cube((size_t)n * ns, 0.0f);
        for (int t = 0; t < n; t++) {
            const int ix = (int)(std::lower_bound(ux.begin(), ux.end(), vRec[t].x - 1e-3) - ux.begin());
            const int iy = (int)(std::lower_bound(uy.begin(), uy.end(), vRec[t].y - 1e-3) - uy.begin());
            std::copy(&data[(size_t)t * ns], &data[(size_t)t * ns] + ns, &cube[((size_t)iy * nx + ix) * ns]);
        }
        data.swap(cube);
        json = Json({{"kind", Str("cube")}, {"nx", Num(nx)}, {"ny", Num(ny)}, {"nz", Num(ns)},
                     {"x0", Num(ux.front())}, {"dx", Num((ux.back() - ux.front()) / (nx - 1))},
                     {"y0", Num(uy.front())}, {"dy", Num((uy.back() - uy.front()) / (ny - 1))},
                     {"z0", Num(f.m_traseParam[0])}, {"dz", Num(f.m_traseParam[2])},
                     {"src", List({vSrc[0].x, vSrc[0].y, vSrc[0].z})}});
        return 0;
    }
    // Offset signed by the larger horizontal leg, so that a line reads left
    // to right through its source.
    // A merged gather holds many shots: each trace gets the number of its
    // source position, in order of first appearance.
    std::vector<double> vOff(n), vShot(n);
    std::vector<C3DPointR> vSeen;
    for (int t = 0; t < n; t++) {
        size_t k = 0;
        while (k < vSeen.size() && (std::fabs(vSeen[k].x - vSrc[t].x) > 1e-3 || std::fabs(vSeen[k].y - vSrc[t].y) > 1e-3 ||
                                    std::fabs(vSeen[k].z - vSrc[t].z) > 1e-3))
            k++;
        if (k == vSeen.size()) vSeen.push_back(vSrc[t]);
        vShot[t] = (double)k;
    }
    for (int t = 0; t < n; t++) {
        const double dx = vRec[t].x - vSrc[t].x, dy = vRec[t].y - vSrc[t].y;
        const double d = std::sqrt(dx * dx + dy * dy);
        vOff[t] = (std::fabs(dx) >= std::fabs(dy) ? dx : dy) < 0 ? -d : d;
    }
    json = Json({{"kind", Str("gather")}, {"traces", Num(n)}, {"samples", Num(ns)},
                 {"t0", Num(f.m_traseParam[0])}, {"dt", Num(f.m_traseParam[2])},
                 {"unit", Str(Unit(f.m_DataUnit))}, {"offset", List(vOff)}, {"shot", List(vShot)}});
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s <result file> <output stem>\n", argv[0]);
        return 2;
    }
    CSdsPC f;
    if (!f.OnOpen(argv[1], 0)) {
        std::fprintf(stderr, "Error! Unable to open '%s'.\n", argv[1]);
        return 1;
    }
    std::string json;
    std::vector<float> data;
    const int r = f.m_Type == VMG ? ExportFilm(f, json, data) : ExportTraces(f, json, data);
    if (r != 0) {
        std::fprintf(stderr, "Error! '%s' holds nothing to draw.\n", argv[1]);
        return 1;
    }
    const std::string stem = argv[2];
    FILE* j = std::fopen((stem + ".json").c_str(), "w");
    if (!j || std::fputs(json.c_str(), j) < 0 || std::fclose(j) != 0 || !WriteFloats(stem + ".f32", data)) {
        std::fprintf(stderr, "Error! Unable to write '%s'.\n", (stem + ".json").c_str());
        return 1;
    }
    return 0;
}
