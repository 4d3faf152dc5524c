// Handlers of the VLAN configuration requests: create, delete, type change,
// private-VLAN association, name-to-id, reserved check, create/update and
// configuration mode. docs/protocol/config.md gives every request and reply.
//
// Each handler first reads and checks the whole request (a malformed one is
// answered with VLAN_MGR_ERR_BAD_REQUEST and changes nothing), then the VDC
// (VLAN_MGR_ERR_VDC_MISMATCH), then applies it VLAN by VLAN in ascending
// order, collecting one status per VLAN.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/query_req.h>
#include <vlan_mgr/tlv.h>

#include <vlan_mgr/server/config.h>

#include "config_ops.h"
#include "handlers.h"
#include "wire_io.h"

namespace vlan_mgrd {
namespace {

namespace server = vlan_mgr::server;

using Results = std::vector<std::pair<uint32_t, uint32_t>>; // {VLAN id, status}

constexpr uint32_t kAssocMagic = 0xBABEFACEu;
constexpr uint32_t kAssocEntryLen = 532;

// The raw bit set of a request bitmap: every set bit, 0 and 4095 included,
// so that an id the manager refuses still gets its status.
void write_raw_bitmap(WireWriter &w, const VlanSet &set)
{
    w.host32(512);
    uint8_t bits[512] = {};
    for (uint32_t v = 0; v < 4096; ++v)
        if (set.test(v))
            bits[v / 8] |= static_cast<uint8_t>(0x80u >> (v % 8));
    w.bytes(bits, sizeof bits);
}

// The first failing status of a list, 0 when every entry succeeded.
uint32_t overall(const Results &results)
{
    for (const auto &r : results)
        if (r.second != 0)
            return r.second;
    return 0;
}

// The create reply and, without its VDC id, the create/update reply: count,
// the id (count 1) or the bitmap of the ids, and the statuses in ascending
// order. `results` is ascending.
void write_status_list(Reply &reply, bool with_vdc, uint16_t vdc_id, const Results &results)
{
    reply.clear();
    WireWriter w(reply);
    if (with_vdc)
        w.u16(vdc_id);
    w.u16(static_cast<uint16_t>(results.size()));
    VlanSet set;
    for (const auto &r : results)
        if (r.first < 4096)
            set.set(r.first);
    w.u32(results.size() == 1 ? results[0].first : 0);
    if (results.size() == 1)
        write_raw_bitmap(w, VlanSet{});
    else
        write_raw_bitmap(w, set);
    for (const auto &r : results)
        w.u32(r.second);
}

// The delete reply (also the type-change reply): overall status, VDC id,
// count, {VLAN id, status} pairs.
void write_delete_reply(Reply &reply, uint16_t vdc_id, const Results &results)
{
    reply.clear();
    WireWriter w(reply);
    w.u32(overall(results));
    w.u16(vdc_id);
    w.u32(static_cast<uint32_t>(results.size()));
    for (const auto &r : results)
        w.u32(r.first), w.u32(r.second);
}

std::vector<uint32_t> ids_of(const VlanSet &set)
{
    std::vector<uint32_t> ids;
    for (uint32_t v = 0; v < 4096; ++v)
        if (set.test(v))
            ids.push_back(v);
    return ids;
}

// ---- VLAN create -----------------------------------------------------------

void handle_create(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::CreateRequest in;
    if (server::decode_create_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, in.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(in.vdc_id);
    const bool rename_only = (in.options & VLAN_MGR_CREATE_OPT_RENAME) != 0;
    std::vector<server::VlanStatus> results;
    if (in.count == 1) {
        results.push_back({in.vlan_id, config_ops::create_or_rename(vdc, changes, in.vlan_id, in.name, rename_only,
                                                                    in.options)});
    } else {
        for (uint32_t v : server::ids_of(in.vlans))
            results.push_back({v, config_ops::create_or_rename(vdc, changes, v, std::string(), rename_only,
                                                               in.options)});
    }
    reply = server::encode_create_reply(in.vdc_id, results);
}

// ---- VLAN delete and delete-range --------------------------------------------
// unused(2) vdc(2) count(4) bitmap(4 + 512)

void handle_delete(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint16_t vdc_id = r.u16(2);
    const VlanSet set = r.bitmap(12);
    if (!r.ok() || set.none()) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(vdc_id);
    Results results;
    for (uint32_t v : ids_of(set))
        results.emplace_back(v, config_ops::delete_vlan(vdc, changes, v));
    write_delete_reply(reply, vdc_id, results);
}

// ---- VLAN type change ----------------------------------------------------------
// unused(2) vdc(2) type(4) count(4) bitmap(4 + 512)

void handle_type_change(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint16_t vdc_id = r.u16(2);
    const uint32_t type = r.u32(4);
    const VlanSet set = r.bitmap(16);
    if (!r.ok() || set.none()) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(vdc_id);
    Results results;
    for (uint32_t v : ids_of(set))
        results.emplace_back(v, config_ops::change_type(vdc, changes, v, type));
    write_delete_reply(reply, vdc_id, results);
}

// ---- Private-VLAN association --------------------------------------------------
// entry: tag(2) vdc(2) type(4) primary(4) count(4) bitmap(4 + 512)

struct AssocEntry {
    uint16_t tag = 0;
    uint16_t vdc_id = 0;
    uint32_t type = 0;
    uint32_t primary = 0;
    VlanSet secondaries;
};

bool read_entry(WireReader &r, uint32_t off, AssocEntry &e)
{
    e.tag = r.u16(off);
    e.vdc_id = r.u16(off + 2);
    e.type = r.u32(off + 4);
    e.primary = r.u32(off + 8);
    e.secondaries = r.bitmap(off + 20);
    return r.ok() && e.secondaries.any();
}

// Applies one entry; an entry whose type is neither add nor remove, or whose
// primary fails its check, gives that status to every secondary.
Results apply_entry(Vdc &vdc, ChangeSet &changes, const AssocEntry &e)
{
    Results results;
    uint32_t whole = 0;
    if (e.type != VLAN_MGR_ASSOC_ADD && e.type != VLAN_MGR_ASSOC_REMOVE)
        whole = VLAN_MGR_ERR_ASSOC_TYPE;
    else if (e.type == VLAN_MGR_ASSOC_ADD)
        whole = config_ops::check_primary(vdc, e.primary);
    for (uint32_t s : ids_of(e.secondaries)) {
        uint32_t st = whole;
        if (st == 0)
            st = e.type == VLAN_MGR_ASSOC_ADD ? config_ops::associate(vdc, changes, e.primary, s)
                                              : config_ops::dissociate(vdc, changes, e.primary, s);
        results.emplace_back(s, st);
    }
    return results;
}

// Reply entry head: vdc(2) type(4) primary(4) tag(2) count(4), then pairs.
void write_entry_tail(WireWriter &w, const AssocEntry &e, const Results &results)
{
    w.u16(e.vdc_id);
    w.u32(e.type);
    w.u32(e.primary);
    w.u16(e.tag);
    w.u32(static_cast<uint32_t>(results.size()));
    for (const auto &p : results)
        w.u32(p.first), w.u32(p.second);
}

// Request: magic(4) 1(4) entry. Reply: magic(4) 1(4) 0(4) status(4) entry tail.
void handle_association(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint32_t magic = r.u32(0);
    const uint32_t n = r.u32(4);
    AssocEntry e;
    if (!read_entry(r, 8, e) || magic != kAssocMagic || n != 1) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, e.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    const Results results = apply_entry(m.vdc(e.vdc_id), changes, e);
    reply.clear();
    WireWriter w(reply);
    w.u32(kAssocMagic);
    w.u32(1);
    w.u32(0);
    w.u32(overall(results));
    write_entry_tail(w, e, results);
}

// Request: cookie(4) n(4) n entries. Reply: cookie(4) status(4) n(4), then per
// entry its status(4) and the entry tail.
void handle_association_multi(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    WireReader r(req.payload, req.len);
    const uint32_t cookie = r.u32(0);
    const uint32_t n = r.u32(4);
    if (!r.ok() || n == 0 || n > (req.len - 8) / kAssocEntryLen) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    std::vector<AssocEntry> entries(n);
    for (uint32_t i = 0; i < n; ++i)
        if (!read_entry(r, 8 + kAssocEntryLen * i, entries[i])) {
            reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
            return;
        }
    for (const AssocEntry &e : entries)
        if (!vdc_allowed(req, e.vdc_id)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
    std::vector<Results> all;
    uint32_t status = 0;
    for (const AssocEntry &e : entries) {
        all.push_back(apply_entry(m.vdc(e.vdc_id), changes, e));
        if (status == 0)
            status = overall(all.back());
    }
    reply.clear();
    WireWriter w(reply);
    w.u32(cookie);
    w.u32(status);
    w.u32(n);
    for (uint32_t i = 0; i < n; ++i) {
        w.u32(overall(all[i]));
        write_entry_tail(w, entries[i], all[i]);
    }
}

// ---- Name to id --------------------------------------------------------------
// Request: vdc(2) name NUL. Reply: status(4) vdc(2) vlan(4).

void handle_name_to_id(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    WireReader r(req.payload, req.len);
    const uint16_t vdc_id = r.u16(0);
    if (!r.ok() || req.len < 3 || req.payload[req.len - 1] != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    const char *p = reinterpret_cast<const char *>(req.payload + 2);
    const std::string name(p, strnlen(p, req.len - 3));
    const uint32_t vlan_id = config_ops::find_by_name(m.vdc(vdc_id), name);
    reply.clear();
    WireWriter w(reply);
    w.u32(vlan_id != 0 ? 0 : VLAN_MGR_ERR_NO_SUCH_NAME);
    w.u16(vdc_id);
    w.u32(vlan_id);
}

// ---- Reserved check ----------------------------------------------------------
// check_word1 first VLAN, check_word2 last VLAN; the result is the number of
// VLANs of that range in the VDC's reserved range.

void handle_rsvd_check(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    uint16_t vdc_id = 0;
    uint32_t first = 0, last = 0;
    if (req.payload == nullptr ||
        vlan_mgr_vlan_rsvd_check_parse_request_pld(req.payload, req.len, &vdc_id, &first, &last) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    const Vdc &vdc = m.vdc(vdc_id);
    uint32_t result = 0;
    for (uint32_t v = first; v <= last && v < 4096; ++v)
        if (vdc.reserved.test(v))
            ++result;
    void *out = nullptr;
    if (vlan_mgr_vlan_rsvd_check_build_reply_pld(vdc_id, first, last, result, &out) != 0 || out == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
        return;
    }
    const auto *b = static_cast<const uint8_t *>(out);
    reply.assign(b, b + 16);
    std::free(out);
}

// ---- Create/update (TLV) -----------------------------------------------------
// Record fields: field3 operation (0 create or update, 1 update only),
// field5 VLAN id, field6 segment id, field7 VLAN mode word, name (empty:
// default name on creation, unchanged on update). The VDC is the requester's.

constexpr uint8_t kCreateUpdateOnly = 1;

void handle_create_update(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    vlan_mgr_create_update_req_t *rec = nullptr;
    // An empty buffer never reaches the TLV decoder, for which a length of 0
    // means "as long as its header says".
    if (req.payload == nullptr || req.len == 0 || vlan_mgr_create_update_parse_req(req.payload, req.len, &rec) != 0 ||
        rec == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    const uint32_t count = vlan_mgr_create_update_msg_get_sz(rec);
    std::vector<vlan_mgr_create_update_t> items(count);
    if (count != 0)
        std::memcpy(items.data(), reinterpret_cast<const uint8_t *>(rec) + 2, sizeof(vlan_mgr_create_update_t) * count);
    std::free(rec);

    // Checked before anything changes: one record per VLAN, and ids the reply
    // bitmap can carry when there are several.
    bool bad = count == 0;
    VlanSet seen;
    for (const vlan_mgr_create_update_t &it : items) {
        if (count > 1 && (it.field5 >= 4096 || seen.test(it.field5)))
            bad = true;
        else if (count > 1)
            seen.set(it.field5);
    }
    if (bad) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!Manager::vdc_valid(req.src_vdc)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(req.src_vdc);
    Results results;
    for (const vlan_mgr_create_update_t &it : items) {
        const uint32_t v = it.field5;
        const std::string name(it.name, strnlen(it.name, sizeof it.name));
        uint32_t st = config_ops::create_or_rename(vdc, changes, v, name, it.field3 == kCreateUpdateOnly, 0);
        if (st == 0) {
            Vlan &vl = vdc.vlans[v];
            if (vl.segment != it.field6 || vl.mode != it.field7) {
                vl.segment = it.field6;
                vl.mode = it.field7;
                changes.mark_retyped(vdc.id, v);
            }
        }
        results.emplace_back(v, st);
    }
    std::sort(results.begin(), results.end());
    write_status_list(reply, false, 0, results);
}

// ---- Configuration mode (TLV) --------------------------------------------------
// field26 is the VDC's configuration-mode word; field27 and the bitmap are
// carried but not used. The response's field29 is 0.

void handle_configmode(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    vlan_configmode_payload_t *msg = nullptr;
    if (req.payload == nullptr || req.len == 0 || vlan_parse_vlan_configmode_change_req(req.payload, req.len, &msg) != 0 ||
        msg == nullptr) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    const uint32_t mode = msg->field26;
    std::free(msg);
    if (!Manager::vdc_valid(req.src_vdc)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(req.src_vdc);
    if (vdc.config_mode != mode) {
        vdc.config_mode = mode;
        changes.vdc(vdc.id).vdc_config = true;
    }
    vlan_configmode_rsp_t rsp{};
    vlan_configmode_rsp_init(&rsp);
    rsp.field29 = 0;
    void *tlv = nullptr;
    uint32_t tlv_len = 0;
    if (vlan_build_vlan_configmode_change_rsp(&rsp, &tlv, &tlv_len) != 0 || tlv == nullptr) {
        std::free(tlv);
        reply_status(reply, VLAN_MGR_ERR_NO_MEMORY);
        return;
    }
    const auto *b = static_cast<const uint8_t *>(tlv);
    reply.assign(b, b + tlv_len);
    std::free(tlv);
}

const HandlerEntry kConfigHandlers[] = {
    {VLAN_MGR_OPC_VLAN_CREATE, "vlan create", handle_create},
    {VLAN_MGR_OPC_VLAN_DELETE, "vlan delete", handle_delete},
    {VLAN_MGR_OPC_VLAN_DELETE_RANGE, "vlan delete range", handle_delete},
    {VLAN_MGR_OPC_VLAN_TYPE_CHANGE, "vlan type change", handle_type_change},
    {VLAN_MGR_OPC_VLAN_ASSOCIATION, "vlan association", handle_association},
    {VLAN_MGR_OPC_VLAN_ASSOCIATION_MULTI, "vlan association multi", handle_association_multi},
    {VLAN_MGR_OPC_VLAN_NAME_TO_ID, "vlan name to id", handle_name_to_id},
    {VLAN_MGR_OPC_VLAN_RSVD_CHECK, "vlan reserved check", handle_rsvd_check},
    {VLAN_MGR_OPC_VLAN_CREATE_UPDATE, "vlan create/update", handle_create_update},
    {VLAN_MGR_OPC_VLAN_CONFIGMODE, "vlan config mode", handle_configmode},
};

} // namespace

std::span<const HandlerEntry> config_handlers()
{
    return kConfigHandlers;
}

} // namespace vlan_mgrd
