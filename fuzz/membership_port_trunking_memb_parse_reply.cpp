// Fuzzes vlan_get_port_trunking_memb_parse_reply, its _local form and the
// VLAN check over the same reply bytes.
#include <vlan_mgr/membership.h>

#include "config_fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const config_fuzz::Input in(data, size);
    void *r = nullptr;
    uint32_t count = 0;
    vlan_get_port_trunking_memb_parse_reply(&r, &count, in.data(), in.len());
    config_fuzz::consume(static_cast<port_trunking_memb *>(r), r != nullptr ? count : 0);
    r = nullptr;
    vlan_get_port_trunking_memb_parse_reply_local(&r, &count, in.data(), in.len());
    config_fuzz::consume(static_cast<port_trunking_memb_local *>(r), r != nullptr ? count : 0);

    // Two questions: the port of the first entry (when there is one) and a
    // VLAN taken from the input, including ids past 4095.
    uint32_t words[1 + 2 * 5] = {2};
    auto *list = reinterpret_cast<port_vlan_check_list *>(words);
    if (size >= 12)
        std::memcpy(&list->entries[0].if_index, data + 8, 4);
    list->entries[0].vlan_id = size >= 2 ? uint32_t{data[0]} << 8 | data[1] : 0;
    list->entries[1].vlan_id = 0xFFFFFFFFu;
    vlan_get_port_trunking_memb_parse_reply_check_vlan_local(in.data(), in.len(), list);
    return 0;
}
