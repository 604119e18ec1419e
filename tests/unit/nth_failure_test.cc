// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Every platform call made to fail at its first, second, ... use, until what is done
// completes: start-up, mounting, every operation and command, unmounting and shutdown.
// What each failure gives, result and error lines, stands in a table that is read and
// kept with the tests (tests/data/nth-failures.txt; MAC_WRITE_NTH=1 writes it).
#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "control/mac_module.h"
#include "platform/host/driver_manager.h"
#include "platform/host/memory_service.h"
#include "tests/support/module_fixture.h"

namespace {

using host::Call;
using test::Mac;

constexpr u32 kInst = test::kDefaultInstance;
constexpr u32 kOther = 3;
constexpr u32 kCode = 0x77;
constexpr Mac kOld = {0x02, 0x11, 0x22, 0x33, 0x44, 0x50};
constexpr Mac kNew = {0x02, 0x66, 0x77, 0x88, 0x99, 0xa0};
constexpr u32 kOldNum = 4;
constexpr u32 kNewNum = 7;
constexpr u32 kAbsentNum = 16;
constexpr u32 kTypes[] = {0, 1, 2};

struct NamedCall {
    Call call;
    const char* name;
};

// All that can fail; a spinlock cannot.
constexpr NamedCall kCalls[] = {
    {Call::kZalloc, "record allocation"},
    {Call::kBufferAlloc, "buffer allocation"},
    {Call::kMemset, "memset_s"},
    {Call::kMemcpy, "memcpy_s"},
    {Call::kStrncpy, "strncpy_s"},
    {Call::kSprintf, "sprintf_s"},
    {Call::kSnprintfTruncated, "snprintf_truncated_s"},
    {Call::kLogRegister, "log registration"},
    {Call::kFlashRead, "flash read"},
    {Call::kFlashWrite, "flash write"},
    {Call::kEepromRead, "eeprom read"},
    {Call::kEepromWrite, "eeprom write"},
    {Call::kEnvGet, "env get"},
    {Call::kEnvSet, "env set"},
    {Call::kEnvSave, "env save"},
    {Call::kDriverRegister, "driver registration"},
    {Call::kDriverFind, "driver look-up"},
    {Call::kXml, "xml"},
    {Call::kDiagKobject, "kobject"},
    {Call::kDiagModule, "diag module"},
    {Call::kDiagFilelist, "diag file list"},
    {Call::kSysfsCreate, "sysfs"},
    {Call::kMiscRegister, "misc device"},
    {Call::kRangeValid, "user range"},
    {Call::kCopyFromUser, "copy from user"},
    {Call::kCopyToUser, "copy to user"},
    {Call::kMtdSize, "mtd size"},
};

// Type 0 on flash and EEPROM, type 1 in the environment and on EEPROM, type 2 as router
// records; the listing's part; a second instance.
std::string two_blocks() {
    const std::string main = test::entry_xml(0, 0, "drv_mac_flash", 45, 0x40, 16) +
                             test::entry_xml(1, 1, "drv_mac_env", 0, 0, 16, "pool") +
                             test::entry_xml(2, 2, "drv_mac_router_in_crc", 264, 0x100, 16);
    const std::string spare = test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0, 16) +
                              test::entry_xml(1, 1, "drv_mac_eeprom", 265, 0, 16) +
                              test::entry_xml(2, 2, "drv_mac_router_in_crc", 265, 0x100, 16);
    std::string tree = test::tree_xml(main, spare);
    tree.insert(tree.find("</mac_mng>"),
                "<mac><entry0><mac_type>0</mac_type><drv_name>drv_mac_flash</drv_name>"
                "<mac_num>16</mac_num></entry0></mac>");
    const std::string other =
        test::tree_xml(test::entry_xml(0, 0, "drv_mac_eeprom", 264, 0x800, 4),
                       test::entry_xml(0, 0, "drv_mac_eeprom", 265, 0x800, 4));
    return test::board_with(tree + "<instance id=\"3\">" + other + "</instance>");
}

using Images = std::map<std::string, std::vector<u8>>;
constexpr const char* kImages[] = {"flash", "eeprom-264", "eeprom-265", "env"};

