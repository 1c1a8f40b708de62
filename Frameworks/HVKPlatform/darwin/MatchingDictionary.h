// MatchingDictionary.h - a question to the registry as IOKit asks it.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "HVKPlatform/darwin/CFOwned.h"
#include "HVKPlatform/ports/Registry.h"

namespace hvk {

/// The dictionary that asks `match`'s question; null when it is none or is not in UTF-8.
CFOwned<CFDictionaryRef> matchingDictionary(const RegistryMatch& match);

}  // namespace hvk
