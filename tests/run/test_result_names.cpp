// The per-shot name template that the merge formats with each shot number
// must give back exactly the names the shots were written under.
#include <gtest/gtest.h>

#include <memory>

#include "../engine3d/FakeEngine.h"
#include "base/CString.h"

TEST(ResultNames, TemplateFormatsToTheShotName)
{
    struct Case
    {
        const char* pszDir;
        const char* pszModel;
        int nType;
        char cComp;
        double rValue;
    } const cases[] = {
        {"/data/out/", "salt.sgy", 0, 'X', 0.0},
        {"/data/100%/", "salt.sgy", 0, 'Z', 0.0},
        {"", "a%%b.sgy", 0, 'C', 0.0},
        {"run%d/", "m%s%n.sgy", 1, ' ', 0.0},
        {"", "50%done.sgy", 2, ' ', 1.0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.pszDir) + c.pszModel);
        std::unique_ptr<COndexApp> app(new COndexApp());
        app->m_Type = 101;
        app->m_strOutputDir = c.pszDir;
        app->m_strModelPW = c.pszModel;
        std::unique_ptr<CFakeEngine> eng(new CFakeEngine(*app));
        eng->m_nSourceType = 3;
        for (int nShot : {1, 7, 12345})
        {
            eng->m_nShot = nShot;
            const CString strShot = eng->GetFileName(c.nType, c.cComp, false, false, c.rValue);
            const CString strTemplate = eng->GetFileName(c.nType, c.cComp, true, false, c.rValue);
            EXPECT_STREQ((const char*)strShot, (const char*)CString(0, strTemplate, nShot));
        }
    }
}
