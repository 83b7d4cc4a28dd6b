// Helpers for the Foundations tests: a scratch working directory and a
// capture of file descriptor 1.
#ifndef ONDEX_TESTS_BASE_UTIL_H
#define ONDEX_TESTS_BASE_UTIL_H

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <ftw.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace basetest
{

inline int remove_entry(const char* path, const struct stat*, int, struct FTW*)
{
    return ::remove(path);
}

// Makes a fresh directory under /tmp and works inside it; the old working
// directory is restored and the directory removed at the end.
class ScratchDir
{
public:
    ScratchDir()
    {
        char tmpl[] = "/tmp/ondex_base_XXXXXX";
        char* d = mkdtemp(tmpl);
        if (!d)
        {
            ADD_FAILURE() << "mkdtemp failed";
            return;
        }
        m_dir = d;
        char cwd[4096];
        if (getcwd(cwd, sizeof(cwd)))
            m_old = cwd;
        if (chdir(m_dir.c_str()) != 0)
            ADD_FAILURE() << "chdir to " << m_dir << " failed";
    }
    ~ScratchDir()
    {
        if (!m_old.empty() && chdir(m_old.c_str()) != 0)
            ADD_FAILURE() << "chdir back failed";
        if (!m_dir.empty())
            nftw(m_dir.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& path() const { return m_dir; }

private:
    std::string m_dir;
    std::string m_old;
};

// Reads a whole file; empty when it does not exist.
inline std::string read_file(const std::string& name) { return testutil::ReadFile(name); }

inline bool file_exists(const std::string& name) { return testutil::FileExists(name); }

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
            m_text = read_file(m_name);
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

} // namespace basetest

#endif