class NthFailure : public test::ModuleTest {
protected:
    struct Operation {
        std::string name;
        std::function<u32(NthFailure&)> run;
        std::function<void(NthFailure&)> before = [](NthFailure&) {};
        std::function<void(NthFailure&)> after = [](NthFailure&) {};
        bool writes = false;
        bool loaded = true;  // before it; else it loads and unloads by itself
    };

    struct Outcome {
        bool hit = false;
        bool changed = false;
        long left = 0;  // blocks of memory, after all
        std::string text;
    };

    Images images() {
        Images images;
        for (const char* const name : kImages) images[name] = board().memory(name);
        return images;
    }

    void restore(const Images& images) {
        for (const auto& [name, bytes] : images) board().memory(name) = bytes;
    }

    // The board programmed with the old blocks, the module loaded.
    void power_on(const Images& images) {
        module_.reset();
        use_board(two_blocks());
        restore(images);
        module_.emplace(board());
        ASSERT_EQ(module_->status(), 0u);
        take_log();
    }

    Images programmed() {
        load(two_blocks());
        for (const u32 type : kTypes) EXPECT_EQ(set_block(type, kOldNum, kOld), 0u);
        return images();
    }

    u32 set_block(u32 type, u32 num, const Mac& mac) {
        mac_ioctl_address record = address_record(type, num, mac);
        return ioctl(MAC_IOCTL_SET_ADDR_NUM, &record);
    }

    u32 instance(u32 command, u32 inst) {
        mac_ioctl_instance record{inst};
        return ioctl(command, &record);
    }

    u32 buffer(u32 command, u32 length) {
        std::vector<char> bytes(length);
        mac_ioctl_buffer record{pointer(bytes.data()), length};
        return ioctl(command, &record);
    }

    // Base and count of a block, as a fresh reader finds them.
    std::pair<Mac, u32> block(u32 type) {
        mac_ioctl_address address = address_record(type, 0, {});
        mac_ioctl_count count{kInst, 0, type};
        EXPECT_EQ(ioctl(MAC_IOCTL_GET_ADDR, &address), 0u) << type;
        EXPECT_EQ(ioctl(MAC_IOCTL_GET_NUM, &count), 0u) << type;
        Mac mac;
        std::copy(std::begin(address.addr), std::end(address.addr), mac.begin());
        return {mac, u32{count.num}};
    }

    // A block is the old or the new one, or what a change of one field makes of them;
    // `more` is another count that it may have.
    void expect_old_or_new(u32 type, u32 more, const std::string& where) {
        const auto [base, num] = block(type);
        EXPECT_TRUE(base == kOld || base == kNew) << where;
        EXPECT_TRUE(num == kOldNum || num == kNewNum || num == more) << where;
    }

    std::vector<Operation> operations();
    void add_block_operations(u32 type, std::vector<Operation>* list);
    void add_repairs(std::vector<Operation>* list);
    u32 start();
    void stop();
    static void reclaim();

    std::string errors();
    Outcome run_failing(const Operation& operation, Call call, unsigned nth);
    void expect_recovery(const Operation& operation, u32 more, const std::string& where);
    std::string fail_each_use(const Operation& operation, const NamedCall& call);

    u32 started_ = 1;
    long clean_left_ = 0;
    unsigned failing_calls_ = 0;
    Images programmed_;
};

void NthFailure::add_block_operations(u32 type, std::vector<Operation>* list) {
    const std::string of = fmt::format(", type {}", type);
    list->push_back({.name = "set addr" + of,
                     .run =
                         [type](NthFailure&) {
                             mac_ioctl_address record = address_record(type, 0, kNew);
                             return ioctl(MAC_IOCTL_SET_ADDR, &record);
                         },
                     .writes = true});
    list->push_back({.name = "get addr" + of, .run = [type](NthFailure&) {
                         mac_ioctl_address record = address_record(type, 0, {});
                         return ioctl(MAC_IOCTL_GET_ADDR, &record);
                     }});
    list->push_back({.name = "set num" + of,
                     .run =
                         [type](NthFailure&) {
                             mac_ioctl_count record{kInst, kNewNum, type};
                             return ioctl(MAC_IOCTL_SET_NUM, &record);
                         },
                     .writes = true});
    list->push_back({.name = "get num" + of, .run = [type](NthFailure&) {
                         mac_ioctl_count record{kInst, 0, type};
                         return ioctl(MAC_IOCTL_GET_NUM, &record);
                     }});
    list->push_back(
        {.name = "set block" + of,
         .run = [type](NthFailure& test) { return test.set_block(type, kNewNum, kNew); },
         .writes = true});
    list->push_back({.name = "get list" + of, .run = [type](NthFailure&) {
                         std::vector<u8> bytes(6 * kOldNum);
                         mac_ioctl_list record{kInst, type, kOldNum, pointer(bytes.data()),
                                               static_cast<u32>(bytes.size())};
                         return ioctl(MAC_IOCTL_GET_ADDR_NUM, &record);
                     }});
}

