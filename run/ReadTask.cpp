// COndexApp::ReadTask: the job file into the job object and its engine.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <omp.h>
#include <unistd.h>

#include "base/Output.h"
#include "base/Types.h"
#include "engine1d/Calc1D.h"
#include "engine3d/Calc3D.h"
#include "run/OndexApp.h"
#include "run/TaskFile.h"

namespace
{
const char kModeling[] = "[modeling]";

// A text key of at most 254 characters into a string; absent leaves it.
void read_text(std::vector<CString>& lines, const char* section, const char* key, CString& str)
{
    char buf[256];
    if (get_parameter_string(lines, section, key, buf, 255) == 0)
        str = buf;
}

void stop_line()
{
    u_Print("The computation is stopped.\n");
}

// Lines left over after all reads are redundant: the run did not use them.
int report_redundant(const std::vector<CString>& lines, bool bParanoid)
{
    CString strSection;
    int nCount = 0;
    for (const CString& s : lines)
    {
        if (s[0] == '[')
        {
            strSection = s;
            continue;
        }
        ++nCount;
        if (bParanoid)
            u_Error("Error! Redundant variable: %s, %s\n", (const char*)strSection, (const char*)s);
        else
            u_Warning("Warning! Redundant variable: %s, %s\n", (const char*)strSection, (const char*)s);
    }
    return nCount;
}
} // namespace

