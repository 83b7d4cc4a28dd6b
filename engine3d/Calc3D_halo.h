#pragma once
// The halo exchange of a depth group: after each half step the planes next
// to a slab border go to the neighbour while the inside is computed. All
// messages of the exchange live here.

#include <mpi.h>

class CCalc3D;

class CHaloExchange
{
public:
    // bFirst / bLast: this node has no neighbour above / below. nType is
    // the method: the acoustic scheme exchanges one stress, the others six.
    CHaloExchange(CCalc3D& calc, int nType, bool bFirst, bool bLast);
    ~CHaloExchange();
    CHaloExchange(const CHaloExchange&) = delete;
    CHaloExchange& operator=(const CHaloExchange&) = delete;

    // Start the exchange of the velocities (components 1 to 3) or of the
    // stresses; the ends wait and write the received halos. 0 or the
    // failures joined by bitwise or.
    int BeginVelocity();
    int EndVelocity();
    int BeginStress();
    int EndStress();

private:
    enum
    {
        kUp = 0,
        kDown = 1
    };
    int Begin(const int* pComp, int nComp, bool bVelocity);
    int End(const int* pComp, int nComp);
    // Receive and send slabs of one component with one neighbour.
    int GetSlabs(int nDir, int c, bool bNoCopyRecv);
    int Post(int nDir, int c);

    CCalc3D& m_calc;
    bool m_bHas[2];          // neighbour above, below
    int m_nStress;           // stress components exchanged
    int m_nNode;             // this node in MPI_COMM_MT
    int m_nCount;            // floats of one slab
    float* m_pRecv[2][10];   // by direction and component code
    float* m_pSend[2][10];
    MPI_Request m_req[2][10][2];
};
