// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/confined.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

namespace {

void redirect(int stream, const std::string& name, int flags) {
    const int file = open(name.c_str(), flags | O_CLOEXEC, 0644);
    if (file < 0 || dup2(file, stream) < 0) _exit(126);
}

[[noreturn]] void become(const Folder& folder, const std::string& command,
                         std::span<const sock_filter> filter) {
    if (chdir(folder.path("").c_str()) != 0) _exit(126);
    redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    redirect(STDOUT_FILENO, ".out", O_WRONLY | O_CREAT | O_TRUNC);
    redirect(STDERR_FILENO, ".err", O_WRONLY | O_CREAT | O_TRUNC);
    if (!confine(filter)) _exit(126);
    execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
    _exit(127);
}

}  // namespace

bool confine(std::span<const sock_filter> filter) {
    const sock_fprog program{static_cast<unsigned short>(filter.size()),
                             const_cast<sock_filter*>(filter.data())};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

Outcome run_confined(const Folder& folder, const std::string& command,
                     std::span<const sock_filter> filter) {
    const pid_t child = fork();
    if (child == 0) become(folder, command, filter);
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), folder.read(".out"),
            folder.read(".err")};
}

}  // namespace test
