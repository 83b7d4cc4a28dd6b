// The job file, read at its three levels: the line reader and key lookup,
// COndexApp::ReadTask (refusals with their messages, values into the job),
// and the engine's own keys (ReadTask3D and the signal's parameters).
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "RunTestUtil.h"
#include "base/Output.h"
#include "cpu/Calc3D_OMP.h"
#include "engine1d/Calc1D.h"
#include "engine3d/Calc3D.h"
#include "run/TaskFile.h"

// ------------------------------------------------------------ lines and keys
namespace
{
class TaskFile : public RunTempDir
{
protected:
    std::vector<CString> Load(const std::string& text)
    {
        WriteFile("runtask.ini", text);
        std::vector<CString> lines;
        EXPECT_TRUE(read_task_file("runtask.ini", lines));
        return lines;
    }
};

struct LineCase { const char* name; std::string text; std::vector<std::string> kept; };

TEST_F(TaskFile, LinesKeptAsTheReaderSeesThem)
{
    const std::string longLine = "K = " + std::string(296, 'x');   // 300 characters
    const LineCase cases[] = {
        {"trailing blanks and CR go", "[S]  \r\nK = 5\t \r\n", {"[S]", "K = 5"}},
        {"cut at first semicolon, blanks before it stay", "K = 3D Acoustic ; comment\n", {"K = 3D Acoustic "}},
        {"semicolon inside a value", "File = a;b.sgy\n", {"File = a"}},
        {"comment-only and empty lines dropped", "; note\n\n   \n#K = 1\nA=1\n", {"A=1"}},
        {"indented hash is kept", "  #K = 1\n", {"  #K = 1"}},
        {"indentation is kept", "   Debug = 1\n", {"   Debug = 1"}},
        {"line of 300 characters is split", longLine + "\n",
         {longLine.substr(0, 255), longLine.substr(255)}},
        {"control characters at the end go", std::string("A = 1\x01\x1f\n"), {"A = 1"}},
        {"no newline at the end of the file", "[S]\nK = 2", {"[S]", "K = 2"}},
    };
    for (const LineCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::vector<CString> lines = Load(c.text);
        ASSERT_EQ(lines.size(), c.kept.size());
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_EQ(std::string((const char*)lines[i]), c.kept[i]);
    }
}

// value: the string found when the result is 0; linesAfter: lines left.
struct LookupCase { const char* name; std::string text; const char *section, *key; int result; std::string value;
                    size_t linesAfter; };

TEST_F(TaskFile, LookupRules)
{
    const LookupCase cases[] = {
        {"plain", "[S]\nK = 5\n", "[S]", "K", 0, "5", 1},
        {"leading control characters of the value skipped", "[S]\nK =\t  7\n", "[S]", "K", 0, "7", 1},
        {"comment after value keeps blank", "[S]\nK = 3D Acoustic ; c\n", "[S]", "K", 0, "3D Acoustic ", 1},
        {"indented key is not found", "[S]\n  K = 1\n", "[S]", "K", 1, "", 2},
        {"key is a prefix of a longer word", "[S]\nKeyLonger = 3\n", "[S]", "Key", 0, "3", 1},
        {"line without = passed over, next one wins", "[S]\nKey\nKey = 4\n", "[S]", "Key", 0, "4", 2},
        {"key line without = only", "[S]\nK 5\n", "[S]", "K", 1, "", 2},
        {"first of two equal keys wins", "[S]\nK = 1\nK = 2\n", "[S]", "K", 0, "1", 2},
        {"adjacent duplicate sections are one", "[S]\nA = 1\n[S]\nK = 2\n", "[S]", "K", 0, "2", 3},
        {"separated duplicate section unreachable", "[S]\nA = 1\n[T]\nB = 1\n[S]\nK = 2\n", "[S]", "K", 1, "", 6},
        {"key of another section", "[T]\nK = 1\n[S]\nA = 1\n", "[S]", "K", 1, "", 4},
        {"section absent", "[T]\nK = 1\n", "[S]", "K", 2, "", 2},
        {"empty file", "", "[S]", "K", 2, "", 0},
        {"header with comment still a header", "[Source] ; main\nK = 1\n", "[Source]", "K", 0, "1", 1},
        {"section compared over its own length", "[Sources]\nK = 1\n", "[Source", "K", 0, "1", 1},
        {"case matters", "[S]\nk = 1\n", "[S]", "K", 1, "", 2},
        {"any [ ends the section", "[S]\n[broken\nK = 3\n", "[S]", "K", 1, "", 3},
    };
    for (const LookupCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::vector<CString> lines = Load(c.text);
        char buf[256];
        strcpy(buf, "untouched");
        EXPECT_EQ(get_parameter_string(lines, c.section, c.key, buf, sizeof(buf)), c.result);
        EXPECT_EQ(std::string(buf), c.result == 0 ? c.value : "untouched");
        EXPECT_EQ(lines.size(), c.linesAfter);
    }
}

} // namespace

