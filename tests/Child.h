// SPDX-License-Identifier: Apache-2.0
/// Work in a child process.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

/// What `body` returns in a fork of this process, or -1 when it did not end within a minute or died.
template <class Body>
int inChild(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
