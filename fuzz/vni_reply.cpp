// Feeds arbitrary bytes to the VNI-server mapping reply parser. The bytes are
// copied into a heap block of exactly their size so that AddressSanitizer
// sees any read past the end. The first byte picks which out-pointers are
// NULL; the rest is the reply.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <vlan_mgr/bd_id.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t mode = data[0];
    ++data;
    --size;
    if (size > UINT32_MAX)
        return 0;

    uint8_t *reply = static_cast<uint8_t *>(std::malloc(size == 0 ? 1 : size));
    if (reply == nullptr)
        return 0;
    if (size != 0)
        std::memcpy(reply, data, size);
    const void *payload = (mode & 8) ? nullptr : reply;

    uint32_t o1 = 0xDEADBEEFu, o2 = 0xDEADBEEFu, o3 = 0xDEADBEEFu;
    const uint32_t rc = vlan_mgr_parse_vni_vlan_mapping_reply((mode & 1) ? nullptr : &o1, (mode & 2) ? nullptr : &o2,
                                                               (mode & 4) ? nullptr : &o3, payload,
                                                               static_cast<uint32_t>(size));
    // A refused or short reply stores nothing; a full one stores its three
    // values and returns its status word.
    auto word = [&](size_t off) {
        return (uint32_t{reply[off]} << 24) | (uint32_t{reply[off + 1]} << 16) | (uint32_t{reply[off + 2]} << 8) |
               uint32_t{reply[off + 3]};
    };
    const bool refused = (mode & 3) != 0 || payload == nullptr || size < 16;
    if (refused) {
        if (o1 != 0xDEADBEEFu || o2 != 0xDEADBEEFu || o3 != 0xDEADBEEFu)
            std::abort();
    } else if (rc != word(0) || o1 != word(8) || o2 != word(12) || o3 != ((mode & 4) ? 0xDEADBEEFu : word(4))) {
        std::abort();
    }
    std::free(reply);
    return 0;
}