// ------------------------------------------------------------ the job object
namespace
{
// The smallest job each method accepts; tests add or replace sections.
std::string Job(const char* method, const std::string& modelingExtra = "", const std::string& more = "")
{
    return std::string("[TASK]\ntaskType = modeling\n[modeling]\nRun Computation = ") + method + "\n" +
           modelingExtra +
           "[Survey]\nt0 = 0\nt1 = 1\ndt = 0.002\n"
           "[Mesh]\ndx = 10\ndt = 0.001\n"
           "[Source]\nFrequency = 20\n" + more;
}

class ReadTask : public RunTempDir
{
protected:
    void TearDown() override
    {
        g_nSize = 1, g_nNode = 0;
        RunTempDir::TearDown();
    }
    int Read(const std::string& job)
    {
        WriteFile("runtask.ini", job);
        ClearLog();
        return m_app->ReadTask("ignored-name.ini");
    }
};

// shown: the value in the message when rejected.
struct TaskTypeCase { const char* line; int result; bool merge; const char* shown; };

TEST_F(ReadTask, TaskType)
{
    const TaskTypeCase cases[] = {
        {"taskType = modeling\n", 0, false, nullptr},
        {"taskType = merge\n", 0, true, nullptr},
        {"taskType = modelingX\n", 0, false, nullptr},   // prefix compare over 8 characters
        {"taskType = Modeling\n", 1, false, "Modeling"},
        {"taskType = simulate\n", 1, false, "simulate"},
        {"", 1, false, ""},
    };
    for (const TaskTypeCase& c : cases)
    {
        SCOPED_TRACE(c.line);
        m_app.reset(new COndexApp());
        std::string job = Job("3D Acoustic");
        job.replace(job.find("taskType = modeling\n"), 20, c.line);
        EXPECT_EQ(Read(job), c.result);
        EXPECT_EQ(m_app->m_bMergeTask, c.merge);
        if (c.shown)
        {
            EXPECT_TRUE(LogHas(std::string("Incorrect 'runtask.ini' file (taskType '") + c.shown +
                               "' is wrong, expected either 'modeling' or 'merge')!\n\n")) << Log();
            EXPECT_TRUE(LogHas("The computation is stopped.\n"));
        }
    }
}

struct MethodCase { const char* method; const char* extra; int result; int type; };

TEST_F(ReadTask, Method)
{
    const MethodCase cases[] = {
        {"3D Acoustic", "", 0, 101},
        {"3D Elastic", "", 0, 102},
        {"3D Elastic Anisotropic", "", 0, 103},
        {"3D Acoustic", "TTI Anisotropy = 1\n", 0, 104},
        {"3D Elastic Anisotropic", "TTI Anisotropy = 1\n", 0, 104},
        {"3D Acoustic", "TTI Anisotropy = yes\n", 0, 101},
        {"3D Acoustic ; a comment", "", 1, 0},      // the blank before ';' stays
        {"3d acoustic", "", 1, 0},
        {"3D Acoustics", "", 1, 0},
    };
    for (const MethodCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.method) + " / " + c.extra);
        m_app.reset(new COndexApp());
        EXPECT_EQ(Read(Job(c.method, c.extra)), c.result) << Log();
        if (c.result == 0)
        {
            EXPECT_EQ(m_app->m_Type, c.type);
            ASSERT_NE(m_app->m_pCalc3D, nullptr);
            EXPECT_EQ(m_app->m_pCalc3D->m_nHalo, c.type == 104 ? 3 : 2);
            EXPECT_EQ(m_app->m_pCalc1D, nullptr);
        }
        else
        {
            EXPECT_EQ(m_app->m_pCalc3D, nullptr);
            EXPECT_TRUE(LogHas("Error! Unknown modeling method ("));
            EXPECT_TRUE(LogHas("The computation is stopped.\n"));
        }
    }
}

