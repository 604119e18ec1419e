// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What the rewritten sources of a build with planted faults call. Every fault has a
// number; the one of this run is chosen when the program starts. Included in front of
// every file of that build, the freestanding ones among them.
#ifndef TESTS_MUTANTS_PLANTED_H
#define TESTS_MUTANTS_PLANTED_H

namespace planted {

struct Place {
    void* at;
};

}  // namespace planted

inline void* operator new(__SIZE_TYPE__, planted::Place place) noexcept { return place.at; }

namespace planted {

extern unsigned fault;  // of this run; 0: none
extern bool recording;  // which faults a test reaches
void note(unsigned number);

// Endless loops and calls end by counters, so that the outcome is the same on every
// machine: loops first stop going on, calls end the process.
extern unsigned long rounds, rounds_max;
extern unsigned long calls, calls_max;
bool too_many_rounds();
void too_many_calls();

// Whether this fault is the one of the run.
inline bool on(unsigned number) {
    if (recording) note(number);
    return fault == number;
}

// The same in a function that the compiler may evaluate: there no fault is chosen.
constexpr bool on_at_run(unsigned number) {
    return !__builtin_is_constant_evaluated() && on(number);
}

// After the condition of a loop held: whether it may go round again.
inline bool more() { return ++rounds <= rounds_max || !too_many_rounds(); }
constexpr bool more_at_run() { return __builtin_is_constant_evaluated() || more(); }

// At the start of a function.
inline void enter() {
    if (++calls > calls_max) too_many_calls();
}
constexpr void enter_at_run() {
    if (!__builtin_is_constant_evaluated()) enter();
}

// A returned value changed: to zero, or to another one.
template <typename T>
constexpr T zero_when(bool changed, T value) {
    return changed ? T{} : value;
}
template <typename T>
constexpr T other_when(bool changed, T value) {
    return changed ? static_cast<T>(static_cast<unsigned long long>(value) + 1) : value;
}
template <>
constexpr bool other_when(bool changed, bool value) {
    return changed != value;
}

// A value that went through a narrower type.
template <typename Narrow, typename T>
constexpr T narrow(bool on, T value) {
    return on ? static_cast<T>(static_cast<Narrow>(value)) : value;
}

// A scoped holder that may be missing.
template <typename T>
class Maybe {
public:
    template <typename... Arguments>
    explicit Maybe(bool missing, Arguments&&... arguments) : present_(!missing) {
        if (present_) ::new (Place{storage_}) T(static_cast<Arguments&&>(arguments)...);
    }
    ~Maybe() {
        if (present_) reinterpret_cast<T*>(storage_)->~T();
    }
    Maybe(const Maybe&) = delete;
    Maybe& operator=(const Maybe&) = delete;

private:
    alignas(T) unsigned char storage_[sizeof(T)];
    bool present_;
};

}  // namespace planted

#endif
