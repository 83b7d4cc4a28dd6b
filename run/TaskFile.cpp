// Reader of the job file. The file is kept in memory as its significant
// lines; each get_parameter_* call takes one key line out, so that whatever
// is left at the end was not read by this run.
#include "run/TaskFile.h"

#include <cstdlib>
#include <cstring>

#include "base/Output.h"

void read_task_lines(FILE* pFile, std::vector<CString>& lines)
{
    if (!pFile)
        return;
    char buf[256];
    while (fgets(buf, sizeof(buf), pFile))
    {
        // Trailing blanks, line ends and control characters go first...
        size_t n = strlen(buf);
        while (n > 0 && (unsigned char)buf[n - 1] <= 32)
            buf[--n] = '\0';
        // ...then everything from the first ';' on, wherever it stands. Blanks
        // in front of it stay part of the value.
        char* pSemi = strchr(buf, ';');
        if (pSemi)
            *pSemi = '\0';
        if (buf[0] == '\0' || buf[0] == '#')
            continue;
        CString s;
        s = buf;
        lines.push_back(s);
    }
}

bool read_task_file(const char* pszPath, std::vector<CString>& lines)
{
    if (!pszPath)
        return false;
    FILE* f = fopen(pszPath, "rt");
    if (!f)
        return false;
    read_task_lines(f, lines);
    fclose(f);
    return true;
}

// The lookup shared by all readers. On success the value (behind "=", leading
// codes <= 32 skipped) is copied into strValue and the line is erased.
static int find_parameter(std::vector<CString>& lines, const char* section, const char* key, CString& strValue)
{
    int nResult = 2;
    if (section && key)
    {
        const size_t nSecLen = strlen(section);
        const size_t nKeyLen = strlen(key);
        bool bInSection = false;
        bool bSeen = false;
        bool bDone = false;
        for (size_t i = 0; i < lines.size() && !bDone; ++i)
        {
            const char* s = lines[i];
            if (strncmp(s, section, nSecLen) == 0)
            {
                bInSection = true;
                bSeen = true;
                continue;
            }
            if (!bInSection)
                continue;
            if (s[0] == '[')
                break;     // the section has ended; a later one of the same name is not reached
            if (strncmp(s, key, nKeyLen) != 0)
                continue;
            const char* pEq = strchr(s + nKeyLen, '=');
            if (!pEq)
                continue;  // a key line without "=" is passed over and stays
            const char* pVal = pEq + 1;
            while (*pVal && (unsigned char)*pVal <= 32)
                ++pVal;
            strValue = pVal;
            lines.erase(lines.begin() + i);
            return 0;
        }
        nResult = bSeen ? 1 : 2;
    }
    if (nResult == 1)
        u_Print("Parameter '%s\\%s' isn't found in the 'runtask.ini' file.\n", section, key);
    else
        u_Print("Section '%s\\%s' isn't found in the 'runtask.ini' file.\n", section ? section : "", key ? key : "");
    return nResult;
}

// atoi over at most the first 255 characters of the value.
static int value_to_int(const CString& strValue)
{
    char buf[256];
    strncpy(buf, (const char*)strValue, 255);
    buf[255] = '\0';
    return atoi(buf);
}

int get_parameter_string(std::vector<CString>& lines, const char* section, const char* key, char* buf, int size)
{
    CString v;
    int r = find_parameter(lines, section, key, v);
    if (r == 0 && buf && size > 0)
    {
        size_t n = (size_t)v.GetLength();
        if (n > (size_t)(size - 1))
            n = (size_t)(size - 1);
        memcpy(buf, (const char*)v, n);
        buf[n] = '\0';
    }
    return r;
}

int get_parameter_int(std::vector<CString>& lines, const char* section, const char* key, int* pValue)
{
    CString v;
    int r = find_parameter(lines, section, key, v);
    if (r == 0 && pValue)
        *pValue = value_to_int(v);
    return r;
}

int get_parameter_bool(std::vector<CString>& lines, const char* section, const char* key, bool* pValue)
{
    CString v;
    int r = find_parameter(lines, section, key, v);
    if (r == 0 && pValue)
        *pValue = value_to_int(v) != 0;   // "true" and "yes" read as false
    return r;
}

int get_parameter_double(std::vector<CString>& lines, const char* section, const char* key, double* pValue)
{
    CString v;
    int r = find_parameter(lines, section, key, v);
    if (r == 0 && pValue)
        *pValue = atof((const char*)v);
    return r;
}

int get_parameter_float(std::vector<CString>& lines, const char* section, const char* key, float* pValue)
{
    CString v;
    int r = find_parameter(lines, section, key, v);
    if (r == 0 && pValue)
        *pValue = (float)atof((const char*)v);
    return r;
}
