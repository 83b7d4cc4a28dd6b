// The text row parser: comments, short rows, defaults of missing columns,
// the all-zero tensor and the quirks of whitespace-separated scanning.
#include <gtest/gtest.h>

#include "survey/Survey3D.h"

namespace
{
const float NO_TENSOR = -9999.25f;

// Columns not given keep these values.
struct RowCase { const char* name; const char* line; bool bIgnored; double s[3] = {}, r[3] = {};
                 int inl = 0, xl = 0, id = -1; float k[6] = {NO_TENSOR, 0, 0, 0, 0, 0}; int trace = -1, file = -1; };

const RowCase kRows[] = {
    {"semicolon comment", "; 1 2 3 4 5 6", true},
    {"empty row", "", true},
    {"five numbers", "1 2 3 4 5\n", true},
    {"comma separated", "1,2,3,4,5,6\n", true},
    {"not a number as a coordinate", "1 2 nan 4 5 6\n", true},
    {"infinite receiver", "1 2 3 4 inf 6 7\n", true},
    {"six numbers take all defaults", "100.5 200 -3 400 500 6e1\n", false, {100.5, 200, -3}, {400, 500, 60}},
    {"lines and id", "1 2 3 4 5 6 11 22 33", false, {1, 2, 3}, {4, 5, 6}, 11, 22, 33},
    {"tabs and CRLF", "1\t2\t3\t4\t5\t6\t7\r\n", false, {1, 2, 3}, {4, 5, 6}, 7},
    {"all seventeen columns", "1 2 3 4 5 6 7 8 9 0.5 -1 2 3 4 5 12 13\n", false, {1, 2, 3}, {4, 5, 6}, 7, 8, 9,
     {0.5f, -1, 2, 3, 4, 5}, 12, 13},
    {"zero tensor counts as none", "1 2 3 4 5 6 7 8 9 0 0 0 0 0 0 12 13\n", false, {1, 2, 3}, {4, 5, 6}, 7, 8, 9,
     {NO_TENSOR, 0, 0, 0, 0, 0}, 12, 13},
    {"tensor cut after K11", "1 2 3 4 5 6 7 8 9 2.5\n", false, {1, 2, 3}, {4, 5, 6}, 7, 8, 9, {2.5f, 0, 0, 0, 0, 0}},
    {"tensor of K23 alone is a tensor", "1 2 3 4 5 6 7 8 9 0 0 0 0 0 1\n", false, {1, 2, 3}, {4, 5, 6}, 7, 8, 9,
     {0, 0, 0, 0, 0, 1}},
    // A fraction where an int column stands ends the row there.
    {"fraction in an int column stops the scan", "1 2 3 4 5 6 7.5 8 9\n", false, {1, 2, 3}, {4, 5, 6}, 7},
    {"trailing text after the columns", "1 2 3 4 5 6 7 8 9 ; note\n", false, {1, 2, 3}, {4, 5, 6}, 7, 8, 9},
    {"trace id without file id", "1 2 3 4 5 6 7 8 9 1 1 1 0 0 0 44\n", false, {1, 2, 3}, {4, 5, 6}, 7, 8, 9,
     {1, 1, 1, 0, 0, 0}, 44},
};

TEST(RowParser, ParsesAsDocumented)
{
    for (const RowCase& c : kRows)
    {
        SCOPED_TRACE(c.name);
        CSurvey3D s;
        // Fill the outputs with garbage: defaults must be set by the parser.
        double sx = 77, sy = 77, sz = 77, rx = 77, ry = 77, rz = 77;
        int inl = 77, xl = 77, id = 77, trace = 77, file = 77;
        float k[6] = {77, 77, 77, 77, 77, 77};
        const bool bIgnored = s.InterpretSurveyFileLine(c.line, sx, sy, sz, rx, ry, rz, inl, xl, id, k[0], k[1], k[2],
                                                        k[3], k[4], k[5], trace, file);
        ASSERT_EQ(bIgnored, c.bIgnored);
        if (bIgnored)
            continue;
        EXPECT_EQ(C3DPointR(sx, sy, sz), C3DPointR(c.s[0], c.s[1], c.s[2]));
        EXPECT_EQ(C3DPointR(rx, ry, rz), C3DPointR(c.r[0], c.r[1], c.r[2]));
        EXPECT_EQ(inl, c.inl);
        EXPECT_EQ(xl, c.xl);
        EXPECT_EQ(id, c.id);
        for (int i = 0; i < 6; i++)
            EXPECT_FLOAT_EQ(k[i], c.k[i]) << "tensor component " << i;
        EXPECT_EQ(trace, c.trace);
        EXPECT_EQ(file, c.file);
    }
    // A null line is ignored too.
    double d[6];
    int n[5];
    float k[6];
    EXPECT_TRUE(CSurvey3D().InterpretSurveyFileLine(nullptr, d[0], d[1], d[2], d[3], d[4], d[5], n[0], n[1], n[2],
                                                    k[0], k[1], k[2], k[3], k[4], k[5], n[3], n[4]));
}
}  // namespace
