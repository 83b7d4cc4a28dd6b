// The u_* family: everything the system says goes through these functions.
// Each process appends to its own log "Ondex-<node>.log" in the working
// directory (opened and closed per message); the console shows node 0 only.
#ifndef ONDEX_BASE_OUTPUT_H
#define ONDEX_BASE_OUTPUT_H

#include "base/CString.h"

// Rank and size of the active processes; set by the run driver.
extern int g_nNode;   // initial 0
extern int g_nSize;   // initial 1

// Name of this process's log file, rebuilt at each message.
extern char g_szLogFileName[256];
// -1 not yet known (initial), then 1 when stdout is a terminal, else 0.
extern int g_IsTerminal;
// Text gathered by u_Error_Postponed.
extern CString g_PostPonedError;

// Printf-like; each returns the character count of the formatted text.
int u_Print(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
int u_Warning(const char* fmt, ...) __attribute__((format(printf, 1, 2)));   // bright yellow
int u_Error(const char* fmt, ...) __attribute__((format(printf, 1, 2)));     // bold red
int u_Success(const char* fmt, ...) __attribute__((format(printf, 1, 2)));   // underlined green
int u_LinePrint(const char* fmt, ...) __attribute__((format(printf, 1, 2))); // head inside a rule
int u_CenterPrint(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
int u_Line();   // a rule of 71 '-'

// Banner, and start of the clock of the percent displays. Nothing for an empty
// title or the same pointer as the last title. Returns the characters printed.
int u_FaceTitle(const char* title);
// Progress inside one computation; returns the characters printed, 0 if none.
int u_Percent(int nPercent, int nOverall = -1, int nIndex = 0, int nCount = 0);
// Progress over the shots of a cluster run; nDone < 0 restarts the clock.
int u_Percent_master(int nTotal, int nDone, int nShot, int nNode);

// Terminal attributes (ANSI); acts only on node 0 with stdout a terminal.
void textcolor(int nAttr, int nFore, int nBack);
// The escape sequence textcolor writes, for any console.
CString textcolor_sequence(int nAttr, int nFore, int nBack);

// An error to be shown later.
int u_Error_Postponed(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
int u_Error_Now();     // shows the gathered text like a warning, then empties it
int u_Error_Reset();   // empties it; returns 0

#endif
