#include "HVKPlatform/darwin/decode/Failures.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace hvk::decode {

namespace {

/// mach/kern_return.h, mach/message.h, mach/mig_errors.h and IOKit/IOReturn.h.
FailureKind kindOf(std::uint32_t code) {
    switch (code) {
        case 2:           // KERN_PROTECTION_FAILURE
        case 8:           // KERN_NO_ACCESS
        case 0xe00002c1:  // kIOReturnNotPrivileged
        case 0xe00002e2:  // kIOReturnNotPermitted
            return FailureKind::Denied;
        case 46:          // KERN_NOT_SUPPORTED
        case 0xfffffed1:  // MIG_BAD_ID
        case 0xe00002c7:  // kIOReturnUnsupported
            return FailureKind::Unsupported;
        case 15:          // KERN_INVALID_NAME
        case 20:          // KERN_INVALID_CAPABILITY
        case 37:          // KERN_TERMINATED
        case 0x10000003:  // MACH_SEND_INVALID_DEST
        case 0xfffffecc:  // MIG_SERVER_DIED
        case 0xe00002d7:  // kIOReturnOffline
        case 0xe00002d9:  // kIOReturnNotAttached
            return FailureKind::Gone;
        case 4:           // KERN_INVALID_ARGUMENT: the kernel knows the record in another size
        case 0xe00002c2:  // kIOReturnBadArgument
        case 0xe00002e1:  // kIOReturnMessageTooLarge
        case 0xe00002e8:  // kIOReturnOverrun
            return FailureKind::Malformed;
        case 49:          // KERN_OPERATION_TIMED_OUT
        case 0xe00002d6:  // kIOReturnTimeout
        case 0xe00002ed:  // kIOReturnNotResponding
            return FailureKind::TimedOut;
        default: return FailureKind::Absent;
    }
}

}  // namespace

Failure kernelFailure(std::string source, std::uint32_t code) {
    std::array<char, 32> detail{};
    std::snprintf(detail.data(), detail.size(), "kernel error 0x%x", static_cast<unsigned>(code));
    return {kindOf(code), std::move(source), detail.data()};
}

Failure openFailure(std::string source, std::uint32_t code) {
    Failure failure = kernelFailure(std::move(source), code);
    if (failure.kind == FailureKind::Absent) failure.kind = FailureKind::Gone;
    return failure;
}

Failure systemControlFailure(std::string source, int error) {
    FailureKind kind = FailureKind::Absent;
    if (error == ENOENT) kind = FailureKind::Unsupported;
    if (error == EPERM || error == EACCES) kind = FailureKind::Denied;
    if (error == ENOMEM) kind = FailureKind::Malformed;
    return {kind, std::move(source), std::generic_category().message(error)};
}

Failure processFailure(std::string source, std::int32_t pid, int error) {
    Failure failure = systemControlFailure(std::move(source), error);
    if (error == ESRCH) failure.kind = FailureKind::Gone;
    failure.detail = "process " + std::to_string(pid) + ": " + failure.detail;
    return failure;
}

}  // namespace hvk::decode
