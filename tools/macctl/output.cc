// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tools/macctl/output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

namespace macctl {

namespace {

[[noreturn]] void fail() {
    throw OutputError(std::string("standard output cannot be written: ") + strerror(errno));
}

}  // namespace

void prepare_streams() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        // The lowest free number, and closed to what the stream is for.
        (void)open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void put_out(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) fail();
}

void flush_out() {
    if (std::fflush(stdout) != 0) fail();
}

void finish_out() {
    flush_out();
    if (std::fclose(stdout) != 0) fail();
}

void wait_with_reader(int milliseconds) {
    pollfd out = {STDOUT_FILENO, 0, 0};
    if (poll(&out, 1, milliseconds) <= 0) return;
    errno = EPIPE;
    fail();
}

void put_err(std::string_view text) { (void)!write(STDERR_FILENO, text.data(), text.size()); }

}  // namespace macctl
