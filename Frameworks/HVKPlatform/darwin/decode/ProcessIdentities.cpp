#include "HVKPlatform/darwin/decode/ProcessIdentities.h"

namespace hvk::decode {

void ProcessIdentities::beginPass() {
    kept_.clear();
    position_ = 0;
}

std::uint64_t ProcessIdentities::find(std::int32_t pid, std::uint64_t startTicks) {
    while (position_ < known_.size() && known_[position_].pid < pid) ++position_;
    if (position_ == known_.size()) return 0;
    const Entry& entry = known_[position_];
    if (entry.pid != pid || entry.startTicks != startTicks) return 0;
    kept_.push_back(entry);
    return entry.identity;
}

void ProcessIdentities::remember(std::int32_t pid, std::uint64_t startTicks, std::uint64_t identity) {
    kept_.push_back({pid, startTicks, identity});
}

void ProcessIdentities::endPass() { known_.swap(kept_); }

}  // namespace hvk::decode
