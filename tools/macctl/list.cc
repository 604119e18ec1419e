// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The addresses of a block, in the forms in which others take them.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "mac_mng/mac_status.h"
#include "platform/host/files.h"
#include "tools/macctl/commands.h"
#include "tools/macctl/json.h"

namespace macctl {

namespace {

using Addresses = std::vector<MacAddress>;

// The longest name that the kernel gives an interface.
constexpr size_t kInterfaceNameMax = 15;

// What the kernel takes as a name, less what a .link file would take as a pattern.
bool is_interface_name(const std::string& name) {
    return !name.empty() && name.size() <= kInterfaceNameMax && name != "." && name != ".." &&
           std::all_of(name.begin(), name.end(), [](unsigned char character) {
               return character > ' ' && character < 0x7f &&
                      std::string_view("/:*?[]!").find(static_cast<char>(character)) ==
                          std::string_view::npos;
           });
}

std::vector<std::string> interface_names(const Context& context, size_t addresses) {
    std::vector<std::string> names = split(context.options.interfaces);
    if (context.options.interfaces.empty()) {
        throw Failure(kExitUsage,
                      "--format link wants the interfaces' names: --interfaces lan0,lan1,...");
    }
    if (names.size() > addresses) {
        throw Failure(kExitRefused, fmt::format("{} interfaces are named and the block has {} "
                                                "addresses",
                                                names.size(), addresses));
    }
    for (const std::string& name : names) {
        if (!is_interface_name(name)) {
            throw Failure(kExitUsage,
                          fmt::format("\"{}\" is no interface name: 1 to {} characters, no blank, "
                                      "none of / : * ? [ ] !",
                                      name, kInterfaceNameMax));
        }
        if (std::count(names.begin(), names.end(), name) > 1) {
            throw Failure(kExitUsage, fmt::format("the interface \"{}\" is named twice", name));
        }
    }
    return names;
}

std::string link_file(const std::string& interface, const MacAddress& address) {
    return fmt::format("[Match]\nOriginalName={}\n\n[Link]\nMACAddressPolicy=none\nMACAddress={}\n",
                       interface, format_address(address.data()));
}

// One file for each interface, or all of them behind their names.
std::string link_text(const Context& context, const Addresses& addresses) {
    std::string text;
    const std::vector<std::string> names = interface_names(context, addresses.size());
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string file = fmt::format("70-mac_mng-{}.link", names[i]);
        const std::string content = link_file(names[i], addresses[i]);
        if (context.options.directory.empty()) {
            text += fmt::format("{}# {}\n{}", i == 0 ? "" : "\n", file, content);
            continue;
        }
        const std::filesystem::path path = std::filesystem::path(context.options.directory) / file;
        host::replace_file(path, content);
        text += path.string() + "\n";
    }
    return text;
}

std::string csv_text(const Addresses& addresses) {
    std::string text = "index,address\n";
    for (size_t i = 0; i < addresses.size(); ++i) {
        text += fmt::format("{},{}\n", i, format_address(addresses[i].data()));
    }
    return text;
}

Addresses read_addresses(Context& context) {
    const std::string what = fmt::format("list, type {}", context.options.pool().type);
    const Client& client = context.target().client();
    const Pool pool = context.options.pool();
    u32 num = 0;
    if (context.options.num) {
        num = *context.options.num;
    } else {
        must(context, what, client.get_num(pool, &num));
    }
    Addresses addresses;
    const u32 status = client.get_list(pool, num, &addresses);
    u32 there = 0;
    if (status == MAC_FAULT && client.get_num(pool, &there) == MAC_OK && num > there) {
        throw Failure(
            kExitRefused,
            fmt::format("{}, {}: {} (0x{:08x}): the block has {} addresses, and {} were asked "
                        "for",
                        what, instance_name(pool.inst), status_name(status), status, there, num),
            status);
    }
    must(context, what, status);
    return addresses;
}

}  // namespace

Result list(Context& context) {
    const Options& options = context.options;
    if (options.format != "link" && !(options.interfaces.empty() && options.directory.empty())) {
        throw Failure(kExitUsage,
                      fmt::format("{} goes with --format link",
                                  options.interfaces.empty() ? "--directory" : "--interfaces"));
    }
    const Addresses addresses = read_addresses(context);
    Result result;
    result.data["addresses"] = Value::array();
    for (const MacAddress& address : addresses) {
        result.data["addresses"].push_back(format_address(address.data()));
    }
    if (context.options.format == "csv") {
        result.text = csv_text(addresses);
    } else if (context.options.format == "json") {
        result.text = json_pages(result.data["addresses"]) + "\n";
    } else if (context.options.format == "link") {
        result.text = link_text(context, addresses);
    } else {
        for (const MacAddress& address : addresses) {
            result.text += format_address(address.data()) + "\n";
        }
    }
    return result;
}

}  // namespace macctl
