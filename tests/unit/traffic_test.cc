// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// What each operation moves over the bus, exactly: calls of the medium services and, below
// them, reads, programmed bytes and erases of the media, for each driver and each state of
// the two copies. The table is kept with the tests (tests/data/medium-traffic.txt;
// MAC_WRITE_TRAFFIC=1 writes it).
#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "mac_mng/mac_mng.h"
#include "platform/env.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::Mac;

constexpr u32 kInst = test::kDefaultInstance;
constexpr u32 kNum = 8;
constexpr Mac kBase = {0x02, 0x11, 0x22, 0x33, 0x44, 0x50};
constexpr Mac kOther = {0x02, 0x66, 0x77, 0x88, 0x99, 0xa0};

struct Driver {
    const char* name;
    u32 main_chip;
    u32 spare_chip;
    u32 spare_offset;
    const char* main_image;  // and where a byte of its base address is
    size_t main_at;
    const char* spare_image;
    size_t spare_at;
    bool checked;  // damage is seen
};

constexpr Driver kDrivers[] = {
    {"drv_mac_flash", 45, 45, 0x10000, "flash", 10, "flash", 0x10000 + 10, true},
    {"drv_mac_eeprom", 264, 265, 0, "eeprom-264", 10, "eeprom-265", 10, true},
    {"drv_mac_env", 0, 0, 0, nullptr, 0, nullptr, 0, true},
    {"drv_mac_router_in_crc", 264, 265, 0, "eeprom-264", 14, "eeprom-265", 14, true},
    {"drv_mac_router_no_crc", 264, 265, 0, "eeprom-264", 6, "eeprom-265", 6, true},
    {"drv_mac_kolbe_in_crc", 264, 265, 0, "eeprom-264", 50, "eeprom-265", 50, true},
    {"drv_mac_kolbe_no_crc", 264, 265, 0, "eeprom-264", 50, "eeprom-265", 50, false},
};

struct Operation {
    const char* name;
    u32 (*run)();
};

template <typename Record>
u32 command(u32 number, Record record) {
    return static_cast<u32>(host::device_ioctl(number, &record));
}

mac_ioctl_address address_of(const Mac& mac) {
    mac_ioctl_address record{kInst, kNum, {}, {}, 0};
    std::copy(mac.begin(), mac.end(), record.addr);
    return record;
}

u32 ask_list() {
    std::vector<u8> bytes(6 * kNum);
    return command(MAC_IOCTL_GET_ADDR_NUM,
                   mac_ioctl_list{kInst, 0, kNum, reinterpret_cast<u64>(bytes.data()), 6 * kNum});
}

u32 ask_text(u32 number) {
    std::vector<char> bytes(1000);
    return command(number, mac_ioctl_buffer{reinterpret_cast<u64>(bytes.data()), 1000});
}

// The ten functions and the twelve commands.
const Operation kOperations[] = {
    {"drv_mac_init", [] { return drv_mac_init(3); }},
    {"drv_mac_deinit", [] { return drv_mac_deinit(3); }},
    {"drv_mac_get_addr",
     [] {
         Mac mac;
         return drv_mac_get_addr(kInst, 0, mac.data(), 6);
     }},
    {"drv_mac_get_num",
     [] {
         u32 num = 0;
         return drv_mac_get_num(kInst, 0, &num);
     }},
    {"drv_mac_get_addr_num",
     [] {
         u8 list[6 * kNum];
         return drv_mac_get_addr_num(kInst, 0, kNum, list, sizeof(list));
     }},
    {"drv_mac_set_addr", [] { return drv_mac_set_addr(kInst, 0, kOther.data()); }},
    {"drv_mac_set_num, the same", [] { return drv_mac_set_num(kInst, 0, kNum); }},
    {"drv_mac_set_addr_num", [] { return drv_mac_set_addr_num(kInst, 0, kNum, kOther.data()); }},
    {"drv_mac_set_addr_num, the same",
     [] { return drv_mac_set_addr_num(kInst, 0, kNum, kBase.data()); }},
    {"drv_mac_patch_func1",
     [] {
         u8 byte = 0;
         return drv_mac_patch_func1(&byte, 1);
     }},
    {"drv_mac_patch_func2",
     [] {
         u8 byte = 0;
         return drv_mac_patch_func2(&byte, 1);
     }},
    {"MAC_IOCTL_INIT", [] { return command(MAC_IOCTL_INIT, mac_ioctl_instance{3}); }},
    {"MAC_IOCTL_DEINIT", [] { return command(MAC_IOCTL_DEINIT, mac_ioctl_instance{3}); }},
    {"MAC_IOCTL_SET_ADDR", [] { return command(MAC_IOCTL_SET_ADDR, address_of(kOther)); }},
    {"MAC_IOCTL_GET_ADDR", [] { return command(MAC_IOCTL_GET_ADDR, address_of(kBase)); }},
    {"MAC_IOCTL_SET_NUM, the same",
     [] {
         return command(MAC_IOCTL_SET_NUM, mac_ioctl_count{kInst, kNum, 0});
     }},
    {"MAC_IOCTL_GET_NUM",
     [] {
         return command(MAC_IOCTL_GET_NUM, mac_ioctl_count{kInst, 0, 0});
     }},
    {"MAC_IOCTL_SET_ADDR_NUM", [] { return command(MAC_IOCTL_SET_ADDR_NUM, address_of(kOther)); }},
    {"MAC_IOCTL_GET_ADDR_NUM", ask_list},
    {"MAC_IOCTL_PATCH1", [] { return ask_text(MAC_IOCTL_PATCH1); }},
    {"MAC_IOCTL_PATCH2", [] { return ask_text(MAC_IOCTL_PATCH2); }},
    {"MAC_IOCTL_SHOW_CFG", [] { return ask_text(MAC_IOCTL_SHOW_CFG); }},
    {"MAC_IOCTL_SHOW_TYPES", [] { return ask_text(MAC_IOCTL_SHOW_TYPES); }},
};

