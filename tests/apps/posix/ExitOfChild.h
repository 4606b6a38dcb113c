#pragma once

#include "tests/apps/ProgramFixture.h"

#include <sys/wait.h>
#include <unistd.h>

/// The exit code of a child that a test has forked, or -1 when it does not end. One that has ended is -1 from then on.
[[nodiscard]] inline int ExitOfChild(pid_t& child)
{
    int status = 0;
    if (!WaitUntil([&] { return waitpid(child, &status, WNOHANG) == child; }))
        return -1;
    child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
