// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "platform/host/uninterrupted.h"

#include <algorithm>
#include <iterator>

namespace host {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool is_ignored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Uninterrupted::Uninterrupted() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kSignals) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

Uninterrupted::~Uninterrupted() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

bool Uninterrupted::is_asked_to_end() const {
    sigset_t waiting;
    sigpending(&waiting);
    return std::any_of(std::begin(kSignals), std::end(kSignals), [&](int signal) {
        return sigismember(&waiting, signal) == 1 && !is_ignored(signal);
    });
}

}  // namespace host
