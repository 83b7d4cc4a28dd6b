// Shared helpers of the run tests: a fresh working directory per test, with
// the job file written into it, a job object, and the node's log read back.
#pragma once

#include "common/TestUtil.h"
#include "files/SdsPC.h"
#include "files/SegyFormat.h"
#include "files/files_test_util.h"
#include "run/OndexApp.h"
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

inline float SampleValue(int shot, int trace, int k) { return (float)(shot * 100 + trace * 10 + k) * 0.5f; }

// A per-shot SEG-Y file as the engine writes one: big-endian headers, IBM
// samples SampleValue(shot, trace, k); axis T in milliseconds.
inline void WriteShotFile(const std::string& name, int shot, int nTraces, const double* T)
{
    CSdsPC w;
    double axis[3] = {T[0], T[1], T[2]};
    FILE* f = fopen(name.c_str(), "wb");
    ASSERT_NE(f, nullptr) << name;
    SGY_FILEHEADER fh = w.CreateSGYHeaderFile(nTraces, axis, DU_MSEC, 0);
    ASSERT_EQ(fwrite(&fh, sizeof(fh), 1, f), 1u);
    for (int i = 0; i < nTraces; ++i)
    {
        SDS_TRACEINFO info;
        memset(&info, 0, sizeof(info));
        info.fSrcX = 1000.0f + shot, info.fSrcY = 2000.0f, info.fRecX = 1000.0f + 25.0f * i, info.fRecY = 2000.0f;
        info.nPart = shot;
        int p[2] = {i + 1, i + 1};
        SGY_TRACEHEADER th = w.CreateSGYHeaderTrace(p, info, axis, DU_MSEC);
        ASSERT_EQ(fwrite(&th, sizeof(th), 1, f), 1u);
        for (int k = 0; k < (int)((T[1] - T[0]) / T[2] + 1.5); ++k)
        {
            unsigned char b[4];
            EncodeIBMFloat(SampleValue(shot, i, k), b);
            ASSERT_EQ(fwrite(b, 4, 1, f), 1u);
        }
    }
    fclose(f);
}

const std::string kProgram = std::string(ONDEX_BINARY_DIR) + "/ondex";

class RunTempDir : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_tmp.reset(new testutil::TempDir(true, "ondex_run"));
        ASSERT_TRUE(m_tmp->ok());
        m_app.reset(new COndexApp());
    }
    void TearDown() override
    {
        m_app.reset();
        m_tmp.reset();
    }

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
    std::unique_ptr<COndexApp> m_app;
};
