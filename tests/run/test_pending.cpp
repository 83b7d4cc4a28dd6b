// What this build still lacks, exactly: a stub that is replaced must leave
// this list, and a new stub must join it, so that the README's state of the
// work and the program agree.

#include <gtest/gtest.h>

#include "base/Pending.h"

TEST(Pending, ExactlyTheseOperationsAreMissing)
{
    const std::vector<std::string> want = {};
    EXPECT_EQ(want, PendingOperations());
    EXPECT_EQ(-200, u_NotBuilt("A test operation"));
}
