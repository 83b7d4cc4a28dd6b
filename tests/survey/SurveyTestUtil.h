// Shared fixture of the survey tests: a fresh temporary directory that is also
// the working directory (so the process log lands there too), file writers,
// and capture of what the survey prints.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "common/TestUtil.h"
#include "files/files_test_util.h"

#include "survey/Survey3D.h"

class SurveyTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_tmp.reset(new testutil::TempDir(true, "ondex_survey"));
        ASSERT_TRUE(m_tmp->ok());
        m_dir = m_tmp->path();
        CSurvey3D::MIN_DIST = 0.001;
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

    sdspc_test::Keep<double> m_minDist{CSurvey3D::MIN_DIST};
    std::unique_ptr<testutil::TempDir> m_tmp;
    std::string m_dir;
};

// The result of f, with what it prints captured into *out (when given).
template <class F>
int Quiet(F f, std::string* out)
{
    ::testing::internal::CaptureStdout();
    const int rc = f();
    const std::string text = ::testing::internal::GetCapturedStdout();
    if (out)
        *out = text;
    return rc;
}

inline int LoadQuiet(CSurvey3D& s, const std::string& path, bool bFaultSlip, std::string* out = nullptr)
{
    return Quiet([&] { return s.LoadSurvey(path.c_str(), bFaultSlip); }, out);
}

inline int ActivateQuiet(CSurvey3D& s, int nShot, std::string* out = nullptr)
{
    return Quiet([&] { return s.SetActiveShot(nShot); }, out);
}