enum class State { kHealthy, kMainBad, kSpareBad, kBothBad, kDifferent };
constexpr std::pair<State, const char*> kStates[] = {{State::kHealthy, "healthy"},
                                                     {State::kMainBad, "main bad"},
                                                     {State::kSpareBad, "spare bad"},
                                                     {State::kBothBad, "both bad"},
                                                     {State::kDifferent, "good but different"}};

struct Traffic {
    u32 status = 0;
    unsigned service_reads = 0;
    unsigned service_writes = 0;
    host::Traffic media{};

    std::string text() const {
        return fmt::format(
            "0x{:x}, {} reads {} writes; {} reads {} bytes, {} programs {} bytes, "
            "{} erases",
            status, service_reads, service_writes, media.reads, media.bytes_read, media.programs,
            media.bytes_programmed, media.erases);
    }
};

class MediumTraffic : public test::ModuleTest {
protected:
    static std::string board_of(const Driver& driver) {
        const std::string main =
            test::entry_xml(0, 0, driver.name, driver.main_chip, 0, kNum, "pool");
        const std::string spare = test::entry_xml(0, 0, driver.name, driver.spare_chip,
                                                  driver.spare_offset, kNum, "pool2");
        const std::string other =
            test::tree_xml(test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0x800, 4), "");
        return test::board_with(test::tree_xml(main, spare) + "<instance id=\"3\">" + other +
                                "</instance>");
    }

    host::Traffic sum() {
        host::Traffic all{};
        for (const host::Traffic& one :
             {board().flash(45)->traffic(), board().eeprom(264)->traffic(),
              board().eeprom(265)->traffic(), board().env()->traffic()}) {
            all.reads += one.reads;
            all.bytes_read += one.bytes_read;
            all.programs += one.programs;
            all.bytes_programmed += one.bytes_programmed;
            all.erases += one.erases;
        }
        return all;
    }

    static unsigned uses(std::initializer_list<Call> calls) {
        unsigned all = 0;
        for (const Call call : calls) all += host::faults().uses(call);
        return all;
    }

    // The block stored, then the copies brought into the state.
    void prepare(const Driver& driver, State state) {
        load(board_of(driver));
        EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, kNum, kBase.data()), 0u);
        if (driver.main_image == nullptr) {
            prepare_env(state);
            return;
        }
        const auto damage = [this](const char* image, size_t at) {
            board().memory(image)[at] ^= 0x10;
        };
        if (state == State::kMainBad || state == State::kBothBad)
            damage(driver.main_image, driver.main_at);
        if (state == State::kSpareBad || state == State::kBothBad)
            damage(driver.spare_image, driver.spare_at);
        if (state == State::kDifferent) {
            const std::vector<u8> spare = board().memory(driver.spare_image);
            const std::vector<u8> main = board().memory(driver.main_image);
            EXPECT_EQ(drv_mac_set_addr_num(kInst, 0, kNum, kOther.data()), 0u);
            restore_spare(driver, spare);
        }
    }

    // The older block again where the spare lies.
    void restore_spare(const Driver& driver, const std::vector<u8>& spare) {
        std::vector<u8>& now = board().memory(driver.spare_image);
        std::copy(spare.begin() + driver.spare_offset, spare.begin() + driver.spare_offset + 0x100,
                  now.begin() + driver.spare_offset);
    }

    void prepare_env(State state) {
        const auto set = [](const char* name, const char* value) {
            EXPECT_EQ(drv_env_set(name, value), 0u);
            EXPECT_EQ(drv_env_save(), 0u);
        };
        if (state == State::kMainBad || state == State::kBothBad) set("pool", "");
        if (state == State::kSpareBad || state == State::kBothBad) set("pool2", "");
        if (state == State::kDifferent) set("pool2", "02:66:77:88:99:a0");
    }

    Traffic measure(const Driver& driver, State state, const Operation& operation) {
        prepare(driver, state);
        // What is unmounted has to be mounted first.
        if (std::string(operation.name).find("deinit") != std::string::npos ||
            std::string(operation.name).find("DEINIT") != std::string::npos) {
            EXPECT_EQ(drv_mac_init(3), 0u);
        }
        host::faults().clear();
        const host::Traffic before = sum();
        Traffic traffic;
        traffic.status = operation.run();
        const host::Traffic after = sum();
        traffic.media = {after.reads - before.reads, after.bytes_read - before.bytes_read,
                         after.programs - before.programs,
                         after.bytes_programmed - before.bytes_programmed,
                         after.erases - before.erases};
        traffic.service_reads = uses({Call::kFlashRead, Call::kEepromRead, Call::kEnvGet});
        traffic.service_writes = uses({Call::kFlashWrite, Call::kEepromWrite, Call::kEnvSave});
        return traffic;
    }
};

