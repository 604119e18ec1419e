// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The system's one list: doubly linked, intrusive, in the kernel's layout.
//
// A record that is kept on a list has a mac_link named "list" as its first
// member. Neighbours are checked before a node is linked or unlinked, and an
// unlinked node is poisoned, so that a stale or overwritten link is refused
// instead of followed. The list owns nothing and takes no lock: who changes it
// holds one. find() may run beside a change, without that lock.
#ifndef BASE_LIST_H
#define BASE_LIST_H

#include <stddef.h>
#include <stdint.h>

#include "platform/poison.h"
#include "platform/types.h"

namespace mac {

// "next" links are read by find() while they change: what is behind a link was written
// before it.
inline mac_link* list_load(mac_link* const& next) {
    return __atomic_load_n(&next, __ATOMIC_ACQUIRE);
}
inline void list_store(mac_link*& next, mac_link* node) {
    __atomic_store_n(&next, node, __ATOMIC_RELEASE);
}

// Whether `node` may be linked between `prev` and `next`.
inline bool list_add_valid(const mac_link* node, const mac_link* prev, const mac_link* next) {
    return prev != nullptr && next != nullptr && prev->next == next && next->prev == prev &&
           node != prev && node != next;
}

// Whether `node` may be unlinked: linked, not poisoned, and its neighbours agree.
inline bool list_del_valid(const mac_link* node) {
    if (node->next == nullptr || node->prev == nullptr) return false;
    const mac_link poison = platform_list_poison();
    if (node->next == poison.next || node->prev == poison.prev) return false;
    return node->prev->next == node && node->next->prev == node;
}

inline void list_poison(mac_link* node) {
    const mac_link poison = platform_list_poison();
    list_store(node->next, poison.next);
    node->prev = poison.prev;
}

// A list of T. Zero-filled storage is a list that was never set up: it reads as
// empty and refuses insertion.
template <typename T>
class List {
public:
    void init() {
        head_.next = &head_;
        head_.prev = &head_;
    }

    // Links at the tail; false (nothing linked) when the neighbours do not agree.
    bool push_back(T* record) {
        mac_link* const tail = head_.prev;
        if (!list_add_valid(&record->list, tail, &head_)) return false;
        record->list.next = &head_;
        record->list.prev = tail;
        list_store(tail->next, &record->list);
        head_.prev = &record->list;
        return true;
    }

    // Unlinks when the neighbours agree, and poisons the links in every case.
    static bool remove(T* record) {
        const bool valid = list_del_valid(&record->list);
        if (valid) {
            record->list.next->prev = record->list.prev;
            list_store(record->list.prev->next, record->list.next);
        }
        list_poison(&record->list);
        return valid;
    }

    bool empty() const { return first() == nullptr; }

    // The first record, or null.
    T* first() const { return record_of(head_.next); }

    // The record after `record`, or null.
    T* after(const T* record) const { return record_of(record->list.next); }

    // The first record in list order for which `matches` holds, or null. Records may be
    // linked and unlinked meanwhile, as long as their memory stays: one that is
    // unlinked under the walk ends it.
    template <typename Predicate>
    T* find(Predicate matches) const {
        const mac_link* const unlinked = platform_list_poison().next;
        mac_link* link = list_load(head_.next);
        while (link != unlinked) {
            T* const record = record_of(link);
            if (record == nullptr || matches(*record)) return record;
            link = list_load(link->next);
        }
        return nullptr;
    }

    // Visits all records in list order; a visit may unlink and free its record.
    template <typename Visitor>
    void for_each(Visitor visit) const {
        for (T* record = first(); record != nullptr;) {
            T* const next = after(record);
            visit(record);
            record = next;
        }
    }

private:
    T* record_of(mac_link* link) const {
        static_assert(offsetof(T, list) == 0, "the link is the first member");
        return link == nullptr || link == &head_ ? nullptr : reinterpret_cast<T*>(link);
    }

    mac_link head_;
};

}  // namespace mac

#endif
