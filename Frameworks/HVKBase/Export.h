// Export.h - marks what the shared library offers to a host; everything else stays hidden.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
/// Put on every class and free function that a host may call.
#define HVK_EXPORT __attribute__((visibility("default")))
#else
#define HVK_EXPORT
#endif
