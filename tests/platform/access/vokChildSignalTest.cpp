#include "platform/access/vokChildSignal.h"

#include <gtest/gtest.h>
#include <csignal>

namespace vokChildSignalTest {
namespace {

TEST(ChildSignal, TheHandlerDoesNothing) {
    const auto previous = std::signal(SIGCHLD, sighdlr);
    ASSERT_NE(previous, SIG_ERR);
    EXPECT_EQ(std::raise(SIGCHLD), 0);
    std::signal(SIGCHLD, previous);
}

}  // namespace
}  // namespace vokChildSignalTest
