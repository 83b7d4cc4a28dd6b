// Whole-file writers of CSdsPC: a 2D data set in one float array, written as
// a new SDS, SEG-Y or VMG file in one call.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"

const float CSdsPC::fP[16] = {0, 300, 1500, 2000, 2500, 3000, 4000, 5000,
                              6000, 6500, 7000, 7500, 8000, 8500, 9000, 10000};
const float CSdsPC::fQ[16] = {0, 1000, 1970, 2010, 2200, 2200, 2350, 2500,
                              2650, 2810, 2970, 3130, 3300, 3400, 3500, 3800};
const float CSdsPC::fR[16] = {0, 0, 900, 1150, 1450, 1730, 2310, 2900,
                              3510, 3750, 4050, 4350, 4650, 4800, 5000, 6000};

// Value of table T at the place of v in fP, linear between rows and cut to a
// whole number.
static float LookupTable(const float* T, float v)
{
    const float* P = CSdsPC::fP;
    if (std::isnan(v) || v <= P[0])
        return T[0];
    if (v >= P[15])
        return T[15];
    int i = 1;
    while (i < 15 && v > P[i])
        i++;
    if (v == P[i])
        return T[i];
    float w = (P[i] - v) / (P[i] - P[i - 1]);
    w = std::min(1.0f, std::max(0.0f, w));
    return (float)(int)((1.0f - w) * T[i] + w * T[i - 1]);
}

// Fills the parts of a VMG gather header that OnSave and OnSaveModel share:
// texts, counts, axis 1 from the rectangle and the source from pInfo.
static void GatherHeader(VMG_FILEHEADER& h, const char* szFile, const CRectR& rect, const CSizeN& size,
                         const SDS_TRACEINFO* pInfo)
{
    memset(&h, 0, sizeof(h));
    strncpy(h.szFormat, "Binary. FD-Grid ___", sizeof(h.szFormat));
    strncpy(h.szTitle, "Model", sizeof(h.szTitle));
    strncpy(h.szCreator, "VelmoranPro", sizeof(h.szCreator));
    const size_t n = strlen(szFile);
    memcpy(h.szName, szFile, n < 16 ? n : 16);
    h.rX0 = (float)rect.x0;
    h.rX1 = (float)rect.x1;
    h.rDX = (size.nx > 1) ? (h.rX1 - h.rX0) / (float)(size.nx - 1) : 1.0f;
    h.rSrcX = pInfo ? pInfo[0].fSrcX : 0.0f;
    h.rSrcZ = pInfo ? pInfo[0].fSrcZ : 0.0f;
    h.n1 = size.nx;
    h.n2 = size.ny;
    h.n3 = 1;
    h.n4 = 1;
    h.nReserved232 = 1;
    h.nFrames = 1;
    h.nFrame = 0;
    h.nComponents = 1;
    h.nAxes = 2;
    if (CSdsPC::bFOOT) {
        h.rX0 *= 0.3048f;
        h.rX1 *= 0.3048f;
        h.rDX = (size.nx > 1) ? (h.rX1 - h.rX0) / (float)(size.nx - 1) : 1.0f;
        h.rSrcX *= 0.3048f;
        h.rSrcZ *= 0.3048f;
    }
}