// Jobs that are refused: the result code and the message that says why.
TEST_F(ReadTask, RefusalsInTheirWords)
{
    const std::string ok = Job("3D Acoustic");
    auto Without = [&](const char* what) {
        std::string j = ok;
        return j.erase(j.find(what), strlen(what));
    };
    std::string merge1D = Job("Vertical Incidence");
    merge1D.replace(merge1D.find("modeling\n"), 9, "merge\n");
    std::string both = Job("3D Acoustic", "UseShotId = 1\n");
    both.insert(both.find("t0 = 0\n"), "ShotsDefinedByCoordinates = 1\n");
    const struct { std::string job; int result; std::vector<const char*> messages; } cases[] = {
        {"[TASK]\ntaskType = modeling\n[modeling]\nDebug = 0\n", 1,
         {"Incorrect 'runtask.ini' file ('Run Computation' is wrong)!\n\n"}},
        {merge1D, 1, {"Error! Task 'merge' is not available for the 'Vertical Incidence' method.\n"}},
        {Without("t0 = 0\n"), 1, {}}, {Without("t1 = 1\n"), 1, {}}, {Without("dt = 0.002\n"), 1, {}},
        {both, -1,
         {"Error! Contradicting settings encountered. 'UseShotId' and 'ShotsDefinedByCoordinates' cannot both be 1."}},
        // A second [Survey] is never reached: no contradiction there, and
        // its keys are left over.
        {Job("3D Acoustic", "UseShotId = 1\n", "[Survey]\nShotsDefinedByCoordinates = 1\n"), 0,
         {"Warning! Redundant variable: [Survey], ShotsDefinedByCoordinates = 1\n"}},
        // An anisotropy value that is neither a file nor a number (a
        // missing file) is refused, a number with blanks after it is not.
        {Job("3D Elastic Anisotropic", "FileAnisEpsilon = eps.sgy\n"), 1,
         {"Error! FileAnisEpsilon = 'eps.sgy' is neither an existing file nor a number.\n"}},
        {Job("3D Elastic Anisotropic", "FileAnisDelta = -0.1  \n"), 0, {}},
        {ok, 0,
         {"Parameter '[modeling]\\Debug' isn't found in the 'runtask.ini' file.\n",
          "Section '[GPU]\\Use CUDA' isn't found in the 'runtask.ini' file.\n"}},
        // Keys not read are warnings, or errors that fail the job when
        // Paranoid; an indented key is never found.
        {Job("3D Acoustic", "FileModelSW = vs.sgy\n  Debug = 1\n"), 0,
         {"Warning! Redundant variable: [modeling], FileModelSW = vs.sgy\n",
          "Warning! Redundant variable: [modeling],   Debug = 1\n"}},
        {Job("3D Acoustic", "Paranoid = 1\nFileModelSW = vs.sgy\n",
             "[GPU]\nUse CUDA = 0\nDevice = 1\n[Source]\nType = 3\n"),
         -1,
         {"Error! Redundant variable: [modeling], FileModelSW = vs.sgy\n",
          "Error! Redundant variable: [GPU], Device = 1\n", "Error! Redundant variable: [Source], Type = 3\n"}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.job);
        m_app.reset(new COndexApp());
        EXPECT_EQ(Read(c.job), c.result) << Log();
        for (const char* m : c.messages)
            EXPECT_TRUE(LogHas(m)) << m << "\n" << Log();
        const auto nRedundant = std::count_if(c.messages.begin(), c.messages.end(),
                                              [](const char* m) { return strstr(m, "Redundant variable"); });
        EXPECT_EQ(LogCount("Redundant variable"), (int)nRedundant) << Log();
        EXPECT_TRUE(c.result == 0 || m_app->m_pCalc1D == nullptr);
        EXPECT_TRUE(c.result != 1 || m_app->m_pCalc3D == nullptr) << "the engine is made after the checks";
    }
}

