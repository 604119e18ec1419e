// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Commands with any records over a caller's memory that ends early: nothing outside the
// caller's record and buffer changes, the results are documented ones, and what was set
// is what is read.
#include <sys/mman.h>

#include <cstring>
#include <map>
#include <optional>

#include "mac_mng/mac_ioctl.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/device_service.h"
#include "platform/host/loader.h"
#include "platform/host/log_service.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/fixture.h"

namespace fuzz {

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kArea = 4 * kPage;
constexpr u8 kCanary = 0x5c;
constexpr u32 kTypes = 3;
// Behind it nothing is mapped.
constexpr size_t kRecordRoom = 24;

// Pages of the caller's, and one behind them that is not mapped.
class Memory {
public:
    Memory() {
        void* const pages = mmap(nullptr, kArea + kPage, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        must(pages != MAP_FAILED, "no memory");
        bytes_ = static_cast<u8*>(pages);
        munmap(bytes_ + kArea, kPage);
    }
    u8* bytes() const { return bytes_; }
    u64 address() const { return reinterpret_cast<u64>(bytes_); }

    // What a call may have changed is [from, from + length) of it.
    void untouched(size_t from, u64 length, size_t record) const {
        for (size_t i = 0; i < kArea; ++i) {
            const bool may = (i >= from && i - from < length) || i >= record;
            must(may || bytes_[i] == kCanary, "the caller's memory outside the buffer changed");
        }
    }

private:
    u8* bytes_;
};

struct Block {
    u8 base[6];
    u32 num;
};

// The module on a board in memory, started afresh for each input.
class Session {
public:
    Session()
        : board_(host::Board::in_memory(host::BoardFile::parse(xml(), "fuzz"))), module_(*board_) {
        host::log_set_level(0);
    }

    // One command from the input; the model follows what succeeds.
    void step(Reader* reader, const Memory& memory) {
        const u32 command = 0x4d00 + reader->byte() % 16;
        u8 record[kRecordRoom];
        build(reader, command, memory, record);
        // Sometimes the record itself ends too early.
        const u8 cut = reader->byte();
        const size_t length = cut < 240 ? kRecordRoom : cut - 232;
        const size_t at = kArea - length;
        std::memset(memory.bytes(), kCanary, kArea);
        std::memcpy(memory.bytes() + at, record, length);
        const u32 status = static_cast<u32>(host::device_ioctl(command, memory.bytes() + at));
        must(documented(status), "a result that no document knows");
        const auto [from, bytes] = buffer_of(command, record, memory);
        memory.untouched(from, bytes, at);
        if (status == 0) follow(command, record, memory.bytes() + at);
    }

private:
    static std::string xml() {
        const auto entries = [](u32 flash, u32 chip) {
            return test::entry_xml(0, 0, "drv_mac_flash", 45, flash, 16) +
                   test::entry_xml(1, 1, "drv_mac_eeprom", chip, 0, 16) +
                   test::entry_xml(2, 2, "drv_mac_router_in_crc", chip, 0x100, 300);
        };
        const std::string other =
            test::tree_xml(test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0xf00, 4),
                           test::entry_xml(0, 0, "drv_mac_eeprom", 265, 0xf00, 4));
        return test::board_with(test::tree_xml(entries(0, 264), entries(0x10000, 265)) +
                                "<instance id=\"3\">" + other + "</instance>");
    }

    static bool documented(u32 status) {
        return status == 0 || status == 0xffffffff || status == 0xfffffff2 ||
               status >> 16 == 0x8116 || status >> 8 == 0x820000;
    }

    static void build(Reader* reader, u32 command, const Memory& memory, u8* record) {
        for (size_t i = 0; i < kRecordRoom; ++i) record[i] = reader->byte();
        const u32 inst = reader->byte() % 4 != 0 ? 0xffffffff : 3;
        const u32 type = reader->byte() % (kTypes + 1);
        if (command < MAC_IOCTL_PATCH1) std::memcpy(record, &inst, 4);
        const u64 place = memory.address() + reader->word() % (kArea + 64);
        switch (command) {
            case MAC_IOCTL_GET_ADDR_NUM:
                std::memcpy(record + 4, &type, 4);
                small(record + 8);
                std::memcpy(record + 12, &place, 8);
                small(record + 20);
                break;
            case MAC_IOCTL_SET_NUM:
            case MAC_IOCTL_GET_NUM:
                small(record + 4);
                std::memcpy(record + 8, &type, 4);
                break;
            case MAC_IOCTL_PATCH1:
            case MAC_IOCTL_PATCH2:
            case MAC_IOCTL_SHOW_CFG:
            case MAC_IOCTL_SHOW_TYPES:
                std::memcpy(record, &place, 8);
                small(record + 8);
                break;
            default:
                small(record + 4);
                std::memcpy(record + 16, &type, 4);
        }
    }

    // Most numbers are ones that a caller would give.
    static void small(u8* number) {
        if (number[3] < 200) number[2] = number[3] = 0;
        if (number[1] < 250 && number[2] == 0 && number[3] == 0) number[1] = number[1] % 8;
    }

    static std::pair<size_t, u64> buffer_of(u32 command, const u8* record, const Memory& memory) {
        u64 place = 0;
        u32 length = 0;
        const bool list = command == MAC_IOCTL_GET_ADDR_NUM;
        if (!list && command < MAC_IOCTL_PATCH1) return {0, 0};
        std::memcpy(&place, record + (list ? 12 : 0), 8);
        std::memcpy(&length, record + (list ? 20 : 8), 4);
        return {place - memory.address(), length};
    }

    // After a set the block is known; a get has to give it.
    void follow(u32 command, const u8* sent, const u8* received) {
        mac_ioctl_address address;
        mac_ioctl_count count;
        std::memcpy(&address, sent, sizeof(address));
        std::memcpy(&count, sent, sizeof(count));
        const bool about_count = command == MAC_IOCTL_SET_NUM || command == MAC_IOCTL_GET_NUM;
        const u32 inst = about_count ? count.inst : address.inst;
        const u32 type = about_count ? count.type : address.type;
        if (inst != 0xffffffff || type >= kTypes) return;
        std::optional<Block>& block = blocks_[type];
        switch (command) {
            case MAC_IOCTL_SET_ADDR_NUM:
                block = Block{{}, address.num};
                std::memcpy(block->base, address.addr, 6);
                break;
            case MAC_IOCTL_SET_ADDR:
                if (block) std::memcpy(block->base, address.addr, 6);
                break;
            case MAC_IOCTL_SET_NUM:
                if (block) block->num = count.num;
                break;
            case MAC_IOCTL_GET_ADDR:
                must(!block || std::memcmp(received + 8, block->base, 6) == 0,
                     "another address than was set");
                break;
            case MAC_IOCTL_GET_NUM:
                must(!block || std::memcmp(received + 4, &block->num, 4) == 0,
                     "another count than was set");
                break;
            default:
                break;
        }
    }

    std::unique_ptr<host::Board> board_;
    host::Module module_;
    std::map<u32, std::optional<Block>> blocks_;
};

}  // namespace

void device(Input input) {
    static const Memory memory;
    Reader reader(input);
    Session session;
    for (int steps = 0; steps < 64 && !reader.empty(); ++steps) session.step(&reader, memory);
}

}  // namespace fuzz
