// VMG format: frame size, the snapshot writer that grows a file row by row,
// and the merge of per-shot VMG files into one.
#include "files/VmgFormat.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "base/Output.h"
#include "files/SdsPC.h"

int64_t VmgFrameFloats(const VMG_FILEHEADER& h)
{
    if (h.n1 <= 0 || h.n2 <= 0 || h.n3 <= 0 || h.n4 <= 0 || h.nComponents <= 0)
        return -1;
    const double d = (double)h.n1 * h.n2 * h.n3 * h.n4 * h.nComponents;
    if (d > 1099511627776.0)  // 2^40
        return -1;
    return (int64_t)h.n1 * h.n2 * h.n3 * h.n4 * h.nComponents;
}

int CSdsPC::GetTraceLenSDS(VMG_FILEHEADER* header)
{
    if (!header || header->n2 <= 0 || header->n2 > (1 << 28))
        return 0;
    return header->n2 * 4;
}

// Fixed texts and counters that every frame written by the system carries.
static void InitVmgHeader(VMG_FILEHEADER& h, const char* szFile)
{
    memset(&h, 0, sizeof(h));
    strncpy(h.szFormat, "Binary. FD-Grid ___", sizeof(h.szFormat));
    strncpy(h.szTitle, "Model", sizeof(h.szTitle));
    strncpy(h.szCreator, "VelmoranPro", sizeof(h.szCreator));
    // The first 16 characters of the name, not terminated when longer.
    if (szFile) {
        size_t n = strlen(szFile);
        memcpy(h.szName, szFile, n < 16 ? n : 16);
    }
    h.n4 = 1;
    h.nReserved232 = 1;
    h.nFrames = 1;
    h.nFrame = 0;
    h.nReserved264 = 0;
}

static bool FileExists(const char* name)
{
    struct stat st;
    return stat(name, &st) == 0;
}

bool CSdsPC::OnAddToVMG_SNAP(const char* szFile, C3DSizeN& size, CCubeR& cube, char* szComponents,
                             CPointR& ptSource, float* p0, float* p1, float* p2, float* p3)
{
    TYPEFILE type;
    if (size.nx < 1 || size.ny < 2 || size.nz < 1 || (!p0 && !p1 && !p2) || !szFile ||
        !GetTypeFromFileName(szFile, type) || type != VMG)
        return false;

    float* planes[4] = {p0, p1, p2, p3};
    int nComp = 0;
    for (float* p : planes)
        if (p)
            nComp++;

    VMG_FILEHEADER h;
    InitVmgHeader(h, szFile);
    h.n1 = size.nx;
    h.n2 = size.ny;
    h.n3 = size.nz;
    h.rX0 = (float)cube.x0;
    h.rX1 = (float)cube.x1;
    h.rDX = (h.n1 > 1) ? (h.rX1 - h.rX0) / (float)(h.n1 - 1) : 1.0f;
    h.rSrcX = (float)ptSource.x;
    h.rZ0 = (float)cube.y0;
    h.rZ1 = (float)cube.y1;
    h.rDZ = (h.rZ1 - h.rZ0) / (float)(h.n2 - 1);
    h.rT0 = (float)cube.z0;
    h.rT1 = (float)cube.z1;
    h.rDT = (h.n3 > 1) ? (h.rT1 - h.rT0) / (float)(h.n3 - 1) : h.rT1 - h.rT0;
    h.rSrcZ = h.rT0;
    if (bFOOT) {
        // Lengths are kept in metres in the file; time is not a length.
        h.rX0 *= 0.3048f;
        h.rX1 *= 0.3048f;
        h.rDX = (h.n1 > 1) ? (h.rX1 - h.rX0) / (float)(h.n1 - 1) : 1.0f;
        h.rSrcX *= 0.3048f;
        h.rZ0 *= 0.3048f;
        h.rZ1 *= 0.3048f;
        h.rDZ = (h.rZ1 - h.rZ0) / (float)(h.n2 - 1);
    }
    h.nComponents = nComp;
    h.nAxes = 3;
    if (szComponents)
        memcpy(h.szComponents, szComponents, strnlen(szComponents, sizeof(h.szComponents)));
    memcpy(h.szAxes, "XZTY", 4);
    strncpy(h.szKind, "Snap", sizeof(h.szKind));

    // Interleave the planes: component fastest, then x, y, z.
    const size_t plane = (size_t)size.nx * (size_t)size.ny * (size_t)size.nz;
    float* block = new (std::nothrow) float[plane * (size_t)nComp];
    if (!block) {
        u_Print("Error! Memory allocation error in OnAddToVMG_SNAP (%zu floats).\n", plane * (size_t)nComp);
        return false;
    }
    {
        int c = 0;
        for (float* p : planes) {
            if (!p)
                continue;
            for (size_t i = 0; i < plane; i++)
                block[i * nComp + c] = p[i];
            c++;
        }
    }
    const size_t blockBytes = plane * (size_t)nComp * sizeof(float);

    bool ok = false;
    bool created = false;
    FILE* fp = FileExists(szFile) ? fopen(szFile, "rb+") : nullptr;
    if (fp) {
        VMG_FILEHEADER old;
        const bool canAdd = fread(&old, sizeof(old), 1, fp) == 1 && old.n1 == h.n1 && old.n2 == h.n2 &&
                            old.nComponents == h.nComponents && old.nFrames <= 1 && old.nFrame == 0 &&
                            old.n3 >= 1 && old.n3 <= INT32_MAX - size.nz;
        if (!canAdd) {
            u_Print("File header is not supported addition new data\n");
            fclose(fp);
            fp = nullptr;
        } else {
            old.n3 += size.nz;
            old.rT1 = h.rT1;
            old.rDT = (old.rT1 - old.rT0) / (float)(std::max(old.n3, 2) - 1);
            struct stat st;
            ok = fseeko(fp, 0, SEEK_SET) == 0 && fwrite(&old, sizeof(old), 1, fp) == 1 && fflush(fp) == 0 &&
                 stat(szFile, &st) == 0 && fseeko(fp, (off_t)st.st_size, SEEK_SET) == 0 &&
                 fwrite(block, 1, blockBytes, fp) == blockBytes;
            if (fclose(fp) != 0)
                ok = false;
            created = true;
        }
    }
    if (!created) {
        fp = fopen(szFile, "wb");
        if (fp) {
            ok = fwrite(&h, sizeof(h), 1, fp) == 1 && fwrite(block, 1, blockBytes, fp) == blockBytes;
            if (fclose(fp) != 0)
                ok = false;
        }
    }
    delete[] block;
    return ok;
}

