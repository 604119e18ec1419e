// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Properties over random blocks, buffers, listings and operation sequences.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <optional>

#include "config/mac_config.h"
#include "control/mac_show.h"
#include "mac_mng/mac_mng.h"
#include "platform/host/device_service.h"
#include "platform/host/loader.h"
#include "storage/formats/mac_kolbe.h"
#include "storage/formats/mac_mesg.h"
#include "storage/formats/mac_qolt.h"
#include "storage/formats/mac_router.h"
#include "tests/support/encoder.h"
#include "tests/support/fixture.h"

namespace {

using test::Mac;
using test::Record;

// gtest sees a failed property as a failure.
template <typename Property>
void check(const char* name, Property property) {
    EXPECT_TRUE(rc::check(name, property));
}

rc::Gen<Mac> any_mac() { return rc::gen::container<Mac>(rc::gen::arbitrary<u8>()); }

class Properties : public test::PlatformTest {
protected:
    Properties() { use_board(test::board_with("")); }
};

TEST_F(Properties, AddressArithmetic_IsThe128BitModel) {
    check("mac_data_incr", [](u32 index) {
        const Mac base = *any_mac();
        Mac out;
        mac_data_incr(base.data(), index, out.data(), 12);
        RC_ASSERT(out == test::nth(base, index));
    });
}

using SetFormat = u32 (*)(const u8*, u32, u8*, u32, u64*, u32*);
using GetFormat = u32 (*)(const u8*, u32, u64*, u8*, u32*, u32*);

void round_trip(const char* name, SetFormat set, GetFormat get, u32 least, u32 most,
                Record (*model)(const Mac&, u32)) {
    check(name, [=] {
        const Mac base = *any_mac();
        const u32 num = *rc::gen::inRange(least, most + 1);
        const Record expected = model(base, num);
        Record buf(expected.size());
        u64 flag = 0;
        u32 crc = 0;
        RC_ASSERT(set(base.data(), num, buf.data(), static_cast<u32>(buf.size()), &flag, &crc) ==
                  0u);
        RC_ASSERT(buf == expected);
        Mac mac{};
        u64 read_flag = 0;
        u32 read_num = num;
        u32 read_crc = 0;
        RC_ASSERT(get(buf.data(), static_cast<u32>(buf.size()), &read_flag, mac.data(), &read_num,
                      &read_crc) == 0u);
        RC_ASSERT(mac == base);
        RC_ASSERT(read_num == num);
        RC_ASSERT(read_flag == flag);
        RC_ASSERT(read_crc == crc);
    });
}

TEST_F(Properties, EncodedBlocks_DecodeToThemselves) {
    round_trip("qolt", mac_qolt_set_format, mac_qolt_get_format, 0, 0xfffffffe, test::qolt);
    round_trip("router with CRC", mac_router_incrc_set_format, mac_router_incrc_get_format, 1, 500,
               [](const Mac& base, u32 num) { return test::router(base, num, true); });
    round_trip("router without CRC", mac_router_nocrc_set_format, mac_router_nocrc_get_format, 1,
               500, [](const Mac& base, u32 num) { return test::router(base, num, false); });
    round_trip("kolbe with CRC", mac_kolbe_incrc_set_format, mac_kolbe_incrc_get_format, 1, 22,
               [](const Mac& base, u32 num) { return test::kolbe(base, num, true); });
    round_trip("kolbe without CRC", mac_kolbe_nocrc_set_format, mac_kolbe_nocrc_get_format, 1, 500,
               [](const Mac& base, u32 num) { return test::kolbe(base, num, false); });
}

TEST_F(Properties, RandomBuffers_AreDecodedWithinBoundsAndLeftAlone) {
    for (const GetFormat get :
         {mac_qolt_get_format, mac_router_incrc_get_format, mac_router_nocrc_get_format,
          mac_kolbe_incrc_get_format, mac_kolbe_nocrc_get_format}) {
        check("get_format", [get](Record buf, u32 num) {
            const Record before = buf;
            u64 flag = 0;
            u32 crc = 0;
            Mac mac{};
            // The memory behind a record belongs to it up to 54 bytes.
            buf.resize(std::max<size_t>(buf.size(), 54));
            (void)get(buf.data(), static_cast<u32>(before.size()), &flag, mac.data(), &num, &crc);
            buf.resize(before.size());
            RC_ASSERT(buf == before);
        });
    }
}

TEST_F(Properties, PairwiseSwap_IsItsOwnInverse) {
    check("mac_mesg_endian", [] {
        const Mac base = *any_mac();
        Mac once;
        Mac twice;
        mac_mesg_endian(once.data(), base.data(), 6);
        mac_mesg_endian(twice.data(), once.data(), 6);
        RC_ASSERT(twice == base);
    });
}

// The listing of one record, by plain text joining.
std::string listing_of(const mac_cfg_entry& record) {
    const auto line = [](std::string label, const std::string& value) {
        label.resize(22, ' ');
        return label + ": " + value + "\n";
    };
    const auto hex = [](u32 value) { return test::text("0x%x", value); };
    const bool env = std::string(record.drv_name) == "drv_mac_env";
    std::string text =
        line("Instance ID", hex(record.inst_id)) + line("Mac type", hex(record.mac_type)) +
        line("Mac num", std::to_string(record.mac_num)) + line("Drv name", record.drv_name);
    text += env ? line("Main env name", record.main_env_name)
                : line("Main section ID", hex(record.section_id)) +
                      line("Main offset", hex(record.offset));
    text += line("Spare exist", std::to_string(record.spare_exist));
    if (record.spare_exist != 0) {
        text += env ? line("Spare env name", record.spare_env_name)
                    : line("Spare section ID", hex(record.spare_section_id)) +
                          line("Spare offset", hex(record.spare_offset));
    }
    return text + "\n";
}

TEST_F(Properties, Listings_AreThePlainModel_CutToTheirBuffer) {
    ASSERT_EQ(mac_config_init(22, "mac_mng"), 0);
    check("drv_mac_show_cfg", [] {
        const u32 count = *rc::gen::inRange(0u, 6u);
        std::vector<mac_cfg_entry> records(count);
        std::string expected;
        for (mac_cfg_entry& record : records) {
            record = {};
            record.inst_id = *rc::gen::arbitrary<u32>();
            record.mac_type = *rc::gen::inRange(0u, 80u);
            record.mac_num = *rc::gen::arbitrary<u32>();
            record.section_id = *rc::gen::arbitrary<u32>();
            record.offset = *rc::gen::arbitrary<u32>();
            record.spare_exist = *rc::gen::inRange(0u, 2u);
            record.spare_section_id = *rc::gen::arbitrary<u32>();
            record.spare_offset = *rc::gen::arbitrary<u32>();
            const bool env = *rc::gen::arbitrary<bool>();
            std::snprintf(record.drv_name, 40, "%s", env ? "drv_mac_env" : "drv_mac_flash");
            std::snprintf(record.main_env_name, 40, "main");
            g_mac_config.cfg_list.push_back(&record);
            expected += listing_of(record);
        }
        if (expected.empty()) expected = "no cfg\n";
        const u32 size = *rc::gen::inRange(1u, 2000u);
        std::vector<char> buffer(size + 1, '\x77');
        const u32 length = drv_mac_show_cfg(buffer.data(), size);
        g_mac_config.cfg_list.init();
        RC_ASSERT(length < size);
        RC_ASSERT(std::string(buffer.data()) == expected.substr(0, size - 1));
        RC_ASSERT(buffer[size] == '\x77');
    });
}

// --- sequences of exported operations against a model of two copies ---

struct Block {
    Mac base;
    u32 num;
    bool operator==(const Block&) const = default;
};

// One pool with Qolt records on flash (main) and EEPROM (spare): each copy holds a
// block, or nothing that can be read.
struct Model {
    std::optional<Block> main;
    std::optional<Block> spare;
    Block memory = {{}, 16};  // the main area in memory

