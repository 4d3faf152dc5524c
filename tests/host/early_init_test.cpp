// The host platform answers before static constructors have run: the
// library's load-time constructor calls in that early. A constructor of the
// highest priority calls every service once and keeps the answers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

#include "host/host_platform.h"
#include "vlan_mgr_platform.h"

namespace {

struct Early {
    uint16_t vdc;
    int32_t created;
    int32_t debug_on;
    int32_t subtype_check;
    int32_t hist_rc;
    uint32_t if_index;
    bool error_text;
    int32_t module_rc;
    int32_t ctxt_rc;
    char ring_dir[64];
};
constinit Early early = {};

// Removes the early ring and its directory when the program ends, whether
// or not the test ran.
void remove_early_ring()
{
    if (early.ring_dir[0] == '\0')
        return;
    const std::string path = std::string(early.ring_dir) + "/vlan_mgr_hist." + std::to_string(getpid());
    unlink(path.c_str());
    rmdir(early.ring_dir);
}

__attribute__((constructor(101))) void call_in_before_constructors()
{
    char dir[] = "/tmp/vlan_mgr_host_early.XXXXXX";
    if (mkdtemp(dir) == nullptr)
        return;
    std::memcpy(early.ring_dir, dir, sizeof dir);
    std::atexit(remove_early_ring);
    setenv("VLAN_MGR_HIST_DIR", dir, 1);
    setenv("VLAN_MGR_VDC", "4", 1);
    setenv("VLAN_MGR_DEBUG", "100", 1);
    early.vdc = sysmgr_vdc_get();
    early.created = vdc_is_created(early.vdc, nullptr);
    early.debug_on = sdwrap_chk_int(100, 0, 0, 1);
    early.subtype_check = sdwrap_hist_event_subtype_check(0x730000, 100);
    early.hist_rc = sdwrap_hist_event(0x730000, 6, "early");
    early.if_index = ntoh_if_index(hton_if_index(0x1a000001u));
    early.error_text = std::strcmp(syserr2str(0x411a0003), "shared database: database already open") == 0;
    uint32_t type = 1;
    early.module_rc = get_card_module_info(&type);
    early.ctxt_rc = sysmgr_set_vdc_ctxt(2) | sysmgr_reset_vdc_ctxt();
    unsetenv("VLAN_MGR_VDC");
    unsetenv("VLAN_MGR_DEBUG");
    unsetenv("VLAN_MGR_HIST_DIR");
}

void collect_text(const vlan_mgr_host::HistEntry &e, void *ctx)
{
    static_cast<std::string *>(ctx)->assign(reinterpret_cast<const char *>(e.data), e.stored);
}

} // namespace

TEST(EarlyInit, ServicesAnsweredBeforeStaticConstructors)
{
    ASSERT_NE(early.ring_dir[0], '\0');
    EXPECT_EQ(early.vdc, 4);
    EXPECT_EQ(early.created, 1);
    EXPECT_EQ(early.debug_on, 1);
    EXPECT_EQ(early.subtype_check, 0);
    EXPECT_EQ(early.hist_rc, 0);
    EXPECT_EQ(early.if_index, 0x1a000001u);
    EXPECT_TRUE(early.error_text);
    EXPECT_EQ(early.module_rc, 0);
    EXPECT_EQ(early.ctxt_rc, 0);

    // The event recorded that early is in the ring file.
    const std::string path = std::string(early.ring_dir) + "/vlan_mgr_hist." + std::to_string(getpid());
    std::string text;
    vlan_mgr_host::HistRingInfo info;
    ASSERT_EQ(vlan_mgr_host::hist_ring_read_file(path.c_str(), collect_text, &text, &info),
              vlan_mgr_host::RingRead::ok);
    EXPECT_EQ(info.recorded, 1u);
    EXPECT_EQ(text, std::string("early", 6));
}