TEST_F(MediumTraffic, OfEveryOperation) {
    std::string table;
    for (const Driver& driver : kDrivers) {
        for (const auto& [state, state_name] : kStates) {
            for (const Operation& operation : kOperations) {
                table += fmt::format("{}, {}, {}: {}\n", driver.name, state_name, operation.name,
                                     measure(driver, state, operation).text());
            }
        }
    }
    const std::string path = MAC_SOURCE_DIR "/tests/data/medium-traffic.txt";
    if (std::getenv("MAC_WRITE_TRAFFIC") != nullptr) std::ofstream(path) << table;
    std::stringstream kept;
    kept << std::ifstream(path).rdbuf();
    EXPECT_EQ(table, kept.str());
}

// One record read a copy is two reads of the environment, of count and address.
TEST_F(MediumTraffic, ReadOfAHealthyBlock_IsTwoRecordsAndNothingElse) {
    for (const Driver& driver : kDrivers) {
        const bool env = driver.main_image == nullptr;
        for (const size_t get : {2u, 3u, 4u}) {
            const Traffic traffic = measure(driver, State::kHealthy, kOperations[get]);
            EXPECT_EQ(traffic.status, 0u);
            EXPECT_EQ(traffic.service_reads, env ? 4u : 2u) << driver.name;
            EXPECT_EQ(traffic.service_writes, 0u) << driver.name;
            EXPECT_EQ(traffic.media.programs + traffic.media.erases, 0u) << driver.name;
            if (!env) {
                EXPECT_EQ(traffic.media.reads, 2u) << driver.name;
            }
        }
    }
}

TEST_F(MediumTraffic, Change_IsTheReadsOfTheRefreshAndOneWriteACopy) {
    for (const Driver& driver : kDrivers) {
        if (driver.main_image == nullptr) continue;  // two saves a copy
        const Traffic traffic = measure(driver, State::kHealthy, kOperations[5]);
        EXPECT_EQ(traffic.status, 0u);
        EXPECT_EQ(traffic.service_reads, 2u) << driver.name;
        EXPECT_EQ(traffic.service_writes, 2u) << driver.name;
    }
}

TEST_F(MediumTraffic, WriteThatChangesNothing_ErasesAndProgramsNothing) {
    for (const Driver& driver : kDrivers) {
        const Traffic traffic = measure(driver, State::kHealthy, kOperations[8]);
        EXPECT_EQ(traffic.status, 0u);
        EXPECT_EQ(traffic.media.programs + traffic.media.erases, 0u) << driver.name;
    }
}

}  // namespace
