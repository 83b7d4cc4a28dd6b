// The ".inf" map of a SEG-Y file: which trace header bytes hold the
// coordinates, the component and the values, read once and applied to
// every trace header.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/Output.h"
#include "files/SdsPC.h"
#include "files/SegyFormat.h"

static void SetSpy(SPY_FIELD& s, int type, double value)
{
    s.nFieldType = (int16_t)type;
    s.rValue = value;
    s.nPartFlag = 0;
}

// Text after "key=" with leading blanks removed.
static const char* SkipBlanks(const char* s)
{
    while (*s == ' ' || *s == '\t')
        s++;
    return s;
}

bool CSdsPC::GetInfoTraceFromFile(const char* file)
{
    for (int i = 0; i < SPY_FIELD_COUNT; i++)
        SetSpy(m_spy_info[i], 1, -1.0);
    if (m_Type == SDS) {
        SetSpy(m_spy_info[SPY_SHOTX], 1, 21);
        SetSpy(m_spy_info[SPY_SHOTY], 1, 73);
        SetSpy(m_spy_info[SPY_RECVX], 1, 29);
        SetSpy(m_spy_info[SPY_RECVY], 1, 77);
        SetSpy(m_spy_info[SPY_SHOTZ], -1, -1.0);
        SetSpy(m_spy_info[SPY_RECVZ], -1, -1.0);
        SetSpy(m_spy_info[SPY_PART], 1, 17);
        SetSpy(m_spy_info[SPY_KMTRS], 1, 1.0);
        SetSpy(m_spy_info[SPY_KMCRD], 1, 1.0);
        SetSpy(m_spy_info[SPY_COORSCALER], 1, 13);
        SetSpy(m_spy_info[SPY_ELEVSCALER], -1, -1.0);
    } else {
        SetSpy(m_spy_info[SPY_SHOTX], 1, 73);
        SetSpy(m_spy_info[SPY_SHOTY], 1, 77);
        SetSpy(m_spy_info[SPY_RECVX], 1, 81);
        SetSpy(m_spy_info[SPY_RECVY], 1, 85);
        SetSpy(m_spy_info[SPY_SHOTZ], 1, 45);
        SetSpy(m_spy_info[SPY_RECVZ], 1, 41);
        SetSpy(m_spy_info[SPY_PART], 1, 17);
        SetSpy(m_spy_info[SPY_KMTRS], 1, 1.0);
        SetSpy(m_spy_info[SPY_KMCRD], 1, 1.0);
        SetSpy(m_spy_info[SPY_COORSCALER], 0, 71);
        SetSpy(m_spy_info[SPY_ELEVSCALER], 0, 69);
    }
    if (!file)
        return true;

    CString name;
    name.Format("%s.inf", file);
    FILE* fp = fopen(name, "rb");
    if (!fp)
        return true;  // the side file is optional

    char line[100];
    for (;;) {
        // One line, of which only the first 99 characters count; the rest of
        // a longer line is consumed so it cannot pose as a line of its own.
        int len = 0, c;
        bool any = false;
        while ((c = fgetc(fp)) != EOF) {
            any = true;
            if (c == '\n')
                break;
            if (len < 99)
                line[len++] = (char)c;
        }
        if (!any)
            break;
        line[len] = 0;
        if (char* sc = strchr(line, ';'))
            *sc = 0;
        len = (int)strlen(line);
        while (len > 0 && (line[len - 1] == '\r' || line[len - 1] == ' ' || line[len - 1] == '\t'))
            line[--len] = 0;
        if (len < 7)
            continue;

        int index = -1, partFlag = 0;
        const char* rest = nullptr;
        for (int i = 0; i < SPY_FIELD_COUNT; i++) {
            size_t kl = strlen(g_szSpyKeys[i]);
            if (strncmp(line, g_szSpyKeys[i], kl) == 0) {
                index = i;
                rest = line + kl;
                break;
            }
        }
        if (index < 0 && strncmp(line, "Part1=", 6) == 0) {
            index = SPY_PART;
            partFlag = 1;
            rest = line + 6;
        }
        if (index < 0)
            continue;
        rest = SkipBlanks(rest);

        if (index <= SPY_PART) {
            const char* comma = strchr(rest, ',');
            if (!comma) {
                if (strncmp(rest, "nouse", 5) == 0)
                    SetSpy(m_spy_info[index], -1, -1.0);
                continue;
            }
            char word[100];
            size_t wl = (size_t)(comma - rest);
            memcpy(word, rest, wl);
            word[wl] = 0;
            while (wl > 0 && (word[wl - 1] == ' ' || word[wl - 1] == '\t'))
                word[--wl] = 0;
            int type;
            if (strcmp(word, "short") == 0)
                type = 0;
            else if (strcmp(word, "long") == 0 || strcmp(word, "INT32") == 0)
                type = 1;
            else
                continue;
            const double v = strtod(comma + 1, nullptr);
            if (v > 0) {
                SetSpy(m_spy_info[index], type, v);
                m_spy_info[index].nPartFlag = (int16_t)partFlag;
            }
        } else {
            const double v = strtod(rest, nullptr);
            if (v > 0)
                SetSpy(m_spy_info[index], 0, v);
        }
    }
    fclose(fp);
    return true;
}

