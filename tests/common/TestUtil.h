// Small file helpers shared by the test programs.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace testutil
{

// The whole file; empty when it cannot be read.
inline std::string ReadFile(const std::string& name)
{
    std::ifstream f(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

inline std::vector<unsigned char> ReadBytes(const std::string& name)
{
    const std::string s = ReadFile(name);
    return std::vector<unsigned char>(s.begin(), s.end());
}

inline bool WriteBytes(const std::string& name, const void* p, size_t n)
{
    FILE* f = fopen(name.c_str(), "wb");
    if (!f)
        return false;
    const bool ok = n == 0 || fwrite(p, 1, n, f) == n;
    return fclose(f) == 0 && ok;
}

inline bool WriteBytes(const std::string& name, const std::vector<unsigned char>& b)
{
    return WriteBytes(name, b.data(), b.size());
}

inline bool WriteFile(const std::string& name, const std::string& text)
{
    return WriteBytes(name, text.data(), text.size());
}

inline bool FileExists(const std::string& name)
{
    struct stat st;
    return stat(name.c_str(), &st) == 0;
}

// Tests that start the built program, skipped where it is not built.
class NeedsProgram : public ::testing::Test
{
protected:
    const std::string kProgram = std::string(ONDEX_BINARY_DIR) + "/ondex";
    void SetUp() override
    {
        if (!FileExists(kProgram))
            GTEST_SKIP() << "the program is not built: " << kProgram;
    }
};

// A fresh directory under /tmp, removed with everything in it at the end.
// With bEnter it is also the working directory meanwhile (so the process log
// lands there), and the old one comes back at the end.
class TempDir
{
public:
    explicit TempDir(bool bEnter = false, const char* pszPrefix = "ondex")
    {
        std::string tmpl = std::string("/tmp/") + pszPrefix + "_XXXXXX";
        if (!mkdtemp(&tmpl[0]))
            return;
        m_path = tmpl;
        char cwd[4096];
        if (bEnter && getcwd(cwd, sizeof(cwd)) && chdir(m_path.c_str()) == 0)
            m_old = cwd;
    }
    ~TempDir()
    {
        if (!m_old.empty())
            (void)!chdir(m_old.c_str());
        if (!m_path.empty())
            nftw(m_path.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return ::remove(p); }, 16,
                 FTW_DEPTH | FTW_PHYS);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    bool ok() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    std::string path(const std::string& name) const { return m_path + "/" + name; }
    std::string operator/(const std::string& name) const { return path(name); }

private:
    std::string m_path, m_old;
};

// Runs a shell command; its stdout and stderr go to out. The exit status,
// or -1 when it did not exit normally.
inline int Run(const std::string& cmd, std::string& out)
{
    out.clear();
    FILE* p = popen((cmd + " 2>&1").c_str(), "r");
    if (!p)
        return -1;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
        out.append(buf, n);
    const int st = pclose(p);
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
}

// A process of the program started by an MPI launcher (PMI_RANK in its
// environment) on this machine: its id, its parent's and its directory.
struct RankProcess
{
    int pid, ppid;
    std::string cwd;
};

inline std::vector<RankProcess> ProgramRanks()
{
    std::vector<RankProcess> v;
    DIR* d = opendir("/proc");
    if (!d)
        return v;
    while (dirent* e = readdir(d))
    {
        const int pid = atoi(e->d_name);
        if (pid <= 1)
            continue;
        const std::string dir = "/proc/" + std::string(e->d_name);
        const std::string stat = ReadFile(dir + "/stat");
        const size_t end = stat.rfind(')');   // the name may hold spaces; state and parent follow it
        char state = 0;
        int ppid = 0;
        if (end == std::string::npos || sscanf(stat.c_str() + end + 1, " %c %d", &state, &ppid) != 2)
            continue;
        if (state == 'Z' || stat.find("(ondex)") == std::string::npos ||
            ReadFile(dir + "/environ").find("PMI_RANK=") == std::string::npos)
            continue;
        char cwd[4096];
        const ssize_t n = readlink((dir + "/cwd").c_str(), cwd, sizeof(cwd) - 1);
        v.push_back({pid, ppid, std::string(cwd, n > 0 ? (size_t)n : 0)});
    }
    closedir(d);
    return v;
}

// Held while a test runs a job under mpiexec, so that no two such jobs of
// the suite run at once: MPICH ranks spin while they wait, and two jobs of
// three spinning ranks on the two cores of the CI machine made a 10-second
// run pass its 90-second limit.
class MpiexecLock
{
public:
    MpiexecLock() : m_fd(open("/tmp/ondex-tests-mpiexec.lock", O_RDWR | O_CREAT, 0666))
    {
        if (m_fd >= 0)
            flock(m_fd, LOCK_EX);
    }
    // A job cut off by its time limit could leave a rank behind, spinning in
    // an MPI wait after the launcher was gone (seen once: a rank of the
    // failing-member job ran on at full speed and slowed later tests up to
    // 19 times). The program now ends such a rank itself; as a second guard,
    // a rank whose parent is init is killed here. None belongs to a job
    // still running.
    ~MpiexecLock()
    {
        for (const RankProcess& r : ProgramRanks())
            if (r.ppid == 1)
                kill(r.pid, SIGKILL);
        if (m_fd >= 0)
            close(m_fd);   // closing releases the lock
    }
    MpiexecLock(const MpiexecLock&) = delete;
    MpiexecLock& operator=(const MpiexecLock&) = delete;

private:
    int m_fd;
};

// Redirects fd 1 into a temporary file until Stop().
class StdoutCapture
{
public:
    StdoutCapture()
    {
        fflush(stdout);
        char tmpl[] = "/tmp/ondex_stdout_XXXXXX";
        m_fd = mkstemp(tmpl);
        m_name = tmpl;
        m_saved = dup(1);
        if (m_fd < 0 || m_saved < 0 || dup2(m_fd, 1) < 0)
            ADD_FAILURE() << "cannot redirect stdout";
    }
    ~StdoutCapture() { Stop(); }
    std::string Stop()
    {
        if (m_saved >= 0)
        {
            fflush(stdout);
            dup2(m_saved, 1);
            close(m_saved);
            m_saved = -1;
            m_text = ReadFile(m_name);
            close(m_fd);
            unlink(m_name.c_str());
        }
        return m_text;
    }

private:
    int m_fd = -1;
    int m_saved = -1;
    std::string m_name;
    std::string m_text;
};

}  // namespace testutil
