// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Finding a record by its key without walking all of them: chains by a hash, in the order
// of insertion, beside the list that the records are kept on.
//
// A record has a member "same_hash" of its own type's pointer. Owns nothing, takes no
// lock; zero-filled storage is an empty table.
#ifndef BASE_LOOKUP_H
#define BASE_LOOKUP_H

#include "platform/types.h"

namespace mac {

template <typename T, u32 kChains>
class LookupTable {
public:
    static_assert((kChains & (kChains - 1)) == 0, "a power of two");

    void insert(u32 key, T* record) {
        record->same_hash = nullptr;
        T** end = chain_of(key);
        while (*end != nullptr) end = &(*end)->same_hash;
        *end = record;
    }

    // Nothing when it is not in the table.
    void remove(u32 key, T* record) {
        for (T** at = chain_of(key); *at != nullptr; at = &(*at)->same_hash) {
            if (*at != record) continue;
            *at = record->same_hash;
            return;
        }
    }

    // The first that was inserted of those that match; null without one.
    template <typename Match>
    T* find(u32 key, Match match) {
        T* record = *chain_of(key);
        while (record != nullptr && !match(*record)) record = record->same_hash;
        return record;
    }

private:
    // Multiplied by 2^32 / the golden ratio: neighbouring keys go far apart.
    T** chain_of(u32 key) { return &chains_[(key * 0x9e3779b1u >> 16) & (kChains - 1)]; }

    T* chains_[kChains];
};

}  // namespace mac

#endif
