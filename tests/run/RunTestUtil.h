// Shared helpers of the run tests: a fresh working directory per test, with
// the job file written into it and the node's log read back.
#pragma once

#include "common/TestUtil.h"
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

class RunTempDir : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_tmp.reset(new testutil::TempDir(true, "ondex_run"));
        ASSERT_TRUE(m_tmp->ok());
    }
    void TearDown() override { m_tmp.reset(); }

    static void WriteFile(const char* name, const std::string& text)
    {
        ASSERT_TRUE(testutil::WriteFile(name, text)) << name;
    }

    static std::string ReadFile(const char* name) { return testutil::ReadFile(name); }
    static bool Exists(const std::string& name) { return testutil::FileExists(name); }

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

    std::unique_ptr<testutil::TempDir> m_tmp;
};
