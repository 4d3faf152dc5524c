/* The main job until the VLAN manager and its client exist: a switch process
 * that links libvlan_mgr with the host platform, builds a VNI-server request,
 * converts a VLAN bitmap to a BD bitmap, decodes a VNI-server reply, builds a
 * VLAN create request and names
 * a few event-history events. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vlan_mgr/vlan_mgr.h>

static void print_bytes(const char *what, const uint8_t *p, uint32_t n)
{
    printf("%s (%u bytes):", what, n);
    for (uint32_t i = 0; i < n; ++i)
        printf(" %02X", p[i]);
    printf("\n");
}

int main(void)
{
    int failures = 0;

    /* 1. Ask the VNI server which VLAN carries VNI 5000. */
    void *request = NULL;
    uint32_t request_len = 0;
    uint32_t rc = vlan_mgr_req_vni_server_vlan_mapping_build_mts(0, 5000, 7, &request, &request_len);
    if (rc != VLAN_MGR_OK) {
        printf("VNI-server request failed: 0x%08x\n", rc);
        return 1;
    }
    print_bytes("VNI-server request", request, request_len);
    free(request);

    /* 2. Decode a reply as the VNI server would send it: status 0, then three words. */
    const uint8_t reply[16] = {0, 0, 0, 0, 0, 0, 0x13, 0x88, 0, 0, 0, 0x64, 0, 0, 0, 0x01};
    uint32_t vlan = 0, flags = 0, vni = 0;
    rc = vlan_mgr_parse_vni_vlan_mapping_reply(&vlan, &flags, &vni, reply, sizeof reply);
    printf("VNI-server reply: status 0x%x, VNI %u -> VLAN %u (flags %u)\n", rc, vni, vlan, flags);
    failures += rc != 0 || vni != 5000 || vlan != 100;

    /* 3. Convert the VLAN set {1, 10, 100, 4094} to the BD set. */
    vlan_bitmap vlans, bds;
    memset(&vlans, 0, sizeof vlans);
    vlans.len = 512;
    const uint32_t ids[] = {1, 10, 100, 4094};
    for (size_t i = 0; i < sizeof ids / sizeof ids[0]; ++i)
        vlans.bits[ids[i] / 8] |= (uint8_t)(0x80u >> (ids[i] % 8));
    rc = vlan_bitset_to_sw_bd_bitset(&vlans, &bds);
    printf("BD bitmap: status 0x%x, length word %u, BDs:", rc, bds.len);
    uint32_t bd_count = 0;
    for (uint32_t v = 0; v < 4096; ++v)
        if (bds.bits[v / 8] & (0x80u >> (v % 8))) {
            uint32_t back = 0;
            sw_bd_id_to_vlan_id(v, &back);
            printf(" %u(VLAN %u)", v, back);
            ++bd_count;
        }
    printf("\n");
    failures += rc != 0 || bd_count != 4 || memcmp(vlans.bits, bds.bits, sizeof bds.bits) != 0;

    /* 4. Create VLAN 10 named "engineering" in this process's VDC. */
    const uint32_t vlan10 = 10;
    void *create = NULL;
    uint32_t create_len = 0;
    rc = vlan_create_build_mts_local(1, &vlan10, "engineering", 0, &create, &create_len);
    if (rc == VLAN_MGR_OK) {
        print_bytes("create request header", create, 16);
        print_bytes("create request name", (const uint8_t *)create + 528, create_len - 528);
        free(create);
    }
    failures += rc != 0 || create_len != 544;

    /* 5. A few event-history names, both ways. */
    const int32_t events[] = {0, 44, 74, 122, 124};
    for (size_t i = 0; i < sizeof events / sizeof events[0]; ++i) {
        const char *name = __vlan_mgr_event_enums_t_find(events[i]);
        printf("event %3d = %s\n", events[i], name ? name : "(none)");
        failures += name == NULL || __vlan_mgr_event_enums_t_str2enum(name) != events[i];
    }

    printf("vlan_mgr_demo: %s: VNI request %u bytes, create request %u bytes, %u BDs converted, %zu event names resolved\n",
           failures ? "FAILED" : "ok", request_len, create_len, bd_count, sizeof events / sizeof events[0]);
    return failures ? 1 : 0;
}
