// The manager's side of the private-VLAN associations: the single and the
// multi request decoders and their reply encoders.
#include <vlan_mgr/opcodes.h>
#include <vlan_mgr/server/config.h>

#include "config_req/layout.h"

namespace vlan_mgr::server {
namespace {

using Entry = layout::config::AssocEntry;
using Req = layout::config::AssocRequest;
using Rep = layout::config::AssocReply;
using RepEntry = layout::config::AssocReplyEntry;
using Pair = layout::config::Pair;

// Entry `i` of a request whose entries the caller has checked to lie inside
// the payload; false when it names no secondary.
bool read_entry(const wire::Reader &r, size_t i, AssociationEntry &out)
{
    const wire::Reader e = Req::entries.entry(r, i);
    out.tag = Entry::tag.get(e);
    out.vdc_id = Entry::vdc_id.get(e);
    out.type = Entry::type.get(e);
    out.primary = Entry::primary.get(e);
    out.count = Entry::count.get(e);
    out.secondaries = bits_from_wire(Entry::secondaries.bits(e));
    return out.secondaries.any();
}

// The first failing status of an entry, 0 when every secondary succeeded.
uint32_t entry_status(const AssociationOutcome &o)
{
    for (const VlanStatus &r : o.results)
        if (r.status != 0)
            return r.status;
    return 0;
}

uint64_t reply_entry_len(const AssociationOutcome &o) { return RepEntry::pairs.end(o.results.size()); }

// A reply entry from the start of `e`: its status, the entry's fields, the
// pairs.
void write_reply_entry(wire::Writer e, const AssociationOutcome &o)
{
    RepEntry::status.put(e, entry_status(o));
    RepEntry::vdc_id.put(e, o.vdc_id);
    RepEntry::type.put(e, o.type);
    RepEntry::primary.put(e, o.primary);
    RepEntry::tag.put(e, o.tag);
    RepEntry::count.put(e, static_cast<uint32_t>(o.results.size()));
    for (size_t i = 0; i < o.results.size(); ++i) {
        wire::Writer p = RepEntry::pairs.entry(e, i);
        Pair::vlan_id.put(p, o.results[i].vlan_id);
        Pair::status.put(p, o.results[i].status);
    }
}

} // namespace

uint32_t decode_association_request(const uint8_t *payload, size_t len, AssociationEntry &out)
{
    const wire::Reader r(payload, len);
    if (payload == nullptr || !r.has(0, Req::kSingleLen))
        return VLAN_MGR_ERR_BAD_REQUEST;
    if (!read_entry(r, 0, out) || Req::magic.get(r) != Req::kMagic || Req::n.get(r) != 1)
        return VLAN_MGR_ERR_BAD_REQUEST;
    return 0;
}

uint32_t decode_association_multi_request(const uint8_t *payload, size_t len, AssociationMultiRequest &out)
{
    const wire::Reader r(payload, len);
    if (payload == nullptr || !r.has(0, Req::entries.off))
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.cookie = Req::magic.get(r);
    const uint32_t n = Req::n.get(r);
    if (n == 0 || Req::entries.end(n) > len)
        return VLAN_MGR_ERR_BAD_REQUEST;
    out.entries.assign(n, AssociationEntry{});
    for (uint32_t i = 0; i < n; ++i)
        if (!read_entry(r, i, out.entries[i]))
            return VLAN_MGR_ERR_BAD_REQUEST;
    return 0;
}

Payload encode_association_reply(const AssociationOutcome &outcome)
{
    Payload out(Rep::kEntriesOff + reply_entry_len(outcome));
    wire::Writer w(out.data(), out.size());
    Rep::magic.put(w, Req::kMagic);
    Rep::word1.put(w, 1);
    Rep::word2.put(w, 0);
    write_reply_entry(w.sub(Rep::kEntriesOff), outcome);
    return out;
}

Payload encode_association_multi_reply(uint32_t cookie, std::span<const AssociationOutcome> outcomes)
{
    uint64_t size = Rep::kEntriesOff;
    uint32_t overall = 0;
    for (const AssociationOutcome &o : outcomes) {
        size += reply_entry_len(o);
        if (overall == 0)
            overall = entry_status(o);
    }
    Payload out(static_cast<size_t>(size));
    wire::Writer w(out.data(), out.size());
    Rep::magic.put(w, cookie);
    Rep::word1.put(w, overall);
    Rep::word2.put(w, static_cast<uint32_t>(outcomes.size()));
    size_t off = Rep::kEntriesOff;
    for (const AssociationOutcome &o : outcomes) {
        write_reply_entry(w.sub(off), o);
        off += static_cast<size_t>(reply_entry_len(o));
    }
    return out;
}

} // namespace vlan_mgr::server
