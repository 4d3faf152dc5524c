// Proves that the library constructor has run before main: the publisher
// library was initialised (the test platform recorded the call and its
// parameter block). Built twice: with the shared library, where it also looks
// at the exported tables, and with the static archive, where it names nothing
// of the BD database, so that only the archive's linker option keeps the
// constructor in the program.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "test_platform.h"

#ifdef BD_DB_LOAD_SHARED
#include <vlan_mgr/bd_db.h>
#endif

namespace {
int failures = 0;
void check(bool ok, const char *what)
{
    if (!ok) {
        std::fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}
} // namespace

int main()
{
    // Nothing of the library has been called yet: everything below was done at load.
    const tp::State &s = tp::state();
    int inits = 0;
    for (const tp::SdbCall &c : s.sdb_calls)
        inits += c.op == tp::SdbOp::publisher_init;
    check(inits == 1, "the publisher library was initialised once before main");
    check(s.sdb_calls.size() == 1, "no other database call was made at load");
    check(s.publisher_params != nullptr, "the publisher parameter block was passed");
    if (s.publisher_params != nullptr) {
        uint32_t words[4];
        std::memcpy(words, s.publisher_params, sizeof words);
        check(words[0] == 1 && words[1] == 0 && words[2] == 0 && words[3] == 0, "parameter block words 1, 0, 0, 0");
        const void *desc;
        std::memcpy(&desc, static_cast<const uint8_t *>(s.publisher_params) + 16, sizeof desc);
        const char *name;
        std::memcpy(&name, desc, sizeof name);
        check(std::strcmp(name, "vlan_mgr_bd_sdb") == 0, "the descriptor names vlan_mgr_bd_sdb");
    }
#ifdef BD_DB_LOAD_SHARED
    check(vlan_mgr_pblr_lib_init_done == 1, "vlan_mgr_pblr_lib_init_done is 1");
    check(bd_sdb_uri_p != nullptr, "bd_sdb_uri_p table allocated");
    if (bd_sdb_uri_p != nullptr)
        for (int i = 0; i < 5; ++i)
            check(bd_sdb_uri_p[i] != nullptr && bd_sdb_uri_p[i][0] == '\0' && bd_sdb_uri_p[i][99] == '\0',
                  "each bd_sdb_uri_p entry is a zero-filled buffer");
#endif
    std::printf("%s\n", failures == 0 ? "constructor ran at load" : "constructor did not run at load");
    return failures == 0 ? 0 : 1;
}
