// The test platform's sink for the TLV utility's error lines: recorded, so
// that a test can assert the exact lines printed.
#include "test_platform.h"
#include "tlvu.h"

extern "C" void tlvu_error_sink(const char *line) { tp::state().tlvu_errors.emplace_back(line != nullptr ? line : ""); }
