// A rank whose launcher is gone (killed by a time limit, or crashed) cannot
// be reached by MPI_Abort any more: a rank waiting for a peer in the depth
// exchange or for the master's next message would spin at full speed until
// someone finds and kills it. When the parent process changes, the launcher
// is gone, and the process ends with a line in its log and on stderr. The
// thread makes no MPI call, so it needs no thread support from the MPI
// library.
#include "run/LauncherWatch.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <thread>

#include "base/Output.h"

void WatchLauncher(int nWorldSize)
{
    if (nWorldSize <= 1)
        return;
    const pid_t parent = getppid();
    std::thread([parent]() {
        for (;;)
        {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            if (getppid() != parent)
            {
                // Straight to the descriptors: the main thread may hold
                // the lock of a stream, and the launcher's end of stderr may
                // be gone with it, so the line goes into this node's log too.
                static const char msg[] = "Error! The launcher of this process has gone: ending it.\n";
                char name[64];
                snprintf(name, sizeof(name), "Ondex-%d.log", g_nNode);
                const int fd = open(name, O_WRONLY | O_APPEND | O_CREAT, 0644);
                for (const int f : {fd, (int)STDERR_FILENO})
                    if (f >= 0 && write(f, msg, sizeof(msg) - 1) < 0)
                        continue;   // nothing more to try: the process ends anyway
                _exit(kLauncherGoneExit);
            }
        }
    }).detach();
}
