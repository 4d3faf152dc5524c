// The utility's error lines: formatted into a bounded line and handed to the
// platform's sink.
#include <cstdarg>
#include <cstdio>

#include "tlvu.h"

extern "C" void tlvu_error_print(const char *format, ...)
{
    if (format == nullptr)
        return;
    char line[TLVU_ERROR_LINE_MAX];
    va_list ap;
    va_start(ap, format);
    const int n = std::vsnprintf(line, sizeof line, format, ap);
    va_end(ap);
    if (n < 0)
        line[0] = '\0';
    tlvu_error_sink(line);
}