TEST_F(ReadTask, DefaultsWhenKeysAreAbsent)
{
    ASSERT_EQ(Read(Job("3D Acoustic")), 0) << Log();
    const COndexApp& a = *m_app;
    EXPECT_TRUE(a.m_bMerge);
    EXPECT_FALSE(a.m_bDebug || a.m_bParanoid);
    EXPECT_EQ(a.m_nSmoothModel, 0);   // the constructor's 2 does not survive reading
    EXPECT_EQ(a.m_nThreads, a.m_nCPUCount);
}

struct GroupCase { int size; const char* line; int expected; };

TEST_F(ReadTask, GroupSizeMustBeBelowTheProcessCount)
{
    const GroupCase cases[] = {
        {1, "Group Size = 2\n", 0}, {4, "Group Size = 2\n", 2}, {4, "Group Size = 3\n", 3},
        {4, "Group Size = 4\n", 0}, {4, "Group Size = 9\n", 0}, {4, "Group Size = 0\n", 0},
        {4, "Group Size = -2\n", 0}, {4, "", 0},
    };
    for (const GroupCase& c : cases)
    {
        SCOPED_TRACE(std::string(c.line) + " with size " + std::to_string(c.size));
        m_app.reset(new COndexApp());
        m_app->m_nGroupSize = 7;   // absent or out of range must reset it
        g_nSize = c.size;
        EXPECT_EQ(Read(Job("3D Acoustic", "", std::string("[MPI]\n") + c.line)), 0) << Log();
        EXPECT_EQ(m_app->m_nGroupSize, c.expected);
        g_nSize = 1;
    }
}

struct OutputDirCase { const char* value; const char* expected; const char* dirMade; };

TEST_F(ReadTask, OutputDirGetsASlashAndIsMade)
{
    const OutputDirCase cases[] = {
        {"out", "out/", "out"},
        {"res/a/b/", "res/a/b/", "res/a/b"},
        {"win\\", "win\\", nullptr},
    };
    for (const OutputDirCase& c : cases)
    {
        SCOPED_TRACE(c.value);
        m_app.reset(new COndexApp());
        ASSERT_EQ(Read(Job("3D Acoustic", std::string("OutputDir = ") + c.value + "\n")), 0) << Log();
        EXPECT_STREQ((const char*)m_app->m_strOutputDir, c.expected);
        struct stat st;
        EXPECT_TRUE(!c.dirMade || (stat(c.dirMade, &st) == 0 && S_ISDIR(st.st_mode)));
    }
}

struct PointCase { int cmdFirst, cmdLast; int first, last; };

TEST_F(ReadTask, CommandLineShotsOutrankTheJobFile)
{
    const PointCase cases[] = {{0, 0, 2, 9}, {5, 0, 5, 9}, {0, 7, 2, 7}, {4, 6, 4, 6}};
    for (const PointCase& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.cmdFirst) + ".." + std::to_string(c.cmdLast));
        m_app.reset(new COndexApp());
        m_app->m_nFirstPoint = c.cmdFirst, m_app->m_nLastPoint = c.cmdLast;
        ASSERT_EQ(Read(Job("3D Acoustic", "First Point = 2\nLast Point = 9\n")), 0);
        EXPECT_EQ(m_app->m_nFirstPoint, c.first);
        EXPECT_EQ(m_app->m_nLastPoint, c.last);
        // The key that was not needed is left over.
        EXPECT_EQ(LogHas("Redundant variable: [modeling], First Point = 2"), c.cmdFirst != 0);
        EXPECT_EQ(LogHas("Redundant variable: [modeling], Last Point = 9"), c.cmdLast != 0);
    }
}

// content null: no file; start: before reading (the last shot is 10).
struct RecoveryCase { const char* name; bool recovery; const char* content; int start, expected; bool message; };

TEST_F(ReadTask, RecoveryDat)
{
    const RecoveryCase cases[] = {
        {"inside the range", true, "7\n", 3, 7, true},
        {"at the start", true, "3\n", 3, 3, false},
        {"beyond the last", true, "11\n", 3, 3, false},
        {"no file", true, nullptr, 3, 3, false},
        {"recovery off", false, "7\n", 3, 3, false},
        {"garbage", true, "abc\n", 3, 3, false},
        {"start 0 takes any shot up to the last", true, "1\n", 0, 1, true},
    };
    for (const RecoveryCase& c : cases)
    {
        SCOPED_TRACE(c.name);
        m_app.reset(new COndexApp());
        m_app->m_nStartPoint = c.start;
        remove("Recovery.dat");
        if (c.content)
            WriteFile("Recovery.dat", c.content);
        ASSERT_EQ(Read(Job("3D Acoustic", std::string("Last Point = 10\nRecovery = ") + (c.recovery ? "1" : "0") + "\n")),
                  0);
        EXPECT_EQ(m_app->m_bRecovery, c.recovery);
        EXPECT_EQ(m_app->m_nStartPoint, c.expected);
        EXPECT_EQ(LogHas("RECOVER: Continue from shot #"), c.message);
        if (c.message)
        {
            EXPECT_TRUE(LogHas("RECOVER: Continue from shot #" + std::to_string(c.expected) + "\n"));
        }
    }
}

} // namespace

