#include "HVKPlatform/Result.h"

namespace hvk {

std::string_view failureKindName(FailureKind kind) {
    switch (kind) {
        case FailureKind::Unsupported: return "unsupported";
        case FailureKind::Absent: return "absent";
        case FailureKind::Denied: return "denied";
        case FailureKind::Gone: return "gone";
        case FailureKind::Malformed: return "malformed";
        case FailureKind::TimedOut: return "timed out";
    }
    return "unknown";
}

Failure unsupported(std::string source) {
    return {FailureKind::Unsupported, std::move(source), "this system has no such source"};
}

}  // namespace hvk
