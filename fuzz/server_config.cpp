// The manager's decoders of the configuration requests given arbitrary
// payloads: byte 0 picks the decoder, the rest is the payload, in a heap
// buffer of exactly its size. A decoder must refuse or accept without
// reading outside the payload; an accepted request must encode a reply that
// the library's parser reads back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <vlan_mgr/config_req.h>
#include <vlan_mgr/server/config.h>
#include <vlan_mgr/tlv.h>

#include "server_fuzz.h"

namespace server = vlan_mgr::server;

namespace {

// One status per VLAN of a set, each VLAN's id as its status word (so that a
// parser that swapped two entries would be caught).
std::vector<server::VlanStatus> results_of(const server::VlanBits &set)
{
    std::vector<server::VlanStatus> results;
    for (uint32_t v : server::ids_of(set))
        results.push_back({v, v});
    return results;
}

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// The overall status of a reply: its first failing status, 0 when none.
uint32_t first_failure(const std::vector<server::VlanStatus> &results)
{
    for (const server::VlanStatus &r : results)
        if (r.status != 0)
            return r.status;
    return 0;
}

void create(const uint8_t *p, size_t n)
{
    server::CreateRequest req;
    if (server::decode_create_request(p, n, req) != 0)
        return;
    std::vector<server::VlanStatus> results;
    if (req.count == 1)
        results.push_back({req.vlan_id, 0});
    else
        results = results_of(req.vlans);
    const server::Payload reply = server::encode_create_reply(req.vdc_id, results);
    uint16_t vdc = 0, count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    if (vlan_create_parse_reply(&vdc, &count, &ids, &st, reply.data(), static_cast<uint32_t>(reply.size())) != 0 ||
        count != results.size())
        std::abort();
    std::free(ids);
    std::free(st);
}

// The delete reply as the parser reads it back: the first failing status,
// the VDC id and every pair.
void check_delete_reply(uint16_t vdc_id, const std::vector<server::VlanStatus> &results)
{
    const server::Payload reply = server::encode_delete_reply(vdc_id, results);
    vlan_delete_result_t *out = nullptr;
    uint32_t count = 0;
    uint16_t vdc = 0;
    const uint32_t st = vlan_delete_parse_reply(&out, &count, &vdc, reply.data(), static_cast<int32_t>(reply.size()));
    check(st == first_failure(results) && vdc == vdc_id && count == results.size());
    for (uint32_t i = 0; i < count; ++i)
        check(out[i].vlan_id == results[i].vlan_id && out[i].status == results[i].status);
    std::free(out);
}

void del(const uint8_t *p, size_t n)
{
    server::DeleteRequest req;
    if (server::decode_delete_request(p, n, req) != 0)
        return;
    check(req.vlans.any());
    check_delete_reply(req.vdc_id, results_of(req.vlans));
}

void type_change(const uint8_t *p, size_t n)
{
    server::TypeChangeRequest req;
    if (server::decode_type_change_request(p, n, req) != 0)
        return;
    check(req.vlans.any());
    check_delete_reply(req.vdc_id, results_of(req.vlans));
}

server::AssociationOutcome outcome_of(const server::AssociationEntry &e)
{
    return {e.tag, e.vdc_id, e.type, e.primary, results_of(e.secondaries)};
}

void association(const uint8_t *p, size_t n)
{
    server::AssociationEntry req;
    if (server::decode_association_request(p, n, req) != 0)
        return;
    const server::AssociationOutcome o = outcome_of(req);
    const server::Payload reply = server::encode_association_reply(o);
    vlan_delete_result_t *out = nullptr;
    uint32_t count = 0, type = 0, primary = 0;
    uint16_t vdc = 0, tag = 0;
    const uint32_t st = vlan_association_parse_reply(&out, &count, &vdc, &type, &primary, &tag, reply.data(),
                                                     static_cast<uint32_t>(reply.size()));
    check(st == first_failure(o.results) && count == o.results.size() && vdc == req.vdc_id && type == req.type &&
          primary == req.primary && tag == req.tag);
    std::free(out);
}

void association_multi(const uint8_t *p, size_t n)
{
    server::AssociationMultiRequest req;
    if (server::decode_association_multi_request(p, n, req) != 0)
        return;
    check(!req.entries.empty());
    std::vector<server::AssociationOutcome> outcomes;
    size_t pairs = 0;
    uint32_t overall = 0;
    for (const server::AssociationEntry &e : req.entries) {
        outcomes.push_back(outcome_of(e));
        pairs += outcomes.back().results.size();
        if (overall == 0)
            overall = first_failure(outcomes.back().results);
    }
    const server::Payload reply = server::encode_association_multi_reply(req.cookie, outcomes);
    uint16_t vdc = 0;
    uint32_t cookie = 0, type = 0, total = 0;
    vlan_assoc_result_t *out = nullptr;
    const uint32_t st = vlan_association_multi_parse_reply(&vdc, &cookie, &type, &total, &out, reply.data(),
                                                           static_cast<uint32_t>(reply.size()));
    check(st == overall && cookie == req.cookie && total == pairs &&
          vdc == req.entries[0].vdc_id && type == req.entries[0].type);
    std::free(out);
}

void name_to_id(const uint8_t *p, size_t n)
{
    server::NameToIdRequest req;
    if (server::decode_name_to_id_request(p, n, req) != 0)
        return;
    check(req.name.size() + 3 <= n);
    const server::Payload reply = server::encode_name_to_id_reply(static_cast<uint32_t>(req.name.size()), req.vdc_id,
                                                                  static_cast<uint32_t>(n));
    vdc_vlan_id_t r{0, 0};
    check(vlan_name_to_id_parse_reply(&r, reply.data(), static_cast<uint32_t>(reply.size())) == req.name.size() &&
          r.vdc_id == req.vdc_id && r.vlan_id == n);
}

void rsvd_check(const uint8_t *p, size_t n)
{
    server::RsvdCheckRequest req;
    const uint32_t st = server::decode_rsvd_check_request(p, n, req);
    uint16_t vdc = 0;
    uint32_t w1 = 0, w2 = 0;
    const uint32_t lib = vlan_mgr_vlan_rsvd_check_parse_request_pld(p, static_cast<uint32_t>(n), &vdc, &w1, &w2);
    check((st == 0) == (lib == 0));
    if (st != 0)
        return;
    check(req.vdc_id == vdc && req.check_word1 == w1 && req.check_word2 == w2);
    void *out = nullptr;
    if (vlan_mgr_vlan_rsvd_check_build_reply_pld(vdc, w1, w2, 7, &out) != 0)
        return;
    const server::Payload reply = server::encode_rsvd_check_reply(vdc, w1, w2, 7);
    check(reply.size() == 16 && std::memcmp(reply.data(), out, 16) == 0);
    std::free(out);
}

void create_update(const uint8_t *p, size_t n)
{
    std::vector<server::CreateUpdateItem> items;
    if (server::decode_create_update_request(p, n, items) != 0)
        return;
    check(!items.empty());
    std::vector<server::VlanStatus> results;
    for (const server::CreateUpdateItem &it : items)
        results.push_back({it.vlan_id, it.segment});
    std::sort(results.begin(), results.end(),
              [](const server::VlanStatus &a, const server::VlanStatus &b) { return a.vlan_id < b.vlan_id; });
    const server::Payload reply = server::encode_create_update_reply(results);
    uint16_t count = 0;
    uint32_t *ids = nullptr, *st = nullptr;
    if (vlan_mgr_create_update_parse_reply(&count, &ids, &st, reply.data(), static_cast<int32_t>(reply.size())) != 0 ||
        count != results.size())
        std::abort();
    for (size_t i = 0; i < results.size(); ++i)
        check(ids[i] == results[i].vlan_id && st[i] == results[i].status);
    std::free(ids);
    std::free(st);
}

void configmode(const uint8_t *p, size_t n)
{
    server::ConfigModeRequest req;
    if (server::decode_configmode_request(p, n, req) != 0)
        return;
    const server::Payload reply = server::encode_configmode_reply(req.mode);
    vlan_configmode_rsp_t *rsp = nullptr;
    check(vlan_parse_vlan_configmode_change_rsp(reply.data(), static_cast<uint32_t>(reply.size()), &rsp) == 0 &&
          rsp != nullptr && rsp->field29 == req.mode);
    std::free(rsp);
}

using server_fuzz::Decoder;
constexpr Decoder kDecoders[] = {create,      del,        type_change, association,   association_multi,
                                 name_to_id, rsvd_check, create_update, configmode};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return server_fuzz::run_one(kDecoders, data, size);
}