    // Reads both copies and repairs; true when the block can be used.
    bool refresh() {
        if (!main && !spare) {
            memory = {{}, 0xffff};
            return false;
        }
        if (main && spare && *main == *spare) {
            memory = *main;
            return true;
        }
        const Block winner = main ? *main : *spare;
        main = spare = memory = winner;
        return true;
    }

    void store(const Block& block) { main = spare = memory = block; }
};

class Sequence {
public:
    explicit Sequence(host::Board& board) : board_(board), module_(board) {}

    void step() {
        switch (*rc::gen::inRange(0, 8)) {
            case 0:
                return set_block();
            case 1:
                return set_addr();
            case 2:
                return set_num();
            case 3:
                return get_addr();
            case 4:
                return get_num();
            case 5:
                return get_list();
            case 6:
                return damage();
            default:
                return remount();
        }
    }

private:
    static constexpr u32 kInst = 0xffffffff;
    static bool valid(const Mac& mac) {
        return mac != Mac{} && mac != Mac{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    }

    void set_block() {
        const Block block = {*any_mac(), *rc::gen::inRange(0u, 0x10010u)};
        const u32 result = drv_mac_set_addr_num(kInst, 0, block.num, block.base.data());
        const bool fits = valid(block.base) && block.num <= 0xfffe;
        RC_ASSERT(result == (fits ? 0u : 0x811601abu));
        if (fits) model_.store(block);
    }

    void set_addr() {
        const Mac base = *any_mac();
        const u32 result = drv_mac_set_addr(kInst, 0, base.data());
        model_.refresh();
        RC_ASSERT(result == (valid(base) ? 0u : 0x811601abu));
        if (valid(base)) model_.store({base, model_.memory.num});
    }

    void set_num() {
        const u32 num = *rc::gen::inRange(0u, 0x10010u);
        const u32 result = drv_mac_set_num(kInst, 0, num);
        model_.refresh();
        RC_ASSERT(result == (num <= 0xfffe ? 0u : 0x811601abu));
        if (num <= 0xfffe) model_.store({model_.memory.base, num});
    }

    void get_addr() {
        Mac mac{};
        const u32 result = drv_mac_get_addr(kInst, 0, mac.data(), 6);
        if (!model_.refresh()) {
            RC_ASSERT(result == 0xffffffffu || result == 0x811601a7u);
            return;
        }
        RC_ASSERT(mac == model_.memory.base);
        RC_ASSERT(result == (valid(mac) ? 0u : 0x811601abu));
    }

    void get_num() {
        u32 num = 0x12345678;
        const u32 result = drv_mac_get_num(kInst, 0, &num);
        if (!model_.refresh()) {
            RC_ASSERT(num == 0x12345678u);
            return;
        }
        RC_ASSERT(num == model_.memory.num);
        RC_ASSERT(result == (num <= 0xfffe ? 0u : 0x811601abu));
    }

    void get_list() {
        const u32 num = *rc::gen::inRange(0u, 40u);
        std::vector<u8> out(num * 6 + 1, 0x77);
        const u32 result = drv_mac_get_addr_num(kInst, 0, num, out.data(), num * 6);
        if (!model_.refresh()) {
            RC_ASSERT(result != 0u);
            return;
        }
        RC_ASSERT(result == (num <= model_.memory.num ? 0u : 0xfffffff2u));
        if (result != 0) return;
        for (u32 i = 0; i < num; ++i) {
            const Mac expected = test::nth(model_.memory.base, i);
            RC_ASSERT(std::equal(expected.begin(), expected.end(), out.begin() + 6 * i));
        }
        RC_ASSERT(out.back() == 0x77);
    }

    void damage() {
        const bool hit_main = *rc::gen::arbitrary<bool>();
        const u32 bit = *rc::gen::inRange(0u, 128u);
        std::vector<u8>& image = board_.memory(hit_main ? "flash" : "eeprom-264");
        image[bit / 8] = static_cast<u8>(image[bit / 8] ^ 1u << bit % 8);
        std::optional<Block>& copy = hit_main ? model_.main : model_.spare;
        // A second flip may have healed the copy: decode it as the model would.
        copy.reset();
        const Record record(image.begin(), image.begin() + 16);
        Block block{};
        std::copy_n(record.begin() + 8, 6, block.base.begin());
        block.num = static_cast<u32>(record[4]) << 24 | static_cast<u32>(record[5]) << 16 |
                    static_cast<u32>(record[6]) << 8 | record[7];
        if (test::qolt(block.base, block.num) == record) copy = block;
    }

    void remount() {
        RC_ASSERT(drv_mac_deinit(kInst) == 0u);
        RC_ASSERT(drv_mac_init(kInst) == 0u);
        model_.memory = {{}, 16};
    }

    host::Board& board_;
    host::Module module_;
    Model model_;
};

TEST_F(Properties, OperationSequences_FollowTheModelOfTwoCopies) {
    host::Board& board = use_board(
        test::board_with(test::tree_xml(test::entry_xml(0, 0, "drv_mac_flash", 45, 0, 16),
                                        test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0, 16))));
    check("sequence", [&board] {
        std::fill(board.memory("flash").begin(), board.memory("flash").end(), u8{0xff});
        std::fill(board.memory("eeprom-264").begin(), board.memory("eeprom-264").end(), u8{0xff});
        Sequence sequence(board);
        const int steps = *rc::gen::inRange(1, 60);
        for (int i = 0; i < steps; ++i) sequence.step();
    });
}

}  // namespace
