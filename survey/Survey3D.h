// Survey geometry: the shot list of a survey file, and the excitement points,
// receivers and observation zone of the one active shot.
#pragma once

#include <cstdint>
#include <vector>

#include "base/CString.h"
#include "base/Types.h"

// Grid form of one excitement point, made by the engine. Handed to the GPU
// kernels byte for byte, so the layout is fixed: 8 + 4 bytes, padded to 16.
struct C3DShotPoint
{
    uint64_t nIndex;    // linear cell index (iz*ny + iy)*nx + ix
    int nFlag;          // bit 0: free surface (SurfType 1)

    C3DShotPoint() : nIndex(0), nFlag(0) {}
    C3DShotPoint(uint64_t index, int flag) : nIndex(index), nFlag(flag) {}
};
static_assert(sizeof(C3DShotPoint) == 16, "C3DShotPoint must be 16 bytes");

// Moment tensor of one excitement point. K11 == -9999.25 means "no tensor".
struct CShotTauK
{
    float K11, K22, K33, K12, K13, K23;

    CShotTauK() : K11(-9999.25f), K22(0), K33(0), K12(0), K13(0), K23(0) {}
    CShotTauK(float k11, float k22, float k33, float k12, float k13, float k23)
        : K11(k11), K22(k22), K33(k33), K12(k12), K13(k13), K23(k23) {}
    bool IsSet() const { return K11 != -9999.25f; }
};
static_assert(sizeof(CShotTauK) == 24, "CShotTauK must be six packed floats");

// The object itself is the observation zone of the active shot.
class CSurvey3D : public CCubeR
{
public:
    CSurvey3D();
    virtual ~CSurvey3D();

    // Loading (0 success, 1 failure; messages printed here).
    int LoadSurvey(const char* path, bool bFaultSlip);
    int LoadFromSgy(const char* path);
    void Clear();

    // Parses one text row; true when the row is to be ignored (comment or
    // fewer than six values). Missing columns get their defaults.
    bool InterpretSurveyFileLine(const char* line, double& sx, double& sy, double& sz,
                                 double& rx, double& ry, double& rz, int& inl, int& xl, int& id,
                                 float& k11, float& k22, float& k33, float& k12, float& k13,
                                 float& k23, int& trace, int& file);
    void PrintErrorOnOpenFile(const char* path);

    // Valid shot numbers: ids when shots are known by id, else 1..count.
    int GetMinShot();
    int GetMaxShot();
    // True when shots are known by their ids (see GetMinShot).
    bool ShotsById() const;
    // The job's shot range against the survey (LoadSurveyGeometry): a zero
    // first or last takes the whole survey, a last beyond it is brought down,
    // a start outside the range becomes the first. 0, or 1 with the message.
    int CheckShotRange(int& nFirst, int& nLast, int& nStart);

    // Active shot: 0 success, 1 failure, -35 shot skipped (unknown id).
    // nShot < 0 activates the whole survey: every receiver once.
    int SetActiveShot(int nShot);
    C3DPointR GetActiveShotPt();
    CCubeR GetObsZone();
    int GetRcvInline(int i);
    int GetRcvCrossline(int i);
    int GetRcvTraceId(int i);
    int GetRcvFileId(int i);

    // Plain accessors for the engines.
    int GetShotCount() const { return (int)m_vShotPoints.size(); }
    int GetReceiverCount() const { return (int)m_vReceivers.size(); }
    int GetExcitePointCount() const { return (int)m_vExcitePoints.size(); }

    // Two positions closer than this in each coordinate are one point.
    static double MIN_DIST;

public:
    CString m_strFileName;
    std::vector<C3DPointR> m_vShotPoints;     // shot n (from 1) is element n - 1
    std::vector<C3DPointR> m_vExcitePoints;   // of the active shot
    std::vector<int> m_vShotIds;              // parallel to m_vShotPoints, or empty
    std::vector<CShotTauK> m_vTauK;           // parallel to m_vExcitePoints (fault slip)
    std::vector<C3DPointR> m_vReceivers;      // of the active shot
    std::vector<int> m_vInline;
    std::vector<int> m_vCrossline;
    std::vector<int> m_vTraceId;              // per receiver, or empty
    std::vector<int> m_vFileId;               // per receiver, or empty
    int m_nActiveShotId;
    int m_nActiveShotIndex;
    bool m_bFaultSlip;
    bool m_bSgySurvey;
    bool m_bUseShotId;
    bool m_bShotsByCoordinates;

private:
    // Helpers of SetActiveShot (ActiveShot.cpp).
    void AddReceiver(const C3DPointR& rcv, int inl, int xl, int trace, int file, bool bAllIds);
    int CollectTextRows(int nShot, const C3DPointR& P, CShotTauK& T);
    int CollectSgyRows(int nShot, const C3DPointR& P);
};
