// CSdsPC::OnOpen: the format from the name, the axes, lifting, rotation and
// the component rules. The scans are in SdsPC_scan.cpp, the ".cr2"
// catalogue in SdsPC_catalog.cpp.
#include "files/SdsPC.h"

#include <cmath>
#include <cstring>
#include <ctime>
#include <new>

#include "base/Output.h"
#include "files/SdsPC_io.h"

using namespace sdsio;

// ----------------------------------------------------------- helpers of open

void CSdsPC::WorkOutTraseXY()
{
    if (!m_pSR || m_nTraceCount < 1) return;
    double step = 0.0;
    // With one entry there is no pair: the step comes from the rule below.
    for (int i = 0; i + 1 < m_nTraceCount && step == 0.0; i++) {
        double ds = fabs((double)m_pSR[i + 1].fSrcX - m_pSR[i].fSrcX);
        double dr = fabs((double)m_pSR[i + 1].fRecX - m_pSR[i].fRecX);
        step = ds > dr ? ds : dr;
    }
    double mn = m_pSR[0].fSrcX, mx = m_pSR[0].fSrcX;
    for (int i = 0; i < m_nTraceCount; i++) {
        double a = m_pSR[i].fSrcX, b = m_pSR[i].fRecX;
        if (a < mn) mn = a;
        if (a > mx) mx = a;
        if (b < mn) mn = b;
        if (b > mx) mx = b;
    }
    if (step == 0.0) step = (mx - mn) / m_nTraceCount;
    if (step == 0.0) step = 1.0;
    m_traseXY[0] = mn;
    m_traseXY[1] = mx;
    m_traseXY[2] = step;
}

// Lengths from the file's unit to the system's unit (or back).
void CSdsPC::ConvertFoot(double k)
{
    if (m_DataUnit == DU_M)
        for (int i = 0; i < 3; i++) m_traseParam[i] *= k;
    for (int i = 0; i < 3; i++) m_traseXY[i] *= k;
    if (m_pSR) {
        for (int i = 0; i < m_nTraceCount; i++) {
            SDS_TRACEINFO& e = m_pSR[i];
            e.fSrcX = (float)(e.fSrcX * k);
            e.fRecX = (float)(e.fRecX * k);
            e.fSrcY = (float)(e.fSrcY * k);
            e.fRecY = (float)(e.fRecY * k);
            e.fSrcZ = (float)(e.fSrcZ * k);
            e.fRecZ = (float)(e.fRecZ * k);
        }
    }
}

static void Lift(CSdsPC& s, int nLift)
{
    if (nLift == 0) return;
    double* tp = s.m_traseParam;
    if (nLift == 1 || nLift == -1) {
        if (!s.m_pSR || s.m_nTraceCount < 1) return;
        double z = s.m_pSR[0].fRecZ;
        if (z == 0.0) return;
        double d = z - tp[0];
        tp[0] += d;
        tp[1] += d;
        u_Print("OnOpen: Lifting model to %g, now [%g .. %g]\n", z, tp[0], tp[1]);
    } else {
        double d = nLift - tp[0];
        tp[0] += d;
        tp[1] += d;
        u_Print("OnOpen: Lifting model to %d, now [%g .. %g]\n", nLift, tp[0], tp[1]);
    }
}

