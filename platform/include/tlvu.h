/* The TLV utility: converts records described by a schema table
 * (<vlan_mgr/tlv.h>) to and from TLV buffers. Linked by both platforms. The
 * encoding and the meaning of each argument are documented in docs/tlv.md. */
#ifndef VLAN_MGR_TLVU_H
#define VLAN_MGR_TLVU_H

#include <stdint.h>

#include <vlan_mgr/tlv.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Iterator over the top-level fields of one TLV buffer. */
typedef struct tlvu_field_itr {
    const uint8_t *buf;
    uint32_t len;
    uint32_t pos;
    const vlan_mgr_tlv_table_t *table;
    uint32_t flags;
    uint16_t depth;
} tlvu_field_itr_t;

/* One field found by the iterator. */
typedef struct tlvu_field {
    int32_t id;
    uint32_t len;
    const void *value;                 /* inside the buffer; copy with memcpy */
    const vlan_mgr_tlv_field_t *desc;  /* NULL for an id the table does not know */
} tlvu_field_t;

int32_t tlvu_field_itr_init(tlvu_field_itr_t *itr, const void *tlv, uint32_t tlv_len,
                            const vlan_mgr_tlv_table_t *table, uint32_t flags, uint16_t depth);
int32_t tlvu_field_itr_get_next(tlvu_field_itr_t *itr, tlvu_field_t *field);
int32_t tlvu_get_field(const void *tlv, uint32_t tlv_len, int32_t field_id, void *value, uint32_t *value_len,
                       const vlan_mgr_tlv_table_t *table);
int32_t tlvu_table_get_struct_size_from_tlv(uint32_t *size, const void *tlv, uint32_t tlv_len,
                                            const vlan_mgr_tlv_table_t *table);
uint32_t tlvu_table_size(const vlan_mgr_tlv_table_t *table, const void *record);
int32_t tlvu_table_convert_struct_to_tlv(void **tlv, uint32_t *tlv_len, const vlan_mgr_tlv_table_t *table,
                                         const void *record, uint32_t headroom, uint32_t *fields_written,
                                         uint32_t flags);
int32_t tlvu_table_convert_tlv_to_struct(void **record, const void *tlv, uint32_t tlv_len,
                                         const vlan_mgr_tlv_table_t *table, uint32_t flags);
/* Formats one error line and hands it to tlvu_error_sink. */
void tlvu_error_print(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* Provided by each platform: where the utility's error lines go (the host
 * platform: stderr; the test platform: recorded). */
void tlvu_error_sink(const char *line);

#ifdef __cplusplus
}
#endif

#endif