// Reads the field that a map entry points at, if it is in use and lies inside
// the header; answers false otherwise.
static bool ReadMappedField(const SPY_FIELD& s, const unsigned char* header, int headerSize, int& value)
{
    if (s.nFieldType == -1 || !(s.rValue > 0))
        return false;
    if (s.rValue > (double)headerSize)
        return false;
    const int offset = (int)s.rValue - 1;
    const int width = (s.nFieldType == 0) ? 2 : 4;
    if (offset < 0 || offset + width > headerSize)
        return false;
    value = (width == 2) ? GetField16(header, offset) : GetField32(header, offset);
    return true;
}

void CSdsPC::SetTraceInfo(SDS_TRACEINFO& info, const unsigned char* header, PARTITITION_INFO* /*part*/)
{
    if (!header)
        return;
    const int size = (m_Type == SDS) ? (int)sizeof(SDS_TRACEHEADER) : (int)sizeof(SGY_TRACEHEADER);
    double fc = 1.0, fe = 1.0;
    int s;
    if (ReadMappedField(m_spy_info[SPY_COORSCALER], header, size, s))
        fc = ScalerFactor(s);
    if (ReadMappedField(m_spy_info[SPY_ELEVSCALER], header, size, s))
        fe = ScalerFactor(s);
    const SPY_FIELD& km = m_spy_info[SPY_KMCRD];
    if (km.nFieldType != -1 && km.rValue > 0) {
        fc *= km.rValue;
        fe *= km.rValue;
    }
    int v;
    if (ReadMappedField(m_spy_info[SPY_SHOTX], header, size, v))
        info.fSrcX = (float)(v * fc);
    if (ReadMappedField(m_spy_info[SPY_RECVX], header, size, v))
        info.fRecX = (float)(v * fc);
    if (ReadMappedField(m_spy_info[SPY_SHOTY], header, size, v))
        info.fSrcY = (float)(v * fc);
    if (ReadMappedField(m_spy_info[SPY_RECVY], header, size, v))
        info.fRecY = (float)(v * fc);
    if (ReadMappedField(m_spy_info[SPY_SHOTZ], header, size, v))
        info.fSrcZ = (float)(v * fe);
    if (ReadMappedField(m_spy_info[SPY_RECVZ], header, size, v))
        info.fRecZ = (float)(v * fe);
    // With "Part0=nouse" the part number keeps what the entry held, which is
    // 0 in a freshly zeroed catalogue entry.
    if (ReadMappedField(m_spy_info[SPY_PART], header, size, v))
        info.nPart = v;
}
