// Handlers of the VLAN configuration requests: create, delete, type change,
// private-VLAN association, name-to-id, reserved check, create/update and
// configuration mode. docs/protocol/config.md gives every request and reply.
//
// Each handler decodes and checks the whole request with vlan_mgr::server (a
// malformed one is answered with VLAN_MGR_ERR_BAD_REQUEST and changes
// nothing), then checks the VDC (VLAN_MGR_ERR_VDC_MISMATCH), then applies it
// VLAN by VLAN in ascending order through config_ops, collecting one status
// per VLAN, and encodes the reply with vlan_mgr::server.
#include <algorithm>
#include <string>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/opcodes.h>

#include <vlan_mgr/server/config.h>

#include "config_ops.h"
#include "handlers.h"

namespace vlan_mgrd {
namespace {

namespace server = vlan_mgr::server;

using Results = std::vector<server::VlanStatus>;

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
    Results results;
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

void handle_delete(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::DeleteRequest in;
    if (server::decode_delete_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, in.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(in.vdc_id);
    Results results;
    for (uint32_t v : server::ids_of(in.vlans))
        results.push_back({v, config_ops::delete_vlan(vdc, changes, v)});
    reply = server::encode_delete_reply(in.vdc_id, results);
}

// ---- VLAN type change ----------------------------------------------------------

void handle_type_change(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::TypeChangeRequest in;
    if (server::decode_type_change_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, in.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(in.vdc_id);
    Results results;
    for (uint32_t v : server::ids_of(in.vlans))
        results.push_back({v, config_ops::change_type(vdc, changes, v, in.type)});
    reply = server::encode_type_change_reply(in.vdc_id, results);
}

// ---- Private-VLAN association --------------------------------------------------

// Applies one entry; an entry whose type is neither add nor remove, or whose
// primary fails its check, gives that status to every secondary.
server::AssociationOutcome apply_entry(Vdc &vdc, ChangeSet &changes, const server::AssociationEntry &e)
{
    server::AssociationOutcome out{e.tag, e.vdc_id, e.type, e.primary, {}};
    uint32_t whole = 0;
    if (e.type != VLAN_MGR_ASSOC_ADD && e.type != VLAN_MGR_ASSOC_REMOVE)
        whole = VLAN_MGR_ERR_ASSOC_TYPE;
    else if (e.type == VLAN_MGR_ASSOC_ADD)
        whole = config_ops::check_primary(vdc, e.primary);
    for (uint32_t s : server::ids_of(e.secondaries)) {
        uint32_t st = whole;
        if (st == 0)
            st = e.type == VLAN_MGR_ASSOC_ADD ? config_ops::associate(vdc, changes, e.primary, s)
                                              : config_ops::dissociate(vdc, changes, e.primary, s);
        out.results.push_back({s, st});
    }
    return out;
}

void handle_association(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::AssociationEntry in;
    if (server::decode_association_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, in.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    reply = server::encode_association_reply(apply_entry(m.vdc(in.vdc_id), changes, in));
}

// Every entry's VDC is checked before any entry is applied; the entries are
// applied in order.
void handle_association_multi(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::AssociationMultiRequest in;
    if (server::decode_association_multi_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    for (const server::AssociationEntry &e : in.entries)
        if (!vdc_allowed(req, e.vdc_id)) {
            reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
            return;
        }
    std::vector<server::AssociationOutcome> outcomes;
    outcomes.reserve(in.entries.size());
    for (const server::AssociationEntry &e : in.entries)
        outcomes.push_back(apply_entry(m.vdc(e.vdc_id), changes, e));
    reply = server::encode_association_multi_reply(in.cookie, outcomes);
}

// ---- Name to id --------------------------------------------------------------

void handle_name_to_id(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::NameToIdRequest in;
    if (server::decode_name_to_id_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, in.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    const uint32_t vlan_id = config_ops::find_by_name(m.vdc(in.vdc_id), in.name);
    reply = server::encode_name_to_id_reply(vlan_id != 0 ? 0 : VLAN_MGR_ERR_NO_SUCH_NAME, in.vdc_id, vlan_id);
}

// ---- Reserved check ----------------------------------------------------------
// check_word1 first VLAN, check_word2 last VLAN; the result is the number of
// VLANs of that range in the VDC's reserved range.

void handle_rsvd_check(Manager &m, const Request &req, Reply &reply, ChangeSet &)
{
    server::RsvdCheckRequest in;
    if (server::decode_rsvd_check_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!vdc_allowed(req, in.vdc_id)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    const Vdc &vdc = m.vdc(in.vdc_id);
    uint32_t result = 0;
    for (uint32_t v = in.check_word1; v <= in.check_word2 && v < vdc.reserved.size(); ++v)
        if (vdc.reserved.test(v))
            ++result;
    reply = server::encode_rsvd_check_reply(in.vdc_id, in.check_word1, in.check_word2, result);
}

// ---- Create/update (TLV) -----------------------------------------------------
// Per record: operation (update only, or create or update), VLAN id, segment
// id, VLAN mode word, name (empty: default name on creation, unchanged on
// update). The VDC is the requester's.

void handle_create_update(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    std::vector<server::CreateUpdateItem> items;
    if (server::decode_create_update_request(req.payload, req.len, items) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!Manager::vdc_valid(req.src_vdc)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(req.src_vdc);
    Results results;
    for (const server::CreateUpdateItem &it : items) {
        const uint32_t v = it.vlan_id;
        const uint32_t st = config_ops::create_or_rename(vdc, changes, v, it.name, it.update_only(), 0);
        if (st == 0) {
            Vlan &vl = vdc.vlans[v];
            if (vl.segment != it.segment || vl.mode != it.mode) {
                vl.segment = it.segment;
                vl.mode = it.mode;
                changes.mark_retyped(vdc.id, v);
            }
        }
        results.push_back({v, st});
    }
    std::sort(results.begin(), results.end(),
              [](const server::VlanStatus &a, const server::VlanStatus &b) {
                  return a.vlan_id != b.vlan_id ? a.vlan_id < b.vlan_id : a.status < b.status;
              });
    reply = server::encode_create_update_reply(results);
}

// ---- Configuration mode (TLV) --------------------------------------------------
// The request's mode word is the VDC's configuration-mode word; its other
// fields are carried but not used. The response's field29 is 0.

void handle_configmode(Manager &m, const Request &req, Reply &reply, ChangeSet &changes)
{
    server::ConfigModeRequest in;
    if (server::decode_configmode_request(req.payload, req.len, in) != 0) {
        reply_status(reply, VLAN_MGR_ERR_BAD_REQUEST);
        return;
    }
    if (!Manager::vdc_valid(req.src_vdc)) {
        reply_status(reply, VLAN_MGR_ERR_VDC_MISMATCH);
        return;
    }
    Vdc &vdc = m.vdc(req.src_vdc);
    if (vdc.config_mode != in.mode) {
        vdc.config_mode = in.mode;
        changes.vdc(vdc.id).vdc_config = true;
    }
    reply = server::encode_configmode_reply(0);
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
