// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "core/mac_data_sync.h"

#include "base/log.h"
#include "base/status.h"
#include "core/mac_data_io.h"
#include "platform/bounded.h"

namespace {

// Holds a data set's mutex while its areas are copied. The set that was locked is the one to
// unlock: by then another one can be mounted in its place, or none.
class [[nodiscard]] DataGuard {
public:
    DataGuard(u32 inst, u32 type) : mng_(mac_data_find_by_instid(inst, type)) {
        if (mng_ != nullptr) platform_mutex_lock(&mng_->mac_mutex);
    }
    ~DataGuard() {
        if (mng_ != nullptr) platform_mutex_unlock(&mng_->mac_mutex);
    }
    DataGuard(const DataGuard&) = delete;
    DataGuard& operator=(const DataGuard&) = delete;

private:
    mac_inst_mng* mng_;
};

bool spare_supported(u32 inst, u32 type) {
    u32 support = 0;
    mac_area_support(inst, type, mac::kSpareArea, &support);
    return support != 0;
}

void log_reset_failure(u32 result) {
    if (result != MAC_OK) mac_log_error("mac data init state fail ret = %u", result);
}

}  // namespace

u32 mac_data_vaild_addr(u32 inst, u32 type, const u8* addr, u32 addr_len) {
    if (addr_len != mac::kMacLength) return MAC_FAIL;
    u32 any_bit = 0;
    u32 all_bits = 0xff;
    for (u32 i = 0; i < addr_len; ++i) {
        any_bit |= addr[i];
        all_bits &= addr[i];
    }
    if (any_bit != 0 && all_bits != 0xff) return MAC_OK;
    mac_log_error("mac inst 0x%x type %d mac all_bit01[%d-0x%x] err.", inst, type, any_bit,
                  all_bits);
    return MAC_INVALID_VALUE;
}

u32 mac_data_vaild_num(u32 inst, u32 type, u32 num) {
    if (num <= mac::kMacCountMax) return MAC_OK;
    mac_log_error("mac inst 0x%x type %d mac num[0x%x] err.", inst, type, num);
    return MAC_INVALID_VALUE;
}

u32 mac_data_read_check(u32 inst, u32 type, u32 area, u32* crc) {
    const u32 result = mac_data_read(inst, type, area);
    if (result != MAC_OK) return result;
    const mac_area* const data = mac_get_data(inst, type, area);
    if (!mac_area_present(data)) return MAC_FAIL;
    *crc = data->crc;
    return MAC_OK;
}

void mac_data_read_state(u32 inst, u32 type, u32* main_result, u32* spare_result, int* sync) {
    u32 main_crc = 0;
    u32 spare_crc = 0;
    *sync = -1;
    *main_result = mac_data_read_check(inst, type, mac::kMainArea, &main_crc);
    if (spare_supported(inst, type)) {
        *spare_result = mac_data_read_check(inst, type, mac::kSpareArea, &spare_crc);
        if (*main_result == MAC_OK && *spare_result == MAC_OK && main_crc == spare_crc) *sync = 0;
        return;
    }
    *spare_result = MAC_NOT_SUPPORTED;
    if (*main_result == MAC_OK) *sync = 0;
    mac_log_notice("mac inst 0x%x type %d check main %d, sync %d", inst, type, *main_result, *sync);
}

u32 mac_data_copy(u32 inst, u32 type, u32 dst, u32 src) {
    if (dst == src) return MAC_FAIL;
    const DataGuard guard(inst, type);
    mac_area* const to = mac_get_data(inst, type, dst);
    const mac_area* const from = mac_get_data(inst, type, src);
    if (!mac_area_present(to) || !mac_area_present(from)) return MAC_OK;
    to->flag = from->flag;
    to->mac_num = from->mac_num;
    to->crc = from->crc;
    for (u32 i = 0; i < mac::kMacLength; ++i) to->mac[i] = from->mac[i];
    return MAC_OK;
}

