// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The registry record that the data sets and the storage drivers share: one
// zero-filled global each, with a list under a spinlock.
#ifndef BASE_REGISTRY_H
#define BASE_REGISTRY_H

#include "base/list.h"
#include "base/vocabulary.h"
#include "platform/lock.h"

namespace mac {

template <typename T>
struct Registry {
    List<T> list;            // in insertion order
    u32 module_id;           // log module number
    char name[kNameUsr];     // NUL-terminated
    platform_spinlock lock;  // guards list; taken with interrupts saved
};

}  // namespace mac

#endif
