#include "tests/support/fresh_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

void InFreshProcess(const std::function<void()>& body) {
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        body();
        std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "the process was ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS);
}
