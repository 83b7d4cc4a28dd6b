// Node inventory for the log of a Debug run.
#include "base/Output.h"
#include "run/OndexApp.h"

void PrintSystemDetails()
{
    u_Error("Error! The node inventory (PrintSystemDetails) is not available in this build.\n");
}
