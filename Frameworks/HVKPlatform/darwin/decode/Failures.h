// Failures.h - which kind of failure a kernel's error number means.
//
// Written in numbers, not in the system's macros, so that the table is built and tested on every system.
#pragma once

#include <cstdint>
#include <string>

#include "HVKPlatform/Result.h"

namespace hvk::decode {

/// The failure that a Mach or an IOKit call's return code means, e.g. 0xe00002c1 (not privileged) -> Denied. A code
/// that is not in the table is Absent: whoever asks again later may be answered. The detail shows the code.
Failure kernelFailure(std::string source, std::uint32_t code);

/// The failure that a refused connection to a driver means, e.g. 0xe00002c5 (exclusive access) -> Gone: the driver was
/// there, so what is not in the table is Gone and never Absent.
Failure openFailure(std::string source, std::uint32_t code);

/// The failure that sysctl's errno means: ENOENT -> Unsupported (this kernel lacks the name), EPERM and EACCES ->
/// Denied, ENOMEM -> Malformed (more bytes than the record has), any other Absent.
Failure systemControlFailure(std::string source, int error);

/// The failure that the errno of a question about one process means: ESRCH -> Gone, the rest as systemControlFailure.
/// The detail names the process.
Failure processFailure(std::string source, std::int32_t pid, int error);

}  // namespace hvk::decode