// Name of the k-th part of a merged file: "<base>-k.vmg".
static std::string PartName(const std::string& base, int k)
{
    return base + "-" + std::to_string(k) + ".vmg";
}

static void RemoveWithSideFiles(const std::string& name)
{
    remove(name.c_str());
    remove((name + ".inf").c_str());
    remove((name + ".cr2").c_str());
    remove((name + ".cr0").c_str());
}

// Copies the frame of one part behind the output, with the number of frames
// and its own index set. A part is a snapshot file of one frame (the snapshot
// writer never adds to a merged file), so only its first frame is taken.
// Answers false on any short read or write.
static bool CopyPartFrame(FILE* out, const std::string& part, int nFrames, int nIndex)
{
    FILE* in = fopen(part.c_str(), "rb");
    if (!in)
        return false;
    VMG_FILEHEADER h;
    bool ok = fread(&h, sizeof(h), 1, in) == 1;
    const int64_t nFloats = ok ? VmgFrameFloats(h) : -1;
    ok = ok && nFloats >= 0;
    if (ok) {
        h.nFrames = nFrames;
        h.nFrame = nIndex;
        ok = fwrite(&h, sizeof(h), 1, out) == 1;
    }
    // Chunks of whole rows, grown while they stay under 10^8 floats.
    int64_t chunk = ok ? (int64_t)h.n1 * h.n2 * h.nComponents : 0;
    if (ok && chunk * h.n3 < 100000000)
        chunk *= h.n3;
    if (ok && chunk * h.n4 < 100000000)
        chunk *= h.n4;
    std::vector<float> buf;
    if (ok) {
        try {
            buf.resize((size_t)std::min<int64_t>(chunk, nFloats));
        } catch (const std::bad_alloc&) {
            ok = false;
        }
    }
    for (int64_t done = 0; ok && done < nFloats;) {
        const size_t n = (size_t)std::min<int64_t>((int64_t)buf.size(), nFloats - done);
        ok = fread(buf.data(), sizeof(float), n, in) == n && fwrite(buf.data(), sizeof(float), n, out) == n;
        done += (int64_t)n;
    }
    fclose(in);
    return ok;
}

