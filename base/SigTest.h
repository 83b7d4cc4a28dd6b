// Signal handling: names a signal in words in the log and keeps the first
// fatal condition in nError.
#ifndef ONDEX_BASE_SIGTEST_H
#define ONDEX_BASE_SIGTEST_H

// 0 none, 1 any signal but the two below, 2 floating point error,
// 3 termination request (signal 15). The first one seen stays.
extern int nError;

// The handler proper: ignores nSignal from now on, logs it, notes it in
// nError and keeps SIGFPE handled. It does not end the process.
void sig_ftest(int nSignal, int nCode);

// Installs a handler for SIGHUP, SIGINT, SIGTERM, SIGSEGV, SIGFPE, SIGBUS,
// SIGILL and SIGABRT that logs through sig_ftest and then ends the process
// by the same signal with its default action (see SigTest.cpp). A signal
// that is ignored when this is called is left ignored.
void sig_install();

#endif
