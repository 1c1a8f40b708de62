#include "HVKStatistics/core/HVKTryCatch.h"

#include "HVKPlatform/ports/ObjectException.h"

namespace hvk {

void HVKTryCatchBlock(const std::function<void()>& block) {
    try {
        runRaisingStandardExceptions(block);
    } catch (const std::exception&) {
        // Discarded: that is what the guard is for.
    }
}

void HVKTryCatchBlockWithError(const std::function<void()>& block,
                               const std::function<void(const std::exception*)>& completion) {
    try {
        runRaisingStandardExceptions([&] {
            block();
            completion(nullptr);
        });
    } catch (const std::exception& exception) {
        completion(&exception);
    }
}

}  // namespace hvk
