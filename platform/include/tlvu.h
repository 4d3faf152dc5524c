/* The TLV utility: converts records described by a schema table
 * (<vlan_mgr/tlv.h>) to and from TLV buffers. Linked by both platforms.
 *
 * The encoding, with a byte diagram and a worked example, is in docs/tlv.md.
 * In short: a buffer is a header (total length, format version, the record's
 * type name) followed by one attribute per field of the table, in the table's
 * order. An attribute is a 32-bit field id, a 32-bit value length, the value,
 * and zero padding to a multiple of 4 bytes. The header and the attribute
 * framing are big-endian; values are the record's bytes as they stand (host
 * order). A list field is one attribute whose value holds one element
 * attribute (carrying the list's field id) per element; an element's value is
 * its fields' attributes (a list of records) or its plain bytes.
 *
 * Every function returns TLVU_OK (0) or one of the codes below. A call that
 * fails allocates nothing and writes nothing through its out-pointers, except
 * where its comment says otherwise. Buffers and
 * records handed to the caller come from malloc and are released with free.
 * A `tlv_len` of 0 means "take the length from the buffer's header" (the
 * caller then guarantees that a whole buffer is there); any other value bounds
 * every read. Buffers need no alignment. */
#ifndef VLAN_MGR_TLVU_H
#define VLAN_MGR_TLVU_H

#include <stdint.h>

#include <vlan_mgr/tlv.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes. 0 is success; every other code is a 0x411B00xx word. */
enum tlvu_status {
    TLVU_OK = 0,
    TLVU_ERR_INVALID_ARG = 0x411B0001,      /* NULL pointer, flags not 0, depth over TLVU_MAX_DEPTH */
    TLVU_ERR_NO_MEMORY = 0x411B0002,        /* malloc failed, or a size does not fit 32 bits */
    TLVU_ERR_BAD_TABLE = 0x411B0003,        /* the schema table breaks the rules of docs/tlv.md */
    TLVU_ERR_TRUNCATED = 0x411B0004,        /* a length points beyond the bytes present */
    TLVU_ERR_BAD_HEADER = 0x411B0005,       /* unknown version, reserved byte set, length shorter than the header */
    TLVU_ERR_WRONG_TYPE = 0x411B0006,       /* the buffer holds another record type than the table's */
    TLVU_ERR_BAD_LENGTH = 0x411B0007,       /* fixed field or plain list element of the wrong length */
    TLVU_ERR_STRING_TOO_LONG = 0x411B0008,  /* string fills its whole buffer, leaving no room for the NUL */
    TLVU_ERR_DUPLICATE_FIELD = 0x411B0009,  /* a known field id twice in one record */
    TLVU_ERR_COUNT_MISMATCH = 0x411B000A,   /* the record's count disagrees with the list's elements */
    TLVU_ERR_BAD_PADDING = 0x411B000B,      /* a padding byte is not zero */
    TLVU_ERR_BAD_ELEMENT = 0x411B000C,      /* a list element attribute without the list's field id */
    TLVU_ERR_INIT_FAILED = 0x411B000D,      /* the table's init function returned non-zero */
    TLVU_ERR_NOT_FOUND = 0x411B000E,        /* tlvu_get_field: no such field in the buffer */
    TLVU_ERR_BUFFER_TOO_SMALL = 0x411B000F, /* tlvu_get_field: the value does not fit the caller's buffer */
    TLVU_END = 0x411B0010,                  /* tlvu_field_itr_get_next: no more fields (not an error) */
    TLVU_ERR_BAD_TEXT = 0x411B0011          /* a string value with a NUL inside it */
};

/* Format version carried in byte 4 of every buffer. */
#define TLVU_VERSION 1u
/* Longest type name a table may have. */
#define TLVU_MAX_TYPE_NAME 255u
/* Most fields a table may have (the terminator not counted). */
#define TLVU_MAX_FIELDS 64u
/* Deepest iterator level: 0 a whole buffer, 1 the value of a list attribute,
 * 2 the value of one list element. Records nest no deeper: an element table
 * may not itself hold a list. */
#define TLVU_MAX_DEPTH 2u
/* Longest line tlvu_error_print produces, its NUL included. */
#define TLVU_ERROR_LINE_MAX 256u

/* Iterator over one level of attributes. Filled by tlvu_field_itr_init; the
 * caller treats it as opaque. It points into the caller's buffer, which must
 * stay in place while the iterator is used. */
typedef struct tlvu_field_itr {
    const uint8_t *buf;               /* the buffer given to tlvu_field_itr_init */
    uint32_t len;                     /* bytes of buf the attributes may use */
    uint32_t pos;                     /* offset of the next attribute */
    const vlan_mgr_tlv_table_t *table; /* where ids are looked up */
    uint32_t flags;
    uint16_t depth;
} tlvu_field_itr_t;

/* One attribute found by the iterator. */
typedef struct tlvu_field {
    int32_t id;
    uint32_t len;                     /* value length, padding excluded */
    const void *value;                /* inside the buffer, unaligned: copy with memcpy */
    const vlan_mgr_tlv_field_t *desc; /* the table's descriptor, NULL for an unknown id */
} tlvu_field_t;

