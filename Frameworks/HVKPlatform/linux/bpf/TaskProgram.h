// TaskProgram.h - puts TaskIterator.bpf.c into the kernel and starts a reading of it.
//
// C, because what bpftool generates is C (a "light skeleton": system calls alone, no library at run time).
#pragma once

#ifdef __cplusplus
namespace hvk {
extern "C" {
#endif

/// The program in the kernel; it goes when this does.
struct HVKTaskProgram;

/// How many processors it can be told of.
enum { HVKTaskProgramProcessors = 4096 };

/// Loads it. `possible` has a 1 for each of the first `processors` processors that there may be. Returns 0, or the
/// errno of what the kernel refused; then `log`, of `logSize` bytes, has what the kernel said of it, ended by a NUL,
/// perhaps nothing.
int hvkTaskProgramLoad(const unsigned char* possible, unsigned processors, char* log, unsigned logSize,
                       struct HVKTaskProgram** program);

/// A new descriptor to read one pass from, or a negative errno.
int hvkTaskProgramRead(const struct HVKTaskProgram* program);

/// Takes it out of the kernel.
void hvkTaskProgramUnload(struct HVKTaskProgram* program);

#ifdef __cplusplus
}
}  // namespace hvk
#endif
