#include <gtest/gtest.h>
#include <host/host_in_c.h>
#include <host/host_lists.hpp>

using HostInC = qormath::test::HostLists;

TEST_F(HostInC, GoesThroughTheOrderOfUse) {
    EXPECT_EQ(goThroughTheOrderOfUseInC(), 0);
}

TEST_F(HostInC, GoesThroughTheOrderOfUseASecondTime) {
    EXPECT_EQ(goThroughTheOrderOfUseInC(), 0);
    EXPECT_EQ(goThroughTheOrderOfUseInC(), 0);
}

TEST_F(HostInC, AnalysesAGainMatrix) {
    EXPECT_EQ(analyseAGainMatrixInC(), 0);
}
