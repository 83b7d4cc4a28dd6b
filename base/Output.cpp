#include "base/Output.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

int g_nNode = 0;
int g_nSize = 1;

char g_szLogFileName[256] = "";
int g_IsTerminal = -1;
CString g_PostPonedError;

// The percent displays measure from the last u_FaceTitle; before any title
// they measure from the start of the process rather than from 1970.
static time_t s_tStart = time(nullptr);
static int s_nLastPercent = -1;
static const char* s_pLastTitle = nullptr;

static const int FORMAT_BUFFER = 4096;
static const char PREFIX[] = "$%<>%$";
static const int RULE_WIDTH = 71;

// Formats into buf (FORMAT_BUFFER bytes) and drops the "$%<>%$" prefix.
// A message longer than the buffer is cut rather than overrunning it.
// Returns the character count of the formatted text.
static int FormatMessage(char* buf, const char* fmt, va_list args)
{
    int n = fmt ? vsnprintf(buf, FORMAT_BUFFER, fmt, args) : 0;
    if (n < 0 || !fmt)
    {
        buf[0] = 0;
        n = 0;
    }
    if (strncmp(buf, PREFIX, sizeof(PREFIX) - 1) == 0)
        memmove(buf, buf + sizeof(PREFIX) - 1, strlen(buf + sizeof(PREFIX) - 1) + 1);
    return n;
}

// Console of node 0 and this process's own log. bLeadNewline puts a newline
// ahead of the text on both.
static void Emit(const char* text, bool bLeadNewline)
{
    const char* lead = bLeadNewline ? "\n" : "";
    if (g_nSize > 1)
    {
        if (g_nNode == 0)
            printf("%s{%d}: %s", lead, g_nNode, text);
    }
    else
        printf("%s%s", lead, text);
    fflush(stdout);

    snprintf(g_szLogFileName, sizeof(g_szLogFileName), "Ondex-%d.log", g_nNode);
    // A log that cannot be opened loses the message and nothing else.
    FILE* f = fopen(g_szLogFileName, "a");
    if (f)
    {
        fprintf(f, "%s%s", lead, text);
        fclose(f);
    }
}

static int PrintV(const char* fmt, va_list args)
{
    char buf[FORMAT_BUFFER];
    int n = FormatMessage(buf, fmt, args);
    Emit(buf, false);
    return n;
}

int u_Print(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int n = PrintV(fmt, args);
    va_end(args);
    return n;
}

// A message in the given terminal colour; the colour is reset after it.
static int ColouredV(int nAttr, int nFore, const char* fmt, va_list args)
{
    textcolor(nAttr, nFore, -1);
    int n = PrintV(fmt, args);
    textcolor(0, -1, -1);
    return n;
}

int u_Warning(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int n = ColouredV(0, 19, fmt, args);
    va_end(args);
    return n;
}

int u_Error(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int n = ColouredV(32, 1, fmt, args);
    va_end(args);
    return n;
}

int u_Success(const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    int n = ColouredV(64, 2, fmt, args);
    va_end(args);
    return n;
}

int u_Line()
{
    char rule[RULE_WIDTH + 2];
    memset(rule, '-', RULE_WIDTH);
    rule[RULE_WIDTH] = '\n';
    rule[RULE_WIDTH + 1] = 0;
    Emit(rule, false);
    return RULE_WIDTH + 1;
}

int u_LinePrint(const char* fmt, ...)
{
    char buf[FORMAT_BUFFER];
    va_list args;
    va_start(args, fmt);
    int n = FormatMessage(buf, fmt, args);
    va_end(args);

    int L = (int)strlen(buf);
    if (L < RULE_WIDTH - 2)
    {
        char line[RULE_WIDTH + 2];
        memset(line, '-', RULE_WIDTH);
        line[RULE_WIDTH] = '\n';
        line[RULE_WIDTH + 1] = 0;
        memcpy(line + (RULE_WIDTH - L) / 2, buf, L);
        Emit(line, true);
    }
    else
        Emit(buf, false);
    return n;
}

int u_CenterPrint(const char* fmt, ...)
{
    char buf[FORMAT_BUFFER];
    va_list args;
    va_start(args, fmt);
    int n = FormatMessage(buf, fmt, args);
    va_end(args);

    int L = (int)strlen(buf);
    if (L < RULE_WIDTH - 2)
    {
        char line[RULE_WIDTH + 2];
        int nPad = (RULE_WIDTH - L) / 2;
        memset(line, ' ', nPad);
        memcpy(line + nPad, buf, L + 1);
        Emit(line, false);
    }
    else
        Emit(buf, false);
    return n;
}