// ------------------------------------------------------------ the engine keys
namespace
{

std::vector<CString> Lines(std::initializer_list<const char*> l) { return std::vector<CString>(l.begin(), l.end()); }

bool HasLine(const std::vector<CString>& v, const char* psz)
{
    return std::find(v.begin(), v.end(), CString(psz)) != v.end();
}

struct Engine3D
{
    COndexApp app;
    std::unique_ptr<CCalc3D_OMP> eng;
    explicit Engine3D(int nType) { app.m_Type = nType, eng.reset(new CCalc3D_OMP(app)); }
};

} // namespace

// Absorbing strip, PML slab and stencil half-width by method and PML.
TEST(ReadTask3D, StripWidthsByMethodAndPml)
{
    struct Case { int nType; const char* pszPml; int nTaper, nPML, nHalo; } cases[] = {  // pszPml null: absent
        {101, nullptr, 26, 21, 2}, {101, "PML=1", 26, 21, 2}, {101, "PML=0", 38, 21, 2},
        {102, "PML = 1", 26, 21, 2}, {103, "PML=0", 38, 21, 2},
        {104, "PML=1", 23, 19, 3}, {104, "PML=0", 38, 21, 3}, {104, nullptr, 23, 19, 3},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.nType) + " " + (c.pszPml ? c.pszPml : "absent"));
        Engine3D e(c.nType);
        auto lines = Lines({"[modeling]", "[Source]", "Frequency=30"});
        if (c.pszPml)
            lines.insert(lines.begin() + 1, CString(c.pszPml));
        ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(c.nTaper, e.eng->m_nTaper);
        EXPECT_EQ(c.nPML, e.eng->m_nPML);
        EXPECT_EQ(c.nHalo, e.eng->m_nHalo);
        EXPECT_EQ(c.pszPml == nullptr || CString(c.pszPml).Find('1') >= 0, e.eng->m_bPML);
    }
}

TEST(ReadTask3D, SurfaceType)
{
    struct Case
    {
        const char* pszLine;
        int nResult, nSurf;
    } cases[] = {{"SurfType=0", 0, 0}, {"SurfType=1", 0, 1}, {"SurfType=2", 1, 2}, {"SurfType=-1", 1, -1}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszLine);
        Engine3D e(102);
        auto lines = Lines({"[modeling]", c.pszLine, "PML=0", "[Source]", "Frequency=30"});
        EXPECT_EQ(c.nResult, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(c.nSurf, e.eng->m_nSurfType);
        // A rejected surface stops the reading: the later keys stay.
        EXPECT_EQ(c.nResult != 0, HasLine(lines, "PML=0"));
    }
}

TEST(ReadTask3D, UserCubeAndMargin)
{
    Engine3D e(101);
    auto lines = Lines({"[modeling]", "X0=100", "X1=900", "Y0=200", "Y1=800", "Z0=0", "Z1=1500", "Margin=250",
                        "[Source]", "Frequency=30"});
    ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_EQ(CCubeR(100, 200, 0, 900, 800, 1500), e.eng->m_cubeModel);
    EXPECT_EQ(e.eng->m_cubeSim, e.eng->m_cubeModel);
    EXPECT_EQ(250.0, e.eng->m_dMargin);

    // One value missing: no cube, and the simulation cube is left unset.
    Engine3D f(101);
    auto lines2 = Lines({"[modeling]", "X0=100", "X1=900", "Y0=200", "Y1=800", "Z0=0", "[Source]", "Frequency=30"});
    ASSERT_EQ(0, f.eng->ReadTask3D("runtask.ini", lines2));
    EXPECT_TRUE(f.eng->m_cubeModel.IsEmpty());
    EXPECT_TRUE(f.eng->m_cubeSim.IsEmpty());
}

