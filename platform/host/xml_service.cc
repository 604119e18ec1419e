// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The XML trees of the attached board's instances.
#include <cstring>

#include "platform/common/service_status.h"
#include "platform/host/board.h"
#include "platform/host/checker.h"
#include "platform/host/journal.h"
#include "platform/xml.h"

namespace {

bool refused(u32* code) {
    host::might_sleep("the XML service");
    if (host::faults().hit(host::Call::kXml, code)) return true;
    *code = SERVICE_XML_NO_NODE;
    return host::attached_board() == nullptr;
}

pugi::xml_node find_node(u32 inst, const char* top, const char* node) {
    return host::attached_board()->file().instance_root(inst).child(top).child(node);
}

pugi::xml_attribute find_attribute(const void* element, const char* attribute) {
    auto* const object = static_cast<pugi::xml_node_struct*>(const_cast<void*>(element));
    return pugi::xml_node(object).attribute(attribute);
}

u32 to_number(const char* text, u32* value) {
    const std::optional<u32> number = host::parse_u32(text);
    if (!number) return SERVICE_XML_NOT_A_NUMBER;
    *value = *number;
    return 0;
}

u32 to_text(const char* text, char* buffer, u32 capacity) {
    const size_t length = std::strlen(text);
    if (length >= capacity) return SERVICE_XML_TOO_LONG;
    std::memcpy(buffer, text, length + 1);
    return 0;
}

u32 count_elements(pugi::xml_node node) {
    u32 count = 0;
    for (const pugi::xml_node child : node.children()) {
        if (child.type() == pugi::node_element) ++count;
    }
    return count;
}

}  // namespace

u32 xml_get_entry_list(u32 inst, const char* top, const char* node, xml_entry** list, u32* count) {
    host_journal("xml_get_entry_list 0x%x %s %s", inst, top, node);
    u32 code = 0;
    if (refused(&code)) return code;
    const pugi::xml_node found = find_node(inst, top, node);
    if (!found) return SERVICE_XML_NO_NODE;
    *list = host::attached_board()->entries_of(found);
    *count = count_elements(found);
    return 0;
}

u32 xml_get_entry_num(u32 inst, const char* top, const char* node, u32* count) {
    host_journal("xml_get_entry_num 0x%x %s %s", inst, top, node);
    u32 code = 0;
    if (refused(&code)) return code;
    const pugi::xml_node found = find_node(inst, top, node);
    if (!found) return SERVICE_XML_NO_NODE;
    *count = count_elements(found);
    return 0;
}

u32 xml_get_attr_value_u32(const void* element, const char* attribute, u32* value) {
    host_journal("xml_get_attr_value_u32 %s", attribute);
    u32 code = 0;
    if (refused(&code)) return code;
    const pugi::xml_attribute found = find_attribute(element, attribute);
    return found ? to_number(found.value(), value) : SERVICE_XML_NO_NODE;
}

u32 xml_get_attr_string(const void* element, const char* attribute, char* buffer, u32 capacity) {
    host_journal("xml_get_attr_string %s %u", attribute, capacity);
    u32 code = 0;
    if (refused(&code)) return code;
    const pugi::xml_attribute found = find_attribute(element, attribute);
    return found ? to_text(found.value(), buffer, capacity) : SERVICE_XML_NO_NODE;
}

u32 xml_get_element_value_u32(u32 inst, const char* top, const char* node, const char* entry,
                              const char* key, u32* value) {
    host_journal("xml_get_element_value_u32 0x%x %s %s %s %s", inst, top, node, entry, key);
    u32 code = 0;
    if (refused(&code)) return code;
    const pugi::xml_node found = find_node(inst, top, node).child(entry).child(key);
    return found ? to_number(found.text().get(), value) : SERVICE_XML_NO_NODE;
}

u32 xml_get_element_string(u32 inst, const char* top, const char* node, const char* entry,
                           const char* key, char* buffer, u32 capacity) {
    host_journal("xml_get_element_string 0x%x %s %s %s %s %u", inst, top, node, entry, key,
                 capacity);
    u32 code = 0;
    if (refused(&code)) return code;
    const pugi::xml_node found = find_node(inst, top, node).child(entry).child(key);
    return found ? to_text(found.text().get(), buffer, capacity) : SERVICE_XML_NO_NODE;
}

u32 xml_is_node_exist(u32 inst, const char* top, const char* node, u32* exists) {
    host_journal("xml_is_node_exist 0x%x %s %s", inst, top, node);
    u32 code = 0;
    if (refused(&code)) return code;
    *exists = find_node(inst, top, node) ? 1 : 0;
    return 0;
}
