#pragma once

// Static probes, at which tools such as perf and bpftrace can look into a running application. A
// probe is one instruction that does nothing, and a note in the binary that tells where it is and
// where its arguments are. docs/recording.md says which there are. Without the header that makes
// them there are none.

#if __has_include(<sys/sdt.h>)
#include <sys/sdt.h>
#ifdef __clang__
// The header's macros are used without their last argument.
#pragma clang diagnostic ignored "-Wgnu-zero-variadic-macro-arguments"
#endif
#define ZRMIRVO_PROBE2(name, a, b) STAP_PROBE2(zrmirvo, name, a, b)
#define ZRMIRVO_PROBE3(name, a, b, c) STAP_PROBE3(zrmirvo, name, a, b, c)
#define ZRMIRVO_PROBE4(name, a, b, c, d) STAP_PROBE4(zrmirvo, name, a, b, c, d)
#else
#define ZRMIRVO_PROBE2(name, a, b) static_cast<void>(0)
#define ZRMIRVO_PROBE3(name, a, b, c) static_cast<void>(0)
#define ZRMIRVO_PROBE4(name, a, b, c, d) static_cast<void>(0)
#endif