bool CSdsPC::OnSaveNVmg2VMG(const char* szFile, int nFiles, int /*reserved*/)
{
    if (!szFile)
        return false;
    const size_t len = strlen(szFile);
    if (len < 5 || szFile[len - 4] != '.')
        return false;
    if (strcasecmp(szFile + len - 4, ".vmg") != 0) {
        u_Print("File name '%s' has incorrect extension. It have to be from the set '.vmg'!\n", szFile);
        return false;
    }
    const std::string base(szFile, len - 4);

    struct Part {
        int k;  // part number, from 1
        std::string name;
        int nTraces;
    };
    std::vector<Part> parts;
    std::vector<SDS_TRACEINFO> list;
    bool listFailed = false;
    int total = 0, maxTraces = 0;
    char letters[8] = {0, 0, 0, 0, 0, 0, 0, 0};

    for (int k = 1; k <= nFiles; k++) {
        const std::string name = PartName(base, k);
        if (!FileExists(name.c_str()))
            continue;
        CSdsPC part;
        if (!part.OnOpen(name.c_str()) || part.m_nTraceCount < 1 || !part.m_pSR)
            continue;  // a part that cannot be opened is left out
        try {
            list.insert(list.end(), part.m_pSR, part.m_pSR + part.m_nTraceCount);
        } catch (const std::bad_alloc&) {
            listFailed = true;
        }
        total += part.m_nTraceCount;
        maxTraces = std::max(maxTraces, part.m_nTraceCount);
        for (int j = 0; j < 4; j++)
            if (!letters[j] && part.m_arComponents[j])
                letters[j] = part.m_arComponents[j];
        parts.push_back({k, name, part.m_nTraceCount});
    }
    if (total == 0)
        return false;

    // A catalogue left from an earlier file of the same name would otherwise
    // be taken for the new one.
    remove((std::string(szFile) + ".cr2").c_str());

    bool wrote = false;
    if (maxTraces > 1) {
        // Frame merge: the frames one behind the other.
        FILE* out = fopen(szFile, "wb");
        if (!out)
            return false;
        bool ok = true;
        for (const Part& p : parts) {
            if (!CopyPartFrame(out, p.name, (int)parts.size(), p.k - 1)) {
                ok = false;
                break;
            }
            wrote = true;
        }
        if (fclose(out) != 0)
            ok = false;
        if (!ok) {
            // Keep the parts: they hold the only complete copy of the data.
            u_Print("Error! Merging into '%s' failed; the parts are kept.\n", szFile);
            return false;
        }
        if (!listFailed) {
            CSdsPC merged;
            if (merged.OnOpen(szFile) && merged.m_pSR) {
                const int n = std::min(merged.m_nTraceCount, (int)list.size());
                for (int i = 0; i < n; i++) {
                    merged.m_pSR[i].fSrcX = list[i].fSrcX;
                    merged.m_pSR[i].fSrcZ = list[i].fSrcZ;
                    merged.m_pSR[i].fRecX = list[i].fRecX;
                    merged.m_pSR[i].fRecZ = list[i].fRecZ;
                }
                merged.SetInfoHeaderFromFile(szFile, 1);
            }
        }
    } else {
        // Column merge: every part is one column of a 2D file.
        const int nCols = (int)parts.size();
        int nComp = 0;
        while (nComp < 4 && letters[nComp])
            nComp++;
        if (nComp == 0)
            nComp = 1;
        int nLen = 0;
        double y0 = 0, y1 = 0;
        for (const Part& p : parts) {
            CSdsPC part;
            if (part.OnOpen(p.name.c_str()) && part.m_nTraceLen > nLen) {
                nLen = part.m_nTraceLen;
                y0 = part.m_traseParam[0];
                y1 = part.m_traseParam[1];
            }
        }
        if (nLen < 2)
            return false;
        std::vector<float> planes[4];
        std::vector<SDS_TRACEINFO> infos((size_t)nCols);
        try {
            for (int c = 0; c < nComp; c++)
                planes[c].assign((size_t)nCols * (size_t)nLen, 0.0f);
        } catch (const std::bad_alloc&) {
            u_Print("Error! Memory allocation error in OnSaveNVmg2VMG.\n");
            return false;
        }
        std::vector<float> trace((size_t)nLen);
        for (int i = 0; i < nCols; i++) {
            CSdsPC part;
            if (!part.OnOpen(parts[i].name.c_str()) || !part.m_pSR)
                return false;
            infos[i] = part.m_pSR[0];
            for (int c = 0; c < nComp; c++) {
                part.m_cComponent = letters[c] ? letters[c] : part.m_cComponent;
                std::fill(trace.begin(), trace.end(), 0.0f);
                part.GetTrace(0, trace.data(), nLen);
                for (int j = 0; j < nLen; j++)
                    planes[c][(size_t)i + (size_t)j * nCols] = trace[j];
            }
        }
        const SDS_TRACEINFO& a = infos.front();
        const SDS_TRACEINFO& b = infos.back();
        const CRectR rect(std::min(a.fSrcX, a.fRecX), y0, std::min(b.fSrcX, b.fRecX), y1);
        const CSizeN size(nCols, nLen);
        char szLetters[8];
        memcpy(szLetters, letters, 8);
        if (!szLetters[0])
            szLetters[0] = 'P';
        if (!OnSaveModel(szFile, planes[0].data(), nComp > 1 ? planes[1].data() : nullptr,
                         nComp > 2 ? planes[2].data() : nullptr, rect, size, infos.data(), szLetters, DU_MSEC,
                         nComp > 3 ? planes[3].data() : nullptr))
            return false;
        wrote = true;
    }

    for (const Part& p : parts)
        RemoveWithSideFiles(p.name);
    if (!wrote)
        remove(szFile);
    return true;
}