bool CSdsPC::OnSave(const char* szFile, float* pData, const CRectR& rect, const CSizeN& size, int /*reserved1*/,
                    int /*reserved2*/, bool bAlongY, SDS_TRACEINFO* pInfo, DATAUNIT unit)
{
    if (unit == DU_SAME)
        unit = m_DataUnit;
    TYPEFILE type;
    if (!szFile || !GetTypeFromFileName(szFile, type)) {
        u_Print("File name '%s' has incorrect extension. It have to be from the set '.sgy', '.rec', '.vmg'!\n",
                szFile ? szFile : "");
        return false;
    }
    const int nx = size.nx, ny = size.ny;
    if (nx < 1 || ny < 2) {
        u_Print("Buffer size error\n");
        return false;
    }
    if (type == SGY && ny > 32767) {
        // The sample count of a SEG-Y header is a 16-bit field.
        u_Print("Error! A SEG-Y trace cannot hold %d samples (at most 32767).\n", ny);
        return false;
    }
    if (type == VMG && !pData)
        return false;  // a frame has no samples to take; nothing is created

    const double triple[3] = {rect.y0, rect.y1, (rect.y1 - rect.y0) / (double)(ny - 1)};

    // One trace of samples. In SDS the header's integer axis may promise more
    // samples than ny (a step that is not whole in its unit); the buffer is
    // sized for that and the extra samples are zeros.
    std::vector<float> tmp;
    if (type != VMG) {
        int nBuf = ny;
        if (type == SDS) {
            int p[2] = {1, 1};
            SDS_TRACEINFO info;
            memset(&info, 0, sizeof(info));
            double t[3] = {triple[0], triple[1], triple[2]};
            SDS_TRACEHEADER sh = CreateSDSHeaderTrace(p, info, t, unit, 0);
            nBuf = std::max(ny, GetTraceLenSDS(&sh) / 4);
        }
        try {
            tmp.assign((size_t)nBuf, 0.0f);
        } catch (const std::bad_alloc&) {
            u_Print("Memory allocation error pTmp==NULL\n");
            return false;
        }
    }

    const double d = (nx > 1) ? (rect.x1 - rect.x0) / (double)(nx - 1) : 0.0;

    FILE* fp = fopen(szFile, "wb");
    if (!fp) {
        u_Print("File '%s' is not opened.\n", szFile);
        return false;
    }

    bool rotate = bRotate;
    double c = 1.0, s = 0.0;
    if (rotate) {
        const double dx = rXx0 - rX00, dy = rYx0 - rY00;
        const double L = sqrt(dx * dx + dy * dy);
        if (L < 0.001) {
            rotate = false;
        } else {
            c = dx / L;
            s = dy / L;
        }
    }

    auto traceInfo = [&](int k) {
        SDS_TRACEINFO info;
        if (pInfo)
            return pInfo[k];
        memset(&info, 0, sizeof(info));
        const double t = k * d + rect.x0;
        double x = bAlongY ? 0.0 : t, y = bAlongY ? t : 0.0;
        if (rotate) {
            const double xr = x * c + rX00 - y * s;
            const double yr = y * c + rY00 + x * s;
            x = xr;
            y = yr;
        }
        info.fSrcX = info.fRecX = (float)x;
        info.fSrcY = info.fRecY = (float)y;
        return info;
    };

    int written = 0;
    if (type == SGY) {
        double t[3] = {triple[0], triple[1], triple[2]};
        SGY_FILEHEADER fh = CreateSGYHeaderFile(nx, t, unit, 0);
        // The header's count comes from the axis; the file must walk by the
        // samples actually written.
        PutBE16((unsigned char*)&fh + 3220, (int16_t)ny);
        PutBE16((unsigned char*)&fh + 3222, (int16_t)ny);
        if (fwrite(&fh, sizeof(fh), 1, fp) != 1) {
            u_Print("File '%s' is not saved: !fwrite.\n", szFile);
            fclose(fp);
            return false;
        }
        std::vector<unsigned char> raw((size_t)ny * 4);
        for (int k = 0; k < nx; k++) {
            for (int j = 0; j < ny; j++)
                EncodeIBMFloat(pData ? pData[(size_t)k + (size_t)j * nx] : 0.0f, &raw[(size_t)j * 4]);
            int p[2] = {k + 1, k + 1};
            SDS_TRACEINFO info = traceInfo(k);
            SGY_TRACEHEADER th = CreateSGYHeaderTrace(p, info, t, unit);
            PutBE16((unsigned char*)&th + 114, (int16_t)ny);
            if (USE_NEGATIVE_SRC_RCV_DIST)
                PutBE32((unsigned char*)&th + 36, NearestInt32(std::floor(info.fRecX - info.fSrcX)));
            if (fwrite(&th, sizeof(th), 1, fp) != 1 || fwrite(raw.data(), 1, raw.size(), fp) != raw.size())
                break;
            written++;
        }
    } else if (type == SDS) {
        double t[3] = {triple[0], triple[1], triple[2]};
        for (int k = 0; k < nx; k++) {
            std::fill(tmp.begin(), tmp.end(), 0.0f);
            if (pData)
                for (int j = 0; j < ny; j++)
                    tmp[(size_t)j] = pData[(size_t)k + (size_t)j * nx];
            int p[2] = {k + 1, k + 1};
            SDS_TRACEINFO info = traceInfo(k);
            SDS_TRACEHEADER sh = CreateSDSHeaderTrace(p, info, t, unit, 0);
            const size_t bytes = (size_t)GetTraceLenSDS(&sh);
            // Never past the buffer: the buffer holds at least the header's
            // promise for this axis (see above).
            const size_t n = std::min(bytes, tmp.size() * sizeof(float));
            if (fwrite(&sh, sizeof(sh), 1, fp) != 1 || fwrite(tmp.data(), 1, n, fp) != n)
                break;
            written++;
        }
    } else {
        VMG_FILEHEADER h;
        GatherHeader(h, szFile, rect, size, pInfo);
        h.rZ0 = (float)rect.y0;
        h.rZ1 = (float)rect.y1;
        h.rDZ = (h.rZ1 - h.rZ0) / (float)(ny - 1);
        if (unit == DU_MSEC) {
            h.rZ0 /= 1000.0f;
            h.rZ1 /= 1000.0f;
            h.rDZ /= 1000.0f;
        }
        if (bFOOT && unit == DU_M) {
            h.rZ0 *= 0.3048f;
            h.rZ1 *= 0.3048f;
            h.rDZ = (h.rZ1 - h.rZ0) / (float)(ny - 1);
        }
        h.szComponents[0] = m_cComponent;
        memcpy(h.szAxes, unit == DU_M ? "XZTY" : "XTZY", 4);
        strncpy(h.szKind, unit == DU_M ? "Modl" : "Gath", sizeof(h.szKind));
        const size_t nFloats = (size_t)nx * (size_t)ny;
        if (fwrite(&h, sizeof(h), 1, fp) == 1 && fwrite(pData, sizeof(float), nFloats, fp) == nFloats)
            written = nx;
    }
    if (fclose(fp) != 0)
        written = 0;
    return written == nx;
}