void CSdsPC::Rotate()
{
    if (!bRotate && nGridStep < 2) return;
    u_Print("Rotate started: bRotate=%d, nGridStep=%d.", (int)bRotate, nGridStep);
    if (bRotate) {
        if (!m_pSR) {
            u_Print("Rotate: coordinates were not rotated because of m_pSR=NULL.");
            return;
        }
        double dx = rXx0 - rX00, dy = rYx0 - rY00;
        double L = sqrt(dx * dx + dy * dy);
        if (L < 0.001) {
            u_Print("Rotate: distance between points (X00,Y00) and (Xx0,Yx0) is too small.");
            return;
        }
        double c = dx / L, s = dy / L;
        for (int i = 0; i < m_nTraceCount; i++) {
            SDS_TRACEINFO& e = m_pSR[i];
            double x = e.fSrcX - rX00, y = e.fSrcY - rY00;
            e.fSrcX = (float)(c * x + s * y);
            e.fSrcY = (float)(c * y - s * x);
            x = e.fRecX - rX00;
            y = e.fRecY - rY00;
            e.fRecX = (float)(c * x + s * y);
            e.fRecY = (float)(c * y - s * x);
        }
        u_Print("Rotate: coordinates have been converted.");
    }
    if (nGridStep >= 2 && m_pSR) {
        double g = nGridStep;
        for (int i = 0; i < m_nTraceCount; i++) {
            SDS_TRACEINFO& e = m_pSR[i];
            e.fSrcX = (float)(floor(e.fSrcX / g + 0.5) * g);
            e.fRecX = (float)(floor(e.fRecX / g + 0.5) * g);
            e.fSrcY = (float)(floor(e.fSrcY / g + 0.5) * g);
            e.fRecY = (float)(floor(e.fRecY / g + 0.5) * g);
        }
        u_Print("Rotate: coordinates have been fitted to the regular grid nodes (with step=%d).", nGridStep);
    }
}

// ------------------------------------------------------------------- OnOpen

