// CSdsPC: class settings, construction, reset, simple catalogue access and
// the catalogue orderings.
#include "files/SdsPC.h"

#include <cmath>
#include <cstring>
#include <strings.h>

const char* const g_szDataUnitWord[4] = {"sec", "msec", "m", " "};

int CSdsPC::COOR_SCALER = 1;
int CSdsPC::ELEV_SCALER = 1;
float CSdsPC::VALUE_SCALE_SAVE = 1.0f;
int16_t CSdsPC::COMPONENT_SAVE = 0;
int CSdsPC::INLINE_START = 1;
int CSdsPC::INLINE_STEP = 1;
int CSdsPC::CROSSLINE_START = 1;
int CSdsPC::CROSSLINE_STEP = 1;
bool CSdsPC::PROMAX = false;
bool CSdsPC::LINES_ALONG_Y = false;
bool CSdsPC::USE_NEGATIVE_SRC_RCV_DIST = true;
int CSdsPC::bFOOT = 0;
bool CSdsPC::ZERO_TOP = false;
bool CSdsPC::ELEV_TO_Z = false;
bool CSdsPC::bRotate = false;
double CSdsPC::rX00 = 0.0;
double CSdsPC::rY00 = 0.0;
double CSdsPC::rXx0 = 1.0;
double CSdsPC::rYx0 = 0.0;
int CSdsPC::nGridStep = 0;
float CSdsPC::fxBin = 1.0f;
float CSdsPC::fx0p = 0.0f;
float CSdsPC::fBin = 1.0f;
std::vector<CString> CSdsPC::arPathSubst;

CSdsPC::CSdsPC() : m_pSR(nullptr), m_fp(nullptr)
{
    // The header map is not part of the reset: start from "nothing used".
    for (int i = 0; i < SPY_FIELD_COUNT; i++) {
        m_spy_info[i].nFieldType = 1;
        m_spy_info[i].rValue = -1.0;
        m_spy_info[i].nPartFlag = 0;
    }
    Reset();
}

CSdsPC::~CSdsPC()
{
    Reset();
}

void CSdsPC::Reset()
{
    delete[] m_pSR;
    m_pSR = nullptr;
    if (m_fp) fclose(m_fp);
    m_fp = nullptr;
    m_szFileName[0] = 0;
    m_bCatalogue = 0;
    m_nTraceCount = 0;
    m_nTraceLen = 0;
    for (int i = 0; i < 3; i++) {
        m_traseParam[i] = 0.0;
        m_traseXY[i] = 0.0;
        m_rFrameParam[i] = 0.0;
    }
    m_nfp = -1;
    m_Type = SGY;
    m_bSwap = 0;
    m_nMaxPart = 1;
    m_cComponent = ' ';
    memset(m_arComponents, 0, sizeof(m_arComponents));
    m_DataType = (SGYDATATYPE)0;
    m_DataUnit = DU_MSEC;
    m_rValueScale = 1.0;
    m_nFileSize = 0;
    m_bWrite = 0;
    m_nTraceBytes = 0;
    m_nFrame = 0;
    m_bFoot = 0;
    SetReadBlock(false);
}

bool CSdsPC::GetTypeFromFileName(const char* name, TYPEFILE& type)
{
    type = VMG;
    if (!name) return false;
    size_t n = strlen(name);
    if (n < 5) return false;
    const char* e4 = name + n - 4;
    if (!strcasecmp(e4, ".rec") || !strcasecmp(e4, ".sec")) {
        type = SDS;
        return true;
    }
    if (!strcasecmp(e4, ".sgy") || !strcasecmp(name + n - 5, ".segy")) {
        type = SGY;
        return true;
    }
    if (!strcasecmp(e4, ".vmg")) {
        type = VMG;
        return true;
    }
    return false;
}

