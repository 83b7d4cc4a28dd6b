#pragma once
// Every MPI message tag of the system, in one place. World communicator:
// the process layout and the release and abort of passive ranks. Active
// communicator: master and workers, and inside a depth group its halo
// exchange, snapshots, survey points, surfaces and gathers.

namespace tag
{
// Process layout (world).
const int kProcsPerNode = 19;
const int kHostName = 20;
// Release of passive ranks and abort (world).
const int kRelease = 40;
const int kTerminate = 41;
// Master and workers.
const int kShot = 30;
const int kReport = 31;
const int kGroup = 32;
// Depth group: halo planes 100..108, indexed by component code 1..9
// (velocities first, then the stresses in the order they go out: xx, yy,
// zz, xy, xz, yz).
const int kHalo[10] = {0, 100, 101, 102, 105, 103, 104, 106, 107, 108};
// Depth group: 2D snapshot rows and 3D cube pieces.
const int kSnap2DCount = 110;
const int kSnap2DRows = 111;
const int kCubeCount = 120;
const int kCubePiece = 121;
// Depth group: survey points handed to their owners.
const int kPointsCount = 130;
const int kPointsShots = 131;
const int kPointsRcv = 132;
const int kPointsTotals = 133;
const int kPointsAnswer = 134;
const int kBorderCountDown = 135;
const int kBorderCountUp = 136;
const int kBorderDown = 137;
const int kBorderUp = 138;
// Depth group: surface planes, on the way down and on the way back.
const int kSurfDepth = 140, kSurfDepthBack = 144;
const int kSurfVp = 141, kSurfVpBack = 145;
const int kSurfVs = 142, kSurfVsBack = 146;
const int kSurfRho = 143, kSurfRhoBack = 147;
const int kSurfQ = 148, kSurfQBack = 149;
const int kSurfEps = 245, kSurfEpsBack = 240;
const int kSurfDelta = 246, kSurfDeltaBack = 241;
const int kSurfGamma = 247, kSurfGammaBack = 242;
const int kSurfAlpha = 248, kSurfAlphaBack = 243;
const int kSurfPhi = 249, kSurfPhiBack = 244;
// Depth group: shot gathers joined by the leader.
const int kGatherCount = 150;
const int kGatherPoints = 151;
const int kGatherInline = 152;
const int kGatherCrossline = 153;
const int kGatherTraces = 154;
const int kGatherTraceId = 155;
const int kGatherFileId = 156;
// Start of a cluster run: each worker's readiness, and the master's go or stop.
const int kReady = 33;
const int kStart = 34;
} // namespace tag
