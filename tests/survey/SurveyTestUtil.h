// Shared fixture of the survey tests: a fresh temporary directory that is also
// the working directory (so the process log lands there too), file writers,
// and capture of what the survey prints.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <dirent.h>
#include <sys/stat.h>

#include "survey/Survey3D.h"

class SurveyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/ondex_survey_XXXXXX";
        char* dir = mkdtemp(tmpl);
        ASSERT_NE(dir, nullptr);
        m_dir = dir;
        char cwd[4096];
        ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
        m_oldCwd = cwd;
        ASSERT_EQ(chdir(m_dir.c_str()), 0);
        m_savedMinDist = CSurvey3D::MIN_DIST;
        CSurvey3D::MIN_DIST = 0.001;
    }

    void TearDown() override
    {
        CSurvey3D::MIN_DIST = m_savedMinDist;
        if (!m_oldCwd.empty())
            (void)!chdir(m_oldCwd.c_str());
        if (m_dir.empty())
            return;
        if (DIR* d = opendir(m_dir.c_str()))
        {
            while (dirent* e = readdir(d))
            {
                std::string name = e->d_name;
                if (name != "." && name != "..")
                    unlink((m_dir + "/" + name).c_str());
            }
            closedir(d);
        }
        rmdir(m_dir.c_str());
    }

    std::string WriteFile(const std::string& name, const std::string& text)
    {
        std::string path = m_dir + "/" + name;
        FILE* f = fopen(path.c_str(), "wb");
        EXPECT_NE(f, nullptr);
        if (f)
        {
            fwrite(text.data(), 1, text.size(), f);
            fclose(f);
        }
        return path;
    }

    void StartCapture() { ::testing::internal::CaptureStdout(); }
    std::string StopCapture() { return ::testing::internal::GetCapturedStdout(); }

    static bool Contains(const std::string& text, const std::string& part)
    {
        return text.find(part) != std::string::npos;
    }

    std::string m_dir;
    std::string m_oldCwd;
    double m_savedMinDist = 0.001;
};

// Load a text survey, capturing the output; returns the result code.
inline int LoadQuiet(CSurvey3D& s, const std::string& path, bool bFaultSlip, std::string* out = nullptr)
{
    ::testing::internal::CaptureStdout();
    int rc = s.LoadSurvey(path.c_str(), bFaultSlip);
    std::string text = ::testing::internal::GetCapturedStdout();
    if (out)
        *out = text;
    return rc;
}

inline int ActivateQuiet(CSurvey3D& s, int nShot, std::string* out = nullptr)
{
    ::testing::internal::CaptureStdout();
    int rc = s.SetActiveShot(nShot);
    std::string text = ::testing::internal::GetCapturedStdout();
    if (out)
        *out = text;
    return rc;
}