bool CSdsPC::OnOpen(const char* name, int bWrite, int bDepth, int reserved, int nLift)
{
    (void)reserved;
    Reset();
    if (!name) name = "";
    CString strName = name;
    if (!bWrite) {
        for (size_t k = 0; k + 1 < arPathSubst.size(); k++) {
            const CString& from = arPathSubst[k];
            if (from.IsEmpty()) continue;
            size_t nf = (size_t)from.GetLength();
            if (strncmp(name, from, nf) != 0) continue;
            size_t nNew = (size_t)arPathSubst[k + 1].GetLength() + strlen(name) - nf;
            if (nNew > 4096) continue;
            strName = arPathSubst[k + 1] + (name + nf);
            break;
        }
    }
    if ((size_t)strName.GetLength() >= sizeof(m_szFileName)) {
        u_Print("File '%s' is not opened!\n", (const char*)strName);
        return false;
    }
    strcpy(m_szFileName, strName);
    name = m_szFileName;

    TYPEFILE type;
    if (!GetTypeFromFileName(name, type)) {
        CString s = CString("File name '") + name +
                    "' has incorrect extension. It have to be from the set '.sgy', '.kti', '.rec', '.vmg'!\n";
        u_Print("%s", (const char*)s);
        m_szFileName[0] = 0;
        return false;
    }
    m_Type = type;
    m_nFileSize = FileSizeOf(name);
    m_fp = fopen(name, bWrite ? "rb+" : "rb");
    if (!m_fp) {
        CString s = CString("File '") + name + "' is not opened!\n";
        u_Print("%s", (const char*)s);
        m_szFileName[0] = 0;
        return false;
    }
    m_bWrite = bWrite ? 1 : 0;

    CString msg;
    bool bOk = true;
    if (GetInfoHeaderFromFile(name, 0)) {
        // Catalogue from ".cr2".
        double* tp = m_traseParam;
        if (m_Type == SGY && m_DataUnit == DU_SEC && bDepth) {
            for (int i = 0; i < 3; i++) tp[i] /= 0.001;
            m_DataUnit = DU_M;
        } else if (m_DataUnit == DU_SEC || (m_Type == SGY && !bDepth)) {
            if (tp[1] < 100) {
                for (int i = 0; i < 3; i++) tp[i] *= 1000.0;
                m_DataUnit = DU_MSEC;
            }
        }
        Lift(*this, nLift);
        if (m_Type == VMG && m_arComponents[0] == 0) {
            VMG_FILEHEADER h;
            if (fseeko(m_fp, 0, SEEK_SET) == 0 && ReadExact(m_fp, &h, sizeof(h))) {
                memcpy(m_arComponents, h.szComponents, 8);
                int nComp = h.nComponents < 0 ? 0 : h.nComponents;
                for (int i = nComp; i < 8; i++) m_arComponents[i] = 0;
                SetInfoHeaderFromFile(name, m_bCatalogue);
            }
        }
    } else {
        m_DataUnit = bDepth ? DU_M : DU_MSEC;
        GetInfoTraceFromFile(name);
        if (m_Type == SGY) bOk = ScanSGY(msg);
        else if (m_Type == SDS) bOk = ScanSDS(msg);
        else bOk = ScanVMG(msg);

        if (bOk) {
            double* tp = m_traseParam;
            // VMG axes are settled by their own scan (seconds to milliseconds
            // there); scaling them again would turn a short time axis into
            // microseconds.
            if (m_Type != VMG) {
                WorkOutTraseXY();
                // Neither header says whether a sample axis is time or depth,
                // nor its unit. An axis ending below 50 is taken as seconds and
                // brought to milliseconds; this holds for SEG-Y and SDS alike,
                // so a depth axis of less than 50 m comes out 1000 times too
                // long, which is the format's convention and kept as such. An
                // axis ending above 100000 is taken as microseconds (or mm).
                if (tp[1] < 50)
                    for (int i = 0; i < 3; i++) tp[i] *= 1000.0;
                if (tp[1] > 100000)
                    for (int i = 0; i < 3; i++) tp[i] /= 1000.0;
            }
            Lift(*this, nLift);
            if (m_Type != VMG) {
                int k = (int)m_spy_info[SPY_NCOMP].rValue;
                if (m_spy_info[SPY_NCOMP].rValue >= 1 && k >= 1 && k <= 14) {
                    m_arComponents[0] = SDS_COMPONENT_LETTERS[k - 1];
                    m_cComponent = m_arComponents[0];
                }
                double u = m_spy_info[SPY_ZUNIT].rValue;
                if (u == 1.0 || u == 2.0) m_DataUnit = (DATAUNIT)(int)u;
                double kv = m_spy_info[SPY_KMVAL].rValue;
                if (kv > 0 && kv != 1.0 && IsFiniteD(kv)) m_rValueScale = kv;
            }
            // With a single sample the step is kept: (stop - start) / 0 has no value.
            if (m_nTraceLen > 1) tp[2] = (tp[1] - tp[0]) / (m_nTraceLen - 1);

            // Content code: informative only.
            double code = m_spy_info[SPY_NTYPE].rValue;
            if (strstr(name, "+Time")) code = 5;
            if (strstr(name, "-PQR")) code = 1;
            if (strstr(name, "+Snap")) code = 3;
            if (strstr(name, "+Gath")) code = 2;
            if (strstr(name, "+Wave")) code = 7;
            if (m_Type == VMG) {
                VMG_FILEHEADER h;
                if (fseeko(m_fp, 0, SEEK_SET) == 0 && ReadExact(m_fp, &h, sizeof(h))) {
                    char ax[5] = {0, 0, 0, 0, 0};
                    int na = h.nAxes < 0 ? 0 : (h.nAxes > 4 ? 4 : h.nAxes);
                    memcpy(ax, h.szAxes, (size_t)na);
                    if (!strcmp(ax, "XT")) code = 2;
                    else if (!strcmp(ax, "ZT")) code = 6;
                    else if (!strcmp(ax, "XZT")) code = 3;
                    else if (!strcmp(ax, "XZ") && code != 5) code = 1;
                }
            } else if (m_pSR) {
                double zmin = m_pSR[0].fRecZ, zmax = zmin;
                for (int i = 1; i < m_nTraceCount; i++) {
                    if (m_pSR[i].fRecZ < zmin) zmin = m_pSR[i].fRecZ;
                    if (m_pSR[i].fRecZ > zmax) zmax = m_pSR[i].fRecZ;
                }
                if (zmax - zmin > m_traseXY[1] - m_traseXY[0]) code = 6;
            }
            m_spy_info[SPY_NTYPE].rValue = code;

            if ((m_bFoot != 0) != (bFOOT != 0)) ConvertFoot(m_bFoot ? 0.3048 : 3.28084);
        }
    }

    if (!bOk) {
        u_Print("--%s", (const char*)msg);
        // Keep the name for the message only; the object is closed.
        Reset();
        return false;
    }

    // Settle the component letter.
    if (m_cComponent == ' ') {
        m_cComponent = m_arComponents[0];
    } else {
        bool bFound = false;
        for (int i = 0; i < 8; i++)
            if (m_arComponents[i] == m_cComponent) bFound = true;
        char c0 = m_arComponents[0];
        if (!bFound && c0 != 0 && c0 != '?' && c0 != ' ') m_cComponent = c0;
    }
    return true;
}
