// Helpers for the Foundations tests: a scratch working directory and a
// capture of file descriptor 1.
#ifndef ONDEX_TESTS_BASE_UTIL_H
#define ONDEX_TESTS_BASE_UTIL_H

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace basetest
{

// A fresh directory under /tmp that is the working directory meanwhile.
class ScratchDir : public testutil::TempDir
{
public:
    ScratchDir() : TempDir(true, "ondex_base")
    {
        if (!ok())
            ADD_FAILURE() << "no scratch directory";
    }
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
