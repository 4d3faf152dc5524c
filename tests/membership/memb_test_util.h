// What only the port membership tests need on top of the request-family
// helpers (tests/common/request_test_util.h): an interface index that shows a
// missing or a doubled byte-order conversion.
#pragma once

#include <cstdint>

#include <vlan_mgr/membership.h>

#include "../common/request_test_util.h"

namespace membtest {

using reqtest::Bytes;

// An interface index whose four bytes all differ, so that a missing or a
// doubled conversion shows; on the wire it reads 1A 2B 3C 4D.
constexpr uint32_t kIfx = 0x1A2B3C4Du;
inline const Bytes kIfxWire = {0x1A, 0x2B, 0x3C, 0x4D};

} // namespace membtest
