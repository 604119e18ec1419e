// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Any dump: what is found lies inside it, and what is called good decodes so.
#include "tools/macctl/identify.h"

#include "tests/fuzz/fuzz.h"

namespace fuzz {

void identify(Input input) {
    const Input dump = input.first(std::min<size_t>(input.size(), 512));
    u64 last = 0;
    for (const macctl::Found& found : macctl::identify(dump)) {
        must(found.format != nullptr, "a place without a format");
        must(found.offset >= last, "places out of order");
        must(found.offset < dump.size(), "a place outside the dump");
        last = found.offset;
        const auto here = dump.subspan(found.offset);
        must(macctl::has_tag(*found.format, here), "a place without its tag");
        if (!found.good) {
            must(!found.detail.empty(), "a bad record without a reason");
            continue;
        }
        must(macctl::record_size(*found.format, found.num) <= here.size(),
             "a good record that ends outside the dump");
        for (const platform::Crc16Variant* const variant : found.variants) {
            const macctl::CrcChoice choice(*variant);
            const auto record = macctl::decode_record(*found.format, here, found.num);
            must(record.status == 0 && record.base == found.base && record.num == found.num,
                 "a good record does not decode as it was found");
        }
    }
}

}  // namespace fuzz
