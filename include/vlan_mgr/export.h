/* Export and layout macros shared by every public header of libvlan_mgr. */
#ifndef VLAN_MGR_EXPORT_H
#define VLAN_MGR_EXPORT_H

#include <stddef.h>
#include <stdint.h>

/* Marks a declaration as part of the library's exported surface. */
#define VLAN_MGR_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define VLAN_MGR_BEGIN_DECLS extern "C" {
#define VLAN_MGR_END_DECLS }
#define VLAN_MGR_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define VLAN_MGR_BEGIN_DECLS
#define VLAN_MGR_END_DECLS
#define VLAN_MGR_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#define VLAN_MGR_PACKED __attribute__((packed))

/* Pins a record's layout: size, and the offset of one member. */
#define VLAN_MGR_ASSERT_SIZE(type, size) VLAN_MGR_STATIC_ASSERT(sizeof(type) == (size), #type " size")
#define VLAN_MGR_ASSERT_OFFSET(type, member, off) \
    VLAN_MGR_STATIC_ASSERT(offsetof(type, member) == (off), #type "." #member " offset")

/* Size of a record made of `words32` 32-bit words and `ptrs` pointers:
 * exact on the 32-bit target, where pointers are 32-bit words too. */
#define VLAN_MGR_WORDS_SIZE(words32, ptrs) ((words32) * 4u + (ptrs) * sizeof(void *))

#endif
