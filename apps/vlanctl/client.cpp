#include "client.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <map>

#include <vlan_mgr/vlan_mgr.h>
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/internal/reply_checks.h>

#include "output.h"
#include "printable.h"
#include "status_text.h"
#include "vlan_list.h"
#include "vlan_mgr_host_mts.h"

namespace vlanctl {

namespace {

// Attribute word n of a VLAN info record (VLAN_MGR_ATTR_*, word 1 first).
uint32_t info_attr(const vlan_info_record &r, uint32_t word) { return r.attr[word - 1]; }

// A payload made by a builder: malloc'ed, freed here.
struct Payload {
    void *data = nullptr;
    uint32_t len = 0;
    Payload() = default;
    Payload(const Payload &) = delete;
    Payload &operator=(const Payload &) = delete;
    ~Payload() { std::free(data); }
};

// An array handed out by a parser: malloc'ed, freed here.
template <typename T>
struct Owned {
    T *ptr = nullptr;
    Owned() = default;
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() { std::free(ptr); }
};

// A builder refused its arguments: nothing was sent.
void check_built(uint32_t status)
{
    if (status != 0)
        throw CtlError{kExitUsage,
                       "Error: " + vlan_mgr_apps::status_text(status) + " (" + hex_word(status) + ")\n"};
}

uint32_t len_of(const std::vector<uint8_t> &reply) { return static_cast<uint32_t>(reply.size()); }

// Per-VLAN results of a change: refused() when any VLAN failed.
void check_results(uint32_t overall, const std::vector<VlanFailure> &failures)
{
    if (overall == 0 && failures.empty())
        return;
    refused(overall != 0 ? overall : failures.front().status, failures);
}

} // namespace

void usage_error(const std::string &what) { throw CtlError{kExitUsage, "Error: " + what + "\n"}; }

void refused(uint32_t status, const std::vector<VlanFailure> &failures)
{
    throw CtlError{kExitRefused, "Error: " + vlan_mgr_apps::status_text(status) + " (" + hex_word(status) + ")\n" +
                                     render_failures(failures)};
}

// ---- Transport ------------------------------------------------------------

Transport::~Transport()
{
    if (open_) {
        vlan_mgr_host_mts_close(handle_);
        vlan_mgr_host_mts_shutdown();
    }
}

uint32_t Transport::handle()
{
    if (!open_) {
        const int32_t rc = vlan_mgr_host_mts_open(0, &handle_);
        if (rc != 0)
            throw CtlError{kExitUnreachable, "Error: VLAN manager not reachable: " +
                                                 vlan_mgr_apps::status_text(static_cast<uint32_t>(rc)) + "\n"};
        open_ = true;
    }
    return handle_;
}

std::vector<uint8_t> Transport::request(uint32_t opcode, const void *payload, uint32_t len)
{
    const uint32_t h = handle();
    auto unreachable = [](int32_t rc) {
        // Refused by the file system (outside the manager's group): the
        // transport's text names the path; nothing was sent.
        if (rc == static_cast<int32_t>(VLAN_MGR_HOST_ERR_MTS_ACCESS))
            return CtlError{kExitUnreachable, "Error: " + vlan_mgr_apps::status_text(static_cast<uint32_t>(rc)) + "\n"};
        return CtlError{kExitUnreachable, "Error: VLAN manager not reachable: " +
                                              vlan_mgr_apps::status_text(static_cast<uint32_t>(rc)) + "\n"};
    };
    mts_addr_t addr;
    std::memset(&addr, 0, sizeof addr);
    addr.word[0] = 1; // a request that expects its reply
    // Sent with an address record, the payload becomes the transport's: it
    // gets a malloc'ed copy of its own.
    void *copy = std::malloc(len != 0 ? len : 1);
    if (copy == nullptr)
        throw unreachable(static_cast<int32_t>(VLAN_MGR_ERR_NO_MEMORY));
    if (len != 0)
        std::memcpy(copy, payload, len);
    mts_msg_hdl_t sent{};
    int32_t rc = mts_send(h, VLAN_MGR_MTS_DEST_NODE, VLAN_MGR_MTS_SAP, opcode, copy, len, &sent, nullptr, &addr);
    if (rc != 0)
        throw unreachable(rc);
    const uint32_t token = mts_rr_token_get(&sent);
    mts_drop(h, &sent);

    mts_recv_opts_t opts;
    std::memset(&opts, 0, sizeof opts);
    opts.word[0] = 1; // only the reply that carries our token
    opts.word[3] = token;
    mts_msg_hdl_t reply{};
    rc = mts_recv(h, &reply, &opts);
    if (rc != 0)
        throw CtlError{kExitNoAnswer, "Error: no answer; the change may or may not have been applied\n"};
    const uint8_t *p = static_cast<const uint8_t *>(mts_payload_get(&reply));
    const uint32_t n = mts_payload_size(&reply);
    std::vector<uint8_t> out(p, p + (p != nullptr ? n : 0));
    mts_drop(h, &reply);
    return out;
}

// ---- Client: ports ------------------------------------------------------------

const vlan_mgr_apps::IfEntry &Client::port(const std::string &name) const
{
    const vlan_mgr_apps::IfEntry *e = vlan_mgr_apps::find_port(iftable_, vlan_mgr_apps::canonical_port_name(name));
    if (e == nullptr)
        usage_error("unknown interface " + vlan_mgr_apps::echo_text(name));
    return *e;
}

std::vector<std::string> Client::port_names(const std::vector<uint32_t> &if_indexes) const
{
    // In interface-table order; an index the table does not know by its number.
    std::vector<std::string> names;
    std::vector<bool> listed(iftable_.size(), false);
    std::vector<std::string> unknown;
    for (uint32_t ifx : if_indexes) {
        bool found = false;
        for (size_t i = 0; i < iftable_.size(); ++i)
            if (iftable_[i].if_index == ifx) {
                listed[i] = true;
                found = true;
            }
        if (!found)
            unknown.push_back(hex_word(ifx));
    }
    for (size_t i = 0; i < iftable_.size(); ++i)
        if (listed[i])
            names.push_back(iftable_[i].name);
    names.insert(names.end(), unknown.begin(), unknown.end());
    return names;
}

// ---- Client: changes -----------------------------------------------------------

void Client::create_vlans(const std::vector<uint32_t> &vlans, const std::string &name)
{
    Payload req;
    check_built(vlan_create_build_mts(vdc_, static_cast<uint16_t>(vlans.size()), vlans.data(), name.c_str(), 0,
                                      &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_CREATE, req.data, req.len);
    uint16_t vdc = 0, count = 0;
    Owned<uint32_t> ids, statuses;
    const uint32_t st = vlan_create_parse_reply(&vdc, &count, &ids.ptr, &statuses.ptr, reply.data(), len_of(reply));
    if (st != 0)
        refused(st);
    std::vector<VlanFailure> failures;
    for (uint32_t i = 0; i < count && ids.ptr != nullptr && statuses.ptr != nullptr; ++i)
        if (statuses.ptr[i] != 0)
            failures.push_back({ids.ptr[i], statuses.ptr[i]});
    check_results(0, failures);
}

void Client::rename_vlan(uint32_t vlan, const std::string &name)
{
    Payload req;
    check_built(vlan_create_build_mts(vdc_, 1, &vlan, name.c_str(), VLAN_MGR_CREATE_OPT_RENAME, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_CREATE, req.data, req.len);
    uint16_t vdc = 0, count = 0;
    Owned<uint32_t> ids, statuses;
    const uint32_t st = vlan_create_parse_reply(&vdc, &count, &ids.ptr, &statuses.ptr, reply.data(), len_of(reply));
    if (st != 0)
        refused(st);
    std::vector<VlanFailure> failures;
    for (uint32_t i = 0; i < count && ids.ptr != nullptr && statuses.ptr != nullptr; ++i)
        if (statuses.ptr[i] != 0)
            failures.push_back({ids.ptr[i], statuses.ptr[i]});
    check_results(0, failures);
}

namespace {

// The {VLAN, status} pairs of a delete, type-change or association reply.
std::vector<VlanFailure> failures_of(const vlan_delete_result_t *results, uint32_t count)
{
    std::vector<VlanFailure> out;
    for (uint32_t i = 0; i < count && results != nullptr; ++i)
        if (results[i].status != 0)
            out.push_back({results[i].vlan_id, results[i].status});
    return out;
}

} // namespace

void Client::delete_vlans(const std::vector<uint32_t> &vlans)
{
    Payload req;
    check_built(vlan_delete_build_mts(vdc_, static_cast<uint32_t>(vlans.size()), vlans.data(), &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_DELETE, req.data, req.len);
    Owned<vlan_delete_result_t> results;
    uint32_t count = 0;
    uint16_t vdc = 0;
    const uint32_t st = vlan_delete_parse_reply(&results.ptr, &count, &vdc, reply.data(),
                                                static_cast<int32_t>(reply.size()));
    check_results(st, failures_of(results.ptr, count));
}

void Client::set_vlan_type(const std::vector<uint32_t> &vlans, uint32_t type)
{
    const vlan_bitmap bm = to_bitmap(vlans);
    Payload req;
    check_built(vlan_type_change_build_mts(vdc_, &bm, static_cast<int32_t>(type), &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_TYPE_CHANGE, req.data, req.len);
    Owned<vlan_delete_result_t> results;
    uint32_t count = 0;
    uint16_t vdc = 0;
    const uint32_t st = vlan_type_change_parse_reply(&results.ptr, &count, &vdc, reply.data(),
                                                     static_cast<int32_t>(reply.size()));
    check_results(st, failures_of(results.ptr, count));
}

void Client::associate(uint32_t primary, const std::vector<uint32_t> &secondaries, bool add)
{
    const vlan_bitmap bm = to_bitmap(secondaries);
    Payload req;
    check_built(vlan_association_build_mts(vdc_, static_cast<int32_t>(primary), &bm,
                                           add ? VLAN_MGR_ASSOC_ADD : VLAN_MGR_ASSOC_REMOVE, 0, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_ASSOCIATION, req.data, req.len);
    Owned<vlan_delete_result_t> results;
    uint32_t count = 0, type = 0, prim = 0;
    uint16_t vdc = 0, tag = 0;
    const uint32_t st = vlan_association_parse_reply(&results.ptr, &count, &vdc, &type, &prim, &tag, reply.data(),
                                                     len_of(reply));
    check_results(st, failures_of(results.ptr, count));
}

void Client::update_access(const vlan_mgr_apps::IfEntry &port, uint32_t op, uint32_t vlan)
{
    vdc_vlan_id_t key{};
    key.vdc_id = vdc_;
    key.vlan_id = vlan;
    Payload req;
    check_built(vlan_update_port_memb_build_mts(&port.if_index, 1, key, 0, op, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_UPDATE_PORT_MEMB, req.data, req.len);
    vdc_vlan_id_t answered{};
    const uint32_t st = vlan_update_port_memb_parse_reply(&answered, reply.data(), len_of(reply));
    if (st != 0)
        refused(st);
}

void Client::update_trunk(const vlan_mgr_apps::IfEntry &port, int32_t op, uint32_t vlan, uint16_t value,
                          const std::vector<uint32_t> &vlans)
{
    trunking_update_input in;
    std::memset(&in, 0, sizeof in);
    in.vdc_vlan.vdc_id = vdc_;
    in.vdc_vlan.vlan_id = vlan;
    in.id = value;
    in.bitmap = to_bitmap(vlans);
    Payload req;
    check_built(vlan_update_port_trunking_memb_build_mts(&port.if_index, 1, &in, op, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_UPDATE_PORT_TRUNKING_MEMB, req.data, req.len);
    // The parser takes no length: the library checks that the reply is whole first.
    if (const uint32_t whole = vlan_mgr::trunking_update_reply_check(reply.data(), reply.size()); whole != 0)
        refused(whole);
    Owned<trunking_update_result> result;
    const uint32_t st = vlan_update_port_trunking_memb_parse_reply(&result.ptr, reply.data());
    if (st != 0)
        refused(st);
    // The reply's status stays 0 for a request that was read: each port's
    // outcome is word 2 of its pair.
    for (uint32_t i = 0; i < result.ptr->count; ++i)
        if (result.ptr->pairs[i].word_2 != 0)
            refused(result.ptr->pairs[i].word_2);
}

// ---- Client: queries -----------------------------------------------------------

std::vector<uint32_t> Client::created_vlan_ids()
{
    Payload req;
    check_built(vlan_get_all_created_vlan_build_mts(&vdc_, 1, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_ALL_CREATED_VLAN, req.data, req.len);
    Owned<created_vlan_record> records;
    uint32_t count = 0;
    const uint32_t st = vlan_get_all_created_vlan_parse_reply(&records.ptr, &count, reply.data(), len_of(reply));
    if (st == VLAN_MGR_ERR_NO_VLANS)
        return {};
    if (st != 0)
        refused(st);
    std::vector<uint32_t> ids;
    for (uint32_t i = 0; i < count; ++i)
        ids.push_back(records.ptr[i].vlan_id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

VlanView Client::view_of(uint32_t id, const void *info)
{
    const vlan_info_record &r = *static_cast<const vlan_info_record *>(info);
    VlanView v;
    v.id = id;
    v.name = r.name;
    if (v.name.empty()) {
        char def[32];
        vlan_mgr_vlan_id_to_name(id, def);
        v.name = def;
    }
    v.type = info_attr(r, VLAN_MGR_ATTR_TYPE);
    v.primary = info_attr(r, VLAN_MGR_ATTR_PRIMARY);
    v.status = info_attr(r, VLAN_MGR_ATTR_STATE) == VLAN_MGR_VLAN_STATE_SUSPENDED ? "suspended" : "active";
    return v;
}

VlanView Client::vlan(uint32_t id)
{
    vdc_vlan_id_t key{};
    key.vdc_id = vdc_;
    key.vlan_id = id;
    Payload req;
    check_built(vlan_get_vlan_info_build_mts(&key, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_INFO, req.data, req.len);
    // A bare status or the whole reply; anything else is cut short.
    if (const uint32_t whole = vlan_mgr::vlan_info_reply_check(reply.data(), reply.size()); whole != 0)
        refused(whole);
    vlan_info_record rec;
    std::memset(&rec, 0, sizeof rec);
    const uint32_t st = vlan_get_vlan_info_parse_reply(&rec, reply.data(), len_of(reply));
    if (st != 0)
        refused(st, {{id, st}});
    std::vector<VlanView> one{view_of(id, &rec)};
    fill_ports(one);
    return one.front();
}

std::vector<VlanView> Client::vlans()
{
    std::vector<VlanView> out;
    for (uint32_t id : created_vlan_ids()) {
        vdc_vlan_id_t key{};
        key.vdc_id = vdc_;
        key.vlan_id = id;
        Payload req;
        check_built(vlan_get_vlan_info_build_mts(&key, &req.data, &req.len));
        const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_INFO, req.data, req.len);
        if (const uint32_t whole = vlan_mgr::vlan_info_reply_check(reply.data(), reply.size()); whole != 0)
            refused(whole);
        vlan_info_record rec;
        std::memset(&rec, 0, sizeof rec);
        const uint32_t st = vlan_get_vlan_info_parse_reply(&rec, reply.data(), len_of(reply));
        if (st == VLAN_MGR_ERR_VLAN_NOT_CREATED)
            continue; // deleted since the listing
        if (st != 0)
            refused(st, {{id, st}});
        out.push_back(view_of(id, &rec));
    }
    fill_ports(out);
    return out;
}

void Client::fill_ports(std::vector<VlanView> &vlans)
{
    if (vlans.empty())
        return;
    std::vector<vdc_vlan_id_t> keys(vlans.size());
    for (size_t i = 0; i < vlans.size(); ++i) {
        keys[i].vdc_id = vdc_;
        keys[i].vlan_id = vlans[i].id;
    }
    Payload req;
    check_built(vlan_get_per_vlan_memb_info_build_mts(keys.data(), static_cast<uint32_t>(keys.size()), &req.data,
                                                      &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_PER_VLAN_MEMB, req.data, req.len);
    Owned<vlan_port_memb> records;
    uint32_t count = 0;
    const uint32_t st = vlan_get_per_vlan_memb_info_parse_reply(&records.ptr, &count, reply.data(), len_of(reply));
    if (st == VLAN_MGR_ERR_NO_ENTRIES)
        return;
    if (st != 0)
        refused(st);
    std::map<uint32_t, std::vector<uint32_t>> members;
    for (uint32_t i = 0; i < count; ++i)
        members[records.ptr[i].vdc_vlan.vlan_id].push_back(records.ptr[i].if_index);
    for (VlanView &v : vlans)
        v.ports = port_names(members[v.id]);
}

uint32_t Client::vlan_by_name(const std::string &name)
{
    Payload req;
    check_built(vlan_name_to_id_build_mts(name.c_str(), &vdc_, &req.data, &req.len));
    const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_VLAN_NAME_TO_ID, req.data, req.len);
    vdc_vlan_id_t result{};
    const uint32_t st = vlan_name_to_id_parse_reply(&result, reply.data(), len_of(reply));
    if (st != 0)
        refused(st);
    return result.vlan_id;
}

SwitchportView Client::switchport(const vlan_mgr_apps::IfEntry &port)
{
    SwitchportView v;
    v.name = port.name;
    const uint32_t ifx = port.if_index;

    { // mode, voice VLAN, access VLAN, native VLAN
        Payload req;
        check_built(vlan_get_port_memb_build_mts(&ifx, 1, &req.data, &req.len));
        const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_PORT_MEMB, req.data, req.len);
        Owned<void> records;
        uint32_t count = 0;
        const uint32_t st = vlan_get_port_memb_parse_reply(&records.ptr, &count, reply.data(), len_of(reply));
        if (st != 0)
            refused(st);
        if (count < 1 || records.ptr == nullptr)
            refused(VLAN_MGR_ERR_NO_ENTRIES);
        const port_memb &m = *static_cast<const port_memb *>(records.ptr);
        v.mode = m.word_1;
        v.voice_vlan = m.word_2;
        v.access_vlan = m.vlan_a.vlan_id;
        v.native_vlan = m.vlan_b.vlan_id;
    }
    { // the allowed VLANs, configured and active
        Payload req;
        check_built(vlan_get_port_trunking_memb_build_mts(&ifx, 1, &req.data, &req.len));
        const std::vector<uint8_t> reply = t_.request(VLAN_MGR_OPC_PORT_TRUNKING_MEMB, req.data, req.len);
        Owned<void> records;
        uint32_t count = 0;
        const uint32_t st = vlan_get_port_trunking_memb_parse_reply(&records.ptr, &count, reply.data(), len_of(reply));
        if (st != 0)
            refused(st);
        if (count < 1 || records.ptr == nullptr)
            refused(VLAN_MGR_ERR_NO_ENTRIES);
        const port_trunking_memb &t = *static_cast<const port_trunking_memb *>(records.ptr);
        v.allowed = from_bitmap(t.bitmap_1);
        v.active = from_bitmap(t.bitmap_2);
    }
    return v;
}

std::vector<BdView> Client::bds(const std::vector<uint32_t> &vlans)
{
    std::vector<BdView> out;
    for (uint32_t v : vlans) {
        vdc_vlan_id_t key{};
        key.vdc_id = vdc_;
        key.vlan_id = v;
        uint16_t bd = 0;
        const uint32_t st = vlan_get_bd(key, &bd);
        if (st != 0)
            refused(st, {{v, st}});
        out.push_back({v, bd});
    }
    return out;
}

ReservedView Client::reserved()
{
    ReservedView r;
    uint32_t st = vlan_get_rsvd_vlans(vdc_, &r.start, &r.end);
    if (st != 0)
        refused(st);
    st = vlan_get_future_rsvd_vlans_local(&r.future_start, &r.future_end);
    if (st != 0)
        refused(st);
    vlan_bitmap bm;
    std::memset(&bm, 0, sizeof bm);
    st = vlan_get_rsvd_vlans2(vdc_, &bm);
    if (st != 0)
        refused(st);
    r.vlans = from_bitmap(bm);
    return r;
}

} // namespace vlanctl