// A read that finds one copy bad, and mends it.
void NthFailure::add_repairs(std::vector<Operation>* list) {
    const struct {
        const char* what;
        u32 type;
        const char* image;
        size_t at;
    } damages[] = {
        {"main", 0, "flash", 0x44},
        {"spare", 0, "eeprom-264", 4},
        {"spare", 1, "eeprom-265", 4},
        {"main", 2, "eeprom-264", 0x100 + 20},
        {"spare", 2, "eeprom-265", 0x100 + 20},
    };
    for (const auto& damage : damages) {
        list->push_back({.name = fmt::format("repair of the {}, type {}", damage.what, damage.type),
                         .run =
                             [type = damage.type](NthFailure&) {
                                 mac_ioctl_count record{kInst, 0, type};
                                 return ioctl(MAC_IOCTL_GET_NUM, &record);
                             },
                         .before =
                             [damage](NthFailure& test) {
                                 test.board().memory(damage.image)[damage.at] ^= 0x10;
                             },
                         .writes = true});
    }
}

std::vector<NthFailure::Operation> NthFailure::operations() {
    std::vector<Operation> list;
    list.push_back({.name = "start-up",
                    .run = [](NthFailure& test) { return test.start(); },
                    .after = [](NthFailure& test) { test.stop(); },
                    .loaded = false});
    list.push_back({.name = "shutdown",
                    .run =
                        [](NthFailure& test) {
                            test.stop();
                            return 0u;
                        },
                    .before = [](NthFailure& test) { EXPECT_EQ(test.start(), 0u); },
                    .loaded = false});
    list.push_back({.name = "mount",
                    .run = [](NthFailure& t) { return t.instance(MAC_IOCTL_INIT, kOther); },
                    .after = [](NthFailure& t) { t.instance(MAC_IOCTL_DEINIT, kOther); }});
    list.push_back({.name = "unmount",
                    .run = [](NthFailure& t) { return t.instance(MAC_IOCTL_DEINIT, kOther); },
                    .before = [](NthFailure& t) { t.instance(MAC_IOCTL_INIT, kOther); },
                    .after = [](NthFailure& t) { t.instance(MAC_IOCTL_DEINIT, kOther); }});
    for (const u32 type : kTypes) add_block_operations(type, &list);
    add_repairs(&list);
    const std::pair<const char*, u32> buffers[] = {{"patch 1", MAC_IOCTL_PATCH1},
                                                   {"patch 2", MAC_IOCTL_PATCH2},
                                                   {"show cfg", MAC_IOCTL_SHOW_CFG},
                                                   {"show types", MAC_IOCTL_SHOW_TYPES}};
    for (const auto& [name, command] : buffers) {
        list.push_back({.name = name, .run = [command = command](NthFailure& test) {
                            return test.buffer(command, 1000);
                        }});
    }
    return list;
}

// The module's own start-up and shutdown, without the loader's clean-up after them.
u32 NthFailure::start() {
    started_ = mac_module_init();
    return started_ != 0 ? started_ : mac_module_load_listing();
}

void NthFailure::stop() {
    if (started_ != 0) return;
    mac_module_exit();
    mac_module_release_listing();
}

// What the loader takes back from a module that is gone.
void NthFailure::reclaim() {
    host::device_reclaim();
    host::diag_reclaim();
    host::driver_drop_all();
    host::heap_release_all();
}

