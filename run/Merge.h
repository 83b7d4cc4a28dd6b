// Availability of the result merge in this build.
#pragma once

// False while COndexApp::MergeResults is not implemented: the run driver then
// keeps the per-shot files and says so instead of failing a finished run.
bool MergeResultsAvailable();