bool CSdsPC::OnSaveModel(const char* szFile, float* p0, float* p1, float* p2, CRectR rect, CSizeN size,
                         SDS_TRACEINFO* pInfo, char* szLetters, DATAUNIT /*unit*/, float* p3)
{
    if (!p0 || !szFile || size.ny < 2 || size.nx < 1)
        return false;

    TYPEFILE type = VMG;
    const size_t len = strlen(szFile);
    if (len > 4 && szFile[len - 4] == '.') {
        const char* ext = szFile + len - 3;
        if (strcasecmp(ext, "rec") == 0 || strcasecmp(ext, "sec") == 0)
            type = SDS;
        else if (strcasecmp(ext, "sgy") == 0)
            type = SGY;
        else if (strcasecmp(ext, "vmg") == 0)
            type = VMG;
        else
            return false;
    }

    if (type != VMG) {
        float* more[3] = {p1, p2, p3};
        const bool derived = p1 || p2 || p3;
        if (derived && len > 255) {
            // The names of the further planes are built in 255 characters.
            u_Print("Error! File name '%s' is too long to derive the names of its components.\n", szFile);
            COMPONENT_SAVE = 0;
            return false;
        }
        COMPONENT_SAVE = 1;
        if (!OnSave(szFile, p0, rect, size, 0, 0, false, pInfo, DU_MSEC)) {
            COMPONENT_SAVE = 0;
            return false;
        }
        static const char kDefault[3] = {'Q', 'R', 'S'};
        for (int i = 0; i < 3; i++) {
            if (!more[i])
                continue;
            const char letter = szLetters ? szLetters[i + 1] : kDefault[i];
            char name[300];
            memcpy(name, szFile, len - 4);
            snprintf(name + (len - 4), sizeof(name) - (len - 4), "_%c.%s", letter, type == SDS ? "REC" : "SGY");
            COMPONENT_SAVE = (int16_t)ComponentCode(letter);
            if (!OnSave(name, more[i], rect, size, 0, 0, false, pInfo, DU_MSEC)) {
                COMPONENT_SAVE = 0;
                return false;
            }
        }
        return true;
    }

    // VMG: one frame with the planes interleaved. Without letters, a plane
    // given at a later position also brings the positions before it (filled
    // from the tables), so that every component keeps its place.
    int count;
    if (p3)
        count = 4;
    else if (szLetters || p2)
        count = 3;
    else if (p1)
        count = 2;
    else
        count = 1;
    static const char kDefault[4] = {'P', 'Q', 'R', 'S'};

    const int nx = size.nx, ny = size.ny;
    VMG_FILEHEADER h;
    GatherHeader(h, szFile, rect, size, pInfo);
    h.rZ0 = (float)(rect.y0 / 1000.0);
    h.rZ1 = (float)(rect.y1 / 1000.0);
    h.rDZ = (float)(((rect.y1 - rect.y0) / (double)(ny - 1)) / 1000.0);
    h.nComponents = count;
    for (int c = 0; c < count; c++)
        h.szComponents[c] = szLetters ? szLetters[c] : kDefault[c];
    memcpy(h.szAxes, "XTZY", 4);
    strncpy(h.szKind, "Gath", sizeof(h.szKind));

    const size_t nNodes = (size_t)nx * (size_t)ny;
    float* block = new (std::nothrow) float[nNodes * (size_t)count]();
    if (!block) {
        u_Print("Error! Memory allocation error in OnSaveModel (%zu floats).\n", nNodes * (size_t)count);
        return false;
    }
    for (size_t i = 0; i < nNodes; i++) {
        // Sample-major input and block share the node order: i = sample * nx + trace.
        const float v = p0[i];
        float* o = block + i * (size_t)count;
        o[0] = v;
        if (count > 1)
            o[1] = p1 ? p1[i] : LookupTable(fQ, v);
        if (count > 2)
            o[2] = p2 ? p2[i] : LookupTable(fR, v);
        if (count > 3)
            o[3] = p3[i];
    }
    bool ok = false;
    FILE* fp = fopen(szFile, "wb");
    if (fp) {
        ok = fwrite(&h, sizeof(h), 1, fp) == 1 && fwrite(block, sizeof(float), nNodes * count, fp) == nNodes * count;
        if (fclose(fp) != 0)
            ok = false;
    }
    delete[] block;
    return ok;
}
