#include "AcoRef.h"

void AcoRefU(const fd::AcoStep& s, const fd::Box& b)
{
    for (int z = b.z0; z <= b.z1; z++)
        for (int y = b.y0; y <= b.y1; y++)
            for (int x = b.x0; x <= b.x1; x++)
                fd::AcoCellU(s, x, y, z);
}

void AcoRefTau(const fd::AcoStep& s, const fd::Box& b)
{
    for (int z = b.z0; z <= b.z1; z++)
        for (int y = b.y0; y <= b.y1; y++)
            for (int x = b.x0; x <= b.x1; x++)
                fd::AcoCellTau(s, x, y, z);
}
