// Shared helpers of the run tests: a fresh working directory per test, with
// the job file written into it and the node's log read back.
#pragma once

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

class RunTempDir : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char cwd[4096];
        ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
        m_oldDir = cwd;
        char tmpl[] = "/tmp/ondex_run_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        m_dir = tmpl;
        ASSERT_EQ(chdir(m_dir.c_str()), 0);
    }

    void TearDown() override
    {
        if (!m_oldDir.empty())
            (void)!chdir(m_oldDir.c_str());
        if (!m_dir.empty())
        {
            std::string cmd = "rm -rf '" + m_dir + "'";
            (void)!system(cmd.c_str());
        }
    }

    static void WriteFile(const char* name, const std::string& text)
    {
        FILE* f = fopen(name, "wb");
        ASSERT_NE(f, nullptr);
        fwrite(text.data(), 1, text.size(), f);
        fclose(f);
    }

    static std::string ReadFile(const char* name) { return testutil::ReadFile(name); }

    // The log of node 0 in the working directory.
    static std::string Log() { return ReadFile("Ondex-0.log"); }
    static void ClearLog() { remove("Ondex-0.log"); }
    static bool LogHas(const std::string& text) { return Log().find(text) != std::string::npos; }
    static int LogCount(const std::string& text)
    {
        const std::string log = Log();
        int n = 0;
        for (size_t p = log.find(text); p != std::string::npos; p = log.find(text, p + 1))
            ++n;
        return n;
    }

    std::string m_oldDir;
    std::string m_dir;
};
