// CSignal3D: the source signal's settings and samples.

#include "engine3d/Signal3D.h"

#include "base/Output.h"
#include "run/TaskFile.h"

CSignal3D::CSignal3D(COndexApp* pApp)
    : m_dFreq(20.0), m_pData(nullptr), m_nLen(0), m_nSignal(0), m_t0(0.0), m_pApp(pApp)
{
}

CSignal3D::~CSignal3D()
{
    Free();
}

void CSignal3D::Free()
{
    delete[] m_pData;
    m_pData = nullptr;
    m_nLen = 0;
}

int CSignal3D::LoadParamsFromIniFile(std::vector<CString>& lines)
{
    char szFile[255] = "";
    get_parameter_string(lines, "[Source]", "File", szFile, (int)sizeof(szFile));
    m_strFile = szFile;

    // An absent Frequency means 0: only a signal file can then give one.
    m_dFreq = 0.0;
    get_parameter_double(lines, "[Source]", "Frequency", &m_dFreq);
    if (m_strFile.IsEmpty() && m_dFreq < 1.0)
    {
        u_Error("Error! No signal file specified and incorrect signal frequency parameter in tuntask.ini.\n");
        return 1;
    }
    if (m_strFile.IsEmpty())
        get_parameter_int(lines, "[Source]", "Signal", &m_nSignal);
    get_parameter_double(lines, "[Source]", "t0", &m_t0);
    return 0;
}
