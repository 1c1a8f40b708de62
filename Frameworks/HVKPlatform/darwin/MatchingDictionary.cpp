#include "HVKPlatform/darwin/MatchingDictionary.h"

#include <IOKit/IOKitLib.h>

#include "HVKPlatform/darwin/PropertyValue.h"

namespace hvk {

CFOwned<CFDictionaryRef> matchingDictionary(const RegistryMatch& match) {
    switch (match.kind) {
        case RegistryMatch::Kind::BSDName:
            return CFOwned<CFDictionaryRef>(IOBSDNameMatching(MACH_PORT_NULL, 0, match.name.c_str()));
        case RegistryMatch::Kind::ServiceName:
            return CFOwned<CFDictionaryRef>(IOServiceNameMatching(match.name.c_str()));
        case RegistryMatch::Kind::Class: return CFOwned<CFDictionaryRef>(IOServiceMatching(match.name.c_str()));
        case RegistryMatch::Kind::Dictionary: break;
    }
    if (!match.dictionary.is_object()) return CFOwned<CFDictionaryRef>();
    return CFOwned<CFDictionaryRef>(static_cast<CFDictionaryRef>(propertyOfValue(match.dictionary).take()));
}

}  // namespace hvk
