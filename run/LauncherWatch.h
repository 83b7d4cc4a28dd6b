// Ends a process of a multi-process run whose launcher has gone.
#pragma once

// Exit status of a process that ended because its launcher was gone.
constexpr int kLauncherGoneExit = 3;

// With nWorldSize > 1, starts a thread that checks every second whether the
// process that started this one (the launcher's proxy on this machine) still
// exists, and ends this process when it does not. A single process is left
// alone: it may run on after its shell is gone (nohup).
void WatchLauncher(int nWorldSize);
