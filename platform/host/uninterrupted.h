// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Work that Ctrl-C, a terminal that goes away and a polite kill wait for.
#ifndef PLATFORM_HOST_UNINTERRUPTED_H
#define PLATFORM_HOST_UNINTERRUPTED_H

#include <csignal>

namespace host {

// As long as it lives, SIGINT, SIGTERM and SIGHUP wait.
class Uninterrupted {
public:
    Uninterrupted();
    ~Uninterrupted();
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;

    // Whether one of them waits that is not ignored: long work had better end now.
    bool is_asked_to_end() const;

private:
    sigset_t before_{};
};

}  // namespace host

#endif