// The error lines since the last call, in one. The two bytes that are no text stand as
// in C.
std::string NthFailure::errors() {
    std::string text;
    for (const test::Line& line : take_log(1)) {
        if (!text.empty()) text += " / ";
        text += line.text;
    }
    for (size_t at = 0; (at = text.find("\xa3\xba", at)) != std::string::npos;) {
        text.replace(at, 2, R"(\xa3\xba)");
    }
    return text.empty() ? "-" : text;
}

// Runs an operation with the nth use of a call failing (0: none).
NthFailure::Outcome NthFailure::run_failing(const Operation& operation, Call call, unsigned nth) {
    power_on(programmed_);
    if (!operation.loaded) unload();
    if (!operation.loaded) host::attach(&board());
    const size_t blocks = host::heap_use().blocks;
    operation.before(*this);
    take_log();
    const Images before = images();
    host::faults().clear();
    if (nth != 0) host::faults().fail(call, nth, kCode);
    const u32 result = operation.run(*this);
    Outcome outcome;
    outcome.hit = nth != 0 && host::faults().uses(call) >= nth;
    host::faults().clear();
    outcome.text = errors();
    operation.after(*this);
    outcome.left = static_cast<long>(host::heap_use().blocks) - static_cast<long>(blocks);
    outcome.text = fmt::format("0x{:x}, {} left, {}", result, outcome.left, outcome.text);
    outcome.changed = images() != before;
    if (!operation.loaded) reclaim();
    return outcome;
}

// The same operation goes through now, and every block is one that was there or was to be.
void NthFailure::expect_recovery(const Operation& operation, u32 more, const std::string& where) {
    operation.before(*this);
    EXPECT_EQ(operation.run(*this), 0u) << where << ": and again without a failure";
    operation.after(*this);
    if (!operation.loaded) reclaim();
    power_on(images());
    for (const u32 type : kTypes) expect_old_or_new(type, more, where);
}

std::string NthFailure::fail_each_use(const Operation& operation, const NamedCall& call) {
    // A count that cannot be read passes for absent, and an absent one means 16: that is
    // why the environment services read again before they say so.
    const bool invents = call.call == Call::kEnvGet;
    std::string table;
    std::string last;
    unsigned first = 1;
    for (unsigned nth = 1;; ++nth) {
        const Outcome outcome = run_failing(operation, call.call, nth);
        if (nth > 1 && (!outcome.hit || outcome.text != last)) {
            const std::string uses =
                first + 1 == nth ? fmt::format("{}", first) : fmt::format("{}-{}", first, nth - 1);
            table += fmt::format("{}: {} {}: {}\n", operation.name, call.name, uses, last);
            first = nth;
        }
        if (!outcome.hit) return table;
        ++failing_calls_;
        last = outcome.text;
        const std::string where = fmt::format("{}: {} {}", operation.name, call.name, nth);
        if (operation.loaded) {
            EXPECT_LE(outcome.left, clean_left_) << where;
        }
        if (!operation.writes && !invents) {
            EXPECT_FALSE(outcome.changed) << where << ": nothing was to be written";
        }
        expect_recovery(operation, invents ? kAbsentNum : kOldNum, where);
    }
}

TEST_F(NthFailure, EveryCall_OfEveryOperation) {
    programmed_ = programmed();
    std::string table;
    for (const Operation& operation : operations()) {
        const Outcome clean = run_failing(operation, Call::kSpinLock, 0);
        clean_left_ = clean.left;
        table += fmt::format("{}: {}\n", operation.name, clean.text);
        for (const NamedCall& call : kCalls) table += fail_each_use(operation, call);
    }
    const std::string path = MAC_SOURCE_DIR "/tests/data/nth-failures.txt";
    if (std::getenv("MAC_WRITE_NTH") != nullptr) std::ofstream(path) << table;
    std::stringstream kept;
    kept << std::ifstream(path).rdbuf();
    EXPECT_EQ(table, kept.str());
    const std::string number =
        fmt::format(MAC_SOURCE_DIR
                    "/scripts/evidence.py same 'failing platform calls in user space, each at "
                    "its n-th use' {}",
                    failing_calls_);
    EXPECT_EQ(std::system(number.c_str()), 0) << number;
}

}  // namespace
