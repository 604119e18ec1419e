// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "control/mac_show.h"

#include "base/text.h"
#include "config/mac_config.h"
#include "platform/bounded.h"

namespace {

// Text that grows in a buffer of fixed size.
class Page {
public:
    Page(char* buffer, u32 size) : buffer_(buffer), size_(size) {}

    u32 length() const { return length_; }
    char* end() const { return buffer_ + length_; }
    u32 room() const { return size_ - length_; }
    void grow(u32 characters) { length_ += characters; }

    void hex(const char* label, u32 value) {
        grow_by(snprintf_truncated_s(end(), room(), "%-22s: 0x%x\n", label, value));
    }
    void decimal(const char* label, u32 value) {
        grow_by(snprintf_truncated_s(end(), room(), "%-22s: %u\n", label, value));
    }
    void text(const char* label, const char* value) {
        grow_by(snprintf_truncated_s(end(), room(), "%-22s: %s\n", label, value));
    }
    void line(const char* words) { grow_by(snprintf_truncated_s(end(), room(), "%s\n", words)); }

private:
    void grow_by(int characters) { length_ += static_cast<u32>(characters); }

    char* buffer_;
    u32 size_;
    u32 length_ = 0;
};

// Holds the listing mutex.
class [[nodiscard]] ListingGuard {
public:
    ListingGuard() { drv_mac_lock(); }
    ~ListingGuard() { drv_mac_unlock(); }
    ListingGuard(const ListingGuard&) = delete;
    ListingGuard& operator=(const ListingGuard&) = delete;
};

template <typename Record, typename ShowOne>
u32 show_list(const mac::List<Record>& list, ShowOne show_one, const char* when_empty, char* buffer,
              u32 size) {
    Page page(buffer, size);
    {
        const ListingGuard guard;
        list.for_each([&page, show_one](const Record* record) {
            page.grow(show_one(record, page.end(), page.room()));
        });
    }
    if (page.length() == 0) page.line(when_empty);
    return page.length();
}

void show_area(Page& page, const mac_type_area& area, const char* valid_label,
               const char* num_label, const char* addr_label) {
    page.decimal(valid_label, area.valid);
    if (area.valid == 0) return;
    page.decimal(num_label, area.mac_num);
    char address[24];
    drv_mac_addr_to_str(area.mac, address, sizeof(address));
    page.text(addr_label, address);
}

}  // namespace

int drv_mac_addr_to_str(const u8* mac, char* buffer, u32 size) {
    return sprintf_s(buffer, size, "%02x-%02x-%02x-%02x-%02x-%02x", mac[0], mac[1], mac[2], mac[3],
                     mac[4], mac[5]);
}

u32 drv_mac_show_inst_cfg(const mac_cfg_entry* record, char* buffer, u32 size) {
    Page page(buffer, size);
    const bool is_env = mac::text_equal(record->drv_name, mac::kDriverEnv);
    page.hex("Instance ID", record->inst_id);
    page.hex("Mac type", record->mac_type);
    page.decimal("Mac num", record->mac_num);
    page.text("Drv name", record->drv_name);
    if (is_env) {
        page.text("Main env name", record->main_env_name);
    } else {
        page.hex("Main section ID", record->section_id);
        page.hex("Main offset", record->offset);
    }
    page.decimal("Spare exist", record->spare_exist);
    if (record->spare_exist != 0) {
        if (is_env) {
            page.text("Spare env name", record->spare_env_name);
        } else {
            page.hex("Spare section ID", record->spare_section_id);
            page.hex("Spare offset", record->spare_offset);
        }
    }
    page.line("");
    return page.length();
}

u32 drv_mac_show_one_mac_type(const mac_type_status* record, char* buffer, u32 size) {
    Page page(buffer, size);
    page.hex("Instance ID", record->inst_id);
    page.decimal("Mac type", record->mac_type);
    show_area(page, record->main, "Main valid", "Main area mac num", "Main area mac addr");
    show_area(page, record->spare, "Spare valid", "Spare area mac num", "Spare area mac addr");
    page.line("");
    return page.length();
}

u32 drv_mac_show_cfg(char* buffer, u32 size) {
    return show_list(g_mac_config.cfg_list, drv_mac_show_inst_cfg, "no cfg", buffer, size);
}

u32 drv_mac_show_mac_type(char* buffer, u32 size) {
    return show_list(g_mac_config.type_list, drv_mac_show_one_mac_type, "no mac type", buffer,
                     size);
}