bool CSdsPC::Set_pSR(int nTrace, SDS_TRACEINFO* out)
{
    if (!m_pSR || (!m_fp && m_nfp == -1)) return false;
    if (nTrace < 0 || nTrace >= m_nTraceCount) return false;  // never read outside the catalogue
    if (out) *out = m_pSR[nTrace];
    return true;
}

SDS_TRACEINFO* CSdsPC::GetTraceInfoAll()
{
    return m_pSR;
}

bool CSdsPC::GetTraceParam(double* out)
{
    if (out) memcpy(out, m_traseParam, sizeof(m_traseParam));
    return true;
}

// ---- catalogue orderings --------------------------------------------------

namespace {

inline double Bin(double v)
{
    return floor(v / CSdsPC::fBin + 0.5);
}

inline double BinX(double v)
{
    if (CSdsPC::fxBin <= 0) return v;
    return floor((v - CSdsPC::fx0p) / CSdsPC::fxBin + 0.5);
}

inline int Cmp(double a, double b)
{
    return a < b ? -1 : (a > b ? 1 : 0);
}

int CmpKeys(const double* a, const double* b, int n)
{
    for (int i = 0; i < n; i++) {
        int c = Cmp(a[i], b[i]);
        if (c) return c;
    }
    return 0;
}

inline const SDS_TRACEINFO& Deref2(const void* p)
{
    return **(const SDS_TRACEINFO* const*)p;
}

inline const SDS_TRACEINFO& Deref1(const void* p)
{
    return *(const SDS_TRACEINFO*)p;
}

}  // namespace

#define KEYS4(r, k0, k1, k2, k3) double r[4] = {k0, k1, k2, k3}

int CSdsPC::compareS(const void* a, const void* b)
{
    const SDS_TRACEINFO &p = Deref2(a), &q = Deref2(b);
    KEYS4(ka, Bin(p.fSrcX), Bin(p.fSrcY), Bin(p.fRecX), Bin(p.fRecY));
    KEYS4(kb, Bin(q.fSrcX), Bin(q.fSrcY), Bin(q.fRecX), Bin(q.fRecY));
    return CmpKeys(ka, kb, 4);
}

int CSdsPC::compareR(const void* a, const void* b)
{
    const SDS_TRACEINFO &p = Deref2(a), &q = Deref2(b);
    KEYS4(ka, Bin(p.fRecX), Bin(p.fRecY), Bin(p.fSrcX), Bin(p.fSrcY));
    KEYS4(kb, Bin(q.fRecX), Bin(q.fRecY), Bin(q.fSrcX), Bin(q.fSrcY));
    return CmpKeys(ka, kb, 4);
}

int CSdsPC::compareSY(const void* a, const void* b)
{
    const SDS_TRACEINFO &p = Deref2(a), &q = Deref2(b);
    KEYS4(ka, Bin(p.fSrcY), Bin(p.fSrcX), Bin(p.fRecY), Bin(p.fRecX));
    KEYS4(kb, Bin(q.fSrcY), Bin(q.fSrcX), Bin(q.fRecY), Bin(q.fRecX));
    return CmpKeys(ka, kb, 4);
}

int CSdsPC::compareRY(const void* a, const void* b)
{
    const SDS_TRACEINFO &p = Deref2(a), &q = Deref2(b);
    KEYS4(ka, Bin(p.fRecY), Bin(p.fRecX), Bin(p.fSrcY), Bin(p.fSrcX));
    KEYS4(kb, Bin(q.fRecY), Bin(q.fRecX), Bin(q.fSrcY), Bin(q.fSrcX));
    return CmpKeys(ka, kb, 4);
}

int CSdsPC::compareM(const void* a, const void* b)
{
    const SDS_TRACEINFO &p = Deref2(a), &q = Deref2(b);
    KEYS4(ka, Bin((p.fSrcX + p.fRecX) / 2.0), Bin((p.fSrcY + p.fRecY) / 2.0), Bin(p.fSrcX), Bin(p.fSrcY));
    KEYS4(kb, Bin((q.fSrcX + q.fRecX) / 2.0), Bin((q.fSrcY + q.fRecY) / 2.0), Bin(q.fSrcX), Bin(q.fSrcY));
    return CmpKeys(ka, kb, 4);
}

