// What this build still lacks, exactly: a stub that is replaced must leave
// this list, and a new stub must join it, so that the README's state of the
// work and the program agree.

#include <gtest/gtest.h>

#include "base/Pending.h"

TEST(Pending, ExactlyTheseOperationsAreMissing)
{
    const std::vector<std::string> want = {
<<<<<<< HEAD
        "The anisotropic GPU kernels (CCalc3D_CUDA)",
        "The general anisotropic scheme (PropagateAniWaveTau)",
        "The orthorhombic scheme (PropagateOrtWaveTau)",
        "The stiffness of the anisotropic methods",
=======
        "2D snapshots of a depth group",
        "3D snapshots of a depth group (MergeDistributedCube)",
        "Depth decomposition (InitDecomposition)",
        "Survey points of a depth group (ValidateSurveyGeometryDistributed)",
        "The GPU engine (CCalc3D_CUDA)",
        "The distributed time loop (CalculateDistributed)",
        "Time fields of a depth group",
>>>>>>> wip-ani
    };
    EXPECT_EQ(want, PendingOperations());
    EXPECT_EQ(-200, u_NotBuilt("A test operation"));
}