int u_FaceTitle(const char* title)
{
    if (!title || !*title || title == s_pLastTitle)
        return 0;
    time(&s_tStart);
    s_nLastPercent = -1;
    int n = u_Print("\n\n");
    n += u_Line();
    textcolor(32, -1, -1);
    n += u_Print("%s started at %s", title, ctime(&s_tStart));
    textcolor(0, -1, -1);
    n += u_Line();
    s_pLastTitle = title;
    return n;
}

static int ElapsedSeconds(time_t now)
{
    return (int)(difftime(now, s_tStart) + 0.5);
}

static void AppendElapsed(CString& line, int nSec)
{
    line.AppendFormat("%3d:%02d:%02d elapsed. \n", nSec / 3600, (nSec / 60) % 60, nSec % 60);
}

int u_Percent(int nPercent, int nOverall, int nIndex, int nCount)
{
    if (nPercent < 1)
        return 0;
    if (g_nNode != 0 && nPercent % 10 != 0)
        return 0;
    if (nPercent == s_nLastPercent)
        return 0;
    int nSec = ElapsedSeconds(time(nullptr));

    CString line;
    if (nPercent <= 100)
        line.Format(".. %d%% ", nPercent);
    else
        line = ".. The end. ";
    if (nOverall >= 0 && nOverall <= 100)
        line.AppendFormat("(Overall: %d%%) ", nOverall);
    if (nCount >= 1)
        line.AppendFormat("- %d of %d. ", nIndex, nCount);
    AppendElapsed(line, nSec);

    int n = u_Print("%s", (const char*)line);
    s_nLastPercent = nPercent;
    return n;
}

int u_Percent_master(int nTotal, int nDone, int nShot, int nNode)
{
    time_t now = time(nullptr);
    int nSec = ElapsedSeconds(now);
    if (nDone < 0)
        s_tStart = now;
    // A zero total is a caller fault; show no percentage rather than divide.
    int nPct = nTotal != 0 ? (int)((long long)nDone * 100 / nTotal) : -1;

    CString line;
    if (nPct >= 0 && nPct <= 100)
        line.Format(".. %d%% ", nPct);
    else if (nPct > 100)
        line = ".. The end. ";
    if (nShot >= 1 && nNode >= 1)
        line.AppendFormat("(shot #%d on node #%d) ", nShot, nNode);
    line.AppendFormat("- %d of %d. ", nDone, nTotal);
    AppendElapsed(line, nSec);
    return u_Print("%s", (const char*)line);
}

// A negative colour is "not given"; where the table still needs a number for
// it (the last row) the low three bits are used like for any other value.
CString textcolor_sequence(int nAttr, int nFore, int nBack)
{
    int a = 0;
    if (nAttr & 32)
        a = 1;
    if (nAttr & 64)
        a += 4;
    if (nAttr & 128)
        a = 7;
    int f = (nFore & 7) + 30 + ((nFore > 0 && (nFore & 16)) ? 60 : 0);
    int b = (nBack & 7) + 40 + ((nBack > 0 && (nBack & 16)) ? 60 : 0);

    CString seq;
    if (nFore < 0 && nBack < 0)
    {
        if (nAttr == 0)
            seq.Format("%c[0m", 27);
        else
            seq.Format("%c[%dm", 27, a);
    }
    else if (nFore < 0 && nBack > 0)
        seq.Format("%c[%d;%dm", 27, a, b);
    else if (nFore > 0 && nBack < 0)
        seq.Format("%c[%d;%dm", 27, a, f);
    else
        seq.Format("%c[%d;%d;%dm", 27, a, f, b);
    return seq;
}

void textcolor(int nAttr, int nFore, int nBack)
{
    if (g_nNode != 0)
        return;
    if (g_IsTerminal == -1)
        g_IsTerminal = isatty(fileno(stdout)) ? 1 : 0;
    if (!g_IsTerminal)
        return;
    CString seq = textcolor_sequence(nAttr, nFore, nBack);
    fputs(seq, stdout);
    fflush(stdout);
}

int u_Error_Postponed(const char* fmt, ...)
{
    char buf[FORMAT_BUFFER];
    va_list args;
    va_start(args, fmt);
    int n = FormatMessage(buf, fmt, args);
    va_end(args);
    g_PostPonedError += buf;
    return n;
}

int u_Error_Now()
{
    int n = 0;
    if (!g_PostPonedError.IsEmpty())
    {
        textcolor(0, 19, -1);
        n = u_Print("%s", (const char*)g_PostPonedError);
        textcolor(0, -1, -1);
    }
    g_PostPonedError.Empty();
    return n;
}

int u_Error_Reset()
{
    g_PostPonedError.Empty();
    return 0;
}