static int CompareMYKeys(const SDS_TRACEINFO& p, const SDS_TRACEINFO& q)
{
    KEYS4(ka, Bin((p.fSrcY + p.fRecY) / 2.0), Bin((p.fSrcX + p.fRecX) / 2.0), Bin(p.fSrcY), Bin(p.fSrcX));
    KEYS4(kb, Bin((q.fSrcY + q.fRecY) / 2.0), Bin((q.fSrcX + q.fRecX) / 2.0), Bin(q.fSrcY), Bin(q.fSrcX));
    return CmpKeys(ka, kb, 4);
}

int CSdsPC::compareMY(const void* a, const void* b)
{
    return CompareMYKeys(Deref2(a), Deref2(b));
}

int CSdsPC::_compareMY(const void* a, const void* b)
{
    return CompareMYKeys(Deref1(a), Deref1(b));
}

int CSdsPC::compareSXY(const void* a, const void* b)
{
    const SDS_TRACEINFO &p = Deref2(a), &q = Deref2(b);
    KEYS4(ka, p.fSrcX, p.fSrcY, p.fRecX, p.fRecY);
    KEYS4(kb, q.fSrcX, q.fSrcY, q.fRecX, q.fRecY);
    return CmpKeys(ka, kb, 4);
}

static int CompareM2Keys(const SDS_TRACEINFO& p, const SDS_TRACEINFO& q)
{
    double ka[2] = {(double)p.fSrcX + p.fRecX, (double)p.fSrcY + p.fRecY};
    double kb[2] = {(double)q.fSrcX + q.fRecX, (double)q.fSrcY + q.fRecY};
    return CmpKeys(ka, kb, 2);
}

int CSdsPC::compareM2(const void* a, const void* b)
{
    return CompareM2Keys(Deref2(a), Deref2(b));
}

int CSdsPC::_compareM2(const void* a, const void* b)
{
    return CompareM2Keys(Deref1(a), Deref1(b));
}

#define PAIR_COMPARE(name, e0, e1)                                   \
    int CSdsPC::name(const void* a, const void* b)                   \
    {                                                                \
        const SDS_TRACEINFO &p = Deref1(a), &q = Deref1(b);          \
        double ka[2] = {e0(p), e1(p)}, kb[2] = {e0(q), e1(q)};       \
        return CmpKeys(ka, kb, 2);                                   \
    }

#define F_SX(t) ((double)(t).fSrcX)
#define F_RX(t) ((double)(t).fRecX)
#define F_SY(t) ((double)(t).fSrcY)
#define F_RY(t) ((double)(t).fRecY)
#define F_MSUM(t) ((double)(t).fSrcX + (t).fRecX)
#define F_BSX(t) BinX((t).fSrcX)
#define F_BRX(t) BinX((t).fRecX)
#define F_BMX(t) BinX(((double)(t).fSrcX + (t).fRecX) / 2.0)
#define F_BRZ(t) BinX((t).fRecZ)

PAIR_COMPARE(_compareS, F_SX, F_RX)
PAIR_COMPARE(_compareR, F_RX, F_SX)
PAIR_COMPARE(_compareM, F_MSUM, F_SX)
PAIR_COMPARE(_compareSY, F_SY, F_RY)
PAIR_COMPARE(_compareRY, F_RY, F_SY)
PAIR_COMPARE(_compareSX, F_BSX, F_RX)
PAIR_COMPARE(_compareRX, F_BRX, F_SX)
PAIR_COMPARE(_compareMX, F_BMX, F_SX)
PAIR_COMPARE(_compareRZ, F_BRZ, F_SX)
