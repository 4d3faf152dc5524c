/* The README's example: one create request built and its reply decoded. */
#include <stdio.h>
#include <stdlib.h>
#include <vlan_mgr/vlan_mgr.h>

int main(void)
{
    /* Ask the VLAN manager to create VLAN 10 named "engineering" in our own VDC. */
    const uint32_t vlan = 10;
    void *payload = NULL;
    uint32_t len = 0;
    uint32_t rc = vlan_create_build_mts_local(1, &vlan, "engineering", 0, &payload, &len);
    if (rc != VLAN_MGR_OK)
        return 1;
    /* ... send the 544 bytes over MTS with the caller's opcode ... */
    free(payload); /* builders' buffers belong to the caller */

    /* Decode the reply: VDC 1, count 1, VLAN 10, a 516-byte bitmap, status 0. */
    uint8_t reply[528] = {0x00, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0A};
    uint16_t count = 0;
    uint32_t *ids = NULL, *statuses = NULL;
    rc = vlan_create_parse_reply_local(&count, &ids, &statuses, reply, sizeof reply);
    if (rc == VLAN_MGR_OK)
        printf("VLAN %u: status 0x%x\n", ids[0], statuses[0]);
    free(ids); /* parsers' arrays belong to the caller too */
    free(statuses);

    printf("event 74 is %s\n", __vlan_mgr_event_enums_t_find(74));
    return 0;
}