u32 mac_data_copy_write(u32 inst, u32 type, u32 dst, u32 src) {
    u32 support = 0;
    mac_area_support(inst, type, dst, &support);
    if (support == 0) {
        mac_log_notice("mac inst 0x%x type %d area %d not support.", inst, type, dst);
        return MAC_OK;
    }
    u32 result = mac_data_copy(inst, type, dst, src);
    if (result != MAC_OK) return result;
    result = mac_data_write(inst, type, dst);
    if (result != MAC_OK) return result;
    mac_log_notice("mac inst 0x%x type %d copy[%d->%d] write OK.", inst, type, src, dst);
    return MAC_OK;
}

u32 mac_data_sync_write(u32 inst, u32 type, u32 dst, u32 src) {
    u32 result = mac_data_write(inst, type, src);
    if (result != MAC_OK) return result;
    result = mac_data_copy_write(inst, type, dst, src);
    if (result != MAC_OK) return result;
    mac_log_notice("mac inst 0x%x type %d sync[%d->%d] store OK.", inst, type, src, dst);
    return MAC_OK;
}

u32 mac_set_data(u32 inst, u32 type, const u8* addr, u32 addr_len, u32 num) {
    if (addr == nullptr) return MAC_FAIL;
    mac_area* const data = mac_get_data(inst, type, mac::kMainArea);
    if (!mac_area_present(data)) return MAC_FAIL;
    const int error = memcpy_s(data->mac, sizeof(data->mac), addr, addr_len);
    if (error != 0) {
        mac_log_error("mac set data memory copy fail err_no = %d", error);
        return MAC_FAIL;
    }
    data->mac_num = num;
    return mac_data_sync_write(inst, type, mac::kSpareArea, mac::kMainArea);
}

u32 set_mac_info(u32 inst, u32 type, const u8* addr, u32 addr_len, u32 num) {
    u32 result = mac_data_vaild_addr(inst, type, addr, addr_len);
    if (result != MAC_OK) return result;
    result = mac_data_vaild_num(inst, type, num);
    if (result != MAC_OK) return result;
    return mac_set_data(inst, type, addr, addr_len, num);
}

u32 mac_data_init_error(u32 inst, u32 type, u32 area) {
    mac_area* const data = mac_get_data(inst, type, area);
    if (!mac_area_present(data)) return MAC_FAIL;
    data->mac_num = mac::kMacCountInvalid;
    const int error = memset_s(data->mac, sizeof(data->mac), 0, sizeof(data->mac));
    if (error != 0) {
        mac_log_error("set mac addr copy fail err_no = %d", error);
        return MAC_FAIL;
    }
    return MAC_OK;
}

u32 mac_data_init_state(u32 inst, u32 type, u32 main_result, u32 spare_result) {
    if (spare_supported(inst, type)) {
        if (main_result == MAC_OK) {
            return mac_data_copy_write(inst, type, mac::kSpareArea, mac::kMainArea);
        }
        if (spare_result == MAC_OK) {
            return mac_data_copy_write(inst, type, mac::kMainArea, mac::kSpareArea);
        }
        u32 reset = mac_data_init_error(inst, type, mac::kMainArea);
        reset |= mac_data_init_error(inst, type, mac::kSpareArea);
        log_reset_failure(reset);
        const bool both_mismatch =
            main_result == MAC_CHECK_MISMATCH && spare_result == MAC_CHECK_MISMATCH;
        return both_mismatch ? MAC_CHECK_MISMATCH : MAC_FAIL;
    }
    if (main_result == MAC_OK) return MAC_OK;
    const u32 reset = mac_data_init_error(inst, type, mac::kMainArea);
    log_reset_failure(reset);
    // Without a spare a failed reset changes the outcome; with one it does not.
    if (reset != MAC_OK) return MAC_FAIL;
    return main_result == MAC_CHECK_MISMATCH ? MAC_CHECK_MISMATCH : MAC_FAIL;
}

u32 mac_data_init_store(u32 inst, u32 type) {
    u32 main_result = 0;
    u32 spare_result = 0;
    int sync = -1;
    mac_data_read_state(inst, type, &main_result, &spare_result, &sync);
    if (sync == 0) return MAC_OK;
    return mac_data_init_state(inst, type, main_result, spare_result);
}
