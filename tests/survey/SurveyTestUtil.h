// Shared fixture of the survey tests: a fresh temporary directory that is also
// the working directory (so the process log lands there too), file writers,
// and capture of what the survey prints.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "common/TestUtil.h"

#include "survey/Survey3D.h"

class SurveyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_tmp.reset(new testutil::TempDir(true, "ondex_survey"));
        ASSERT_TRUE(m_tmp->ok());
        m_dir = m_tmp->path();
        m_savedMinDist = CSurvey3D::MIN_DIST;
        CSurvey3D::MIN_DIST = 0.001;
    }

    void TearDown() override
    {
        CSurvey3D::MIN_DIST = m_savedMinDist;
        m_tmp.reset();
    }

    std::string WriteFile(const std::string& name, const std::string& text)
    {
        const std::string path = m_dir + "/" + name;
        EXPECT_TRUE(testutil::WriteFile(path, text)) << path;
        return path;
    }

    static bool Contains(const std::string& text, const std::string& part)
    {
        return text.find(part) != std::string::npos;
    }

    std::unique_ptr<testutil::TempDir> m_tmp;
    std::string m_dir;
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
