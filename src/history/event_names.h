// The table behind the event-history names: (value, name) pairs in value
// order, closed by an entry with an empty name. The lookups are written over
// any such table so that their handling of the table's ends can be exercised
// on small tables too.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vlan_mgr::history {

struct EventName {
    int32_t value;
    const char *name;
};

// 125 named entries (values 0 to 124), then the terminator {0, ""}.
constexpr size_t kEventCount = 125;
extern const EventName kEventNames[kEventCount + 1];

// Name of the entry with `value`, or nullptr. Value 0 gives the first entry's
// name without comparing; other values are compared from the second entry on,
// up to the terminator. A table whose first name is empty holds nothing.
const char *find_name(const EventName *table, int32_t value);

// Value of the first entry whose name equals `name` ignoring case, or 0.
int32_t find_value(const EventName *table, const char *name);

} // namespace vlan_mgr::history
