// The road of one shot, the same in the single process loop and in a worker.
#pragma once

class COndexApp;

// Runs shot nShot on the job's 3D engine. 0 when the shot was computed or
// passed over (recovery, outside the computation zone, no active point);
// otherwise the code of the failing step (-1 for a failed allocation).
int Run3DShot(COndexApp& app, int nShot);
