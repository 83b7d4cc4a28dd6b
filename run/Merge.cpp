// Joining the per-shot result files into one file per kind.
#include "run/Merge.h"

#include "base/Output.h"
#include "run/OndexApp.h"

bool MergeResultsAvailable()
{
    return false;
}

int COndexApp::MergeResults(const char* pszMerged, const char* pszPerShot, int nFirst, int nLast, bool bDelete)
{
    (void)pszPerShot;
    (void)nFirst;
    (void)nLast;
    (void)bDelete;
    u_Error("Error! Merging of results into '%s' is not available in this build.\n", pszMerged ? pszMerged : "");
    return -1;
}