TEST(ReadTask3D, MeshAndSourceDirection)
{
    struct Case { int nType; const char* pszLine; float k[6]; } cases[] = {  // pszLine: a further [Source] line
        {8, nullptr, {0, 0, 0, 0, 1, 0}},                 // default axis "XZ"
        {8, "DoubleCoupleAxis=yx", {0, 0, 0, 1, 0, 0}},
        {8, "DoubleCoupleAxis=ZY", {0, 0, 0, 0, 0, 1}},
        {8, "DoubleCoupleAxis=XYZ", {0, 0, 0, 1, 0, 0}},  // two characters count
        {8, "DoubleCoupleAxis=Xy", {0, 0, 0, 0, 0, 0}},
        {3, "DoubleCoupleAxis=XY", {0, 0, 0, 0, 0, 0}},   // not read for other types
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.pszLine ? c.pszLine : "no axis");
        Engine3D e(102);
        auto lines = Lines({"[Mesh]", "dx=12.5", "dt=0.001", "[Source]", "Frequency=30"});
        lines.push_back(CString(CString(0, "Type=%d", c.nType)));
        if (c.pszLine)
            lines.push_back(CString(c.pszLine));
        ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
        EXPECT_EQ(12.5, e.eng->m_dx);
        EXPECT_EQ(0.001, e.eng->m_dt);
        EXPECT_EQ(c.nType, e.eng->m_nSourceType);
        for (int i = 0; i < 6; i++)
            EXPECT_EQ(c.k[i], e.eng->m_fK[i]) << "K index " << i;
        if (c.pszLine)
        {
            EXPECT_EQ(c.nType != 8, HasLine(lines, c.pszLine));
        }
    }

    Engine3D e(104);
    auto lines = Lines({"[Source]", "Type=9", "K11=1", "K22=2", "K33=3", "K12=0.5", "K13=-1", "K23=0.25",
                        "SuppressSV=0", "Frequency=30"});
    ASSERT_EQ(0, e.eng->ReadTask3D("runtask.ini", lines));
    const float expected[6] = {1, 2, 3, 0.5f, -1, 0.25f};
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(expected[i], e.eng->m_fK[i]);
    EXPECT_FALSE(e.eng->m_bSuppressSV);
}

TEST(ReadTask3D, SignalFailureIsReturned)
{
    Engine3D e(101);
    auto lines = Lines({"[Source]", "Frequency=0.5", "[Snapshot]", "Every=1"});
    EXPECT_EQ(1, e.eng->ReadTask3D("runtask.ini", lines));
    EXPECT_TRUE(HasLine(lines, "Every=1"));   // nothing read after the failure
    EXPECT_EQ(0, e.eng->m_nSnapEvery);
}

TEST(SignalParams, FileFrequencyAndShift)
{
    struct Case { std::vector<const char*> lines; int nResult; const char* pszFile; double dFreq, t0; int nSignal; }
    cases[] = {
        {{"[Source]", "Frequency=25", "Signal=3", "t0=0.01"}, 0, "", 25.0, 0.01, 3},
        {{"[Source]", "File=wavelet.sgy", "Signal=3", "t0=-0.02"}, 0, "wavelet.sgy", 0.0, -0.02, 0},
        {{"[Source]", "Frequency=0.5"}, 1, "", 0.5, 0.0, 0},
        {{"[Source]"}, 1, "", 0.0, 0.0, 0},
        {{"[Source]", "Frequency=1"}, 0, "", 1.0, 0.0, 0},
        {{}, 1, "", 0.0, 0.0, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.lines.size() > 1 ? c.lines[1] : "no section");
        COndexApp app;
        CSignal3D sig(&app);
        std::vector<CString> lines(c.lines.begin(), c.lines.end());
        EXPECT_EQ(c.nResult, sig.LoadParamsFromIniFile(lines));
        EXPECT_STREQ(c.pszFile, sig.m_strFile);
        EXPECT_EQ(c.dFreq, sig.m_dFreq);   // the initial 20 does not survive
        EXPECT_EQ(c.t0, sig.m_t0);
        EXPECT_EQ(c.nSignal, sig.m_nSignal);
    }
}
