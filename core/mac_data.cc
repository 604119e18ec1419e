// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "core/mac_data.h"

#include "base/guard.h"
#include "base/log.h"
#include "base/status.h"
#include "core/mac_area.h"

constinit mac_data_registry g_mac_func{};

namespace {

u32 key_of(u32 inst, u32 type) { return inst * 128 + type; }

// The caller holds the registry's lock.
void unlink(mac_inst_mng* mng) {
    g_mac_func.table.remove(key_of(mng->inst_id, mng->mac_type), mng);
    g_mac_func.list.remove(mng);
}

void free_with_buffers(platform_reclaim* reclaim) {
    mac_inst_mng* const mng = mac::owner_of<mac_inst_mng>(reclaim);
    mac_area_delete(mng, mac::kMainArea);
    mac_area_delete(mng, mac::kSpareArea);
    platform_free(mng);
}

}  // namespace

int mac_data_create(u32 inst, u32 type) {
    if (mac_data_find_by_instid(inst, type) != nullptr) {
        mac_log_error("mac inst 0x%x type %d find mng exist.", inst, type);
        return mac::kFail;
    }
    mac::HeapRecord<mac_inst_mng> mng;
    if (!mng) {
        mac_log_error("mac inst 0x%x type %d malloc mng fail.", inst, type);
        return mac::kFail;
    }
    mng->inst_id = inst;
    mng->mac_type = type;
    platform_mutex_init(&mng->mac_mutex, "&(inst_mng->mac_mutex)");
    for (u32 area = 0; area < mac::kAreaCount; ++area) {
        // An area that fails to configure simply stays unsupported.
        (void)mac_area_init(mng.get(), inst, type, area);
    }
    mac_data_insert(mng.release());
    return 0;
}

void mac_data_insert(mac_inst_mng* mng) {
    if (mng == nullptr) return;
    const mac::SpinGuard guard(g_mac_func.lock);
    if (!g_mac_func.list.push_back(mng)) return;
    g_mac_func.table.insert(key_of(mng->inst_id, mng->mac_type), mng);
}

mac_inst_mng* mac_data_find_by_instid(u32 inst, u32 type) {
    const mac::SpinGuard guard(g_mac_func.lock);
    return g_mac_func.table.find(key_of(inst, type), [inst, type](const mac_inst_mng& mng) {
        return mng.inst_id == inst && mng.mac_type == type;
    });
}

void mac_data_remove(mac_inst_mng* mng) {
    if (mng == nullptr) return;
    const mac::SpinGuard guard(g_mac_func.lock);
    unlink(mng);
    mac::free_later(mng);
}

void mac_data_delete() {
    const mac::SpinGuard guard(g_mac_func.lock);
    g_mac_func.list.for_each([](mac_inst_mng* mng) {
        unlink(mng);
        platform_reclaim_later(&mng->reclaim, free_with_buffers);
    });
}

mac_inst_mng* mac_data_find_or_log(u32 inst, u32 type) {
    mac_inst_mng* const mng = mac_data_find_by_instid(inst, type);
    if (mng == nullptr) mac_log_error("mac inst 0x%x type %d find mng no exist.", inst, type);
    return mng;
}

void mac_area_support(u32 inst, u32 type, u32 area, u32* support) {
    *support = 0;
    const mac_inst_mng* const mng = mac_data_find_or_log(inst, type);
    if (mng != nullptr && area < mac::kAreaCount) *support = mng->area[area].support;
}

void mac_type_support(u32 inst, u32 type, u32* support) {
    u32 main_support = 0;
    u32 spare_support = 0;
    mac_area_support(inst, type, mac::kMainArea, &main_support);
    mac_area_support(inst, type, mac::kSpareArea, &spare_support);
    *support = main_support | spare_support;
}

void mac_data_lock(u32 inst, u32 type) {
    mac_inst_mng* const mng = mac_data_find_by_instid(inst, type);
    if (mng != nullptr) platform_mutex_lock(&mng->mac_mutex);
}

void mac_data_unlock(u32 inst, u32 type) {
    mac_inst_mng* const mng = mac_data_find_by_instid(inst, type);
    if (mng != nullptr) platform_mutex_unlock(&mng->mac_mutex);
}