/* Starts iterating the attributes of `tlv` at nesting level `depth`.
 * depth 0: `tlv` is a whole buffer; its header is checked against `table`
 * (tlv_len 0: length from the header). depth 1 or 2: `tlv` is a bare run of
 * `tlv_len` attributes as yielded by an outer iterator, without a header:
 * depth 1 the value of a list attribute, with `table` the table holding the
 * list (every element then carries the list's descriptor); depth 2 the value
 * of one element, with `table` the element table. flags must be 0.
 * Returns TLVU_OK, TLVU_ERR_INVALID_ARG, TLVU_ERR_BAD_TABLE, or for depth 0
 * the header's codes (TLVU_ERR_TRUNCATED, TLVU_ERR_BAD_HEADER,
 * TLVU_ERR_WRONG_TYPE, TLVU_ERR_BAD_PADDING). */
int32_t tlvu_field_itr_init(tlvu_field_itr_t *itr, const void *tlv, uint32_t tlv_len,
                            const vlan_mgr_tlv_table_t *table, uint32_t flags, uint16_t depth);

/* Yields the next attribute into `field` and returns TLVU_OK; returns TLVU_END
 * after the last one. An attribute that does not fit the bytes left returns
 * TLVU_ERR_TRUNCATED, non-zero padding TLVU_ERR_BAD_PADDING; the iterator then
 * stays where it is. Values are not checked against the descriptor.
 * TLVU_ERR_INVALID_ARG for a NULL argument or an iterator out of range. */
int32_t tlvu_field_itr_get_next(tlvu_field_itr_t *itr, tlvu_field_t *field);

/* Copies the value of the first top-level attribute with id `field_id` of the
 * whole buffer `tlv` into `value`, which has room for *value_len bytes, and
 * stores the value's length in *value_len. A string field (kind 3 in `table`)
 * is delivered with a terminating NUL, which needs one byte more than its
 * length. Returns TLVU_OK; TLVU_ERR_NOT_FOUND (nothing written);
 * TLVU_ERR_BUFFER_TOO_SMALL (nothing copied, *value_len set to the bytes
 * needed); TLVU_ERR_INVALID_ARG (NULL tlv, value_len or table, or NULL value
 * with a non-zero *value_len); the header and framing codes. */
int32_t tlvu_get_field(const void *tlv, uint32_t tlv_len, int32_t field_id, void *value, uint32_t *value_len,
                       const vlan_mgr_tlv_table_t *table);

/* Stores in *size the bytes that tlvu_table_convert_tlv_to_struct will
 * allocate for the buffer: the table's size plus the list's elements times the
 * element size. Checks the header and the framing of the top level and of the
 * list's elements; the values themselves are checked by the conversion.
 * Returns TLVU_OK, TLVU_ERR_INVALID_ARG, TLVU_ERR_BAD_TABLE,
 * TLVU_ERR_NO_MEMORY (size over 32 bits), or the header and framing codes. */
int32_t tlvu_table_get_struct_size_from_tlv(uint32_t *size, const void *tlv, uint32_t tlv_len,
                                            const vlan_mgr_tlv_table_t *table);

/* The size of the buffer tlvu_table_convert_struct_to_tlv makes from
 * `record` with headroom 0; 0 when the record cannot be encoded (NULL
 * argument, bad table, a string without its NUL, size over 32 bits). */
uint32_t tlvu_table_size(const vlan_mgr_tlv_table_t *table, const void *record);

/* Encodes `record` (its fixed part, then the list the table's count function
 * counts, right after it) into a new buffer. The allocation starts with
 * `headroom` zero bytes that the caller may fill with a header of its own;
 * the TLV follows them. *tlv receives the allocation (release with free),
 * *tlv_len the bytes in it (headroom included). If `fields_written` is not
 * NULL it receives the number of top-level attributes written (every field of
 * the table). flags must be 0. Returns TLVU_OK, TLVU_ERR_INVALID_ARG,
 * TLVU_ERR_BAD_TABLE, TLVU_ERR_STRING_TOO_LONG (a string without a NUL in its
 * buffer), TLVU_ERR_NO_MEMORY. */
int32_t tlvu_table_convert_struct_to_tlv(void **tlv, uint32_t *tlv_len, const vlan_mgr_tlv_table_t *table,
                                         const void *record, uint32_t headroom, uint32_t *fields_written,
                                         uint32_t flags);

/* Decodes the buffer into a new record: the fixed part starts as the table's
 * init function leaves it (fields absent from the buffer keep their
 * defaults), the list's elements follow it in the same allocation, each
 * starting from the element table's defaults. *record receives the allocation
 * (release with free); its size is what tlvu_table_get_struct_size_from_tlv
 * gives. Unknown ids are skipped. The record's count (its count function on
 * the decoded record) must equal the number of elements present, else
 * TLVU_ERR_COUNT_MISMATCH. flags must be 0. Returns TLVU_OK or any of the
 * decoding codes above. */
int32_t tlvu_table_convert_tlv_to_struct(void **record, const void *tlv, uint32_t tlv_len,
                                         const vlan_mgr_tlv_table_t *table, uint32_t flags);

/* Formats one error line (at most TLVU_ERROR_LINE_MAX - 1 characters; longer
 * lines are cut) and hands it to tlvu_error_sink. A NULL format prints
 * nothing. */
void tlvu_error_print(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* Provided by each platform: where the utility's error lines go (the host
 * platform: stderr; the test platform: recorded). */
void tlvu_error_sink(const char *line);

#ifdef __cplusplus
}
#endif

#endif
