#pragma once

/// Marks what the library shows to those who link it; everything else stays hidden.
#if defined(_WIN32)
#define TQ_API
#else
#define TQ_API __attribute__((visibility("default")))
#endif