int COndexApp::ReadTask(const char* pszFile)
{
    (void)pszFile;   // the job is always runtask.ini in the working directory
    std::vector<CString> lines;
    if (!read_task_file("runtask.ini", lines))
    {
        u_Print("The job specification file 'runtask.ini' is not read!\n\n");
        u_Print("The computation is stopped.\n");
        return -1;
    }

    char buf[256];

    // 3. Task type.
    buf[0] = '\0';
    const int rTask = get_parameter_string(lines, "[TASK]", "taskType", buf, 255);
    const bool bModeling = rTask == 0 && strncmp(buf, "modeling", 8) == 0;
    const bool bMerge = rTask == 0 && strncmp(buf, "merge", 5) == 0;
    if (!bModeling && !bMerge)
    {
        u_Error("Incorrect 'runtask.ini' file (taskType '%s' is wrong, expected either 'modeling' or 'merge')!\n\n", buf);
        stop_line();
        return 1;
    }
    m_bMergeTask = bMerge;

    // 4. Method.
    buf[0] = '\0';
    if (get_parameter_string(lines, kModeling, "Run Computation", buf, 255) != 0)
    {
        u_Error("Incorrect 'runtask.ini' file ('Run Computation' is wrong)!\n\n");
        stop_line();
        return 1;
    }
    int nType = 0;
    if (strcmp(buf, "Vertical Incidence") == 0)
        nType = 100;
    else if (strcmp(buf, "3D Acoustic") == 0)
        nType = 101;
    else if (strcmp(buf, "3D Elastic") == 0)
        nType = 102;
    else if (strcmp(buf, "3D Elastic Anisotropic") == 0)
        nType = 103;
    else
    {
        u_Error("Error! Unknown modeling method (%s) specified in 'runtask.ini'. Should be '3D Acoustic' or "
                "'3D Elastic' or '3D Elastic Anisotropic'.\n", buf);
        stop_line();
        return 1;
    }

    // 5. General anisotropy turns any method into 104.
    bool bTTI = false;
    get_parameter_bool(lines, kModeling, "TTI Anisotropy", &bTTI);
    if (bTTI)
        nType = 104;
    m_Type = nType;

    // The 1D method has no 3D engine to name the per-shot files, and it
    // writes no per-shot files: a merge task with it is refused.
    if (m_bMergeTask && m_Type == 100)
    {
        u_Error("Error! Task 'merge' is not available for the 'Vertical Incidence' method.\n");
        stop_line();
        return 1;
    }

    // 6.
    get_parameter_bool(lines, kModeling, "Debug", &m_bDebug);
    get_parameter_bool(lines, kModeling, "Merge", &m_bMerge);
    get_parameter_bool(lines, kModeling, "Paranoid", &m_bParanoid);

    // 7. GPU.
    get_parameter_bool(lines, "[GPU]", "Use CUDA", &m_bUseCUDA);
    if (m_bUseCUDA)
    {
        get_parameter_int(lines, "[GPU]", "Device", &m_nGPUDevice);
        if (InitGPU() != 0)
            return -1;
    }

    // 8. CPU threads.
    m_nCPUCount = os::GetCPUCount();
    if (!m_bUseCUDA || m_Type == 100)
    {
        int nThreads = 0;
        get_parameter_int(lines, "[optimization]", "threads per process", &nThreads);
        if (nThreads <= 0)
            nThreads = m_nCPUCount;
        m_nThreads = nThreads;
        omp_set_num_threads(nThreads);
        u_Print("CPU: Threads = %d\n", nThreads);
    }

    // 9. Where and how this process runs.
    char szHost[256];
    if (gethostname(szHost, sizeof(szHost)) != 0)
        szHost[0] = '\0';
    szHost[sizeof(szHost) - 1] = '\0';
    u_Print("Node: %s\n", szHost);
    u_Line();
    const int N = g_nSize - 1;
    const bool bGPU = m_bUseCUDA && m_Type != 100;
    if (bGPU)
    {
        if (g_nSize > 1)
            u_Print("  %d processes, each uses GPU CUDA device.\n", N);
        else
            u_Print("  Single process uses GPU CUDA device.\n");
    }
    else if (m_nThreads == 1)
    {
        if (g_nSize > 1)
            u_Print("  %d processes, each one uses a single CPU core.\n", N);
        else
            u_Print("  Single process uses a single CPU core.\n");
    }
    else
    {
        const char* pszS = m_nThreads < 2 ? "" : "s";
        if (g_nSize > 1)
            u_Print("  %d processes, each one use %d CPU core%s.\n", N, m_nThreads, pszS);
        else
            u_Print("  Single process uses %d CPU core%s.\n", m_nThreads, pszS);
    }
    u_Line();

    // 10. Directory and model files.
    m_strOutputDir.Empty();
    m_strModelPW.Empty();
    m_strModelSW.Empty();
    m_strModelD.Empty();
    read_text(lines, kModeling, "OutputDir", m_strOutputDir);
    read_text(lines, "[Survey]", "Geometry", m_strGeometry);
    read_text(lines, kModeling, "Model Name", m_strModelPW);
    if (m_strModelPW.IsEmpty())
        read_text(lines, kModeling, "FileModelPW", m_strModelPW);
    read_text(lines, kModeling, "FileModelD", m_strModelD);
    read_text(lines, kModeling, "FileModelQ", m_strModelQ);

    // 11.
    if (!m_strOutputDir.IsEmpty())
    {
        const char cLast = m_strOutputDir[m_strOutputDir.GetLength() - 1];
        if (cLast != '/' && cLast != '\\')
            m_strOutputDir += '/';
        errno = 0;
        if (make_dir(m_strOutputDir) != 0)
        {
            if (errno == EEXIST)
                u_Error("OutputDir directory '%s' is inaccessible!\n", (const char*)m_strOutputDir);
            else
                u_Error("OutputDir directory '%s' is not found and can not be created!\n", (const char*)m_strOutputDir);
            return 1;
        }
    }

    // 12.
    if (m_Type >= 102)
        read_text(lines, kModeling, "FileModelSW", m_strModelSW);

    // 13. Anisotropy: a file when one of that name exists, else a constant.
    if (m_Type >= 103)
    {
        static const char* const kAnisKeys[5] = {"FileAnisEpsilon", "FileAnisDelta", "FileAnisGamma",
                                                 "FileAnisPhi", "FileAnisAzimuth"};
        for (int i = 0; i < 5; ++i)
        {
            m_strAnisFile[i].Empty();
            m_fAnisConst[i] = 0.0f;
        }
        for (int i = 0; i < 5; ++i)
        {
            if (get_parameter_string(lines, kModeling, kAnisKeys[i], buf, 255) != 0)
                continue;
            if (buf[0] != '\0' && access(buf, F_OK) == 0)
            {
                m_strAnisFile[i] = buf;
                continue;
            }
            // Neither a file nor a number (a misspelt or missing file name)
            // would silently become 0: refuse it.
            char* pEnd = buf;
            strtod(buf, &pEnd);
            while (*pEnd == ' ' || *pEnd == '\t')
                ++pEnd;
            if (buf[0] != '\0' && (pEnd == buf || *pEnd != '\0'))
            {
                u_Error("Error! %s = '%s' is neither an existing file nor a number.\n", kAnisKeys[i], buf);
                stop_line();
                return 1;
            }
            m_fAnisConst[i] = (float)atof(buf);
        }
    }

    // 14.
    int nElevation = m_bModelUseElevation ? 1 : 0;
    get_parameter_int(lines, kModeling, "ModelUseElevation", &nElevation);
    m_bModelUseElevation = nElevation != 0;

    // 15. The seismogram axis is required.
    if (get_parameter_double(lines, "[Survey]", "t0", &m_t0) != 0 ||
        get_parameter_double(lines, "[Survey]", "t1", &m_t1) != 0 ||
        get_parameter_double(lines, "[Survey]", "dt", &m_dt) != 0)
        return 1;

    // 16.
    m_nSmoothModel = 0;
    get_parameter_int(lines, kModeling, "Smooth Model", &m_nSmoothModel);
    get_parameter_int(lines, kModeling, "Memory Limit", &m_nMemoryLimit);
    get_parameter_int(lines, kModeling, "HostMemoryGB", &m_nHostMemoryGB);
    if (m_bUseCUDA)
        get_parameter_int(lines, kModeling, "GpuMemoryGB", &m_nGpuMemoryGB);

    if (m_Type == 100)
    {
        // 17. The 1D engine reads its own keys; the 3D keys stay unread.
        MakeEngine();
        const int r = m_pCalc1D->ReadTask1D(lines);
        if (r != 0)
            return r;
    }
    else
    {
        // 18.
        MakeEngine();

        // 19. A shot given on the command line outranks the job file.
        if (m_nFirstPoint == 0)
            get_parameter_int(lines, kModeling, "First Point", &m_nFirstPoint);
        if (m_nLastPoint == 0)
            get_parameter_int(lines, kModeling, "Last Point", &m_nLastPoint);

        // 20.
        get_parameter_bool(lines, kModeling, "UseShotId", &m_bUseShotId);
        get_parameter_bool(lines, "[Survey]", "ShotsDefinedByCoordinates", &m_bShotsByCoordinates);
        if (m_bUseShotId && m_bShotsByCoordinates)
        {
            u_Error("Error! Contradicting settings encountered. 'UseShotId' and 'ShotsDefinedByCoordinates' cannot both be 1.");
            return -1;
        }

        // 21., 22.
        get_parameter_bool(lines, kModeling, "Recovery", &m_bRecovery);
        int nGroup = 0;
        get_parameter_int(lines, "[MPI]", "Group Size", &nGroup);
        m_nGroupSize = (nGroup > 0 && nGroup < g_nSize) ? nGroup : 0;
        get_parameter_bool(lines, "[MPI]", "Big Seismogram", &m_bBigSeismogram);

        // 23.
        const int r = m_pCalc3D->ReadTask3D("runtask.ini", lines);
        if (r != 0)
            return r;

        // 24. Recovery.dat comes from outside; it is only read here.
        if (m_bRecovery)
        {
            FILE* f = fopen("Recovery.dat", "rt");
            if (f)
            {
                char szLine[49];
                if (fgets(szLine, sizeof(szLine), f))
                {
                    const int n = atoi(szLine);
                    if (m_nStartPoint < n && n <= m_nLastPoint)
                    {
                        m_nStartPoint = n;
                        u_Print("RECOVER: Continue from shot #%d\n", n);
                    }
                }
                fclose(f);
            }
        }
    }

    // 25.
    const int nRedundant = report_redundant(lines, m_bParanoid);
    if (m_bParanoid && nRedundant > 0)
        return -1;
    return 0;
}
