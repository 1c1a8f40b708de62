#include "HVKPlatform/ports/ObjectException.h"

namespace hvk {

void runRaisingStandardExceptions(const std::function<void()>& block) { block(); }

}  // namespace hvk
